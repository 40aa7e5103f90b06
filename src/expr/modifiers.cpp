// The reader of modifier words and of __declspec lists.
//
// Single words go to the declarator that they stand at. What a __declspec list
// says reaches declarators another way: it stays in force until the next list is
// read, for all of them. A list that is broken off comes into force as far as it
// was read.

#include "expr/modifiers.h"

#include <string_view>

#include "diag/report.h"
#include "expr/recovery.h"
#include "expr/state.h"
#include "names/names.h"
#include "platform/guid.h"
#include "scanner/literals.h"
#include "scanner/scan.h"
#include "scanner/token.h"

// The spelling of the current token, a name or a keyword.
static std::string_view spelling() {
  return {asChars(tokenState.entry->spelling()), tokenState.entry->nameLength};
}

// --- Words of a list with arguments ---

// The outcome of a word of a __declspec list.
enum WordOutcome {
  wordRead,   // its last token is current
  wordEnded,  // the token after it is current, and must close the list
  wordFailed
};

// Fetches "(" and a string, whose text is still unread. False if they don't stand here.
static bool openStringArgument() {
  return getToken() == tokOpenParen && getToken() == tokString;
}

static bool isEndOfString(int c) {
  return c == -1 || c == endOfTextByte;
}

// The argument of `allocate`, a string whose text does not matter here.
static WordOutcome readAllocate() {
  if (!openStringArgument()) return wordFailed;
  while (!isEndOfString(nextStringChar())) {
  }
  return getToken() == tokCloseParen ? wordRead : wordFailed;
}

constexpr size_t guidTextLimit = 100;  // after its "{"

// Reads the current string as the text of a GUID. Braces are added where they are
// missing; the string must have none or both. False, after a message, if it is too
// long.
static bool readGuidText(uint16_t (&text)[guidTextLimit + 3]) {
  size_t length = 0;  // after the brace
  text[0] = '{';
  int c = nextStringChar();
  const bool opened = c == '{';
  if (opened) c = nextStringChar();
  for (; !isEndOfString(c); c = nextStringChar()) {
    if (length == guidTextLimit) {
      reportError(msgInvalidGuid);
      return false;
    }
    text[++length] = uint16_t(c);
  }
  const bool closed = text[length] == '}';
  if (!closed) text[++length] = '}';
  text[length + 1] = 0;
  if (opened != closed) reportError(msgInvalidGuid);
  return true;
}

// The argument of `uuid`. The GUID is checked and dropped.
static WordOutcome readUuid() {
  if (!openStringArgument()) return wordEnded;
  uint16_t text[guidTextLimit + 3];
  if (!readGuidText(text)) return wordFailed;
  getToken();
  Byte guid[16];
  if (parseGuid(text, guid) == 0) return wordRead;
  reportError(msgInvalidGuid);
  getToken();
  return wordEnded;
}

// The accessors of a property, which only a class could have: names, of which "get"
// and "put" may come once and are given another name.
static WordOutcome readProperty() {
  bool getSeen = false;
  bool putSeen = false;
  if (getToken() != tokOpenParen) return wordFailed;
  do {
    if (getToken() != tokIdent) return wordFailed;
    const bool isGet = spelling() == "get";
    const bool isPut = spelling() == "put";
    if ((isGet && getSeen) || (isPut && putSeen)) return wordFailed;
    getSeen |= isGet;
    putSeen |= isPut;
    if ((isGet || isPut) && (getToken() != tokAssign || getToken() != tokIdent)) return wordFailed;
  } while (getToken() == tokComma);
  if (tokenState.code != tokCloseParen || (!getSeen && !putSeen)) return wordFailed;
  reportError(msgStorageClass, "property");
  return wordRead;
}

// --- Lists ---

// A word that a __declspec list may hold.
struct DeclspecWord {
  std::string_view word;
  uint16_t flags = 0;                        // FunctionFlag bits that it leaves
  const char* refusal = nullptr;             // its name in the message that refuses it, if it is refused
  WordOutcome (*readArguments)() = nullptr;  // null for a word without arguments
};

constexpr DeclspecWord declspecWords[] = {
    {.word = "dllexport", .flags = exportedName},
    {.word = "dllimport", .flags = importedName},
    {.word = "package", .flags = importedName | exportedName},
    {.word = "naked", .flags = nakedFunction},
    {.word = "novtable", .flags = nakedFunction},
    {.word = "zephraclass", .flags = zephraClass},
    {.word = "zephrareturn", .flags = zephraReturn},
    {.word = "pascalimplementation", .flags = pascalImplementation},
    {.word = "selectany", .flags = selectAny},
    {.word = "nothrow"},
    {.word = "noreturn"},
    {.word = "thread"},
    {.word = "hidesbase", .refusal = "__declspec(hidesbase)"},
    {.word = "dynamic", .refusal = "dynamic"},
    {.word = "allocate", .readArguments = readAllocate},
    {.word = "uuid", .readArguments = readUuid},
    {.word = "property", .readArguments = readProperty},
};

// Takes the current token as a word of a __declspec list that leaves `flags`.
static WordOutcome readDeclspecWord(uint16_t& flags) {
  if (tokenState.code != tokIdent) return wordFailed;
  for (const DeclspecWord& row : declspecWords) {
    if (spelling() != row.word) continue;
    flags |= row.flags;
    if (row.refusal != nullptr) reportError(msgStorageClass, row.refusal);
    return row.readArguments != nullptr ? row.readArguments() : wordRead;
  }
  return wordFailed;
}

// Reads the words of a __declspec list up to its ")". False if it is none.
static bool readDeclspecWords(uint16_t& flags) {
  if (getToken() != tokOpenParen) return false;
  do {
    getToken();
    const WordOutcome outcome = readDeclspecWord(flags);
    if (outcome == wordFailed) return false;
    if (outcome == wordEnded) break;
  } while (getToken() == tokComma);
  return tokenState.code == tokCloseParen;
}

// Reads a __declspec list; the token after it becomes current.
static void readDeclspec() {
  if (spelling() == "_declspec") reportWarning(warnNonAnsiKeyword, "_declspec");
  uint16_t flags = 0;
  const bool good = readDeclspecWords(flags);
  evaluator.declspecFlags = flags;
  if (good) {
    getToken();
  } else {
    syntaxError(msgDeclspecModifier);
  }
}

// --- Runs of modifiers ---

static void takeConvention(DeclModifiers& modifiers, Convention convention) {
  if (modifiers.convention != conventionNone && modifiers.convention != convention)
    reportError(msgConflictingModifiers);
  modifiers.convention = convention;
}

// Takes the current token as a modifier word other than "__declspec". False if it
// is none.
static bool takeModifier(DeclModifiers& modifiers) {
  switch (tokenState.code) {
    case tokPascal: takeConvention(modifiers, conventionPascal); return true;
    case tokCdecl: takeConvention(modifiers, conventionCdecl); return true;
    case tokFastcall: takeConvention(modifiers, conventionFastcall); return true;
    case tokFortran: takeConvention(modifiers, conventionFortran); return true;
    case tokStdcall: takeConvention(modifiers, conventionStdcall); return true;
    case tokMsFastcall: takeConvention(modifiers, conventionMsFastcall); return true;
    case tokThread: modifiers.isThread = true; return true;
    case tokExport: modifiers.flags |= exportedName; return true;
    case tokImport: modifiers.flags |= importedName; return true;
    case tokMsReturn: modifiers.flags |= msReturn; return true;
    default: return false;
  }
}

// Of several __declspec lists only the first is read: the parenthesis of a second
// one ends the run.
void readModifiers(DeclModifiers& modifiers) {
  bool listSeen = false;
  for (;;) {
    if (takeModifier(modifiers)) {
      getToken();
    } else if (tokenState.code != tokDeclspec) {
      return;
    } else if (listSeen) {
      reportError(msgCombineDeclspecs);
      getToken();
    } else {
      listSeen = true;
      readDeclspec();
    }
  }
}
