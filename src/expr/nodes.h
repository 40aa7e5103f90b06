// The expression tree: its node and the operators.
//
// A node is a constant or an operator over one or two operands. Nodes come from
// an arena of the unit, which is emptied after an expression that made it grow.
// A refused operand or operator becomes the error node; every routine hands one
// on without a message, since that was given when the node was made.

#pragma once

#include "base.h"
#include "expr/types.h"

// What a node is.
enum ExprOp : Byte {
  opError,

  opIntConst,
  opLongConst,
  opFloatConst,

  opAdd,
  opSub,
  opMul,
  opDiv,
  opMod,
  opShl,
  opShr,
  opAnd,
  opOr,
  opXor,
  opDotStar,
  opArrowStar,

  opAssign,
  opAddAssign,
  opSubAssign,
  opMulAssign,
  opDivAssign,
  opModAssign,
  opShlAssign,
  opShrAssign,
  opAndAssign,
  opOrAssign,
  opXorAssign,

  opEq,
  opNe,
  opGt,
  opLt,
  opGe,
  opLe,
  opLogAnd,
  opLogOr,

  opComma,
  opCond,   // over a condition and an opColon
  opColon,  // over the branches of a condition

  opPlus,
  opNeg,
  opBitNot,
  opLogNot,

  opCast,
  opPtrDiff  // the difference of two pointers in bytes
};

constexpr size_t exprOpCount = opPtrDiff + 1;

struct ExprNode;

// The operands of an operator; a unary one has its operand on the left.
struct ExprOperands {
  ExprNode* left;
  ExprNode* right;
};

struct ExprNode {
  ExprOp op;
  bool promoted;   // the result of an implicit promotion
  bool folded;     // foldTree has done this subtree, and it is no constant
  TypeNode* type;  // of the value
  union alignas(8) {
    ExprOperands operand;  // of operators
    uint32_t value;        // opIntConst: the word, reduced to the width of its type
    uint64_t longValue;    // opLongConst
    Byte floatBytes[10];   // opFloatConst, as in FloatTokenValue
  };
};

// Two words for what an operator needs, and the value: 32 bytes, 24 on a 32-bit host.
static_assert(sizeof(ExprNode) == 2 * sizeof(void*) + 16 && offsetof(ExprNode, operand) == 2 * sizeof(void*));

constexpr bool isComparison(ExprOp op) {
  return op >= opEq && op <= opLe;
}
constexpr bool isConstant(ExprOp op) {
  return op >= opIntConst && op <= opFloatConst;
}

// A comparison or a logical operator: its value is 0 or 1 already.
constexpr bool isCondition(ExprOp op) {
  return (op >= opEq && op <= opLogOr) || op == opLogNot;
}
static_assert(!isComparison(opLogAnd) && isCondition(opLogAnd) && !isCondition(opComma));

inline TypeKind kindOf(const ExprNode* node) {
  return node->type->kind;
}
inline bool isError(const ExprNode* node) {
  return node->op == opError;
}
inline bool isPointer(const ExprNode* node) {
  return kindOf(node) == kindPointer;
}
inline bool isIntConst(const ExprNode* node, uint32_t value) {
  return node->op == opIntConst && node->value == value;
}

// New nodes.
ExprNode* newOperator(ExprOp op, TypeNode* type, ExprNode* left, ExprNode* right = nullptr);
ExprNode* newIntConst(TypeNode* type, uint32_t value);
ExprNode* newLongConst(TypeNode* type, uint64_t value);
ExprNode* newFloatConst(TypeNode* type, long double value);
ExprNode* newError();

// The arena of the nodes: made empty at the start of a unit, given back at its
// end, emptied after an expression that needed more than one chunk.
void initNodes();
void freeNodes();
void trimNodes();
