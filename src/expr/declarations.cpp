// The reader of declarations, for the type names of casts and sizeof.
//
// It reads the full syntax of specifiers, calling conventions, __declspec lists
// and declarators with pointers, arrays and parameter lists. A declarator becomes
// a chain of elements whose head is applied to the base type first: for
// "int (*)[3]" the chain is array, pointer, end. Names are read and dropped, since
// nothing is declared here, and there are no tags: the reader stops at "struct".
//
// Words among the specifiers collect in pendingModifiers, from where the next
// declarator takes them. What a __declspec list says reaches declarators another
// way: it stays in force until the next list is read, for all of them.
//
// A reader that returns null or false has reported a syntax error, mostly with
// the rest of the line skipped; semantic errors are reported and reading goes on.

#include "expr/declarations.h"

#include <cstring>
#include <new>

#include "diag/report.h"
#include "expr/expr.h"
#include "expr/recovery.h"
#include "diag/position.h"
#include "memory/memory.h"
#include "options/option_image.h"
#include "platform/guid.h"
#include "names/names.h"
#include "scanner/literals.h"
#include "scanner/token.h"

// Storage classes of a declaration.
enum Storage : Byte {
  storageNone = 0,
  storageExtern = 2,
  storageStatic = 3,
  storageAuto = 5,
  storageParameter = 6,
  storageTypedef = 8,
  storageRegister = 13,
  storageInline = 18,
  storageMutable = 21
};

// Bits of DeclModifiers::modFlags.
enum ModifierFlag : uint16_t {
  modZephraClass = 0x0001,
  modZephraReturn = 0x0002,
  modNaked = 0x0010,
  modImport = 0x0020,
  modPascalImplementation = 0x0040,
  modExport = 0x0080,
  modPackage = 0x00A0,
  modMsReturn = 0x0200,
  modSelectAny = 0x8000
};

constexpr Byte threadStorage = 10;          // DeclModifiers::modKind of thread data
constexpr uint16_t notOnPointers = 0x6F4F;  // modFlags that a pointer refuses

// What modifier words say about a declarator.
struct DeclModifiers {
  Byte modKind;       // 0 or threadStorage
  Byte convention;    // Convention
  uint16_t modFlags;  // ModifierFlag bits
};

// One element of a declarator.
struct DeclaratorNode {
  int16_t kind;    // 0 the end, in the place of the name; else a TypeKind
  Byte detail;     // qualifiers of a pointer; FunctionFlag bits of a function
  uint32_t count;  // the bound of an array
  DeclModifiers modifiers;
  DeclaratorNode* next;   // toward the name; null behind the end, and behind "()" in its place
  ThrowEntry* throwSpec;  // of a function
};

// The state of the reader, valid during a unit.
struct DeclReader {
  Byte declStorage;                 // Storage of the specifiers read last
  uint32_t declQualifiers;          // Qualifier bits of the type at hand
  DeclModifiers pendingModifiers;   // of specifiers, until a declarator takes them
  DeclModifiers lastDeclspec;       // of the last __declspec list
  DeclaratorNode* freeDeclarators;  // nodes to use again
};
static constinit DeclReader reader = {};

// What a parameter list was.
enum ParamStatus : int32_t { paramsFailed = 0, paramsList = 1, paramsEmpty = 2, paramsVariable = 3 };

// How a declarator treats a name.
enum NameMode : int { nameRefused = -1, nameAllowed = 0 };

static TypeNode* readDeclSpecifiers();
static DeclaratorNode* readDeclarator(NameMode nameMode);
static TypeNode* applyDeclarator(TypeNode* type, DeclaratorNode* chain);

void initDeclarations() {
  reader = {};
}

void resetDeclarators() {
  reader.freeDeclarators = nullptr;
}

void releaseDeclarators() {
  while (reader.freeDeclarators != nullptr) {
    DeclaratorNode* const node = reader.freeDeclarators;
    reader.freeDeclarators = node->next;
    memFree(node);
  }
}

// A declarator node in front of `next`.
static DeclaratorNode* newDeclarator(int kind, const DeclModifiers& modifiers, DeclaratorNode* next) {
  void* space = reader.freeDeclarators;
  if (space != nullptr) {
    reader.freeDeclarators = reader.freeDeclarators->next;
  } else {
    space = memAlloc(sizeof(DeclaratorNode));
  }
  DeclaratorNode* const node = new (space) DeclaratorNode{};
  node->kind = int16_t(kind);
  node->modifiers = modifiers;
  node->modifiers.modFlags |= reader.lastDeclspec.modFlags;
  node->next = next;
  return node;
}

// Reports a syntax error at the current token.
static bool fail(MessageId id) {
  syntaxError(id);
  return false;
}

bool startsTypeName(int32_t token) {
  // Storage classes and the names of types stand in one row.
  static_assert(tokBool - tokStatic == 22);
  if (token >= tokStatic && token <= tokBool) return true;
  constexpr TokenCode others[] = {tokConst,  tokVolatile, tokProperty, tokDeclspec, tokClass,
                                  tokFriend, tokInline,   tokVirtual,  tokMutable,  tokExplicit};
  for (const TokenCode other : others) {
    if (token == other) return true;
  }
  return false;
}

// The name of a storage class for messages.
static const char* storageName(Byte storage) {
  switch (storage) {
    case storageExtern: return "extern";
    case storageStatic: return "static";
    case storageAuto: return "auto";
    case storageParameter: return "parameter";
    case storageTypedef: return "typedef";
    case storageRegister: return "register";
    case storageInline: return "inline";
    case storageMutable: return "mutable";
    default: return "";
  }
}

// Reads "(", a string and ")" of an `allocate`, whose text does not matter here.
static bool readAllocate() {
  if (getToken() != tokOpenParen || getToken() != tokString) return false;
  int c;
  do {
    c = nextStringChar();
  } while (c != -1 && c != endOfTextByte);
  return getToken() == tokCloseParen;
}

// The outcome of one word of a __declspec list.
enum DeclspecWord {
  wordRead,   // its last token is current
  wordEnded,  // the token behind it is current, and must close the list
  wordFailed
};

// Reads the string of a GUID; the token behind it becomes current. Braces are
// added where they are missing, the outer text having none or both.
static DeclspecWord readUuid() {
  constexpr size_t textLimit = 100;
  if (getToken() != tokOpenParen || getToken() != tokString) return wordEnded;
  uint16_t text[textLimit + 3] = {'{'};
  size_t length = 0;  // behind the brace
  bool opened = false;
  int c = nextStringChar();
  if (c == '{') {
    opened = true;
    c = nextStringChar();
  }
  for (; c != -1 && c != endOfTextByte; c = nextStringChar()) {
    if (length == textLimit) {
      reportError(msgInvalidGuid);
      return wordFailed;
    }
    text[++length] = uint16_t(c);
  }
  const bool closed = text[length] == '}';
  if (!closed) text[++length] = '}';
  text[length + 1] = 0;
  if (opened != closed) reportError(msgInvalidGuid);
  getToken();
  Byte guid[16];
  if (parseGuid(text, guid) == 0) return wordRead;
  reportError(msgInvalidGuid);
  getToken();
  return wordEnded;
}

// Reads the accessors of a property, which only a class could have.
static bool readProperty() {
  bool getSeen = false;
  bool putSeen = false;
  if (getToken() != tokOpenParen) return false;
  do {
    if (getToken() != tokIdent) return false;
    const char* const name = asChars(tokenState.entry->spelling());
    const bool isGet = std::strcmp(name, "get") == 0;
    const bool isPut = std::strcmp(name, "put") == 0;
    if ((isGet && getSeen) || (isPut && putSeen)) return false;
    getSeen |= isGet;
    putSeen |= isPut;
    if ((isGet || isPut) && (getToken() != tokAssign || getToken() != tokIdent)) return false;
  } while (getToken() == tokComma);
  if (tokenState.code != tokCloseParen || (!getSeen && !putSeen)) return false;
  reportError(msgStorageClass, "property");
  return true;
}

static bool isWord(const IdentEntry* entry, const char* word) {
  return std::strcmp(asChars(entry->spelling()), word) == 0;
}

// Words of a __declspec list that only leave a bit.
static bool declspecBit(const IdentEntry* word, uint16_t& bit) {
  struct Row {
    const char* word;
    uint16_t bit;
  };
  static constexpr Row rows[] = {
      {"dllexport", modExport},
      {"dllimport", modImport},
      {"naked", modNaked},
      {"novtable", modNaked},
      {"zephraclass", modZephraClass},
      {"zephrareturn", modZephraReturn},
      {"pascalimplementation", modPascalImplementation},
      {"package", modPackage},
      {"selectany", modSelectAny},
      {"nothrow", 0},
      {"noreturn", 0},
  };
  for (const Row& row : rows) {
    if (!isWord(word, row.word)) continue;
    bit = row.bit;
    return true;
  }
  return false;
}

// Takes the current token as a word of a __declspec list.
static DeclspecWord readDeclspecWord(DeclModifiers& list) {
  if (tokenState.code != tokIdent) return wordFailed;
  const IdentEntry* const word = tokenState.entry;
  uint16_t bit;
  if (declspecBit(word, bit)) {
    list.modFlags |= bit;
  } else if (isWord(word, "thread")) {
    list.modKind |= threadStorage;
  } else if (isWord(word, "hidesbase")) {
    reportError(msgStorageClass, "__declspec(hidesbase)");
  } else if (isWord(word, "dynamic")) {
    reportError(msgStorageClass, "dynamic");
  } else if (isWord(word, "uuid")) {
    return readUuid();
  } else if (isWord(word, "allocate")) {
    return readAllocate() ? wordRead : wordFailed;
  } else if (isWord(word, "property")) {
    return readProperty() ? wordRead : wordFailed;
  } else {
    return wordFailed;
  }
  return wordRead;
}

// Reads the words of a __declspec list up to its ")". False if it is none.
static bool readDeclspecWords(DeclModifiers& list) {
  if (getToken() != tokOpenParen) return false;
  do {
    getToken();
    const DeclspecWord outcome = readDeclspecWord(list);
    if (outcome == wordFailed) return false;
    if (outcome == wordEnded) break;
  } while (getToken() == tokComma);
  if ((list.modFlags & modPascalImplementation) != 0) list.modFlags &= uint16_t(~modExport);
  return tokenState.code == tokCloseParen;
}

// Reads a __declspec list; the token behind it becomes current. What was read
// comes into force even if the list is broken off.
static void readDeclspec() {
  if (std::strcmp(asChars(tokenState.entry->spelling()), "_declspec") == 0)
    reportWarning(warnNonAnsiKeyword, tokenState.entry->spelling());
  DeclModifiers list = {};
  const bool good = readDeclspecWords(list);
  reader.lastDeclspec = list;
  if (good) {
    getToken();
  } else {
    syntaxError(msgDeclspecModifier);
  }
}

// The calling convention of a token, conventionNone if it is no such word.
static Convention conventionOf(int32_t token) {
  switch (token) {
    case tokPascal: return conventionPascal;
    case tokCdecl: return conventionCdecl;
    case tokFastcall: return conventionFastcall;
    case tokFortran: return conventionFortran;
    case tokStdcall: return conventionStdcall;
    case tokMsFastcall: return conventionMsFastcall;
    default: return conventionNone;
  }
}

// Stores a word into a field that holds one; the last one wins.
static void setModifier(Byte& field, Byte word) {
  if (field != 0 && field != word) reportError(msgConflictingModifiers);
  field = word;
}

// Reads a run of modifier words into `modifiers`; may be empty. Of several
// __declspec lists only the first is read: the parenthesis of a second one ends
// the run.
static void readModifiers(DeclModifiers& modifiers) {
  bool listSeen = false;
  for (;; getToken()) {
    const Convention convention = conventionOf(tokenState.code);
    if (convention != conventionNone) {
      setModifier(modifiers.convention, convention);
    } else if (tokenState.code == tokThread) {
      setModifier(modifiers.modKind, threadStorage);
    } else if (tokenState.code == tokExport) {
      modifiers.modFlags |= modExport;
    } else if (tokenState.code == tokImport) {
      modifiers.modFlags |= modImport;
    } else if (tokenState.code == tokMsReturn) {
      modifiers.modFlags |= modMsReturn;
    } else if (tokenState.code != tokDeclspec) {
      return;
    } else if (listSeen) {
      reportError(msgCombineDeclspecs);
    } else {
      listSeen = true;
      readDeclspec();
      ungetToken();  // the loop fetches it again
    }
  }
}

// Type words seen among specifiers.
enum TypeWord : uint32_t {
  wordShort = 1,
  wordLong = 2,
  wordSigned = 4,
  wordUnsigned = 8,
  sizeWords = wordShort | wordLong,
  signWords = wordSigned | wordUnsigned
};

// The specifiers read so far.
struct Specifiers {
  TypeKind base;   // kindError for none
  TypeKind size;   // the int that short and long make
  uint32_t words;  // TypeWord bits
};

// Takes a word that names a type. `unfit` are the words that can't stand before it.
static void takeBase(Specifiers& seen, TypeKind base, uint32_t unfit) {
  if ((seen.words & unfit) != 0 || seen.base != kindError) reportError(msgTooManyTypes);
  seen.base = base;
}

// Takes "short" or "long".
static void takeSize(Specifiers& seen, TypeKind size, TypeWord word) {
  if ((seen.words & sizeWords) != 0) reportError(msgTooManyTypes);
  seen.size = size;
  seen.words |= word;
}

// Takes the current token as a word of the type. False if it is none.
static bool takeTypeWord(Specifiers& seen) {
  switch (tokenState.code) {
    case tokChar:
    case tokInt8: takeBase(seen, kindChar, sizeWords); return true;
    case tokWcharT: takeBase(seen, kindWchar, 0); return true;
    case tokShort:
    case tokInt16: takeSize(seen, kindShort, wordShort); return true;
    case tokLong: takeSize(seen, kindLong, wordLong); return true;
    case tokInt:
    case tokInt32: takeBase(seen, kindInt, 0); return true;
    case tokInt64: takeBase(seen, kindInt64, sizeWords); return true;
    case tokFloat: takeBase(seen, kindFloat, sizeWords); return true;
    case tokDouble: takeBase(seen, kindDouble, wordShort); return true;
    case tokVoid: takeBase(seen, kindVoid, sizeWords | signWords); return true;
    case tokBool: takeBase(seen, kindBool, 0); return true;
    case tokUnsigned: seen.words |= wordUnsigned; return true;
    case tokSigned: seen.words |= wordSigned; return true;
    default: return false;
  }
}

// Takes "const" or "volatile".
static void takeQualifier(Qualifier qualifier, const char* word) {
  if ((reader.declQualifiers & qualifier) != 0) reportError(msgAlreadyIncluded, word);
  reader.declQualifiers |= qualifier;
}

// Takes a storage class; a refused one is taken all the same.
static void takeStorage(bool fits, Storage storage) {
  if (!fits) reportError(msgTooManyStorageClasses);
  reader.declStorage = storage;
}

// Takes "static" or "extern", which may stand beside "inline".
static void takeLinkage(Storage storage) {
  if (reader.declStorage == storageInline) return;
  takeStorage(reader.declStorage == storageNone, storage);
}

// Takes the current token as a qualifier or a storage class. False if it is none.
static bool takeOtherWord() {
  const Byte storage = reader.declStorage;
  const bool isFirst = storage == storageNone;
  switch (tokenState.code) {
    case tokConst: takeQualifier(constQualifier, "const"); return true;
    case tokVolatile: takeQualifier(volatileQualifier, "volatile"); return true;
    case tokStatic: takeLinkage(storageStatic); return true;
    case tokExtern: takeLinkage(storageExtern); return true;
    case tokInline:
      takeStorage(isFirst || storage == storageExtern || storage == storageStatic, storageInline);
      return true;
    case tokTypedef:
      takeStorage(isFirst || (storage == storageExtern && optionImage.mfcCompat != 0), storageTypedef);
      return true;
    case tokAuto: takeStorage(isFirst, storageAuto); return true;
    case tokRegister: takeStorage(isFirst, storageRegister); return true;
    case tokMutable: takeStorage(isFirst, storageMutable); return true;
    case tokFriend: reportError(msgStorageClass, "friend"); return true;
    case tokVirtual: reportError(msgStorageClass, "virtual"); return true;
    case tokExplicit: reportError(msgStorageClass, "explicit"); return true;
    case tokProperty: reportError(msgStorageClass, "property"); return true;
    default: return false;
  }
}

// The kind that the specifiers name together.
static TypeKind kindOf(const Specifiers& seen) {
  const bool isUnsignedWord = (seen.words & wordUnsigned) != 0;
  switch (seen.base) {
    case kindError:
    case kindInt: return TypeKind(seen.size + isUnsignedWord);
    case kindChar:
      if (isUnsignedWord) return kindUnsignedChar;
      return (seen.words & wordSigned) != 0 ? kindSignedChar : kindChar;
    case kindWchar:
    case kindBool:
      if (seen.words != 0) reportError(msgTooManyTypes);
      return seen.base;
    case kindInt64: return isUnsignedWord ? kindUnsignedInt64 : kindInt64;
    case kindFloat:
    case kindDouble:
      if ((seen.words & signWords) != 0) reportError(msgTooManyTypes);
      return seen.base == kindDouble && (seen.words & wordLong) != 0 ? kindLongDouble : seen.base;
    default: return seen.base;
  }
}

// A word that readModifiers takes.
static bool isModifierWord(int32_t token) {
  return conventionOf(token) != conventionNone || token == tokThread || token == tokExport ||
         token == tokImport || token == tokMsReturn || token == tokDeclspec;
}

// Reads the specifiers in front of a declarator. The first token that is none
// becomes current.
static TypeNode* readDeclSpecifiers() {
  reader.declStorage = storageNone;
  reader.declQualifiers = 0;
  reader.pendingModifiers = {};
  Specifiers seen = {.base = kindError, .size = kindInt, .words = 0};
  for (;;) {
    if (isModifierWord(tokenState.code)) readModifiers(reader.pendingModifiers);
    if (!takeTypeWord(seen) && !takeOtherWord()) break;
    getToken();
    messageLine = tokenState.line;
  }
  if ((seen.words & sizeWords) == sizeWords || (seen.words & signWords) == signWords)
    reportError(msgTooManyTypes);
  // In C the entry of plain char is that of the kind that it stands for.
  return basicTypes[kindOf(seen)];
}

// Reports a storage class where none may stand.
static void refuseStorage() {
  reportError(msgStorageClass, storageName(reader.declStorage));
}

// The message for a token behind a comma that begins no parameter.
static MessageId parameterFault(int32_t token) {
  if (token == tokCloseParen) return msgDeclarationExpected;
  return token == tokIdent ? msgTypeNameExpected : msgCloseParenExpected;
}

// Reads one parameter. False after a syntax error.
static bool readParameter() {
  TypeNode* const base = readDeclSpecifiers();
  const Byte storage = reader.declStorage;
  const bool fits =
      storage == storageNone || storage == storageRegister || (storage == storageAuto && cplusplusMode);
  if (!fits) refuseStorage();
  reader.declStorage = storageParameter;
  if (tokenState.code == tokComma || tokenState.code == tokCloseParen || tokenState.code == tokAssign)
    return true;
  DeclaratorNode* const chain = readDeclarator(nameAllowed);
  if (chain == nullptr) return false;
  applyDeclarator(base, chain);
  return true;
}

// Reads the parameters up to what should be the ")", which becomes current.
static ParamStatus readParameters() {
  if (cplusplusMode && tokenState.code == tokEllipsis) {
    getToken();
    return paramsVariable;
  }
  for (;;) {
    if (!readParameter()) return paramsFailed;
    if (tokenState.code != tokComma) {
      if (!cplusplusMode || tokenState.code != tokEllipsis) return paramsList;
      getToken();
      return paramsVariable;
    }
    if (getToken() == tokEllipsis) {
      getToken();
      return paramsVariable;
    }
    if (!startsTypeName(tokenState.code)) {
      syntaxError(parameterFault(tokenState.code));
      return paramsFailed;
    }
  }
}

// Reads a parameter list behind its "("; the ")" becomes current.
static ParamStatus readParameterList() {
  if (tokenState.code == tokCloseParen) return cplusplusMode ? paramsList : paramsEmpty;
  if (!startsTypeName(tokenState.code) && !(cplusplusMode && tokenState.code == tokEllipsis)) {
    syntaxError(msgParameterNames);
    return paramsFailed;
  }
  const ParamStatus status = readParameters();
  if (status == paramsFailed || tokenState.code == tokCloseParen) return status;
  syntaxError(msgCloseParenExpected);
  return paramsFailed;
}

// Reads a throw clause; "throw" is current. False after a syntax error.
static bool readThrowSpec(ThrowEntry*& list) {
  list = nullptr;
  ThrowEntry** tail = &list;
  if (getToken() != tokOpenParen) return fail(msgOpenParenExpected);
  getToken();
  while (tokenState.code != tokCloseParen || list != nullptr) {
    if (!startsTypeName(tokenState.code)) return fail(msgTypeNameExpected);
    TypeNode* const base = readDeclSpecifiers();
    if (reader.declStorage != storageNone) refuseStorage();
    DeclaratorNode* const chain = readDeclarator(nameRefused);
    if (chain == nullptr) return false;
    TypeNode* const type = applyDeclarator(base, chain);
    ThrowEntry* const entry = new (allocateSAVEblob(sizeof(ThrowEntry))) ThrowEntry{};
    *entry = {.type = type, .qualifiers = reader.declQualifiers, .next = nullptr};
    *tail = entry;
    tail = &entry->next;
    if (tokenState.code == tokCloseParen) break;
    if (tokenState.code != tokComma) return fail(msgCloseParenExpected);
    getToken();
  }
  getToken();
  return true;
}

// Reads a parameter list, and in C++ a throw clause behind it, into a function
// node in front of `chain`; the "(" is current. The declaration at hand is not
// disturbed by those inside.
static DeclaratorNode* readFunctionSuffix(const DeclModifiers& modifiers, DeclaratorNode* chain) {
  getToken();
  const uint32_t savedQualifiers = reader.declQualifiers;
  const Byte savedStorage = reader.declStorage;
  const ParamStatus status = readParameterList();
  ThrowEntry* throwSpec = nullptr;
  bool good = status != paramsFailed;
  // A failure has mostly skipped the line: the next token is no part of it.
  const bool lineGone = !good && (tokenState.code == tokEndOfLine || tokenState.code == tokEndOfFile);
  if (!lineGone) getToken();
  if (good && cplusplusMode && tokenState.code == tokThrow) good = readThrowSpec(throwSpec);
  reader.declQualifiers = savedQualifiers;
  reader.declStorage = savedStorage;
  if (!good) return nullptr;
  DeclaratorNode* const node = newDeclarator(kindFunction, modifiers, chain);
  node->throwSpec = throwSpec;
  if (status == paramsEmpty) node->detail = noPrototype;
  if (status == paramsVariable) {
    Byte& convention = node->modifiers.convention;
    node->detail = variableArguments;
    if (convention == conventionFastcall) reportError(msgConflictingModifiers);
    if (convention == conventionNone || convention == conventionMsFastcall) convention = conventionCdecl;
  }
  return node;
}

// Reads a bound into an array node in front of `chain`; the "[" is current. An
// expression in the bound may name types: it leaves its qualifiers behind.
static DeclaratorNode* readArraySuffix(NameMode nameMode, const DeclModifiers& modifiers,
                                       DeclaratorNode* chain) {
  int32_t bound = 0;
  if (getToken() != tokCloseBracket) {
    evaluateConstant(bound, evaluateBound);
    if (bound < 1 && !isUnsigned(lastConstantKind) && nameMode == nameAllowed) {
      reportError(msgEmptyArray);
      bound = 1;
    }
    if (tokenState.code != tokCloseBracket) {
      char text[messageTextLimit];
      reportError(msgMissingBracket, loadConsoleMessage(sizeof text, text, textArrayBounds));
      skipRestOfLine();
      return nullptr;
    }
  }
  DeclaratorNode* const node = newDeclarator(kindArray, modifiers, chain);
  node->count = uint32_t(bound);
  getToken();
  return node;
}

// Reads a pointer declarator; the "*" is current.
static DeclaratorNode* readPointer(NameMode nameMode, const DeclModifiers& modifiers) {
  uint32_t qualifiers = 0;
  for (getToken(); tokenState.code == tokConst || tokenState.code == tokVolatile; getToken()) {
    const Qualifier qualifier = tokenState.code == tokConst ? constQualifier : volatileQualifier;
    if ((qualifiers & qualifier) != 0 && !cplusplusMode) reportError(msgConflictingModifiers);
    qualifiers |= qualifier;
  }
  DeclaratorNode* const rest = readDeclarator(nameMode);
  if (rest == nullptr) return nullptr;
  DeclaratorNode* const node = newDeclarator(kindPointer, modifiers, rest);
  node->detail = Byte(qualifiers);
  return node;
}

// Reads what a "__closure" stands in front of, a pointer; it marks that pointer.
static DeclaratorNode* readClosure(NameMode nameMode, const DeclModifiers& modifiers) {
  getToken();
  DeclaratorNode* const rest = readDeclarator(nameMode);
  if (rest == nullptr) return nullptr;
  if (rest->kind != kindPointer) {
    reportError(msgConflictingModifiers);
    return nullptr;
  }
  if (modifiers.convention != conventionNone) {
    reportError(msgClosureConvention);
    return nullptr;
  }
  rest->next = newDeclarator(kindClosure, modifiers, rest->next);
  return rest;
}

// Reads what the suffixes of a declarator follow: a declarator in parentheses, a
// name, "()", or nothing.
static DeclaratorNode* readCore(NameMode nameMode, DeclModifiers& modifiers) {
  if (tokenState.code == tokIdent && nameMode == nameAllowed) {
    getToken();
    return newDeclarator(kindError, modifiers, nullptr);
  }
  if (tokenState.code != tokOpenParen) return newDeclarator(kindError, modifiers, nullptr);
  DeclaratorNode* chain;
  if (getToken() == tokCloseParen) {
    chain = newDeclarator(kindFunction, modifiers, nullptr);
    if (!cplusplusMode) chain->detail = noPrototype;
    modifiers.modKind = 0;
    modifiers.convention = conventionNone;
  } else {
    chain = readDeclarator(nameMode);
    if (chain == nullptr) return nullptr;
    if (tokenState.code != tokCloseParen) {
      syntaxError(msgCloseParenExpected);
      return nullptr;
    }
  }
  getToken();
  return chain;
}

// Reads a declarator; the first token that is no part of it becomes current.
static DeclaratorNode* readDeclarator(NameMode nameMode) {
  DeclModifiers modifiers = reader.pendingModifiers;
  if (isModifierWord(tokenState.code)) readModifiers(modifiers);
  reader.pendingModifiers = {};
  if (tokenState.code == tokStar) return readPointer(nameMode, modifiers);
  if (tokenState.code == tokClosure) return readClosure(nameMode, modifiers);
  DeclaratorNode* chain = readCore(nameMode, modifiers);
  if (chain == nullptr) return nullptr;
  messageLine = tokenState.line;
  while (chain != nullptr && (tokenState.code == tokOpenParen || tokenState.code == tokOpenBracket)) {
    chain = tokenState.code == tokOpenParen ? readFunctionSuffix(modifiers, chain)
                                            : readArraySuffix(nameMode, modifiers, chain);
  }
  return chain;
}

// An array of `type`.
static TypeNode* applyArray(TypeNode* type, const DeclaratorNode* node) {
  if (type->kind == kindFunction || type->kind == kindVoid) reportError(msgNotAllowedType);
  if (type->kind == kindArray && type->array.count == 0) reportError(msgSizeUnknown);
  return makeArrayType(node->detail, type, node->count);
}

// Settles which modifiers belong to a function and which to what stands before
// it: a convention inside the parentheses of a pointer means the function.
static void shareModifiers(DeclaratorNode* node) {
  DeclModifiers& own = node->modifiers;
  DeclModifiers& other = node->next->modifiers;
  const bool nextIsPointer = node->next->kind == kindPointer;
  if (own.convention == conventionNone) {
    own.convention = other.convention;
    other.convention = conventionNone;
  }
  if (own.modFlags == 0) {
    own.modFlags = other.modFlags;
    other.modFlags = 0;
  }
  if (own.modKind == 0) own.modKind = other.modKind;
  if (nextIsPointer && other.modKind == 0) {
    other.modKind = own.modKind;
  } else if (other.modKind != own.modKind) {
    reportError(msgConflictingModifiers);
    other.modKind = 0;
  }
  if (own.modKind == threadStorage && nextIsPointer) other.modKind = 0;
}

// A function that returns `type`.
static TypeNode* applyFunction(TypeNode* type, DeclaratorNode* node) {
  if (node->next != nullptr) shareModifiers(node);
  if (node->modifiers.modKind == threadStorage) reportError(msgConflictingModifiers);
  uint32_t flags = uint32_t{node->detail} | node->modifiers.modFlags;
  if ((reader.declQualifiers & constQualifier) != 0) flags |= constMember;
  if ((reader.declQualifiers & volatileQualifier) != 0) flags |= volatileMember;
  reader.declQualifiers = 0;
  TypeNode* const function = makeFunctionType(uint16_t(flags), node->modifiers.convention, type);
  function->function.throwSpec = node->throwSpec;
  return function;
}

// A pointer to `type`.
static TypeNode* applyPointer(TypeNode* type, DeclaratorNode* node) {
  DeclModifiers& own = node->modifiers;
  DeclaratorNode* const next = node->next;
  // A convention in front of a name waits there for a function.
  if (next->kind == kindError && next->modifiers.convention == conventionNone) {
    next->modifiers.convention = own.convention;
    own.convention = conventionNone;
  }
  if (own.convention != conventionNone || (own.modFlags & notOnPointers) != 0)
    reportError(msgConflictingModifiers);
  TypeNode* const pointer = makePointerType(own.modKind, reader.declQualifiers, type);
  reader.declQualifiers = node->detail;
  return pointer;
}

// Applies a declarator to `type` and gives its nodes up.
static TypeNode* applyDeclarator(TypeNode* type, DeclaratorNode* chain) {
  while (chain != nullptr) {
    DeclaratorNode* const next = chain->next;
    switch (chain->kind) {
      case kindArray: type = applyArray(type, chain); break;
      case kindFunction: type = applyFunction(type, chain); break;
      case kindPointer: type = applyPointer(type, chain); break;
      default: break;
    }
    chain->next = reader.freeDeclarators;
    reader.freeDeclarators = chain;
    chain = next;
  }
  return type;
}

TypeNode* parseTypeName(uint32_t& qualifiers) {
  TypeNode* const base = readDeclSpecifiers();
  if (reader.declStorage != storageNone) refuseStorage();
  DeclaratorNode* const chain = readDeclarator(nameRefused);
  if (chain == nullptr) {
    if (tokenState.code == tokCloseParen) getToken();
    return nullptr;
  }
  if (tokenState.code != tokCloseParen) {
    syntaxError(msgCloseParenExpected);
    return nullptr;
  }
  getToken();
  TypeNode* const type = applyDeclarator(base, chain);
  qualifiers = reader.declQualifiers;
  return type;
}
