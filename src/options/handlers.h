// The rows that the tables of switches are made of, and the handlers that they
// name.
//
// A handler gets the text after the character that its row matched, writes what
// the switch sets, and tells whether the rest is well-formed.

#pragma once

#include "base.h"
#include "options/option_image.h"

struct OptionRow;
using OptionHandler = bool (*)(const char* rest, const OptionRow& row);

// Letters of a row that stand for more than the character itself.
constexpr uint16_t endOfSwitch = 0;    // the end of the text
constexpr uint16_t anyLetter = 0x100;  // any character, and the end

// The field of OptionImage that a row writes; its type decides what it may take.
struct OptionField {
  enum Kind : Byte { none, number, flag, text };

  Kind kind;
  union {
    Byte& (*numberOf)(OptionImage& image);
    bool& (*flagOf)(OptionImage& image);
    const char*& (*textOf)(OptionImage& image);
  };

  constexpr OptionField() : kind(none), numberOf(nullptr) {}
  constexpr OptionField(Byte& (*access)(OptionImage&)) : kind(number), numberOf(access) {}
  constexpr OptionField(bool& (*access)(OptionImage&)) : kind(flag), flagOf(access) {}
  constexpr OptionField(const char*& (*access)(OptionImage&)) : kind(text), textOf(access) {}
};

struct OptionRow {
  uint16_t letter;         // the character that the row matches, or one of the two above
  OptionField field;       // none for a handler that knows its fields
  uint32_t value;          // constant for the handler
  OptionHandler handler;   // null after the last row of a table
  const OptionRow* table;  // of subTable, else null
};

// Runs all rows of `table` that match the first character of `text`. True if one
// of them names that very character and none was refused.
bool parseTable(const char* text, const OptionRow* table);

// General handlers: the field's value, and what may follow. The first two take flags,
// copyText and stripQuotes texts.
bool flagSwitch(const char* rest, const OptionRow& row);   // "" and "+" 1, "-" 0; nothing follows
bool inverseFlag(const char* rest, const OptionRow& row);  // 0 and 1 swapped; anything follows
bool setValue(const char* rest, const OptionRow& row);     // `value`; anything follows
bool setOnly(const char* rest, const OptionRow& row);      // `value`; nothing follows
bool accept(const char* rest, const OptionRow& row);       // none; anything follows
bool acceptOnly(const char* rest, const OptionRow& row);   // none; nothing follows
bool copyText(const char* rest, const OptionRow& row);     // the rest without quotes around it
bool stripQuotes(const char* rest, const OptionRow& row);  // the rest without any quote
bool subTable(const char* rest, const OptionRow& row);     // descends into `table`

// Handlers of one switch or family.
bool errorLimitSwitch(const char* rest, const OptionRow& row);    // -j
bool warningLimitSwitch(const char* rest, const OptionRow& row);  // -g
bool identSwitch(const char* rest, const OptionRow& row);         // -i
bool codePageSwitch(const char* rest, const OptionRow& row);      // -CP
bool outputSwitch(const char* rest, const OptionRow& row);        // -S
bool extensionSwitch(const char* rest, const OptionRow& row);     // -P
bool defineSwitch(const char* rest, const OptionRow& row);        // -D
bool undefineSwitch(const char* rest, const OptionRow& row);      // -U
bool includeSwitch(const char* rest, const OptionRow& row);       // -I
bool librarySwitch(const char* rest, const OptionRow& row);       // -L
bool runtimeLetters(const char* rest, const OptionRow& row);  // V and R of -tW; the row's letter is the first
bool windowsLetters(const char* rest, const OptionRow& row);  // the same; chooses a kind if there is none
bool packageSwitch(const char* rest, const OptionRow& row);   // -tWP
bool obsoleteSwitch(const char* rest, const OptionRow& row);  // the warning of -xdg
bool oldObjectSwitch(const char* rest, const OptionRow& row);   // -Vo
bool memoryWardSwitch(const char* rest, const OptionRow& row);  // -vG; `value`: how many flags are on
bool debugSwitch(const char* rest, const OptionRow& row);       // -v, -v-, -v4; `value`: of all three fields
bool warningsSwitch(const char* rest, const OptionRow& row);    // -w
