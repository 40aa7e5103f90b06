// The form in which messages are written.

#include "diag/message_forms.h"

constinit MessageForm messageForm = familyMessages;
