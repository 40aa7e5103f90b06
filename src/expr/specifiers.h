// The specifiers in front of a declarator: the words of the type, const and
// volatile, storage classes and modifiers.

#pragma once

#include "base.h"
#include "expr/modifiers.h"
#include "expr/types.h"

// Storage classes.
enum Storage : Byte {
  storageNone,
  storageExtern,
  storageStatic,
  storageAuto,
  storageTypedef,
  storageRegister,
  storageInline,
  storageMutable
};

struct DeclSpecifiers {
  TypeNode* type;
  Storage storage;
  DeclModifiers modifiers;
};

// True if `token` begins a type name. A calling convention does not.
bool startsTypeName(int32_t token);

// Reads specifiers, perhaps none, which mean int. The first token that is none
// becomes current; const and volatile go to EvaluatorState::declQualifiers. May
// change the input stack.
DeclSpecifiers readDeclSpecifiers();

// Reports a storage class where none may stand.
void refuseStorage(Storage storage);
