// The type table of a unit.
//
// Basic types have one node per kind. Pointers are interned in a hash table, so
// that a test for the same type is a comparison of addresses in nearly all cases;
// arrays and functions are rare and are made anew each time. All nodes live in
// the SAVE region and go with the unit. The table of buckets is cleared only if
// something was put in, since most units name no pointer type at all.

#include "expr/types.h"

#include <cstring>
#include <new>

#include "diag/report.h"
#include "expr/expr.h"
#include "memory/memory.h"
#include "options/option_image.h"

constinit TypeNode* basicTypes[basicTypeCount] = {};
constinit TypeNode* plainCharType = nullptr;
constinit TypeNode* wideCharType = nullptr;

constexpr uint32_t typeHashSize = 4096;

// Heads of the chains of pointer types, valid during a unit.
static constinit TypeNode* typeHash[typeHashSize] = {};

// Something stands in typeHash.
static constinit bool typeHashUsed = false;

// A new cleared node.
static TypeNode* newType(TypeKind kind) {
  TypeNode* const type = new (allocateSAVEblob(sizeof(TypeNode))) TypeNode{};
  type->kind = kind;
  return type;
}

// In C plain char is no kind of its own: it is the signed one, or with -K the other.
static void setupCharTypes() {
  if (!cplusplusMode)
    basicTypes[kindChar] = basicTypes[optionImage.unsignedChar ? kindUnsignedChar : kindSignedChar];
  plainCharType = basicTypes[kindChar];
  wideCharType = basicTypes[cplusplusMode ? kindWchar : kindUnsignedShort];
}

void initTypes() {
  if (typeHashUsed) std::memset(typeHash, 0, sizeof typeHash);
  typeHashUsed = false;
  std::memset(basicTypes, 0, sizeof basicTypes);
  for (int kind = kindError; kind <= kindVoid; ++kind) basicTypes[kind] = newType(TypeKind(kind));
  if (cplusplusMode) basicTypes[kindBool] = newType(kindBool);
  setupCharTypes();
}

void setupCppTypes() {
  makePointerType(0, 0, basicTypes[kindVoid]);
  makePointerType(0, 0, makePointerType(0, 0, plainCharType));
}

TypeNode* internType(Byte width, uint32_t qualifiers, TypeKind kind, TypeNode* target) {
  const size_t bucket = ((reinterpret_cast<uintptr_t>(target) >> 4) + qualifiers) & (typeHashSize - 1);
  for (TypeNode* type = typeHash[bucket]; type != nullptr; type = type->pointer.next) {
    if (type->pointer.target == target && type->kind == kind && type->pointer.width == width &&
        Byte(type->pointer.qualifiers) == Byte(qualifiers))
      return type;
  }
  TypeNode* const type = newType(kind);
  type->pointer = {.target = target, .next = typeHash[bucket], .qualifiers = qualifiers, .width = width};
  typeHash[bucket] = type;
  typeHashUsed = true;
  return type;
}

TypeNode* makePointerType(Byte modifier, uint32_t qualifiers, TypeNode* target) {
  const bool plain = (modifier == 0 || modifier == 8) && target->kind != kindFunction;
  return internType(plain ? 4 : 0, qualifiers, kindPointer, target);
}

TypeNode* makeArrayType(Byte qualifiers, TypeNode* element, uint32_t count) {
  TypeNode* const type = newType(kindArray);
  type->array = {.element = element, .count = count, .qualifiers = qualifiers};
  return type;
}

TypeNode* makeFunctionType(uint16_t flags, Byte convention, TypeNode* result) {
  constexpr Byte defaults[5] = {conventionCdecl, conventionPascal, conventionFastcall, conventionStdcall,
                                conventionMsFastcall};
  if (convention == conventionNone) convention = defaults[optionImage.callConvention % 5];
  if (result->kind == kindArray || result->kind == kindFunction) reportError(msgFunctionReturn);
  // The callee can't clear a stack whose height only the caller knows.
  if ((flags & variableArguments) != 0 && convention == conventionStdcall) convention = conventionCdecl;
  TypeNode* const type = newType(kindFunction);
  type->function = {.result = result,
                    .throwSpec = nullptr,
                    .flags = uint16_t(flags | anyFunction),
                    .convention = convention};
  return type;
}

uint32_t sizeOfType(const TypeNode* type) {
  uint32_t size = 1;
  for (; type != nullptr && type->kind == kindArray; type = type->array.element) size *= type->array.count;
  return type == nullptr ? size : size * kindInfo[type->kind].size;
}

// void on one side and a type of one byte on the other.
static bool isVoidAndByte(const TypeNode* a, const TypeNode* b) {
  return (a->kind == kindVoid && b->kind <= kindUnsignedChar) ||
         (b->kind == kindVoid && a->kind <= kindUnsignedChar);
}

bool typesCompatible(CompatibleMode mode, const TypeNode* a, const TypeNode* b) {
  constexpr uint16_t comparedFlags = 0xFF4D & ~noPrototype;
  while (a != b) {
    if (a == nullptr || b == nullptr || a->kind != b->kind) return false;
    switch (a->kind) {
      case kindPointer: {
        const uint32_t ofA = a->pointer.qualifiers & 0xFF;
        const uint32_t ofB = b->pointer.qualifiers & 0xFF;
        if (mode == usableAs) {
          if ((ofB & ~ofA) != 0) return false;
          // Below a level that may be written through, nothing may differ.
          if ((ofA & constQualifier) == 0) mode = sameTypes;
        } else {
          if (ofA != ofB) return false;
          if (mode == comparable && isVoidAndByte(a->pointer.target, b->pointer.target)) return true;
        }
        a = a->pointer.target;
        b = b->pointer.target;
        break;
      }
      case kindArray:
        if (a->array.count != b->array.count && a->array.count != 0 && b->array.count != 0) return false;
        a = a->array.element;
        b = b->array.element;
        break;
      case kindFunction:
        if (a->function.convention != b->function.convention) return false;
        if (((a->function.flags ^ b->function.flags) & comparedFlags) != 0) return false;
        a = a->function.result;
        b = b->function.result;
        break;
      default: return false;
    }
  }
  return true;
}
