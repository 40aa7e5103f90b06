// The message catalogue: identifiers, built-in texts, and the lookup through a
// language library that may lie in the directory of the program.

#pragma once

#include <span>

#include "base.h"
#include "platform/string_table.h"

// The version that the program names.
constexpr char programVersion[] = "5.5";

// Identifiers of the catalogue: 1 to 619 for diagnostics, whose code and
// severity follow from the number; 4096 and above for other texts.
enum MessageId : uint16_t {
  noMessage = 0,
#define MESSAGE(id, name, text) name = id,
#include "diag/messages.def"
#undef MESSAGE
};

constexpr int firstWarningId = 523;  // slot 0 of the warning switches

constexpr size_t messageTextLimit = 0x1000;  // of a text, with its NUL

// The text of `id` into `buffer` of `size` bytes, cut to fit. Returns `buffer`.
// An identifier that the catalogue in force does not hold gives an empty text.
char* loadMessageInto(size_t size, char* buffer, int id);

// The same in the console's own character set, where that differs: for the banner,
// the help, the summary, and texts that become part of another.
char* loadConsoleMessage(size_t size, char* buffer, int id);

// The built-in texts of the diagnostics, in the order of their identifiers. Each begins with its code of five
// bytes and a blank.
std::span<const StringRow> builtInDiagnostics();

// The row of a diagnostic in that list, -1 for none.
int diagnosticRow(int id);

// Puts the built-in texts in force; no library is looked for any more.
void useBuiltInMessages();
