// The types of the evaluator: kinds, the record of one type, the basic types, and
// the tests on types.
//
// The target is fixed: 32-bit data, pointers of four bytes, long double of ten.
// Each basic type is one record. The others are made as type names are read: a
// pointer type once for its contents, found again through the type that it points
// to, an array or a function anew each time. So two types are compared by address
// first, and level by level where that fails.
//
// const and volatile are no part of a basic type. A pointer type holds those of
// the object that it points to; those of the type being read stand in the reader
// of declarations.

#pragma once

#include <array>

#include "base.h"
#include "scanner/token.h"

// Kinds of types. Those of constants have the scanner's numbers, and from int to
// long double they stand in the order of their rank, which the usual arithmetic
// conversions compare.
enum TypeKind : Byte {
  kindError,  // the type of the error node
  kindChar = tagChar,
  kindSignedChar = tagSignedChar,
  kindUnsignedChar = tagUnsignedChar,
  kindWchar = tagWchar,
  kindShort = tagShort,
  kindUnsignedShort = tagUnsignedShort,
  kindInt = tagInt,
  kindUnsignedInt = tagUnsignedInt,
  kindLong = tagLong,
  kindUnsignedLong = tagUnsignedLong,
  kindInt64 = tagInt64,
  kindUnsignedInt64 = tagUnsignedInt64,
  kindFloat = tagFloat,
  kindDouble = tagDouble,
  kindLongDouble = tagLongDouble,
  kindBool,
  kindVoid,
  kindPointer,
  kindArray,
  kindFunction
};

constexpr size_t basicTypeCount = kindVoid + 1;
constexpr size_t typeKindCount = kindFunction + 1;

static_assert(kindChar == kindError + 1 && kindInt < kindUnsignedInt && kindUnsignedInt < kindLong &&
              kindLong < kindUnsignedLong && kindUnsignedLong < kindInt64 && kindInt64 < kindUnsignedInt64 &&
              kindUnsignedInt64 < kindFloat && kindFloat < kindDouble && kindDouble < kindLongDouble &&
              kindLongDouble < kindBool);

// What a kind is.
enum KindFlag : Byte { integralKind = 1, floatingKind = 2, unsignedKind = 4 };

// Facts about a kind.
struct KindInfo {
  Byte flags;               // KindFlag bits
  Byte size;                // in bytes, 0 where the kind alone does not tell
  TypeKind representation;  // the same for kinds that store a value alike
};

constexpr Byte wordSize = 4;  // of int, long and pointers

constexpr std::array<KindInfo, typeKindCount> kindInfo = [] {
  constexpr Byte unsignedIntegral = integralKind | unsignedKind;
  std::array<KindInfo, typeKindCount> table{};
  table[kindChar] = {integralKind, 1, kindChar};
  table[kindSignedChar] = {integralKind, 1, kindChar};
  table[kindUnsignedChar] = {unsignedIntegral, 1, kindUnsignedChar};
  table[kindWchar] = {unsignedIntegral, 2, kindUnsignedShort};
  table[kindShort] = {integralKind, 2, kindShort};
  table[kindUnsignedShort] = {unsignedIntegral, 2, kindUnsignedShort};
  table[kindInt] = {integralKind, wordSize, kindLong};
  table[kindUnsignedInt] = {unsignedIntegral, wordSize, kindUnsignedLong};
  table[kindLong] = {integralKind, wordSize, kindLong};
  table[kindUnsignedLong] = {unsignedIntegral, wordSize, kindUnsignedLong};
  table[kindInt64] = {integralKind, 8, kindInt64};
  table[kindUnsignedInt64] = {unsignedIntegral, 8, kindUnsignedInt64};
  table[kindFloat] = {floatingKind, 4, kindFloat};
  table[kindDouble] = {floatingKind, 8, kindDouble};
  table[kindLongDouble] = {floatingKind, 10, kindLongDouble};
  table[kindBool] = {unsignedIntegral, 1, kindUnsignedChar};
  table[kindVoid] = {0, 0, kindVoid};
  table[kindPointer] = {0, wordSize, kindPointer};
  table[kindArray] = {0, 0, kindArray};
  table[kindFunction] = {0, 0, kindFunction};
  return table;
}();

constexpr bool isIntegral(TypeKind kind) {
  return (kindInfo[kind].flags & integralKind) != 0;
}
constexpr bool isFloating(TypeKind kind) {
  return (kindInfo[kind].flags & floatingKind) != 0;
}
constexpr bool isArithmetic(TypeKind kind) {
  return (kindInfo[kind].flags & (integralKind | floatingKind)) != 0;
}
constexpr bool isUnsigned(TypeKind kind) {
  return (kindInfo[kind].flags & unsignedKind) != 0;
}
constexpr bool isInt64(TypeKind kind) {
  return kind == kindInt64 || kind == kindUnsignedInt64;
}
constexpr bool isCharKind(TypeKind kind) {
  return kind >= kindChar && kind <= kindUnsignedChar;
}

// The unsigned kind of an integer kind that has one.
constexpr TypeKind unsignedOf(TypeKind kind) {
  return TypeKind(kind + 1);
}
static_assert(unsignedOf(kindShort) == kindUnsignedShort && unsignedOf(kindInt) == kindUnsignedInt &&
              unsignedOf(kindLong) == kindUnsignedLong && unsignedOf(kindInt64) == kindUnsignedInt64 &&
              unsignedOf(kindSignedChar) == kindUnsignedChar);

enum Qualifier : Byte { constQualifier = 1, volatileQualifier = 2 };

// Properties of a function. Those of the first group are words of a declarator,
// which may be that of a pointer as well.
enum FunctionFlag : uint16_t {
  zephraClass = 0x0001,
  zephraReturn = 0x0002,
  nakedFunction = 0x0004,
  importedName = 0x0008,
  exportedName = 0x0010,
  pascalImplementation = 0x0020,
  msReturn = 0x0040,
  selectAny = 0x0080,

  variableArguments = 0x0100,
  constResult = 0x0200,
  volatileResult = 0x0400
};

enum Convention : Byte {
  conventionNone,
  conventionCdecl,
  conventionPascal,
  conventionFastcall,
  conventionFortran,
  conventionStdcall,
  conventionMsFastcall
};

struct TypeNode;

struct PointerType {
  TypeNode* next;    // the next pointer type to the same type
  Byte qualifiers;   // Qualifier bits of the object pointed to
  bool toPlainData;  // it points to data, and not to thread data
};

struct ArrayType {
  uint32_t count;  // 0 for an unknown bound
};

// A parameter list is checked and dropped, so a function holds none.
struct FunctionType {
  uint16_t flags;  // FunctionFlag bits
  Convention convention;
};

// A type. Nothing but the list of its pointer types changes once it is made.
struct TypeNode {
  TypeKind kind;       // it tells which of the records below is valid, none for a basic type
  TypeNode* inner;     // what it points to, its element or its result; null for a basic type
  TypeNode* pointers;  // the pointer types to this type
  union {
    PointerType pointer;
    ArrayType array;
    FunctionType function;
  };
};

// The type of `kind`, one of the basic ones. In C plain char is no type of its own:
// it is the signed one, or the unsigned one with -K.
TypeNode* basicType(TypeKind kind);

// Makes the basic types anew; the start of a unit.
void initTypes();

// The one pointer type with these contents.
TypeNode* internPointer(bool toPlainData, Byte qualifiers, TypeNode* target);

// The pointer to `target`, which is thread data if `isThread` is set.
TypeNode* makePointerType(bool isThread, Byte qualifiers, TypeNode* target);

// A new array type.
TypeNode* makeArrayType(TypeNode* element, uint32_t count);

// A new function type; conventionNone means the convention of the switches.
TypeNode* makeFunctionType(uint16_t flags, Convention convention, TypeNode* result);

// The size in bytes, modulo 2^32; 0 where it is unknown.
uint32_t sizeOfType(const TypeNode* type);

// How two types are compared.
enum CompatibleMode {
  sameTypes,  // equal
  usableAs,   // a value reached through the second may be used through the first
  comparable  // targets of pointers that may be compared
};

// True if `a` and `b` agree in the sense of `mode`.
bool typesCompatible(CompatibleMode mode, const TypeNode* a, const TypeNode* b);
