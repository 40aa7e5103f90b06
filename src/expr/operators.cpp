// The typing of operators.
//
// Each operator has a property word that says which operand classes it takes
// besides integers, whether it promotes, how the right operand is converted and
// whether the result is int. buildOperator works through that word; the operators
// with rules of their own have a routine each. All leaves are constants, so what
// is not constant holds a comma, a member selection or a cast to void, and no
// operand denotes an object.
//
// A refusal, which is an error node or a false from acceptsOperand, has been reported.

#include "expr/operators.h"

#include "diag/report.h"
#include "expr/fold.h"
#include "options/option_image.h"

// The refusal of an operand class.
struct OperandClass {
  Byte bit;           // the bit of the property word that accepts it, 0 for kinds never refused
  MessageId message;  // else
};

// By kind, from kindFloat up.
constexpr OperandClass operandClass[typeKindCount - kindFloat] = {
    {acceptsFloating, msgUseOfFloat},           // float
    {acceptsFloating, msgUseOfFloat},           // double
    {acceptsFloating, msgUseOfFloat},           // long double
    {acceptsVoid, msgNotAllowedType},           // void
    {acceptsPointer, msgUseOfPointer},          // pointer
    {acceptsSegment, msgUseOfPointer},          // segment pointer
    {acceptsPointer, msgUseOfPointer},          // far pointer
    {acceptsPointer, msgUseOfPointer},          // huge pointer
    {acceptsPointer, msgUseOfPointer},          // array
    {acceptsPointer, msgUseOfPointer},          // function
    {acceptsStructure, msgStructureOperation},  // structure
    {0, noMessage},                             // enumeration
    {acceptsMember, msgUseOfMemberPointer},     // member pointer
    {0, noMessage},                             // bool
    {acceptsMember, msgUseOfClosure},           // closure
};

static_assert(operandClass[kindVoid - kindFloat].bit == acceptsVoid &&
              operandClass[kindBool - kindFloat].bit == 0);

// An error node behind its message.
static ExprNode* refuse(MessageId id) {
  reportError(id);
  return newError();
}

// Reports and refuses an operand whose class `word` does not accept.
static bool acceptsOperand(uint32_t word, int kind) {
  if (kind < kindFloat) return true;
  const OperandClass& row = operandClass[kind - kindFloat];
  if (row.bit == 0 || (word & row.bit) != 0) return true;
  reportError(row.message);
  return false;
}

// In C++ the value of a logical operator is a bool.
static ExprNode* logicalResult(ExprNode* node) {
  return cplusplusMode ? newOperator(opCast, basicTypes[kindBool], node, nullptr) : node;
}

// A zero to compare `node` with.
static ExprNode* zeroFor(const ExprNode* node) {
  return newIntConst(basicTypes[node->typeKind == kindBool ? kindBool : kindInt], 0);
}

// A pointer to data that is not thread data.
static bool isPlainPointer(const TypeNode* type) {
  return type->kind == kindPointer && type->pointer.width == 4;
}

// Two plain pointers to types of one byte.
static bool areCharPointers(const TypeNode* a, const TypeNode* b) {
  return isPlainPointer(a) && isPlainPointer(b) && a->pointer.target->kind <= kindUnsignedChar &&
         b->pointer.target->kind <= kindUnsignedChar;
}

// A null pointer constant, perhaps behind casts from pointer to pointer.
static bool isNullConstant(const ExprNode* node) {
  while (node->op == opCast && isPointer(node->typeKind) && isPointer(node->operand.left->typeKind))
    node = node->operand.left;
  return isIntConst(node, 0);
}

// Looks whether `to` and `from` are pointers to pointers that differ, at each
// level down to one that agrees, by `qualifier` being added in `to`.
static bool addsQualifierBelow(CompatibleMode mode, uint32_t qualifier, const TypeNode* to,
                               const TypeNode* from) {
  for (;;) {
    to = to->pointer.target;
    from = from->pointer.target;
    if (to->kind != kindPointer || from->kind != kindPointer) return false;
    if ((from->pointer.qualifiers & qualifier) != 0 || (to->pointer.qualifiers & qualifier) == 0)
      return false;
    if (typesCompatible(mode, to->pointer.target, from->pointer.target)) return true;
  }
}

// True if the pointer `node` may become a `to` without a word.
static bool pointersCompatible(CompatibleMode mode, const TypeNode* to, const ExprNode* node) {
  const TypeNode* const from = node->type;
  if (to->kind != kindPointer || from->kind != kindPointer) return false;
  const uint32_t gained = to->pointer.qualifiers & ~from->pointer.qualifiers;
  const uint32_t lost = from->pointer.qualifiers & ~to->pointer.qualifiers & bothQualifiers;
  if (to->pointer.target->kind == kindVoid && (!cplusplusMode || lost == 0)) return true;
  if (from->pointer.target->kind == kindVoid &&
      (mode == comparable || !cplusplusMode || isNullConstant(node)))
    return true;
  if (mode == usableAs && (to->pointer.qualifiers & constQualifier) == 0) mode = sameTypes;
  if (typesCompatible(mode, to->pointer.target, from->pointer.target)) return true;
  if (!cplusplusMode) return false;
  return ((gained & constQualifier) != 0 && addsQualifierBelow(mode, constQualifier, to, from)) ||
         ((gained & volatileQualifier) != 0 && addsQualifierBelow(mode, volatileQualifier, to, from));
}

// Brings the pointer `change` to the type of the pointer `keep`, for a comparison
// or, with `comparing` clear, for the branches of a condition.
static ExprNode* mergePointers(bool comparing, const ExprNode* keep, ExprNode* change) {
  TypeNode* const type = keep->type;
  if (!pointersCompatible(comparable, type, change)) {
    if (areCharPointers(type, change->type)) {
      reportWarning(warnCharPointers);
    } else if (comparing) {
      reportWarning(warnPointerComparison);
    } else {
      return refuse(msgSameTypeRequired);
    }
  }
  return castNode(type, change);
}

ExprNode* promoteNode(ExprNode* node) {
  TypeKind kind;
  if ((node->typeKind >= kindChar && node->typeKind <= kindUnsignedShort) || node->typeKind == kindBool) {
    kind = kindInt;
  } else if (node->typeKind == kindInt64 || node->typeKind == kindUnsignedInt64) {
    kind = TypeKind(node->typeKind);
  } else {
    return node;
  }
  node = castNode(basicTypes[kind], node);
  node->flags |= promotedNode;
  return node;
}

ExprNode* toCondition(ExprNode* node) {
  if (isError(node) || isCondition(node->op)) return node;
  if (cplusplusMode && node->typeKind != kindBool) {
    node = convertNode(false, basicTypes[kindBool], node);
    if (isError(node)) return node;
    if (node->op == opCast && isCondition(node->operand.left->op)) return node->operand.left;
  }
  return buildOperator(zeroFor(node), node, opNe);
}

// Warns about a comparison of two types of four bytes that differ in their sign,
// unless the signed side is a constant that is not negative.
static void checkSigns(const ExprNode* left, const ExprNode* right) {
  if (isUnsigned(left->typeKind) == isUnsigned(right->typeKind)) return;
  if (kindInfo[left->typeKind].size != 4 || kindInfo[right->typeKind].size != 4) return;
  const ExprNode* const signedSide = isUnsigned(left->typeKind) ? right : left;
  if (signedSide->op == opIntConst && int32_t(signedSide->value) >= 0) return;
  reportWarning(warnSignedUnsigned);
}

// Brings two arithmetic operands to one type; `higher` has the higher kind.
static void convertToHigher(ExprNode*& higher, ExprNode*& lower) {
  if (higher->typeKind == kindLong && lower->typeKind == kindUnsignedInt) {
    higher = convertNode(false, basicTypes[kindUnsignedLong], higher);
    lower = convertNode(false, basicTypes[kindUnsignedLong], lower);
  } else if (higher->typeKind == kindBool) {
    higher = convertNode(false, lower->type, higher);
  } else {
    lower = convertNode(false, higher->type, lower);
  }
}

// Zero as an operand beside a pointer.
static bool isNullOperand(const ExprNode* node) {
  return isIntConst(node, 0) && node->typeKind != kindBool;
}

// The usual arithmetic conversions, and those of pointers.
static void convertUsually(ExprOp op, ExprNode*& left, ExprNode*& right) {
  if (isComparison(op)) checkSigns(left, right);
  if (isPointer(left->typeKind) && isNullOperand(right)) {
    right = castNode(left->type, right);
  } else if (isPointer(right->typeKind) && isNullOperand(left)) {
    left = castNode(right->type, left);
  } else if (left->typeKind > right->typeKind) {
    convertToHigher(left, right);
  } else if (right->typeKind > left->typeKind) {
    convertToHigher(right, left);
  }
}

// Converts the count of a shift of `left`.
static void convertCount(const ExprNode* left, ExprNode*& right) {
  right = convertNode(false, basicTypes[kindUnsignedInt], right);
  if (right->op == opIntConst && right->value >= 8u * kindInfo[left->typeKind].size)
    reportWarning(warnShiftOverflow);
}

// The last steps of an operator: conversion of the operands and the node itself.
static ExprNode* finishOperator(ExprOp op, ExprNode* left, ExprNode* right) {
  const uint32_t word = operatorProperty.word[op];
  if ((word & conversionMask) == countConversion) convertCount(left, right);
  if ((word & conversionMask) == usualConversion) convertUsually(op, left, right);
  if (isError(left)) return left;
  if (isError(right)) return right;
  if ((word & givesInt) != 0) return logicalResult(newOperator(op, basicTypes[kindInt], left, right));
  return newOperator(op, left->type, left, right);
}

// The size of what the pointer type `type` points to, 1 after a complaint.
static uint32_t elementSize(const TypeNode* type) {
  const uint32_t size = sizeOfType(type->pointer.target);
  if (size == 0) reportError(msgSizeUnknown);
  return size == 0 ? 1 : size;
}

// A pointer with an index added or taken off.
static ExprNode* buildIndexed(ExprOp op, ExprNode* pointer, ExprNode* index) {
  if (index->typeKind == kindInt64 || index->typeKind == kindUnsignedInt64) {
    reportWarning(warnPointerArithmetic);
    index = convertNode(false, basicTypes[kindUnsignedInt], index);
  }
  index = convertNode(false, basicTypes[kindInt], index);
  if (isError(index)) return index;
  const uint32_t size = elementSize(pointer->type);
  if (size >= 2)
    index = newOperator(opMul, basicTypes[kindInt], index, newIntConst(basicTypes[kindInt], size));
  return newOperator(op, pointer->type, pointer, index);
}

// The difference of two pointers, in elements.
static ExprNode* buildDifference(ExprNode* left, ExprNode* right) {
  right->flags &= ~uint32_t{bothQualifiers};
  right = convertNode(false, left->type, right);
  if (isError(right)) return right;
  ExprNode* const bytes = newOperator(opPtrDiff, basicTypes[kindInt], left, right);
  const uint32_t size = elementSize(left->type);
  if (size < 2) return bytes;
  return newOperator(opDiv, basicTypes[kindInt], bytes, newIntConst(basicTypes[kindInt], size));
}

// An addition or subtraction with a pointer among its operands.
static ExprNode* buildPointerSum(ExprOp op, ExprNode* left, ExprNode* right) {
  const bool onLeft = isPointer(left->typeKind);
  if (onLeft && isPointer(right->typeKind))
    return op == opAdd ? refuse(msgPointerAddition) : buildDifference(left, right);
  if (onLeft) return buildIndexed(op, left, right);
  return op == opAdd ? buildIndexed(op, right, left) : refuse(msgPointerSubtraction);
}

// The least and the greatest value of a narrow or 32-bit kind.
struct KindRange {
  int64_t min;
  int64_t max;
};

// The range of `kind`, one of those below kindLong.
static KindRange rangeOf(int kind) {
  const uint32_t bits = 8u * kindInfo[kind].size;
  const bool isSigned = kind == kindChar ? !optionImage.unsignedChar : !isUnsigned(kind);
  const int64_t span = int64_t{1} << bits;
  return isSigned ? KindRange{-span / 2, span / 2 - 1} : KindRange{0, span - 1};
}

// The order of a comparison whose sides are exchanged.
static ExprOp swapComparison(ExprOp op) {
  switch (op) {
    case opGt: return opLt;
    case opLt: return opGt;
    case opGe: return opLe;
    case opLe: return opGe;
    default: return op;
  }
}

// Looks at `operand op constant`: whether the type of the operand decides it.
// If not, the constant takes that type.
static void checkRange(ExprOp op, const ExprNode* operand, ExprNode* constant) {
  const int kind = operand->typeKind;
  if (kind >= kindLong) return;
  const KindRange range = rangeOf(kind);
  const int64_t value = range.min < 0 ? int64_t{int32_t(constant->value)} : int64_t{constant->value};
  if (value < range.min || value > range.max) {
    reportWarning(warnConstantRange);
  } else if (value == range.min || value == range.max) {
    const ExprOp always = value == range.min ? opGe : opLe;
    const ExprOp never = value == range.min ? opLt : opGt;
    if (op == always || op == never) {
      char text[messageTextLimit];
      reportWarning(warnConditionAlways,
                    loadConsoleMessage(sizeof text, text, op == always ? textTrue : textFalse));
    }
  } else {
    retag(constant, operand->type);
    constant->value = wrapToType(kind, constant->value);
  }
}

// A comparison.
static ExprNode* buildComparison(ExprOp op, ExprNode* left, ExprNode* right) {
  const bool leftPointer = isPointer(left->typeKind);
  const bool rightPointer = isPointer(right->typeKind);
  if (!leftPointer && !rightPointer) {
    left = foldTree(left);
    right = foldTree(right);
    const bool leftConstant = left->op == opIntConst;
    const bool rightConstant = right->op == opIntConst;
    if (rightConstant && !leftConstant) checkRange(op, left, right);
    if (leftConstant && !rightConstant) checkRange(swapComparison(op), right, left);
    if (left->typeKind != right->typeKind) {
      left = promoteNode(left);
      right = promoteNode(right);
    }
  } else if (leftPointer && rightPointer) {
    right = mergePointers(true, left, right);
  }
  return finishOperator(op, left, right);
}

// The branches of a condition.
static ExprNode* buildColon(ExprNode* left, ExprNode* right) {
  const uint32_t qualifiers = (left->flags | right->flags) & bothQualifiers;
  if (left->type == right->type) {
    ExprNode* const node = newOperator(opColon, left->type, left, right);
    node->flags = qualifiers;
    return node;
  }
  const bool leftPointer = isPointer(left->typeKind);
  const bool rightPointer = isPointer(right->typeKind);
  if (leftPointer && rightPointer) {
    const PointerType ofLeft = left->type->pointer;
    const uint32_t both = ofLeft.qualifiers | (right->type->pointer.qualifiers & bothQualifiers);
    right = mergePointers(false, left, right);
    if (isError(right)) return right;
    return newOperator(opColon, internType(ofLeft.width, both, kindPointer, ofLeft.target), left, right);
  }
  if (leftPointer) {
    right = convertNode(false, left->type, right);
  } else if (rightPointer) {
    left = convertNode(false, right->type, left);
  } else if (!isArithmetic(left->typeKind)) {
    left = convertNode(false, right->type, left);
  } else if (!isArithmetic(right->typeKind)) {
    right = convertNode(false, left->type, right);
  }
  if (isError(left)) return left;
  return isError(right) ? right : finishOperator(opColon, left, right);
}

// "&&" and "||".
static ExprNode* buildLogical(ExprOp op, ExprNode* left, ExprNode* right) {
  left = toCondition(left);
  right = toCondition(right);
  if (isError(left)) return left;
  return isError(right) ? right : logicalResult(newOperator(op, basicTypes[kindInt], left, right));
}

// "!". In C++ the negation of a comparison with zero is the opposite comparison.
static ExprNode* buildLogicalNot(ExprNode* node) {
  if (cplusplusMode && node->typeKind != kindBool) {
    node = toCondition(node);
    if (isError(node)) return node;
    if (node->op == opNe) {
      node->op = opEq;
      return convertNode(false, basicTypes[kindBool], node);
    }
    node = promoteNode(node);
  } else {
    node = promoteNode(node);
    if (!isIntegral(node->typeKind)) node = toCondition(node);
  }
  if (isError(node)) return node;
  return logicalResult(newOperator(opLogNot, basicTypes[kindInt], node, nullptr));
}

// A unary operator whose result has the promoted type.
static ExprNode* buildPromoting(ExprOp op, ExprNode* node) {
  if (op == opNeg && isUnsigned(node->typeKind) && kindInfo[node->typeKind].size == 4)
    reportWarning(warnNegatingUnsigned);
  node = promoteNode(node);
  if (op == opPlus || isError(node)) return node;
  return newOperator(op, node->type, node, nullptr);
}

// "?:" over a condition and its branches.
static ExprNode* buildCond(ExprNode* condition, ExprNode* branches) {
  ExprNode* const node = newOperator(opCond, branches->type, condition, branches);
  node->flags = branches->flags & bothQualifiers;
  return node;
}

ExprNode* buildOperator(ExprNode* right, ExprNode* left, ExprOp op) {
  if (isError(left)) return left;
  if (right != nullptr && isError(right)) return right;
  uint32_t word = operatorProperty.word[op];
  const int leftKind = left->typeKind;
  const int rightKind = right != nullptr ? right->typeKind : leftKind;
  const bool anyPointer = isPointer(leftKind) || isPointer(rightKind);
  if (anyPointer && op != opComma) word &= ~uint32_t{acceptsFloating};
  if (!acceptsOperand(word, leftKind) || !acceptsOperand(word, rightKind)) return newError();
  if ((word & needsLvalue) != 0) return refuse(msgLvalueRequired);
  switch (op) {
    case opAdd:
    case opSub:
      if (anyPointer) return buildPointerSum(op, left, right);
      break;
    case opEq:
    case opNe:
    case opGt:
    case opLt:
    case opGe:
    case opLe: return buildComparison(op, left, right);
    case opCond: return buildCond(left, right);
    case opColon: return buildColon(left, right);
    case opLogAnd:
    case opLogOr: return buildLogical(op, left, right);
    case opComma: return newOperator(op, right->type, left, right);
    case opPlus:
    case opNeg:
    case opBitNot: return buildPromoting(op, left);
    case opLogNot: return buildLogicalNot(left);
    default: break;
  }
  if ((word & promotesOperands) != 0) {
    right = promoteNode(right);
    left = promoteNode(left);
  }
  return finishOperator(op, left, right);
}

// An implicit conversion from pointer to pointer.
static ExprNode* convertPointer(TypeNode* type, ExprNode* node) {
  const PointerType& to = type->pointer;
  const PointerType& from = node->type->pointer;
  if ((from.qualifiers & ~to.qualifiers & bothQualifiers) != 0) {
    if (cplusplusMode) return refuse(msgIncompatibleConversion);
    reportWarning(warnPointerConversion);
  } else if (!pointersCompatible(usableAs, type, node)) {
    const CompatibleMode mode = (to.qualifiers & constQualifier) != 0 ? usableAs : sameTypes;
    if (areCharPointers(type, node->type)) {
      reportWarning(warnCharPointers);
    } else if (cplusplusMode && !typesCompatible(mode, to.target, from.target)) {
      return refuse(msgIncompatibleConversion);
    } else {
      reportWarning(warnPointerConversion);
    }
  }
  return castNode(type, node);
}

// A conversion that the kind of the source decides, then done.
static ExprNode* convertBySource(bool isCast, TypeNode* type, ExprNode* node) {
  switch (node->typeKind) {
    case kindInt64:
    case kindUnsignedInt64:
      if (!isCast && type->kind >= kindChar && type->kind <= kindUnsignedLong && node->op != opLongConst)
        reportWarning(warnSignificantDigits);
      break;
    case kindFloat:
    case kindDouble:
      if (isPointer(type->kind)) reportError(msgIncompatibleConversion);
      break;
    case kindVoid: return refuse(msgVoidValue);
    case kindPointer:
      if (isFloating(type->kind)) return refuse(msgIncompatibleConversion);
      break;
    case kindBool:
      if (node->op == opCast) node = node->operand.left;
      break;
    default: break;
  }
  return castNode(type, node);
}

// A conversion to a pointer type.
static ExprNode* convertToPointer(bool isCast, TypeNode* type, ExprNode* node) {
  if (isNullOperand(node)) {
    retag(node, type);
    return node;
  }
  if (!isCast && isPointer(node->typeKind)) return convertPointer(type, node);
  if (!isCast && isIntegral(node->typeKind)) {
    if (cplusplusMode) return refuse(msgIncompatibleConversion);
    if (node->typeKind == kindLong || node->typeKind == kindUnsignedLong) {
      reportError(msgNonportableConversionError);
    } else {
      reportWarning(warnNonportableConversion);
    }
    return castNode(type, node);
  }
  return convertBySource(isCast, type, node);
}

// A conversion to bool of a folded node.
static ExprNode* convertToBool(TypeNode* type, ExprNode* node) {
  // What a promotion made is seen through to its operand.
  while (node->op == opCast && (node->flags & promotedNode) != 0) {
    node = foldTree(node->operand.left);
    if (isError(node)) return node;
    if (node->type == type) {
      node->flags &= ~uint32_t{bothQualifiers};
      return node;
    }
  }
  if (!isArithmetic(node->typeKind) && !isPointer(node->typeKind)) return refuse(msgIncompatibleConversion);
  if (node->op == opIntConst && (node->flags & promotedNode) != 0) {
    node->value = node->value != 0;
    retag(node, type);
    return node;
  }
  if (isCondition(node->op)) return newOperator(opCast, type, node, nullptr);
  return buildOperator(zeroFor(node), node, opNe);
}

ExprNode* convertNode(bool isCast, TypeNode* type, ExprNode* node) {
  node = foldTree(node);
  if (isError(node)) return node;
  if (node->type == type) {
    node->flags &= ~uint32_t{bothQualifiers};
    return node;
  }
  switch (type->kind) {
    case kindVoid: return newOperator(opCast, type, node, nullptr);
    case kindPointer: return convertToPointer(isCast, type, node);
    case kindArray:
    case kindFunction:
    case kindStructure: return refuse(msgIncompatibleConversion);
    case kindBool: return convertToBool(type, node);
    default: return convertBySource(isCast, type, node);
  }
}
