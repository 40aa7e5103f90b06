// The switchable warnings.
//
// Three copies of the on and off state: the fixed defaults of the rows; a column
// that takes what the switches make of them and lasts for the run; and the working
// copy, which starts every unit from that column and is what reporting looks at.

#include "diag/warnings.h"

#include <cstring>

constexpr size_t warningNameLength = 3;
constexpr size_t warningNumberLength = 4;

// One warning; name and number have no NUL.
struct WarningRow {
  char name[warningNameLength];
  char number[warningNumberLength];
  Byte enabled;
};

// A row from literals, which have a NUL.
static constexpr WarningRow warningRow(const char* name, const char* number, Byte enabled) {
  return {{name[0], name[1], name[2]}, {number[0], number[1], number[2], number[3]}, enabled};
}

static constexpr WarningRow warningRows[] = {
#define WARNING(name, number, enabled) warningRow(name, number, enabled),
#include "diag/warnings.def"
#undef WARNING
};

static_assert(sizeof(WarningRow) == 8 && sizeof warningRows == warningCount * sizeof(WarningRow));

// Numbers rise by one from 8000, but there is no 8088.
static constexpr bool numbersInOrder = [] {
  for (int i = 0; i < warningCount; ++i) {
    const char* const digits = warningRows[i].number;
    const int number =
        (digits[0] - '0') * 1000 + (digits[1] - '0') * 100 + (digits[2] - '0') * 10 + (digits[3] - '0');
    if (number != 8000 + i + (i >= 88 ? 1 : 0)) return false;
  }
  return true;
}();
static_assert(numbersInOrder, "a row's place is its message identifier");

constinit Byte warningOn[warningCount] = {};

// The column of defaults of this run.
static constinit Byte warningDefault[warningCount] = {};

bool isOnByDefault(MessageId id) {
  return warningRows[id - firstWarningId].enabled != 0;
}

void resetWarnings() {
  for (int i = 0; i < warningCount; ++i) warningDefault[i] = warningRows[i].enabled;
}

void loadWarnings() {
  std::memcpy(warningOn, warningDefault, sizeof warningOn);
}

void storeWarnings() {
  std::memcpy(warningDefault, warningOn, sizeof warningOn);
}

void switchWarnings(const char* name, bool on) {
  if (*name == 0) {
    std::memset(warningOn, on, sizeof warningOn);
    return;
  }
  // A row holds no NUL, so the comparison ends at that of a shorter text.
  const bool byNumber = *name >= '0' && *name <= '9';
  for (int i = 0; i < warningCount; ++i) {
    const WarningRow& row = warningRows[i];
    if (byNumber ? std::strncmp(name, row.number, warningNumberLength) == 0
                 : std::strncmp(name, row.name, warningNameLength) == 0)
      warningOn[i] = on;
  }
}
