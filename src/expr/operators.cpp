// The typing of operators.
//
// Each operator has a property word that says which operand classes it takes
// besides integers, whether it promotes, how the right operand is converted and
// whether the result is int. buildBinary works through that word; the operators
// with rules of their own have a routine each. All leaves are constants, so what
// is not constant holds a comma, a member selection or a cast to void, and no
// operand denotes an object.

#include "expr/operators.h"

#include <array>
#include <climits>

#include "diag/report.h"
#include "expr/fold.h"
#include "options/option_image.h"

// Bits of an operator's property word: the operand classes that it accepts besides
// integers, then how it treats its operands.
enum OperatorProperty : Byte {
  acceptsFloating = 0x01,
  acceptsPointer = 0x02,
  acceptsVoid = 0x04,
  needsLvalue = 0x08,       // the left operand must denote an object
  promotesOperands = 0x10,  // before they are converted
  convertsCount = 0x20,     // the right operand is a shift count; else the usual conversions hold
  givesInt = 0x40           // the result is int
};

// The property words by operator.
constexpr std::array<Byte, exprOpCount> operatorProperty = [] {
  constexpr Byte scalar = acceptsFloating | acceptsPointer;
  std::array<Byte, exprOpCount> table{};
  table[opAdd] = table[opSub] = scalar | promotesOperands;
  table[opMul] = table[opDiv] = acceptsFloating | promotesOperands;
  table[opMod] = promotesOperands;
  table[opShl] = table[opShr] = promotesOperands | convertsCount;
  table[opArrowStar] = acceptsPointer;
  table[opAssign] = table[opAddAssign] = table[opSubAssign] = scalar | needsLvalue;
  table[opMulAssign] = table[opDivAssign] = acceptsFloating | needsLvalue;
  for (size_t op = opModAssign; op <= opXorAssign; ++op) table[op] = needsLvalue;
  for (size_t op = opEq; op <= opLe; ++op) table[op] = scalar | givesInt;
  table[opLogAnd] = table[opLogOr] = table[opLogNot] = scalar;
  table[opComma] = table[opCond] = table[opColon] = scalar | acceptsVoid;
  table[opPlus] = scalar;
  table[opNeg] = acceptsFloating;
  return table;
}();

static_assert(operatorProperty[opAnd] == 0 && operatorProperty[opDotStar] == 0 &&
              operatorProperty[opDivAssign] == (acceptsFloating | needsLvalue) &&
              operatorProperty[opXorAssign] == needsLvalue && operatorProperty[opBitNot] == 0);

// An error node after its message.
static ExprNode* refuse(MessageId id) {
  reportError(id);
  return newError();
}

// Reports and refuses an operand whose class the word `property` does not accept.
static bool acceptsOperand(Byte property, const ExprNode* node) {
  const TypeKind kind = kindOf(node);
  MessageId refusal = noMessage;
  if (isFloating(kind) && (property & acceptsFloating) == 0) refusal = msgUseOfFloat;
  if (kind == kindPointer && (property & acceptsPointer) == 0) refusal = msgUseOfPointer;
  if (kind == kindVoid && (property & acceptsVoid) == 0) refusal = msgNotAllowedType;
  if (refusal == noMessage) return true;
  reportError(refusal);
  return false;
}

static ExprNode* convertImplicitly(TypeNode* type, ExprNode* node) {
  return convertNode(implicitConversion, type, node);
}

// An operator that gives int. In C++ the value of such a one is a bool.
static ExprNode* newLogical(ExprOp op, ExprNode* left, ExprNode* right) {
  ExprNode* const node = newOperator(op, basicType(kindInt), left, right);
  return cplusplusMode ? newOperator(opCast, basicType(kindBool), node) : node;
}

// A zero to compare `node` with.
static ExprNode* zeroFor(const ExprNode* node) {
  return newIntConst(basicType(kindOf(node) == kindBool ? kindBool : kindInt), 0);
}

// --- Pointers ---

// Two pointers to plain data of one byte.
static bool areCharPointers(const TypeNode* a, const TypeNode* b) {
  return a->pointer.toPlainData && b->pointer.toPlainData && isCharKind(a->inner->kind) &&
         isCharKind(b->inner->kind);
}

// A null pointer constant, perhaps under casts from pointer to pointer.
static bool isNullConstant(const ExprNode* node) {
  while (node->op == opCast && isPointer(node) && isPointer(node->operand.left)) node = node->operand.left;
  return isIntConst(node, 0);
}

// Looks whether `to` and `from` are pointers to pointers that differ, at each
// level down to one that agrees, by `qualifier` being added in `to`.
static bool addsQualifierBelow(CompatibleMode mode, Qualifier qualifier, const TypeNode* to,
                               const TypeNode* from) {
  for (;;) {
    to = to->inner;
    from = from->inner;
    if (to->kind != kindPointer || from->kind != kindPointer) return false;
    if ((from->pointer.qualifiers & qualifier) != 0 || (to->pointer.qualifiers & qualifier) == 0)
      return false;
    if (typesCompatible(mode, to->inner, from->inner)) return true;
  }
}

// True if the pointer `node` may become the pointer type `to` without a message.
static bool pointersCompatible(CompatibleMode mode, const TypeNode* to, const ExprNode* node) {
  const TypeNode* const from = node->type;
  const int gained = to->pointer.qualifiers & ~from->pointer.qualifiers;
  const int lost = from->pointer.qualifiers & ~to->pointer.qualifiers;
  if (to->inner->kind == kindVoid && (!cplusplusMode || lost == 0)) return true;
  if (from->inner->kind == kindVoid && (mode == comparable || !cplusplusMode || isNullConstant(node)))
    return true;
  if (mode == usableAs && (to->pointer.qualifiers & constQualifier) == 0) mode = sameTypes;
  if (typesCompatible(mode, to->inner, from->inner)) return true;
  if (!cplusplusMode) return false;
  return ((gained & constQualifier) != 0 && addsQualifierBelow(mode, constQualifier, to, from)) ||
         ((gained & volatileQualifier) != 0 && addsQualifierBelow(mode, volatileQualifier, to, from));
}

// Brings the pointer `change` to the type of the pointer `keep`, for a comparison
// or for the branches of a condition.
enum MergePurpose { mergeCompared, mergeBranches };
static ExprNode* mergePointers(MergePurpose purpose, const ExprNode* keep, ExprNode* change) {
  if (!pointersCompatible(comparable, keep->type, change)) {
    if (areCharPointers(keep->type, change->type)) {
      reportWarning(warnCharPointers);
    } else if (purpose == mergeCompared) {
      reportWarning(warnPointerComparison);
    } else {
      return refuse(msgSameTypeRequired);
    }
  }
  return castNode(keep->type, change);
}

// --- Promotion and the usual conversions ---

ExprNode* promoteNode(ExprNode* node) {
  TypeKind kind = kindOf(node);
  if ((kind >= kindChar && kind <= kindUnsignedShort) || kind == kindBool) {
    kind = kindInt;
  } else if (!isInt64(kind)) {
    return node;
  }
  node = castNode(basicType(kind), node);
  node->promoted = true;
  return node;
}

ExprNode* toCondition(ExprNode* node) {
  if (isError(node) || isCondition(node->op)) return node;
  if (cplusplusMode && kindOf(node) != kindBool) {
    node = convertImplicitly(basicType(kindBool), node);
    if (isError(node)) return node;
    if (node->op == opCast && isCondition(node->operand.left->op)) return node->operand.left;
  }
  return buildBinary(opNe, node, zeroFor(node));
}

// Warns about a comparison of two types of a word's size that differ in their sign,
// unless the signed side is a constant that is not negative.
static void checkSigns(const ExprNode* left, const ExprNode* right) {
  if (isUnsigned(kindOf(left)) == isUnsigned(kindOf(right))) return;
  if (kindInfo[kindOf(left)].size != wordSize || kindInfo[kindOf(right)].size != wordSize) return;
  const ExprNode* const signedSide = isUnsigned(kindOf(left)) ? right : left;
  if (signedSide->op == opIntConst && int32_t(signedSide->value) >= 0) return;
  reportWarning(warnSignedUnsigned);
}

// Brings two operands to one type; `higher` has the higher kind.
static void convertToHigher(ExprNode*& higher, ExprNode*& lower) {
  if (kindOf(higher) == kindLong && kindOf(lower) == kindUnsignedInt) {
    higher = convertImplicitly(basicType(kindUnsignedLong), higher);
    lower = convertImplicitly(basicType(kindUnsignedLong), lower);
  } else if (kindOf(higher) == kindBool) {
    higher = convertImplicitly(lower->type, higher);
  } else {
    lower = convertImplicitly(higher->type, lower);
  }
}

// Zero as an operand next to a pointer.
static bool isNullOperand(const ExprNode* node) {
  return isIntConst(node, 0) && kindOf(node) != kindBool;
}

// The usual arithmetic conversions, and those of pointers.
static void convertUsually(ExprOp op, ExprNode*& left, ExprNode*& right) {
  if (isComparison(op)) checkSigns(left, right);
  if (isPointer(left) && isNullOperand(right)) {
    right = castNode(left->type, right);
  } else if (isPointer(right) && isNullOperand(left)) {
    left = castNode(right->type, left);
  } else if (kindOf(left) > kindOf(right)) {
    convertToHigher(left, right);
  } else if (kindOf(right) > kindOf(left)) {
    convertToHigher(right, left);
  }
}

// Converts the count of a shift of `left`.
static void convertCount(const ExprNode* left, ExprNode*& right) {
  right = convertImplicitly(basicType(kindUnsignedInt), right);
  if (right->op == opIntConst && right->value >= uint32_t{CHAR_BIT} * kindInfo[kindOf(left)].size)
    reportWarning(warnShiftOverflow);
}

// The last steps of an operator: conversion of the operands and the node itself.
static ExprNode* finishOperator(ExprOp op, ExprNode* left, ExprNode* right) {
  const Byte property = operatorProperty[op];
  if ((property & convertsCount) != 0)
    convertCount(left, right);
  else
    convertUsually(op, left, right);
  if (isError(left)) return left;
  if (isError(right)) return right;
  if ((property & givesInt) != 0) return newLogical(op, left, right);
  return newOperator(op, left->type, left, right);
}

// --- Pointer arithmetic ---

// The size of what the pointer type `type` points to, 1 after a complaint.
static uint32_t elementSize(const TypeNode* type) {
  const uint32_t size = sizeOfType(type->inner);
  if (size != 0) return size;
  reportError(msgSizeUnknown);
  return 1;
}

// A pointer with an index added or taken off.
static ExprNode* buildIndexed(ExprOp op, ExprNode* pointer, ExprNode* index) {
  TypeNode* const intType = basicType(kindInt);
  if (isInt64(kindOf(index))) {
    reportWarning(warnPointerArithmetic);
    index = convertImplicitly(basicType(kindUnsignedInt), index);
  }
  index = convertImplicitly(intType, index);
  if (isError(index)) return index;
  const uint32_t size = elementSize(pointer->type);
  if (size > 1) index = newOperator(opMul, intType, index, newIntConst(intType, size));
  return newOperator(op, pointer->type, pointer, index);
}

// The difference of two pointers, in elements.
static ExprNode* buildDifference(ExprNode* left, ExprNode* right) {
  TypeNode* const intType = basicType(kindInt);
  right = convertImplicitly(left->type, right);
  if (isError(right)) return right;
  ExprNode* const bytes = newOperator(opPtrDiff, intType, left, right);
  const uint32_t size = elementSize(left->type);
  return size > 1 ? newOperator(opDiv, intType, bytes, newIntConst(intType, size)) : bytes;
}

// An addition or subtraction with a pointer among its operands.
static ExprNode* buildPointerSum(ExprOp op, ExprNode* left, ExprNode* right) {
  if (isPointer(left) && isPointer(right))
    return op == opAdd ? refuse(msgPointerAddition) : buildDifference(left, right);
  if (isPointer(left)) return buildIndexed(op, left, right);
  return op == opAdd ? buildIndexed(op, right, left) : refuse(msgPointerSubtraction);
}

// --- Comparisons ---

// The least and the greatest value of a kind.
struct KindRange {
  int64_t min;
  int64_t max;
};

// The range of an integer kind below long.
static KindRange rangeOf(TypeKind kind) {
  const bool isSigned = kind == kindChar ? !optionImage.unsignedChar : !isUnsigned(kind);
  const int64_t span = int64_t{1} << (CHAR_BIT * kindInfo[kind].size);
  return isSigned ? KindRange{-span / 2, span / 2 - 1} : KindRange{0, span - 1};
}

// The operator of a comparison whose sides are exchanged.
static ExprOp swapComparison(ExprOp op) {
  switch (op) {
    case opGt: return opLt;
    case opLt: return opGt;
    case opGe: return opLe;
    case opLe: return opGe;
    default: return op;
  }
}

// Warns that a comparison has the same value for any operand.
static void reportAlways(bool value) {
  char text[messageTextLimit];
  reportWarning(warnConditionAlways, loadConsoleMessage(sizeof text, text, value ? textTrue : textFalse));
}

// Looks at `operand op constant`: whether the type of the operand decides it.
// If not, the constant takes that type.
static void checkRange(ExprOp op, const ExprNode* operand, ExprNode* constant) {
  const TypeKind kind = kindOf(operand);
  if (kind >= kindLong) return;
  const KindRange range = rangeOf(kind);
  const int64_t value = range.min < 0 ? int64_t{int32_t(constant->value)} : int64_t{constant->value};
  if (value < range.min || value > range.max) {
    reportWarning(warnConstantRange);
  } else if (value == range.min || value == range.max) {
    const ExprOp always = value == range.min ? opGe : opLe;
    const ExprOp never = value == range.min ? opLt : opGt;
    if (op == always || op == never) reportAlways(op == always);
  } else {
    constant->type = operand->type;
    constant->value = wrapToType(kind, constant->value);
  }
}

static ExprNode* buildComparison(ExprOp op, ExprNode* left, ExprNode* right) {
  if (isPointer(left) && isPointer(right)) {
    right = mergePointers(mergeCompared, left, right);
  } else if (!isPointer(left) && !isPointer(right)) {
    left = foldTree(left);
    right = foldTree(right);
    const bool leftConstant = left->op == opIntConst;
    const bool rightConstant = right->op == opIntConst;
    if (rightConstant && !leftConstant) checkRange(op, left, right);
    if (leftConstant && !rightConstant) checkRange(swapComparison(op), right, left);
    if (kindOf(left) != kindOf(right)) {
      left = promoteNode(left);
      right = promoteNode(right);
    }
  }
  return finishOperator(op, left, right);
}

// --- Conditions and logical operators ---

// Two branches that are pointers: a pointer to the target of the first, with the
// qualifiers of both.
static ExprNode* buildPointerBranches(ExprNode* left, ExprNode* right) {
  const PointerType& pointer = left->type->pointer;
  const Byte qualifiers = pointer.qualifiers | right->type->pointer.qualifiers;
  right = mergePointers(mergeBranches, left, right);
  if (isError(right)) return right;
  TypeNode* const type = internPointer(pointer.toPlainData, qualifiers, left->type->inner);
  return newOperator(opColon, type, left, right);
}

// The branches of a condition.
static ExprNode* buildColon(ExprNode* left, ExprNode* right) {
  if (left->type == right->type) return newOperator(opColon, left->type, left, right);
  if (isPointer(left) && isPointer(right)) return buildPointerBranches(left, right);
  if (isPointer(left)) {
    right = convertImplicitly(left->type, right);
  } else if (isPointer(right) || !isArithmetic(kindOf(left))) {
    left = convertImplicitly(right->type, left);
  } else if (!isArithmetic(kindOf(right))) {
    right = convertImplicitly(left->type, right);
  }
  if (isError(left)) return left;
  return isError(right) ? right : finishOperator(opColon, left, right);
}

// "&&" and "||".
static ExprNode* buildLogical(ExprOp op, ExprNode* left, ExprNode* right) {
  left = toCondition(left);
  right = toCondition(right);
  if (isError(left)) return left;
  return isError(right) ? right : newLogical(op, left, right);
}

// "!". In C++ the negation of a comparison with zero is the opposite comparison.
static ExprNode* buildLogicalNot(ExprNode* node) {
  if (cplusplusMode && kindOf(node) != kindBool) {
    node = toCondition(node);
    if (isError(node)) return node;
    if (node->op == opNe) {
      node->op = opEq;
      return convertImplicitly(basicType(kindBool), node);
    }
    node = promoteNode(node);
  } else {
    node = promoteNode(node);
    if (!isIntegral(kindOf(node))) node = toCondition(node);
  }
  return isError(node) ? node : newLogical(opLogNot, node, nullptr);
}

// --- The operators ---

ExprNode* buildUnary(ExprOp op, ExprNode* operand) {
  if (isError(operand)) return operand;
  if (!acceptsOperand(operatorProperty[op], operand)) return newError();
  if (op == opLogNot) return buildLogicalNot(operand);
  if (op == opNeg && isUnsigned(kindOf(operand)) && kindInfo[kindOf(operand)].size == wordSize)
    reportWarning(warnNegatingUnsigned);
  operand = promoteNode(operand);
  return op == opPlus || isError(operand) ? operand : newOperator(op, operand->type, operand);
}

ExprNode* buildBinary(ExprOp op, ExprNode* left, ExprNode* right) {
  if (isError(left)) return left;
  if (isError(right)) return right;
  Byte property = operatorProperty[op];
  const bool anyPointer = isPointer(left) || isPointer(right);
  if (anyPointer && op != opComma) property &= Byte(~acceptsFloating);
  if (!acceptsOperand(property, left) || !acceptsOperand(property, right)) return newError();
  if ((property & needsLvalue) != 0) return refuse(msgLvalueRequired);
  if (isComparison(op)) return buildComparison(op, left, right);
  switch (op) {
    case opAdd:
    case opSub:
      if (anyPointer) return buildPointerSum(op, left, right);
      break;
    case opCond:
    case opComma: return newOperator(op, right->type, left, right);
    case opColon: return buildColon(left, right);
    case opLogAnd:
    case opLogOr: return buildLogical(op, left, right);
    default: break;
  }
  if ((property & promotesOperands) != 0) {
    right = promoteNode(right);
    left = promoteNode(left);
  }
  return finishOperator(op, left, right);
}

// --- Conversions ---

// An implicit conversion from pointer to pointer.
static ExprNode* convertPointer(TypeNode* type, ExprNode* node) {
  const PointerType& to = type->pointer;
  if ((node->type->pointer.qualifiers & ~to.qualifiers) != 0) {
    if (cplusplusMode) return refuse(msgIncompatibleConversion);
    reportWarning(warnPointerConversion);
  } else if (!pointersCompatible(usableAs, type, node)) {
    const CompatibleMode mode = (to.qualifiers & constQualifier) != 0 ? usableAs : sameTypes;
    if (areCharPointers(type, node->type)) {
      reportWarning(warnCharPointers);
    } else if (cplusplusMode && !typesCompatible(mode, type->inner, node->type->inner)) {
      return refuse(msgIncompatibleConversion);
    } else {
      reportWarning(warnPointerConversion);
    }
  }
  return castNode(type, node);
}

// A conversion that the kind of the operand decides, then done.
static ExprNode* convertByOperand(ConversionSource source, TypeNode* type, ExprNode* node) {
  switch (kindOf(node)) {
    case kindInt64:
    case kindUnsignedInt64:
      if (source == implicitConversion && isIntegral(type->kind) && !isInt64(type->kind) &&
          node->op != opLongConst)
        reportWarning(warnSignificantDigits);
      break;
    case kindFloat:
    case kindDouble:
      if (type->kind == kindPointer) reportError(msgIncompatibleConversion);
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
static ExprNode* convertToPointer(ConversionSource source, TypeNode* type, ExprNode* node) {
  if (isNullOperand(node)) {
    node->type = type;
    return node;
  }
  if (source == implicitConversion && isPointer(node)) return convertPointer(type, node);
  if (source == implicitConversion && isIntegral(kindOf(node))) {
    if (cplusplusMode) return refuse(msgIncompatibleConversion);
    if (kindOf(node) == kindLong || kindOf(node) == kindUnsignedLong) {
      reportError(msgNonportableConversionError);
    } else {
      reportWarning(warnNonportableConversion);
    }
    return castNode(type, node);
  }
  return convertByOperand(source, type, node);
}

// A conversion to bool of a folded node.
static ExprNode* convertToBool(TypeNode* type, ExprNode* node) {
  // A promotion is looked through.
  while (node->op == opCast && node->promoted) {
    node = foldTree(node->operand.left);
    if (isError(node) || node->type == type) return node;
  }
  if (!isArithmetic(kindOf(node)) && !isPointer(node)) return refuse(msgIncompatibleConversion);
  if (node->op == opIntConst && node->promoted) {
    node->value = node->value != 0;
    node->type = type;
    return node;
  }
  if (isCondition(node->op)) return newOperator(opCast, type, node);
  return buildBinary(opNe, node, zeroFor(node));
}

ExprNode* convertNode(ConversionSource source, TypeNode* type, ExprNode* node) {
  node = foldTree(node);
  if (isError(node) || node->type == type) return node;
  switch (type->kind) {
    case kindVoid: return newOperator(opCast, type, node);
    case kindPointer: return convertToPointer(source, type, node);
    case kindArray:
    case kindFunction: return refuse(msgIncompatibleConversion);
    case kindBool: return convertToBool(type, node);
    default: return convertByOperand(source, type, node);
  }
}
