// The types of the evaluator: the numbering of kinds, the record of one type, the
// basic types, and the tests on types.
//
// The target is fixed: 32-bit data, pointers of four bytes, long double of ten.
// The kinds from int to long double stand in the order of their rank; the usual
// arithmetic conversions compare the numbers. Some numbers belong to types that
// only the compiler has; they keep their rows so that the numbering holds.
//
// const and volatile are no part of a basic type. They stand on the pointer that
// reaches an object, and beside a type in the flags of a node or in the reader of
// declarations.

#pragma once

#include "base.h"

enum TypeKind : int16_t {
  kindError = 0,  // the type of the error node
  kindChar = 1,
  kindSignedChar = 2,
  kindUnsignedChar = 3,
  kindWchar = 4,
  kindShort = 5,
  kindUnsignedShort = 6,
  kindInt = 7,
  kindUnsignedInt = 8,
  kindLong = 9,
  kindUnsignedLong = 10,
  kindInt64 = 11,
  kindUnsignedInt64 = 12,
  kindFloat = 13,
  kindDouble = 14,
  kindLongDouble = 15,
  kindVoid = 16,
  kindPointer = 17,
  kindSegmentPointer = 18,
  kindFarPointer = 19,
  kindHugePointer = 20,
  kindArray = 21,
  kindFunction = 22,
  kindStructure = 23,
  kindEnumeration = 24,
  kindMemberPointer = 25,
  kindBool = 26,
  kindClosure = 27
};

constexpr int typeKindCount = 28;
constexpr int basicTypeCount = 27;

// What a kind is.
enum KindFlag : Byte {
  integralKind = 0x01,
  floatingKind = 0x02,
  pointerKinds = 0x14,  // either of two bits
  unsignedKind = 0x20
};

// Facts about a kind.
struct KindInfo {
  Byte flags;      // KindFlag bits, and those of address and member pointer
  Byte size;       // in bytes, 0 where the kind alone does not tell
  Byte canonical;  // the same for kinds with one representation
};

constexpr KindInfo kindInfo[typeKindCount] = {
    {0x21, 0, 0},  {0x01, 1, 1},   {0x01, 1, 1},  {0x21, 1, 3},  {0x21, 2, 6},  {0x01, 2, 5},  {0x21, 2, 6},
    {0x01, 4, 9},  {0x21, 4, 10},  {0x01, 4, 9},  {0x21, 4, 10}, {0x01, 8, 11}, {0x21, 8, 12}, {0x02, 4, 13},
    {0x02, 8, 14}, {0x02, 10, 15}, {0x00, 0, 16}, {0x0C, 4, 17}, {0x18, 2, 18}, {0x0C, 6, 19}, {0x0C, 4, 20},
    {0x00, 0, 21}, {0x00, 0, 22},  {0x00, 0, 23}, {0x01, 4, 24}, {0x80, 0, 25}, {0x21, 1, 3},  {0x00, 0, 27},
};

static_assert(kindInfo[kindBool].canonical == kindUnsignedChar &&
              kindInfo[kindClosure].canonical == kindClosure);
static_assert(kindInfo[kindLongDouble].size == 10 && kindInfo[kindPointer].flags == 0x0C);
static_assert(kindInfo[kindInt].canonical == kindInfo[kindLong].canonical);

constexpr bool isIntegral(int kind) {
  return (kindInfo[kind].flags & integralKind) != 0;
}
constexpr bool isFloating(int kind) {
  return (kindInfo[kind].flags & floatingKind) != 0;
}
constexpr bool isArithmetic(int kind) {
  return (kindInfo[kind].flags & (integralKind | floatingKind)) != 0;
}
constexpr bool isPointer(int kind) {
  return (kindInfo[kind].flags & pointerKinds) != 0;
}
constexpr bool isUnsigned(int kind) {
  return (kindInfo[kind].flags & unsignedKind) != 0;
}

// Qualifiers, in pointer types, in nodes and in the reader of declarations.
enum Qualifier : uint32_t { constQualifier = 1, volatileQualifier = 2, bothQualifiers = 3 };

// Bits of FunctionType::flags that this program reads or always sets.
enum FunctionFlag : uint16_t {
  variableArguments = 0x0004,
  noPrototype = 0x0008,
  anyFunction = 0x0040,
  constMember = 0x0400,
  volatileMember = 0x0800
};

// Calling conventions.
enum Convention : Byte {
  conventionNone = 0,
  conventionCdecl = 1,
  conventionPascal = 2,
  conventionFastcall = 3,
  conventionFortran = 4,
  conventionStdcall = 5,
  conventionMsFastcall = 8
};

struct TypeNode;

// One type of a throw clause.
struct ThrowEntry {
  TypeNode* type;
  uint32_t qualifiers;
  ThrowEntry* next;
};

// A pointer; unique for its contents.
struct PointerType {
  TypeNode* target;
  TypeNode* next;       // in the chain of its bucket
  uint32_t qualifiers;  // of the object pointed to
  Byte width;           // 4 for a pointer to data, 0 to a function or for thread data
};

// An array; two equal ones are two nodes.
struct ArrayType {
  TypeNode* element;
  uint32_t count;  // 0 for an unknown bound
  Byte qualifiers;
};

// A function; a parameter list is checked and dropped, so it holds none.
struct FunctionType {
  TypeNode* result;
  ThrowEntry* throwSpec;
  uint16_t flags;
  Byte convention;
};

// A type. Never changed once it is made, but for the throw clause of a function.
struct TypeNode {
  int16_t kind;  // TypeKind; it tells which of the others is valid, none for a basic type
  union {
    PointerType pointer;
    ArrayType array;
    FunctionType function;
  };
};

// The basic types by kind: 0 to 16, and bool in C++. Valid during a unit.
extern TypeNode* basicTypes[basicTypeCount];

// The types of plain char and of a wide character.
extern TypeNode* plainCharType;
extern TypeNode* wideCharType;

// Makes the basic types anew; the start of a unit.
void initTypes();

// The one pointer type with these contents.
TypeNode* internType(Byte width, uint32_t qualifiers, TypeKind kind, TypeNode* target);

// The pointer to `target`. `modifier` is 0, or the kind of storage that the
// pointer reaches.
TypeNode* makePointerType(Byte modifier, uint32_t qualifiers, TypeNode* target);

// A new array type.
TypeNode* makeArrayType(Byte qualifiers, TypeNode* element, uint32_t count);

// A new function type; convention 0 is the default one.
TypeNode* makeFunctionType(uint16_t flags, Byte convention, TypeNode* result);

// The size in bytes, modulo 2^32; 0 where it is unknown.
uint32_t sizeOfType(const TypeNode* type);

// How two types are compared.
enum CompatibleMode : int {
  sameTypes = 0,  // equal
  usableAs = 1,   // a value reached through the second may be used through the first
  comparable = 3  // pointers that may be compared
};

// True if `a` and `b` agree in the sense of `mode`.
bool typesCompatible(CompatibleMode mode, const TypeNode* a, const TypeNode* b);
