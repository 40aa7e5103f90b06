// Folding: 32-bit integers that wrap to their types, 64-bit integers, and
// floating values in the 80-bit extended format, rounded to the width of float
// and double.
//
// There is no short circuit: all operands are folded, so the warnings of a part
// that does not matter are given too. Each operator is folded once. A node that
// turned out to be no constant is marked, since every conversion folds what it
// is given, and a long chain over such a node would else be walked again for each
// of its operators.
//
// Integers are computed in unsigned types, whose overflow is defined; a signed
// reading is a conversion.

#include "expr/fold.h"

#include "diag/report.h"
#include "options/option_image.h"
#include "scanner/literals.h"

uint32_t wrapToType(TypeKind kind, uint32_t value) {
  switch (kind) {
    case kindChar: return optionImage.unsignedChar ? value & 0xFF : uint32_t(int32_t(int8_t(value)));
    case kindSignedChar: return uint32_t(int32_t(int8_t(value)));
    case kindUnsignedChar: return value & 0xFF;
    case kindWchar:
    case kindUnsignedShort: return value & 0xFFFF;
    case kindShort: return uint32_t(int32_t(int16_t(value)));
    default: return value;
  }
}

// The value of an opFloatConst.
static long double floatOf(const ExprNode* node) {
  return floatOfBytes(node->floatBytes);
}

// A floating value rounded to the width of `kind`.
static long double roundTo(TypeKind kind, long double value) {
  if (kind == kindFloat) return static_cast<float>(value);
  if (kind == kindDouble) return static_cast<double>(value);
  return value;
}

// The 64-bit value of an integer constant; a word is extended by its own type.
static uint64_t longOf(const ExprNode* node) {
  if (node->op == opLongConst) return node->longValue;
  return isUnsigned(kindOf(node)) ? uint64_t{node->value} : uint64_t(int64_t{int32_t(node->value)});
}

// The value of an integer constant in extended precision, which holds it exactly.
static long double floatOfInteger(const ExprNode* node) {
  const uint64_t value = longOf(node);
  return isUnsigned(kindOf(node)) ? static_cast<long double>(value)
                                  : static_cast<long double>(int64_t(value));
}

// A floating value cut to a 64-bit integer; what does not fit, and no number,
// gives the smallest one, as the processor has it.
static uint64_t truncateFloat(long double value) {
  constexpr long double limit = 0x1p63L;
  return value >= -limit && value < limit ? uint64_t(int64_t(value)) : uint64_t{1} << 63;
}

// The truth of `left op right`, given the sign of their difference.
static bool compares(ExprOp op, int sign) {
  switch (op) {
    case opEq: return sign == 0;
    case opNe: return sign != 0;
    case opGt: return sign > 0;
    case opLt: return sign < 0;
    case opGe: return sign >= 0;
    default: return sign <= 0;
  }
}

// Folds an operator over floating constants. Comparisons go over the difference,
// so that no number counts as less and an infinity differs from itself.
static ExprNode* foldFloating(ExprNode* node) {
  ExprNode* const left = node->operand.left;
  ExprNode* const right = node->operand.right;
  const long double a = floatOf(left);
  const long double b = right != nullptr ? floatOf(right) : 0.0L;
  long double result;
  switch (node->op) {
    case opAdd: result = a + b; break;
    case opSub: result = a - b; break;
    case opMul: result = a * b; break;
    case opDiv: result = a / b; break;
    case opNeg: result = -a; break;
    default: {
      if (!isComparison(node->op)) return node;
      const long double difference = a - b;
      const int sign = difference > 0 ? 1 : difference == 0 ? 0 : -1;
      return newIntConst(basicType(kindInt), compares(node->op, sign));
    }
  }
  return newFloatConst(left->type, roundTo(kindOf(left), result));
}

// The quotient (opDiv) or the remainder of 64-bit values.
static uint64_t divideLong(ExprOp op, bool isSigned, uint64_t a, uint64_t b) {
  if (b == 0) {
    reportWarning(warnDivisionByZero);
    return a;
  }
  if (!isSigned) return op == opDiv ? a / b : a % b;
  // The one quotient that overflows: negation wraps, and nothing remains.
  if (b == ~uint64_t{0}) return op == opDiv ? 0 - a : 0;
  return uint64_t(op == opDiv ? int64_t(a) / int64_t(b) : int64_t(a) % int64_t(b));
}

// A 64-bit shift: the count is a signed byte, and only from 64 up it clears all.
static uint64_t shiftLong(ExprOp op, bool isSigned, uint64_t a, uint64_t b) {
  const int8_t count = int8_t(b);
  const int by = count < 32 ? count & 31 : count;
  if (by >= 64) return op == opShl || !isSigned ? 0 : uint64_t(int64_t(a) >> 63);
  if (op == opShl) return a << by;
  return isSigned ? uint64_t(int64_t(a) >> by) : a >> by;
}

// The sign of the difference of two integers.
template <typename Integer>
static int signOf(Integer a, Integer b) {
  return a < b ? -1 : a > b ? 1 : 0;
}

// A 64-bit result of the type of `node`; one that fits a word becomes a word.
static ExprNode* narrowed(const ExprNode* node, uint64_t value) {
  const uint64_t extended =
      kindOf(node) == kindUnsignedInt64 ? uint64_t{uint32_t(value)} : uint64_t(int64_t{int32_t(value)});
  return extended == value ? newIntConst(node->type, uint32_t(value)) : newLongConst(node->type, value);
}

// Folds an operator over integer constants of which one is of 64 bits.
static ExprNode* foldLong(ExprNode* node) {
  const ExprNode* const left = node->operand.left;
  const uint64_t a = longOf(left);
  const uint64_t b = node->operand.right != nullptr ? longOf(node->operand.right) : 0;
  const bool isSigned = !isUnsigned(kindOf(node));
  switch (node->op) {
    case opAdd: return narrowed(node, a + b);
    case opSub: return narrowed(node, a - b);
    case opMul: return narrowed(node, a * b);
    case opDiv:
    case opMod: return narrowed(node, divideLong(node->op, isSigned, a, b));
    case opShl:
    case opShr: return narrowed(node, shiftLong(node->op, isSigned, a, b));
    case opAnd: return narrowed(node, a & b);
    case opOr: return narrowed(node, a | b);
    case opXor: return narrowed(node, a ^ b);
    case opNeg: return narrowed(node, 0 - a);
    case opBitNot: return narrowed(node, ~a);
    case opLogNot: return narrowed(node, a == 0);
    case opLogAnd: return newIntConst(basicType(kindInt), a != 0 && b != 0);
    case opLogOr: return newIntConst(basicType(kindInt), a != 0 || b != 0);
    default: {
      if (!isComparison(node->op)) return node;
      const int sign = isUnsigned(kindOf(left)) ? signOf(a, b) : signOf(int64_t(a), int64_t(b));
      return newIntConst(basicType(kindInt), compares(node->op, sign));
    }
  }
}

// Overflow of integer arithmetic: an error in strict mode, else a warning.
VSP_COLD static void reportOverflow() {
  if (optionImage.languageLevel == levelAnsi)
    reportError(msgConstantTooLarge);
  else
    reportWarning(warnIntegerOverflow);
}

// The low word of an exact result. A signed one that does not fit is reported
// and counts as 1.
static uint32_t checkedWord(bool isSigned, int64_t exact) {
  if (!isSigned || exact == int32_t(exact)) return uint32_t(exact);
  reportOverflow();
  return 1;
}

// The quotient (opDiv) or the remainder of words.
static uint32_t divideWord(ExprOp op, bool isSigned, uint32_t a, uint32_t b) {
  if (b == 0) {
    reportWarning(warnDivisionByZero);
    return a;
  }
  if (!isSigned) return op == opDiv ? a / b : a % b;
  // In 64 bits, where the one quotient that overflows a word is harmless.
  const int64_t dividend = int32_t(a);
  const int64_t divisor = int32_t(b);
  return uint32_t(op == opDiv ? dividend / divisor : dividend % divisor);
}

// Folds an operator over words: the left node becomes the result.
static ExprNode* foldWord(ExprNode* node) {
  ExprNode* const left = node->operand.left;
  const uint32_t a = left->value;
  const uint32_t b = node->operand.right != nullptr ? node->operand.right->value : 0;
  const bool isSigned = !isUnsigned(kindOf(node));
  const int64_t wideA = int32_t(a);
  const int64_t wideB = int32_t(b);
  uint32_t result;
  switch (node->op) {
    case opAdd: result = checkedWord(isSigned, wideA + wideB); break;
    case opSub: result = checkedWord(isSigned, wideA - wideB); break;
    case opMul: result = checkedWord(isSigned, wideA * wideB); break;
    case opDiv:
    case opMod: result = divideWord(node->op, isSigned, a, b); break;
    case opShl: result = a << (b & 31); break;
    case opShr: result = isSigned ? uint32_t(int32_t(a) >> (b & 31)) : a >> (b & 31); break;
    case opAnd: result = a & b; break;
    case opOr: result = a | b; break;
    case opXor: result = a ^ b; break;
    case opNeg: result = 0 - a; break;
    case opBitNot: result = ~a; break;
    case opLogNot: result = a == 0; break;
    case opLogAnd: result = a != 0 && b != 0; break;
    case opLogOr: result = a != 0 || b != 0; break;
    default: {
      if (!isComparison(node->op)) return node;
      // The type of the comparison itself is int: its operands tell how to compare.
      result = compares(node->op, isUnsigned(kindOf(left)) ? signOf(a, b) : signOf(wideA, wideB));
    }
  }
  left->promoted = false;
  left->type = node->type;
  left->value = wrapToType(kindOf(left), result);
  return left;
}

ExprNode* foldOperator(ExprNode* node) {
  const ExprOp left = node->operand.left->op;
  const ExprOp right = node->operand.right != nullptr ? node->operand.right->op : left;
  if (left == opFloatConst && right == opFloatConst) return foldFloating(node);
  const bool integers =
      (left == opIntConst || left == opLongConst) && (right == opIntConst || right == opLongConst);
  if (!integers) return node;
  return left == opLongConst || right == opLongConst ? foldLong(node) : foldWord(node);
}

// An addition: a constant stands on the right, and adding zero adds nothing.
static ExprNode* foldAdd(ExprNode* node) {
  ExprOperands& operand = node->operand;
  if (isConstant(operand.left->op)) operand = {.left = operand.right, .right = operand.left};
  if (isIntConst(operand.right, 0)) return castNode(node->type, operand.left);
  return foldOperator(node);
}

// A subtraction: of a signed constant it is the addition of the negated one, so
// that overflow is judged as in that addition.
static ExprNode* foldSub(ExprNode* node) {
  ExprNode* const right = node->operand.right;
  if (right->op == opIntConst) {
    if (right->value == 0) return node->operand.left;
    if (!isUnsigned(kindOf(node))) {
      right->value = 0 - right->value;
      node->op = opAdd;
    }
  }
  return foldOperator(node);
}

// A condition that is a constant selects its branch.
static ExprNode* foldCond(ExprNode* node) {
  const ExprNode* const condition = node->operand.left;
  if (condition->op != opIntConst) return node;
  const ExprOperands& branches = node->operand.right->operand;
  ExprNode* const chosen = condition->value != 0 ? branches.left : branches.right;
  chosen->type = node->type;
  return chosen;
}

// A cast over a constant. Over anything else, and to void, it stays.
static ExprNode* foldCast(ExprNode* node) {
  ExprNode* const operand = node->operand.left;
  if (node->type == operand->type) return operand;
  if (kindOf(node) != kindVoid && (operand->op == opIntConst || operand->op == opFloatConst))
    return castNode(node->type, operand);
  return node;
}

// Folds one node whose operands are folded.
static ExprNode* foldNode(ExprNode* node) {
  const ExprOperands& operand = node->operand;
  switch (node->op) {
    case opCast: return foldCast(node);
    case opAdd: return foldAdd(node);
    case opSub: return foldSub(node);
    case opCond: return foldCond(node);
    case opDiv: return isIntConst(operand.right, 1) ? operand.left : foldOperator(node);
    case opMod:
      return isIntConst(operand.right, 1) ? newIntConst(operand.right->type, 0) : foldOperator(node);
    case opPtrDiff: return isIntConst(operand.right, 0) ? castNode(node->type, operand.left) : node;
    default: return foldOperator(node);
  }
}

// Nothing is left to fold in `node`.
static bool isSettled(const ExprNode* node) {
  return node == nullptr || isError(node) || isConstant(node->op) || node->folded;
}

// A chain of operators of one level hangs on left operands and may have any
// length; so the way down is kept in the nodes themselves, each holding its
// parent in place of its left operand, and only right operands recur.
ExprNode* foldTree(ExprNode* node) {
  if (isSettled(node)) return node;
  ExprNode* parent = nullptr;
  while (!isSettled(node->operand.left)) {
    ExprNode* const left = node->operand.left;
    node->operand.left = parent;
    parent = node;
    node = left;
  }
  for (;;) {
    node->operand.right = foldTree(node->operand.right);
    ExprNode* const folded = foldNode(node);
    if (!isConstant(folded->op)) folded->folded = true;
    if (parent == nullptr) return folded;
    node = parent;
    parent = node->operand.left;
    node->operand.left = folded;
  }
}

// A word as a value of `type`.
static ExprNode* castWord(TypeNode* type, ExprNode* node) {
  if (isInt64(type->kind)) return newLongConst(type, longOf(node));
  if (isFloating(type->kind)) return newFloatConst(type, roundTo(type->kind, floatOfInteger(node)));
  node->value = wrapToType(type->kind, node->value);
  node->type = type;
  return node;
}

// A floating value as a value of `type`. A narrow integer type does not reduce
// the word.
static ExprNode* castFloat(TypeNode* type, const ExprNode* node) {
  const long double value = floatOf(node);
  if (isFloating(type->kind)) return newFloatConst(type, roundTo(type->kind, value));
  const uint64_t cut = truncateFloat(value);
  return isInt64(type->kind) ? newLongConst(type, cut) : newIntConst(type, uint32_t(cut));
}

// A 64-bit value as a value of `type`. It is not rounded to the width of a
// floating type, nor reduced to that of a narrow integer type.
static ExprNode* castLong(TypeNode* type, ExprNode* node) {
  if (isFloating(type->kind)) return newFloatConst(type, floatOfInteger(node));
  if (isIntegral(type->kind) && !isInt64(type->kind)) return newIntConst(type, uint32_t(node->longValue));
  node->type = type;
  return node;
}

ExprNode* castNode(TypeNode* type, ExprNode* node) {
  node = foldTree(node);
  if (isError(node) || type == node->type) return node;
  if (optionImage.languageLevel != levelAnsi &&
      kindInfo[type->kind].representation == kindInfo[kindOf(node)].representation) {
    node->type = type;
    return node;
  }
  switch (node->op) {
    case opIntConst: return castWord(type, node);
    case opFloatConst: return castFloat(type, node);
    case opLongConst: return castLong(type, node);
    default: break;
  }
  if (kindOf(node) == kindVoid && type->kind != kindVoid) {
    reportError(msgVoidValue);
    return newError();
  }
  return newOperator(opCast, type, node);
}
