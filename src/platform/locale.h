// What the user's environment say of language and character set.

#pragma once

#include "base.h"

// A language or locale name: at most 4 characters and a NUL; empty if unknown.
struct LanguageName {
  char text[5];
};

// The locale that the user's configuration sets for this program, for the
// program's full path first and else for all programs; empty if none, or if
// the value is longer than 4 characters.
LanguageName configuredLocale(const char* programPath);

// Abbreviated name of the language of the environment (DEU, ENU, ...), from
// LC_ALL, LC_MESSAGES and LANG; empty if they name no language.
LanguageName localeLanguage();

// The code page of the environment' character set: 65001 for UTF-8, 932 for
// Shift-JIS, and so on; 1252 when nothing better is said.
uint32_t systemCodePage();
