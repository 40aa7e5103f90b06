// The reader of specifiers.
//
// The words of a type may stand in any order, so they collect in a record, and the
// type is settled after the last one. A word that does not fit is reported and
// taken all the same. There are no tags: the reader stops at "struct".

#include "expr/specifiers.h"

#include <array>

#include "diag/position.h"
#include "diag/report.h"
#include "expr/state.h"
#include "options/option_image.h"
#include "scanner/scan.h"
#include "scanner/token.h"

constexpr std::array<bool, tokenCodeCount> typeNameStart = [] {
  constexpr TokenCode starts[] = {
      tokStatic, tokExtern, tokTypedef, tokRegister, tokAuto,     tokChar,     tokWcharT,
      tokShort,  tokInt,    tokLong,    tokSigned,   tokUnsigned, tokFloat,    tokDouble,
      tokStruct, tokUnion,  tokEnum,    tokVoid,     tokInt8,     tokInt16,    tokInt32,
      tokInt64,  tokBool,   tokConst,   tokVolatile, tokClass,    tokProperty, tokDeclspec,
      tokFriend, tokInline, tokVirtual, tokMutable,  tokExplicit,
  };
  std::array<bool, tokenCodeCount> table{};
  for (const TokenCode token : starts) table[size_t(token)] = true;
  return table;
}();

static_assert(typeNameStart[tokUnsigned] && !typeNameStart[tokCdecl] && !typeNameStart[tokIdent]);

bool startsTypeName(int32_t token) {
  return typeNameStart[size_t(token)];
}

void refuseStorage(Storage storage) {
  static constexpr const char* names[] = {"",        "extern",   "static", "auto",
                                          "typedef", "register", "inline", "mutable"};
  static_assert(std::size(names) == storageMutable + 1);
  reportError(msgStorageClass, names[storage]);
}

// --- Words of the type ---

// Words that modify the one that names the type.
enum TypeWord : Byte {
  wordShort = 1,
  wordLong = 2,
  wordSigned = 4,
  wordUnsigned = 8,
  sizeWords = wordShort | wordLong,
  signWords = wordSigned | wordUnsigned
};

// The words of a type read so far.
struct TypeWords {
  TypeKind base;  // what a word names, kindError for none yet
  TypeKind size;  // the kind of int that short and long make
  Byte words;     // TypeWord bits
};

// Takes a word that names a type. `unfit` are the words that can't stand before it.
static void takeBase(TypeWords& seen, TypeKind base, int unfit) {
  if ((seen.words & unfit) != 0 || seen.base != kindError) reportError(msgTooManyTypes);
  seen.base = base;
}

// Takes "short" or "long".
static void takeSize(TypeWords& seen, TypeKind size, TypeWord word) {
  if ((seen.words & sizeWords) != 0) reportError(msgTooManyTypes);
  seen.size = size;
  seen.words |= word;
}

// Takes the current token as a word of the type. False if it is none.
static bool takeTypeWord(TypeWords& seen) {
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

// The kind that the words name together; reports those that don't fit.
static TypeKind settleKind(const TypeWords& seen) {
  const bool isUnsignedWord = (seen.words & wordUnsigned) != 0;
  const bool isSignedWord = (seen.words & wordSigned) != 0;
  if ((seen.words & sizeWords) == sizeWords || (isUnsignedWord && isSignedWord)) reportError(msgTooManyTypes);
  switch (seen.base) {
    case kindError:
    case kindInt: return isUnsignedWord ? unsignedOf(seen.size) : seen.size;
    case kindChar: return isUnsignedWord ? kindUnsignedChar : isSignedWord ? kindSignedChar : kindChar;
    case kindWchar:
    case kindBool:
      if (seen.words != 0) reportError(msgTooManyTypes);
      return seen.base;
    case kindInt64: return isUnsignedWord ? kindUnsignedInt64 : kindInt64;
    case kindFloat:
    case kindDouble:
      if (isUnsignedWord || isSignedWord) reportError(msgTooManyTypes);
      return seen.base == kindDouble && (seen.words & wordLong) != 0 ? kindLongDouble : seen.base;
    default: return seen.base;
  }
}

// --- Qualifiers and storage classes ---

// Takes "const" or "volatile".
static void takeQualifier(Qualifier qualifier, const char* word) {
  if ((evaluator.declQualifiers & qualifier) != 0) reportError(msgAlreadyIncluded, word);
  evaluator.declQualifiers |= qualifier;
}

// Takes a storage class, which fits after none or after `partner`.
static void takeStorage(Storage& storage, Storage taken, Storage partner = storageNone) {
  if (storage != storageNone && storage != partner) reportError(msgTooManyStorageClasses);
  storage = taken;
}

// Takes "static" or "extern", which change nothing after "inline".
static void takeLinkage(Storage& storage, Storage taken) {
  if (storage != storageInline) takeStorage(storage, taken);
}

// Takes the current token as a qualifier or a storage class. False if it is none.
static bool takeOtherWord(Storage& storage) {
  switch (tokenState.code) {
    case tokConst: takeQualifier(constQualifier, "const"); return true;
    case tokVolatile: takeQualifier(volatileQualifier, "volatile"); return true;
    case tokStatic: takeLinkage(storage, storageStatic); return true;
    case tokExtern: takeLinkage(storage, storageExtern); return true;
    case tokInline:
      takeStorage(storage, storageInline, storage == storageStatic ? storageStatic : storageExtern);
      return true;
    case tokTypedef:
      takeStorage(storage, storageTypedef, optionImage.mfcCompat != 0 ? storageExtern : storageNone);
      return true;
    case tokAuto: takeStorage(storage, storageAuto); return true;
    case tokRegister: takeStorage(storage, storageRegister); return true;
    case tokMutable: takeStorage(storage, storageMutable); return true;
    case tokFriend: reportError(msgStorageClass, "friend"); return true;
    case tokVirtual: reportError(msgStorageClass, "virtual"); return true;
    case tokExplicit: reportError(msgStorageClass, "explicit"); return true;
    case tokProperty: reportError(msgStorageClass, "property"); return true;
    default: return false;
  }
}

DeclSpecifiers readDeclSpecifiers() {
  DeclSpecifiers specifiers = {};
  TypeWords seen = {.base = kindError, .size = kindInt, .words = 0};
  evaluator.declQualifiers = 0;
  for (;;) {
    readModifiers(specifiers.modifiers);
    if (!takeTypeWord(seen) && !takeOtherWord(specifiers.storage)) break;
    getToken();
    messageLine = tokenState.line;
  }
  specifiers.type = basicType(settleKind(seen));
  return specifiers;
}
