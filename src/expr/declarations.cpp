// The reader of declarators and type names.
//
// A type name is specifiers and a declarator, read with the full syntax of the
// language: pointers, arrays, parameter lists and, in C++, throw clauses. A
// declarator becomes a chain of elements whose head is applied to the base type
// first: for "int (*)[3]" the chain is array, pointer, end. Names of parameters
// are read and dropped, since nothing is declared here.
//
// The qualifiers of the declaration being read stand in the state of the
// evaluator. Applying an element moves them into the type, with those of the
// element in their place.
//
// A reader that returns null or a failure has reported a syntax error, mostly with
// the rest of the line skipped; other errors are reported and reading goes on.

#include "expr/declarations.h"

#include <new>

#include "diag/position.h"
#include "diag/report.h"
#include "expr/modifiers.h"
#include "expr/read.h"
#include "expr/recovery.h"
#include "expr/specifiers.h"
#include "expr/state.h"
#include "memory/memory.h"
#include "options/option_image.h"
#include "scanner/scan.h"
#include "scanner/token.h"

enum DeclaratorKind : Byte {
  declaratorEnd,  // in the place of the name
  declaratorPointer,
  declaratorArray,
  declaratorFunction,
  declaratorClosure  // next to the pointer that "__closure" marks; makes no type
};

// One element of a declarator.
struct DeclaratorNode {
  DeclaratorKind kind;
  bool variableArguments;  // of a function
  Byte qualifiers;         // of a pointer itself
  uint32_t count;          // the bound of an array, 0 for an unknown one
  DeclModifiers modifiers;
  DeclaratorNode* next;  // toward the name; null after the end, and after "()" in its place
};

// Whether a declarator may have a name, as that of a parameter may.
enum NameMode { nameRefused, nameAllowed };

static DeclaratorNode* readDeclarator(NameMode nameMode, DeclModifiers modifiers);
static TypeNode* applyDeclarator(TypeNode* type, DeclaratorNode* chain);

// A declarator node in front of `next`.
static DeclaratorNode* newDeclarator(DeclaratorKind kind, const DeclModifiers& modifiers,
                                     DeclaratorNode* next) {
  DeclaratorNode* const node = new (arenaAlloc(sizeof(DeclaratorNode), evaluator.nodes)) DeclaratorNode{};
  node->kind = kind;
  node->modifiers = modifiers;
  node->modifiers.flags |= evaluator.declspecFlags;
  node->next = next;
  return node;
}

// --- Parameters and throw clauses ---

// What a parameter list was.
enum ParameterStatus { parametersFailed, parametersFixed, parametersVariable };

// Reads one parameter. False after a syntax error.
static bool readParameter() {
  const DeclSpecifiers specifiers = readDeclSpecifiers();
  const Storage storage = specifiers.storage;
  const bool fits =
      storage == storageNone || storage == storageRegister || (storage == storageAuto && cplusplusMode);
  if (!fits) refuseStorage(storage);
  if (tokenState.code == tokComma || tokenState.code == tokCloseParen || tokenState.code == tokAssign)
    return true;
  DeclaratorNode* const chain = readDeclarator(nameAllowed, specifiers.modifiers);
  if (chain == nullptr) return false;
  applyDeclarator(specifiers.type, chain);
  return true;
}

// Reports a token after a comma that begins no parameter.
static void reportNoParameter() {
  switch (tokenState.code) {
    case tokCloseParen: syntaxError(msgDeclarationExpected); break;
    case tokIdent: syntaxError(msgTypeNameExpected); break;
    default: syntaxError(msgCloseParenExpected); break;
  }
}

// Reads the parameters up to what should be the ")", which becomes current.
static ParameterStatus readParameters() {
  bool variable = cplusplusMode && tokenState.code == tokEllipsis;
  while (!variable) {
    if (!readParameter()) return parametersFailed;
    if (tokenState.code == tokComma) {
      variable = getToken() == tokEllipsis;
      if (!variable && !startsTypeName(tokenState.code)) {
        reportNoParameter();
        return parametersFailed;
      }
    } else {
      variable = cplusplusMode && tokenState.code == tokEllipsis;
      if (!variable) return parametersFixed;
    }
  }
  getToken();
  return parametersVariable;
}

// Reads a parameter list after its "("; the ")" becomes current.
static ParameterStatus readParameterList() {
  if (tokenState.code == tokCloseParen) return parametersFixed;
  if (!startsTypeName(tokenState.code) && !(cplusplusMode && tokenState.code == tokEllipsis)) {
    syntaxError(msgParameterNames);
    return parametersFailed;
  }
  const ParameterStatus status = readParameters();
  if (status == parametersFailed || tokenState.code == tokCloseParen) return status;
  syntaxError(msgCloseParenExpected);
  return parametersFailed;
}

// Reads specifiers, which must have no storage class, and a declarator without a
// name. The type of the specifiers comes in `base`.
static DeclaratorNode* readAbstractDeclarator(TypeNode*& base) {
  const DeclSpecifiers specifiers = readDeclSpecifiers();
  if (specifiers.storage != storageNone) refuseStorage(specifiers.storage);
  base = specifiers.type;
  return readDeclarator(nameRefused, specifiers.modifiers);
}

// Reads a throw clause, which is checked and dropped; "throw" is current. The token
// after the clause becomes current. False after a syntax error.
static bool readThrowClause() {
  if (getToken() != tokOpenParen) {
    syntaxError(msgOpenParenExpected);
    return false;
  }
  bool more = getToken() != tokCloseParen;
  while (more) {
    if (!startsTypeName(tokenState.code)) {
      syntaxError(msgTypeNameExpected);
      return false;
    }
    TypeNode* base;
    DeclaratorNode* const chain = readAbstractDeclarator(base);
    if (chain == nullptr) return false;
    applyDeclarator(base, chain);
    more = tokenState.code == tokComma;
    if (more) {
      getToken();
    } else if (tokenState.code != tokCloseParen) {
      syntaxError(msgCloseParenExpected);
      return false;
    }
  }
  getToken();
  return true;
}

// --- Declarators ---

// Reads the inside of a function declarator, the throw clause included; the "(" is
// current. The token after it becomes current, unless a failure has skipped the line.
static ParameterStatus readFunctionTail() {
  getToken();
  const ParameterStatus status = readParameterList();
  const bool lineSkipped =
      status == parametersFailed && (tokenState.code == tokEndOfLine || tokenState.code == tokEndOfFile);
  if (!lineSkipped) getToken();
  if (status == parametersFailed || !cplusplusMode || tokenState.code != tokThrow) return status;
  return readThrowClause() ? status : parametersFailed;
}

// Reads a function declarator into a node in front of `chain`; the "(" is current.
// The qualifiers of the parameters don't mix with those of the function.
static DeclaratorNode* readFunctionSuffix(const DeclModifiers& modifiers, DeclaratorNode* chain) {
  const Byte savedQualifiers = evaluator.declQualifiers;
  const ParameterStatus status = readFunctionTail();
  evaluator.declQualifiers = savedQualifiers;
  if (status == parametersFailed) return nullptr;
  DeclaratorNode* const node = newDeclarator(declaratorFunction, modifiers, chain);
  if (status == parametersVariable) {
    Convention& convention = node->modifiers.convention;
    node->variableArguments = true;
    if (convention == conventionFastcall) reportError(msgConflictingModifiers);
    if (convention == conventionNone || convention == conventionMsFastcall) convention = conventionCdecl;
  }
  return node;
}

// Reads a bound into an array node in front of `chain`; the "[" is current. An
// expression in the bound may name types, whose qualifiers then replace those of
// the declaration.
static DeclaratorNode* readArraySuffix(NameMode nameMode, const DeclModifiers& modifiers,
                                       DeclaratorNode* chain) {
  ArrayBound bound = {};
  if (getToken() != tokCloseBracket) {
    bound = readArrayBound();
    if (bound.value < 1 && !bound.isUnsigned && nameMode == nameAllowed) {
      reportError(msgEmptyArray);
      bound.value = 1;
    }
    if (tokenState.code != tokCloseBracket) {
      char text[messageTextLimit];
      reportError(msgMissingBracket, loadConsoleMessage(sizeof text, text, textArrayBounds));
      skipRestOfLine();
      return nullptr;
    }
  }
  DeclaratorNode* const node = newDeclarator(declaratorArray, modifiers, chain);
  node->count = uint32_t(bound.value);
  getToken();
  return node;
}

// Reads a pointer declarator; the "*" is current.
static DeclaratorNode* readPointer(NameMode nameMode, const DeclModifiers& modifiers) {
  Byte qualifiers = 0;
  for (getToken(); tokenState.code == tokConst || tokenState.code == tokVolatile; getToken()) {
    const Qualifier qualifier = tokenState.code == tokConst ? constQualifier : volatileQualifier;
    if ((qualifiers & qualifier) != 0 && !cplusplusMode) reportError(msgConflictingModifiers);
    qualifiers |= qualifier;
  }
  DeclaratorNode* const rest = readDeclarator(nameMode, {});
  if (rest == nullptr) return nullptr;
  DeclaratorNode* const node = newDeclarator(declaratorPointer, modifiers, rest);
  node->qualifiers = qualifiers;
  return node;
}

// Reads what follows a "__closure", which must be a pointer.
static DeclaratorNode* readClosure(NameMode nameMode, const DeclModifiers& modifiers) {
  getToken();
  DeclaratorNode* const pointer = readDeclarator(nameMode, {});
  if (pointer == nullptr) return nullptr;
  if (pointer->kind != declaratorPointer) {
    reportError(msgConflictingModifiers);
    return nullptr;
  }
  if (modifiers.convention != conventionNone) {
    reportError(msgClosureConvention);
    return nullptr;
  }
  pointer->next = newDeclarator(declaratorClosure, modifiers, pointer->next);
  return pointer;
}

// Reads what the suffixes of a declarator follow: a declarator in parentheses, a
// name, "()", or nothing. `modifiers` are those of the suffixes.
static DeclaratorNode* readCore(NameMode nameMode, DeclModifiers& modifiers) {
  if (tokenState.code != tokOpenParen) {
    if (tokenState.code == tokIdent && nameMode == nameAllowed) getToken();
    return newDeclarator(declaratorEnd, modifiers, nullptr);
  }
  DeclaratorNode* chain;
  if (getToken() == tokCloseParen) {
    chain = newDeclarator(declaratorFunction, modifiers, nullptr);
    modifiers.isThread = false;
    modifiers.convention = conventionNone;
  } else {
    chain = readDeclarator(nameMode, {});
    if (chain == nullptr) return nullptr;
    if (tokenState.code != tokCloseParen) return syntaxError(msgCloseParenExpected);
  }
  getToken();
  return chain;
}

// Reads a declarator, with the modifiers that stand in front of it; the first token
// that is no part of it becomes current.
static DeclaratorNode* readDeclarator(NameMode nameMode, DeclModifiers modifiers) {
  readModifiers(modifiers);
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

// --- Application ---

// An array of `type`.
static TypeNode* applyArray(TypeNode* type, const DeclaratorNode* node) {
  if (type->kind == kindFunction || type->kind == kindVoid) reportError(msgNotAllowedType);
  if (type->kind == kindArray && type->array.count == 0) reportError(msgSizeUnknown);
  return makeArrayType(type, node->count);
}

// Settles which modifiers belong to a function and which to the next element: a
// convention inside the parentheses of a pointer means the function.
static void shareModifiers(DeclaratorNode* node) {
  DeclModifiers& own = node->modifiers;
  DeclModifiers& other = node->next->modifiers;
  if (own.convention == conventionNone) {
    own.convention = other.convention;
    other.convention = conventionNone;
  }
  if (own.flags == 0) {
    own.flags = other.flags;
    other.flags = 0;
  }
  own.isThread |= other.isThread;
  if (node->next->kind == declaratorPointer) {
    other.isThread = false;
  } else if (own.isThread && !other.isThread) {
    reportError(msgConflictingModifiers);
  }
}

// A function that returns `type`.
static TypeNode* applyFunction(TypeNode* type, DeclaratorNode* node) {
  if (node->next != nullptr) shareModifiers(node);
  if (node->modifiers.isThread) reportError(msgConflictingModifiers);
  uint16_t flags = node->modifiers.flags;
  if (node->variableArguments) flags |= variableArguments;
  if ((evaluator.declQualifiers & constQualifier) != 0) flags |= constResult;
  if ((evaluator.declQualifiers & volatileQualifier) != 0) flags |= volatileResult;
  evaluator.declQualifiers = 0;
  return makeFunctionType(flags, node->modifiers.convention, type);
}

// A pointer to `type`.
static TypeNode* applyPointer(TypeNode* type, DeclaratorNode* node) {
  constexpr uint16_t refusedFlags = zephraClass | zephraReturn | pascalImplementation | msReturn;
  DeclModifiers& own = node->modifiers;
  DeclaratorNode* const next = node->next;
  // A convention in front of a name waits there for a function.
  if (next->kind == declaratorEnd && next->modifiers.convention == conventionNone) {
    next->modifiers.convention = own.convention;
    own.convention = conventionNone;
  }
  if (own.convention != conventionNone || (own.flags & refusedFlags) != 0)
    reportError(msgConflictingModifiers);
  TypeNode* const pointer = makePointerType(own.isThread, evaluator.declQualifiers, type);
  evaluator.declQualifiers = node->qualifiers;
  return pointer;
}

// Applies a declarator to `type`.
static TypeNode* applyDeclarator(TypeNode* type, DeclaratorNode* chain) {
  for (DeclaratorNode* node = chain; node != nullptr; node = node->next) {
    switch (node->kind) {
      case declaratorArray: type = applyArray(type, node); break;
      case declaratorFunction: type = applyFunction(type, node); break;
      case declaratorPointer: type = applyPointer(type, node); break;
      case declaratorEnd:
      case declaratorClosure: break;
    }
  }
  return type;
}

TypeNode* parseTypeName() {
  TypeNode* base;
  DeclaratorNode* const chain = readAbstractDeclarator(base);
  if (chain == nullptr) {
    if (tokenState.code == tokCloseParen) getToken();
    return nullptr;
  }
  if (tokenState.code != tokCloseParen) return syntaxError(msgCloseParenExpected);
  getToken();
  return applyDeclarator(base, chain);
}
