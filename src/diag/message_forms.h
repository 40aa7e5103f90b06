// The form in which messages are written.

#pragma once

#include "base.h"

enum MessageForm : Byte {
  familyMessages,  // Error E2048 a.c 12: text
  gnuMessages,     // a.c:12: error: text
  sarifMessages    // entries of a SARIF log
};

// Set by the switches.
extern MessageForm messageForm;
