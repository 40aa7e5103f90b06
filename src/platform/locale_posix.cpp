// Language and character set of the environment, from the variables that the
// C library's locales use. The library itself is not asked: setlocale reads
// files, and changes how numbers are formatted.
//
// The user's own choice of a language stands in a text file,
//
//   $XDG_CONFIG_HOME/vestrel/locales, or ~/.config/vestrel/locales
//
// with one setting a line, "program = value". The program is a full path; "*"
// stands for all programs that have no line of their own. Lines that begin with
// '#' and lines without a '=' say nothing:
//
//   # German messages, but for one program
//   * = DEU
//   /opt/vestrel/bin/vsp32 = ENU

#include "platform/locale.h"

#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "platform/files.h"
#include "platform/paths.h"

// A language, with a country or for all countries without a row of their own,
// and its three-letter name.
struct LanguageRow {
  char language[4];
  char country[4];
  char name[4];
};

constexpr LanguageRow languageRows[] = {
    {"af", "", "AFK"},   {"ar", "", "ARA"},   {"ar", "EG", "ARE"}, {"az", "", "AZE"},   {"be", "", "BEL"},
    {"bg", "", "BGR"},   {"ca", "", "CAT"},   {"cs", "", "CSY"},   {"cy", "", "CYM"},   {"da", "", "DAN"},
    {"de", "", "DEU"},   {"de", "AT", "DEA"}, {"de", "CH", "DES"}, {"de", "LI", "DEC"}, {"de", "LU", "DEL"},
    {"el", "", "ELL"},   {"en", "", "ENU"},   {"en", "AU", "ENA"}, {"en", "CA", "ENC"}, {"en", "GB", "ENG"},
    {"en", "IE", "ENI"}, {"en", "NZ", "ENZ"}, {"en", "ZA", "ENS"}, {"es", "", "ESN"},   {"es", "AR", "ESS"},
    {"es", "CL", "ESL"}, {"es", "CO", "ESO"}, {"es", "MX", "ESM"}, {"es", "PE", "ESR"}, {"es", "VE", "ESV"},
    {"et", "", "ETI"},   {"eu", "", "EUQ"},   {"fa", "", "FAR"},   {"fi", "", "FIN"},   {"fr", "", "FRA"},
    {"fr", "BE", "FRB"}, {"fr", "CA", "FRC"}, {"fr", "CH", "FRS"}, {"fr", "LU", "FRL"}, {"gl", "", "GLC"},
    {"he", "", "HEB"},   {"hi", "", "HIN"},   {"hr", "", "HRV"},   {"hu", "", "HUN"},   {"hy", "", "HYE"},
    {"id", "", "IND"},   {"is", "", "ISL"},   {"it", "", "ITA"},   {"it", "CH", "ITS"}, {"ja", "", "JPN"},
    {"ka", "", "KAT"},   {"kk", "", "KKZ"},   {"ko", "", "KOR"},   {"lt", "", "LTH"},   {"lv", "", "LVI"},
    {"mk", "", "MKI"},   {"ms", "", "MSL"},   {"nb", "", "NOR"},   {"nl", "", "NLD"},   {"nl", "BE", "NLB"},
    {"nn", "", "NON"},   {"no", "", "NOR"},   {"pl", "", "PLK"},   {"pt", "", "PTG"},   {"pt", "BR", "PTB"},
    {"ro", "", "ROM"},   {"ru", "", "RUS"},   {"sk", "", "SKY"},   {"sl", "", "SLV"},   {"sq", "", "SQI"},
    {"sr", "", "SRB"},   {"sv", "", "SVE"},   {"sv", "FI", "SVF"}, {"sw", "", "SWK"},   {"th", "", "THA"},
    {"tr", "", "TRK"},   {"uk", "", "UKR"},   {"ur", "", "URD"},   {"uz", "", "UZB"},   {"vi", "", "VIT"},
    {"zh", "", "CHS"},   {"zh", "HK", "ZHH"}, {"zh", "MO", "ZHM"}, {"zh", "SG", "ZHI"}, {"zh", "TW", "CHT"}};

// A character set, without its '-' and '_', and its code page.
struct CharsetRow {
  char name[13];
  uint16_t codePage;
};

constexpr CharsetRow charsetRows[] = {
    {"UTF8", 65001},     {"SHIFTJIS", 932},   {"SJIS", 932},        {"MSKANJI", 932},    {"WINDOWS31J", 932},
    {"GBK", 936},        {"GB2312", 936},     {"EUCCN", 936},       {"GB18030", 936},    {"EUCKR", 949},
    {"UHC", 949},        {"BIG5", 950},       {"BIG5HKSCS", 950},   {"JOHAB", 1361},     {"EUCJP", 20932},
    {"KOI8R", 20866},    {"KOI8U", 21866},    {"TIS620", 874},      {"ISO88591", 28591}, {"ISO88592", 28592},
    {"ISO88593", 28593}, {"ISO88594", 28594}, {"ISO88595", 28595},  {"ISO88596", 28596}, {"ISO88597", 28597},
    {"ISO88598", 28598}, {"ISO88599", 28599}, {"ISO885913", 28603}, {"ISO885915", 28605}};

constexpr uint32_t defaultCodePage = 1252;

// The value of the first of three variables that is set to something, or "".
static const char* localeName(const char* first, const char* second, const char* third) {
  for (const char* const variable : {first, second, third}) {
    const char* const value = environmentValue(variable);
    if (value != nullptr && value[0] != 0) return value;
  }
  return "";
}

// Reads letters and digits at `text` into `word` (`size` bytes), with '-' and
// '_' left out if `skipDashes` is set; in `word` case is folded. Returns what
// follows them, null if they do not fit.
static const char* readWord(const char* text, char* word, size_t size, bool skipDashes) {
  size_t length = 0;
  for (;; ++text) {
    const Byte c = foldCase(Byte(*text));
    if (skipDashes && (c == '-' || c == '_')) continue;
    if (!((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))) break;
    if (length + 1 == size) return nullptr;
    word[length++] = char(c);
  }
  word[length] = 0;
  return text;
}

LanguageName localeLanguage() {
  LanguageName result{};
  char language[4];
  char country[4] = "";
  const char* text = readWord(localeName("LC_ALL", "LC_MESSAGES", "LANG"), language, sizeof language, false);
  if (text == nullptr) return result;
  if ((*text == '_' || *text == '-') && readWord(text + 1, country, sizeof country, false) == nullptr)
    country[0] = 0;
  for (const LanguageRow& row : languageRows) {
    if (!sameFileName(row.language, language)) continue;
    // The row for all countries stands first; that of the country replaces it.
    if (row.country[0] == 0 || std::strcmp(row.country, country) == 0) std::strcpy(result.text, row.name);
  }
  return result;
}

uint32_t systemCodePage() {
  const char* const dot = std::strchr(localeName("LC_ALL", "LC_CTYPE", "LANG"), '.');
  char name[16];
  if (dot == nullptr || readWord(dot + 1, name, sizeof name, true) == nullptr) return defaultCodePage;
  for (const CharsetRow& row : charsetRows)
    if (std::strcmp(row.name, name) == 0) return row.codePage;
  // The numbered ones name their code page themselves.
  for (const char* const prefix : {"CP", "IBM", "WINDOWS"}) {
    const size_t length = std::strlen(prefix);
    if (std::strncmp(name, prefix, length) != 0 || name[length] == 0) continue;
    char* end;
    const unsigned long number = std::strtoul(name + length, &end, 10);
    if (*end == 0 && number > 0 && number <= 65535) return uint32_t(number);
  }
  return defaultCodePage;
}

// Puts the file with the user's settings into `path`; false if there can be none.
static bool settingsPath(char* path, size_t size) {
  const char* base = environmentValue("XDG_CONFIG_HOME");
  const char* tail = "/vestrel/locales";
  // A relative directory has no meaning there, and is to be ignored.
  if (base == nullptr || base[0] != '/') {
    base = environmentValue("HOME");
    tail = "/.config/vestrel/locales";
  }
  if (base == nullptr || base[0] == 0 || std::strlen(base) + std::strlen(tail) >= size) return false;
  std::strcpy(path, base);
  std::strcat(path, tail);
  return true;
}

// Reads the file at `path` into a block of malloc, with a NUL after it; null if it cannot be had.
static char* readSettings(const char* path) {
  constexpr int64_t sizeLimit = 0x100000;
  const int handle = openSettings(path);
  if (handle < 0) return nullptr;
  const int64_t size = sizeOfFile(handle);
  char* text = size >= 0 && size <= sizeLimit ? static_cast<char*>(std::malloc(size_t(size) + 1)) : nullptr;
  if (text != nullptr) {
    const int64_t count = readFile(handle, text, size_t(size));
    text[count > 0 ? count : 0] = 0;
  }
  closeFile(handle);
  return text;
}

// Cuts blanks, tabs and the line end off both ends of the text from `start` to `end`, and puts a NUL after
// it.
static char* trimmed(char* start, char* end) {
  const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
  while (start < end && isBlank(*start)) ++start;
  while (end > start && isBlank(end[-1])) --end;
  *end = 0;
  return start;
}

// Takes the value of `program` out of the settings, which it changes. A value
// that is too long counts as missing.
static LanguageName findSetting(char* text, const char* program) {
  LanguageName own{};
  LanguageName general{};
  bool ownFound = false;
  while (*text != 0) {
    char* const lineEnd = text + std::strcspn(text, "\n");
    char* const next = *lineEnd == 0 ? lineEnd : lineEnd + 1;
    *lineEnd = 0;
    // The last one: a path may have one of its own, a value has none.
    char* const equals = std::strrchr(text, '=');
    if (equals != nullptr && text[0] != '#') {
      const char* const value = trimmed(equals + 1, lineEnd);
      const char* const name = trimmed(text, equals);
      if (std::strlen(value) < sizeof own.text) {
        if (std::strcmp(name, "*") == 0) std::strcpy(general.text, value);
        if (sameFileName(name, program)) {
          std::strcpy(own.text, value);
          ownFound = true;
        }
      }
    }
    text = next;
  }
  return ownFound ? own : general;
}

LanguageName configuredLocale(const char* program) {
  LanguageName result{};
  char path[4096];
  if (!settingsPath(path, sizeof path)) return result;
  char* const text = readSettings(path);
  if (text == nullptr) return result;
  result = findSetting(text, program);
  std::free(text);
  return result;
}
