// Reading of switches.
//
// A switch is walked character by character down a tree of tables, which stand in
// options.def; the leaves are handlers that write OptionImage. Switches come from
// the command line and from the configuration file. Those of the command line win,
// so they are read last; but -I and -L only ever append, so they are read first
// for their directories to stand in front.

#include "options/options.h"

#include <array>
#include <cstring>
#include <type_traits>

#include "diag/fatal.h"
#include "diag/report.h"
#include "diag/warnings.h"
#include "options/arguments.h"
#include "options/handlers.h"
#include "options/lead_bytes.h"
#include "platform/files.h"
#include "platform/paths.h"

// Whether a handler writes fields of a type: flags are bool, texts are pointers, and
// what sets a value sets either a flag or a number.
template <OptionHandler handler, typename Field>
constexpr bool writes = false;
template <typename Field>
constexpr bool writes<flagSwitch, Field> = std::is_same_v<Field, bool>;
template <typename Field>
constexpr bool writes<inverseFlag, Field> = std::is_same_v<Field, bool>;
template <typename Field>
constexpr bool writes<setValue, Field> = !std::is_pointer_v<Field>;
template <typename Field>
constexpr bool writes<setOnly, Field> = !std::is_pointer_v<Field>;
template <typename Field>
constexpr bool writes<identSwitch, Field> = std::is_same_v<Field, Byte>;
template <typename Field>
constexpr bool writes<copyText, Field> = std::is_pointer_v<Field>;
template <typename Field>
constexpr bool writes<stripQuotes, Field> = std::is_pointer_v<Field>;

// The field of a row, which must have a type that the row's handler writes.
template <OptionHandler handler, typename Field>
constexpr OptionField fieldFor(Field& (*access)(OptionImage& image)) {
  static_assert(writes<handler, Field>);
  return access;
}

#define TABLE(name) static constexpr OptionRow name[] = {
#define ROW(letter, handler, field, value)                                                                \
  {letter, fieldFor<handler>(+[](OptionImage& image) -> decltype((image.field)) { return image.field; }), \
   value, handler, nullptr},
#define DO(letter, handler, value) {letter, {}, value, handler, nullptr},
#define SUB(letter, table) {letter, {}, 0, subTable, table},
#define END_TABLE                \
  { 0, {}, 0, nullptr, nullptr } \
  }                              \
  ;
#include "options/options.def"
#undef TABLE
#undef ROW
#undef DO
#undef SUB
#undef END_TABLE

static_assert(sizeof topForms / sizeof topForms[0] == 55 + 1, "a letter was added or lost");

// All fields that aren't named are 0.
constexpr OptionImage defaultImage = [] {
  OptionImage image = {};
  image.processor = 3;
  image.lineInfo = true;
  image.maxIdentLength = defaultIdentLimit;
  image.underscores = true;
  image.outputDirectory = "";
  image.runtimeKind = 1;
  image.exceptions = true;
  image.searchIncluders = true;
  image.stored.assembler = "vsasm32.exe";
  return image;
}();

constinit OptionImage optionImage = defaultImage;
constinit OptionImage optionSave = {};
constinit bool cplusplusMode = false;
constinit char defaultExtension[5] = ".cpp";

bool parseTable(const char* text, const OptionRow* table) {
  const uint16_t letter = Byte(text[0]);
  const char* const rest = letter == endOfSwitch ? text : text + 1;
  bool matched = false;
  for (const OptionRow* row = table; row->handler != nullptr; ++row) {
    if (row->letter != letter && row->letter != anyLetter) continue;
    if (!row->handler(rest, *row)) return false;
    if (row->letter == letter) matched = true;
  }
  return matched;
}

// The first row of topForms for each letter, so that a command line of a million
// switches doesn't walk all rows for each, which took 27 % of its instructions.
constexpr std::array<Byte, 256> topStarts = [] {
  std::array<Byte, 256> starts{};
  for (size_t row = sizeof topForms / sizeof topForms[0] - 1; row-- != 0;)
    starts[topForms[row].letter] = Byte(row);
  return starts;
}();

bool parseOption(OptionPhase phase, const char* text) {
  const bool searchList = text[0] == 'I' || text[0] == 'L';
  if (phase == (searchList ? secondLook : firstLook)) return true;
  return parseTable(text, topForms + topStarts[Byte(text[0])]);
}

constinit bool optionRefused = false;

void refuseOption(MessageId source, const char* text) {
  char sourceText[messageTextLimit];
  optionRefused = true;
  messageLimits.errors = 0;
  reportError(msgIncorrectOption, loadConsoleMessage(sizeof sourceText, sourceText, source), text);
  leaveRun();
}

// What `path`, the start of `argument`, stands for. Where the system can't say, the
// run ends: taken for a switch, a file name would be lost without a word.
static PathKind kindOfArgument(const char* path, const char* argument) {
  const PathKind kind = kindOfPath(path);
  if (kind == pathNoMemory) failOutOfMemory();
  if (kind == pathUnknown) reportFatal(msgCannotOpenInput, argument);
  return kind;
}

// True for an argument with '/' in front that is an absolute path: it names a file,
// or at least the directory part of it exists, so that a pattern, a name without
// its extension and a wrong name are taken for names too.
static bool isAbsolutePath(const char* argument) {
  if (!slashBeginsPaths()) return false;
  if (kindOfArgument(argument, argument) == pathIsFile) return true;
  const size_t nameStart = splitPath(argument).nameStart;
  char directory[pathLimit + 1];
  if (nameStart <= 1 || nameStart > sizeof directory) return false;
  std::memcpy(directory, argument, nameStart - 1);
  directory[nameStart - 1] = 0;
  return kindOfArgument(directory, argument) == pathIsDirectory;
}

// True for an argument that begins with '-', or with '/' and is no path.
static bool isPlainSwitch(const char* argument) {
  return argument[0] == '-' || (argument[0] == '/' && !isAbsolutePath(argument));
}

bool isSwitchArgument(const char* argument) {
  return argument[0] == '+' || isPlainSwitch(argument);
}

bool isLateSwitch(const char* argument) {
  return isPlainSwitch(argument);
}

// Puts the defaults in force, for a second run in the same process.
static void resetOptions() {
  optionImage = defaultImage;
  messageLimits = {.errors = 25, .warnings = 100};
  optionSave = {};
  std::memcpy(defaultExtension, ".cpp", sizeof defaultExtension);
  resetWarnings();
}

// One look at the switches before the first file name.
static void readCommandLine(OptionPhase phase, char** argv, int argc) {
  for (int i = 1; i < argc && isSwitchArgument(argv[i]); ++i)
    if (argv[i][0] != '+' && !parseOption(phase, argv[i] + 1)) refuseOption(textCommandLine, argv[i]);
}

// The name after the last '+' among these switches; null if there is none.
static const char* findConfigArgument(char** argv, int argc) {
  const char* name = nullptr;
  for (int i = 1; i < argc && isSwitchArgument(argv[i]); ++i)
    if (argv[i][0] == '+') name = argv[i] + 1;
  return name;
}

void optionBootstrap(char** argv, int argc) {
  resetOptions();
  // Paths are looked at from now on; the environment say how their bytes are read.
  buildLeadByteTable();
  optionImage.codePage = 0;
  loadWarnings();
  readCommandLine(firstLook, argv, argc);
  const char* const given = findConfigArgument(argv, argc);
  configFileName = given != nullptr ? given : defaultConfigFile;
  readConfigurationFile(given != nullptr);
  readCommandLine(secondLook, argv, argc);
  storeWarnings();
}
