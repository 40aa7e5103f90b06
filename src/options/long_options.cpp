// The long switches: the rows of long_options.def, and the walk over the arguments.

#include "options/long_options.h"

#include <charconv>
#include <cstring>
#include <iterator>

#include "memory/memory.h"
#include "options/options.h"

constinit LongOptions longOptions{};

constexpr int32_t jobLimit = 256;

// --- Values, by the type of the field; `value` is null if none was given ---

static bool readValue(bool& field, const char* value) {
  field = true;
  return value == nullptr;
}

static bool readValue(const char*& field, const char* value) {
  field = value;
  return value != nullptr && *value != 0;
}

static bool readValue(int32_t& field, const char* value) {
  if (value == nullptr || *value == 0) return false;
  const char* const end = value + std::strlen(value);
  const std::from_chars_result result = std::from_chars(value, end, field);
  return result.ec == std::errc() && result.ptr == end && field >= 0 && field <= jobLimit;
}

static bool readValue(MarkerForm& field, const char* value) {
  if (value == nullptr) return false;
  const bool gnu = std::strcmp(value, "gnu") == 0;
  field = gnu ? gnuMarkers : familyMarkers;
  return gnu || std::strcmp(value, "family") == 0;
}

static bool readValue(MessageChoice& field, const char* value) {
  static constexpr char sarifFile[] = "sarif:";
  if (value == nullptr) return false;
  field = {familyMessages, nullptr};
  if (std::strcmp(value, "family") == 0) return true;
  field.form = gnuMessages;
  if (std::strcmp(value, "gnu") == 0) return true;
  field.form = sarifMessages;
  if (std::strcmp(value, "sarif") == 0) return true;
  if (std::strncmp(value, sarifFile, sizeof sarifFile - 1) != 0) return false;
  field.file = value + sizeof sarifFile - 1;
  return *field.file != 0;
}

// --- The rows ---

struct LongOptionRow {
  LongOptionText text;
  bool (*read)(const char* value);
};

static constexpr LongOptionRow rows[] = {
#define LONG(name, value, field, help) \
  {{name, value, help}, +[](const char* given) { return readValue(longOptions.field, given); }},
#include "options/long_options.def"
#undef LONG
};

const LongOptionText* longOptionText(size_t index) {
  return index < std::size(rows) ? &rows[index].text : nullptr;
}

// The row that `argument` names, null for none; the text after its '=' goes to `value`, null if there is
// none.
static const LongOptionRow* findRow(const char* argument, const char*& value) {
  if (argument[0] != '-' || argument[1] != '-') return nullptr;
  const char* const name = argument + 2;
  const size_t length = std::strcspn(name, "=");
  value = name[length] == '=' ? name + length + 1 : nullptr;
  for (const LongOptionRow& row : rows)
    if (std::strlen(row.text.name) == length && std::memcmp(row.text.name, name, length) == 0) return &row;
  return nullptr;
}

const LongOptionText* longOptionNamed(const char* argument) {
  const char* value;
  const LongOptionRow* const row = findRow(argument, value);
  return row == nullptr ? nullptr : &row->text;
}

// --- The arguments ---

void resetLongOptions() {
  longOptions = {};
  messageForm = familyMessages;
}

bool hasLongFlag(const char* name, char* const* argv, int argc) {
  for (int i = 1; i < argc; ++i)
    if (argv[i][0] == '-' && argv[i][1] == '-' && std::strcmp(argv[i] + 2, name) == 0) return true;
  return false;
}

void takeLongOptions(char**& argv, int& argc) {
  char** kept = nullptr;  // the new vector, once there is a reason for it
  int count = 0;
  for (int i = 0; i < argc; ++i) {
    const char* value;
    const LongOptionRow* const row = i == 0 ? nullptr : findRow(argv[i], value);
    if (row == nullptr) {
      if (kept != nullptr) kept[count++] = argv[i];
      continue;
    }
    if (!row->read(value)) refuseOption(textCommandLine, argv[i]);
    if (kept != nullptr) continue;
    kept = static_cast<char**>(permAlloc(size_t(argc) * sizeof *argv));
    std::memcpy(kept, argv, size_t(i) * sizeof *argv);
    count = i;
  }
  messageForm = longOptions.messages.form;
  if (kept == nullptr) return;
  // As in the vector that the system hands over.
  kept[count] = nullptr;
  argv = kept;
  argc = count;
}
