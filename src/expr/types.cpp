// The types of a unit.
//
// All records lie in the SAVE region and go with the unit. A pointer type is
// looked for in the list of the type that it points to: there are two qualifiers
// and two sorts of data, so no list is longer than eight.

#include "expr/types.h"

#include <new>

#include "diag/report.h"
#include "expr/state.h"
#include "memory/memory.h"
#include "options/option_image.h"

// A new type.
static TypeNode* newType(TypeKind kind, TypeNode* inner) {
  TypeNode* const type = new (allocateSAVEblob(sizeof(TypeNode))) TypeNode{};
  type->kind = kind;
  type->inner = inner;
  return type;
}

void initTypes() {
  TypeNode** const types = evaluator.basicTypes;
  for (size_t kind = 0; kind < basicTypeCount; ++kind) types[kind] = newType(TypeKind(kind), nullptr);
  if (!cplusplusMode) types[kindChar] = types[optionImage.unsignedChar ? kindUnsignedChar : kindSignedChar];
}

TypeNode* basicType(TypeKind kind) {
  return evaluator.basicTypes[kind];
}

TypeNode* internPointer(bool toPlainData, Byte qualifiers, TypeNode* target) {
  for (TypeNode* type = target->pointers; type != nullptr; type = type->pointer.next) {
    if (type->pointer.qualifiers == qualifiers && type->pointer.toPlainData == toPlainData) return type;
  }
  TypeNode* const type = newType(kindPointer, target);
  type->pointer = {.next = target->pointers, .qualifiers = qualifiers, .toPlainData = toPlainData};
  target->pointers = type;
  return type;
}

TypeNode* makePointerType(bool isThread, Byte qualifiers, TypeNode* target) {
  return internPointer(!isThread && target->kind != kindFunction, qualifiers, target);
}

TypeNode* makeArrayType(TypeNode* element, uint32_t count) {
  TypeNode* const type = newType(kindArray, element);
  type->array = {.count = count};
  return type;
}

TypeNode* makeFunctionType(uint16_t flags, Convention convention, TypeNode* result) {
  // By OptionImage::callConvention.
  constexpr Convention defaults[] = {conventionCdecl, conventionPascal, conventionFastcall, conventionStdcall,
                                     conventionMsFastcall};
  if (convention == conventionNone) convention = defaults[optionImage.callConvention];
  if (result->kind == kindArray || result->kind == kindFunction) reportError(msgFunctionReturn);
  // The callee can't clear a stack whose height only the caller knows.
  if ((flags & variableArguments) != 0 && convention == conventionStdcall) convention = conventionCdecl;
  TypeNode* const type = newType(kindFunction, result);
  type->function = {.flags = flags, .convention = convention};
  return type;
}

uint32_t sizeOfType(const TypeNode* type) {
  uint32_t size = 1;
  for (; type->kind == kindArray; type = type->inner) size *= type->array.count;
  return size * kindInfo[type->kind].size;
}

// void on one side and a type of one byte on the other.
static bool isVoidAndByte(const TypeNode* a, const TypeNode* b) {
  return (a->kind == kindVoid && isCharKind(b->kind)) || (b->kind == kindVoid && isCharKind(a->kind));
}

// Compares the qualifiers of two pointer types.
static bool pointersAgree(CompatibleMode mode, const PointerType& a, const PointerType& b) {
  return mode == usableAs ? (b.qualifiers & ~a.qualifiers) == 0 : a.qualifiers == b.qualifiers;
}

// Compares the bounds of two array types, one of which may be unknown.
static bool arraysAgree(const ArrayType& a, const ArrayType& b) {
  return a.count == b.count || a.count == 0 || b.count == 0;
}

// Compares two function types but for their results.
static bool functionsAgree(const FunctionType& a, const FunctionType& b) {
  constexpr uint16_t comparedFlags =
      zephraClass | msReturn | selectAny | variableArguments | constResult | volatileResult;
  return a.convention == b.convention && ((a.flags ^ b.flags) & comparedFlags) == 0;
}

bool typesCompatible(CompatibleMode mode, const TypeNode* a, const TypeNode* b) {
  for (; a != b; a = a->inner, b = b->inner) {
    if (a->kind != b->kind) return false;
    switch (a->kind) {
      case kindPointer:
        if (!pointersAgree(mode, a->pointer, b->pointer)) return false;
        if (mode == comparable && isVoidAndByte(a->inner, b->inner)) return true;
        // Below a level that may be written through, nothing may differ.
        if (mode == usableAs && (a->pointer.qualifiers & constQualifier) == 0) mode = sameTypes;
        break;
      case kindArray:
        if (!arraysAgree(a->array, b->array)) return false;
        break;
      case kindFunction:
        if (!functionsAgree(a->function, b->function)) return false;
        break;
      default: return false;
    }
  }
  return true;
}
