// The keywords, by groups that the language of the unit selects.

#include "scanner/keywords.h"

#include "input/frame.h"
#include "names/names.h"
#include "options/option_image.h"
#include "scanner/token.h"

// The groups that a source is given end with one of these.
constexpr int lastGroupOfC = 3;
constexpr int lastGroupOfCplusplus = 5;

struct KeywordRow {
  Byte group;
  const char* spelling;
  TokenCode code;
};

static constexpr KeywordRow keywordRows[] = {
#define KEYWORD(group, spelling, code) {group, spelling, code},
#include "scanner/keywords.def"
#undef KEYWORD
};

static constexpr int rowsOfGroup(int group) {
  int count = 0;
  for (const KeywordRow& row : keywordRows) count += row.group == group;
  return count;
}
static_assert(rowsOfGroup(0) == 17 && rowsOfGroup(1) == 20 && rowsOfGroup(2) == 2);
static_assert(rowsOfGroup(3) == 27 && rowsOfGroup(4) == 49 && rowsOfGroup(5) == 30);

static IdentEntry* lookupText(const char* name) {
  return lookupName(asBytes(name));
}

// A keyword that is written as it is spelled passes for a plain name in text.
static void installKeyword(const char* spelling, TokenCode code) {
  IdentEntry* const entry = lookupText(spelling);
  entry->tokenCode = Byte(code);
  const bool asSpelled = entry->nameLength == tokenSpellingLength[code] &&
                         isSameText(entry->spelling(), asBytes(tokenSpelling[code]), entry->nameLength);
  if (code == tokAsm || !asSpelled) noteSpecialName(entry->spelling(), entry->nameLength);
}

// Enters the names that mean something to other folders. They are entered before
// the source's own, which fixes their places in the list of -Sd.
static void enterKnownNames() {
  static constexpr const char* words[] = {
      "dllexport", "dllimport", "thread",    "naked",   "zephraclass", "zephrareturn", "pascalimplementation",
      "hidesbase", "package",   "selectany", "dynamic", "novtable",    "uuid",         "nothrow",
      "noreturn",  "allocate",  "property"};
  for (const char* const word : words) lookupText(word);
  const bool wide = optionImage.unicodeApp;
  lookupText(wide ? "wmain" : "main");
  if (!optionImage.underscores) lookupText(wide ? "_wmain" : "_main");
  input.usingStdNames = lookupText("__USING_STD_NAMES__");
}

void installKeywords() {
  const int level = optionImage.languageLevel;
  const int last = cplusplusMode ? lastGroupOfCplusplus : lastGroupOfC;
  for (const KeywordRow& row : keywordRows)
    if (row.group >= level && row.group <= last) installKeyword(row.spelling, row.code);
  installKeyword("__inline", tokInline);
  if (cplusplusMode && level != levelFamily) installKeyword("asm", tokAsm);
  if (!cplusplusMode) installKeyword("__try", tokTry);
  if (!(cplusplusMode && level == levelAnsi)) {
    installKeyword("__except", tokExcept);
    installKeyword("__finally", tokFinally);
  }
  enterKnownNames();
}
