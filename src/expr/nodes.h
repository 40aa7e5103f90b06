// The expression tree: its node, the operators, and what is known of each.
//
// A node is a constant or an operator over one or two operands. Nodes come from
// the arena of the unit, which is emptied behind an expression that made it grow.
// A refused operand or operator becomes the error node, whose typeKind is 0;
// every routine hands one on in silence, since its message was given when it was
// made.

#pragma once

#include "base.h"
#include "expr/types.h"

// Node kinds. The numbers leave room for those that only the compiler has.
enum ExprOp : int16_t {
  opError = 0,
  opIntConst = 2,
  opLongConst = 3,
  opFloatConst = 4,
  opAdd = 10,
  opSub = 11,
  opMul = 12,
  opDiv = 13,
  opMod = 14,
  opShl = 15,
  opShr = 16,
  opAnd = 17,
  opOr = 18,
  opXor = 19,
  opAssign = 20,
  opAddAssign = 21,
  opSubAssign = 22,
  opMulAssign = 23,
  opDivAssign = 24,
  opModAssign = 25,
  opShlAssign = 26,
  opShrAssign = 27,
  opAndAssign = 28,
  opOrAssign = 29,
  opXorAssign = 30,
  opEq = 31,
  opNe = 32,
  opGt = 33,
  opLt = 34,
  opGe = 35,
  opLe = 36,
  opCond = 39,
  opColon = 40,
  opLogAnd = 41,
  opLogOr = 42,
  opComma = 44,
  opPtrDiff = 46,
  opDotStar = 48,
  opArrowStar = 49,
  opPlus = 50,
  opNeg = 51,
  opBitNot = 52,
  opLogNot = 53,
  opCast = 59
};

constexpr int exprOpCount = 60;

// Bits of an operator's property word: the operand classes that it accepts
// besides integers, then how it treats its operands.
enum OperatorProperty : uint16_t {
  acceptsFloating = 0x0001,
  acceptsPointer = 0x0002,
  acceptsVoid = 0x0004,
  acceptsSegment = 0x0008,
  acceptsStructure = 0x0010,
  acceptsMember = 0x0020,
  acceptsMask = 0x00FF,
  conversionMask = 0x0300,   // of the right operand:
  usualConversion = 0x0000,  //   the usual arithmetic conversions
  countConversion = 0x0200,  //   to the type of a shift count
  givesInt = 0x0400,         // the result is int
  promotesOperands = 0x0800,
  needsLvalue = 0x1000  // the left operand must denote an object
};

// The property words by operator.
constexpr auto operatorProperty = [] {
  struct Table {
    uint16_t word[exprOpCount];
  } table{};
  struct Row {
    ExprOp op;
    uint16_t word;
  };
  constexpr Row rows[] = {
      {opAdd, 0x080B},       {opSub, 0x0803},       {opMul, 0x0801},       {opDiv, 0x0801},
      {opMod, 0x0800},       {opShl, 0x0A40},       {opShr, 0x0A40},       {opAnd, 0x0000},
      {opOr, 0x0000},        {opXor, 0x0000},       {opAssign, 0x313B},    {opAddAssign, 0x1103},
      {opSubAssign, 0x1103}, {opMulAssign, 0x1101}, {opDivAssign, 0x1101}, {opModAssign, 0x1100},
      {opShlAssign, 0x1300}, {opShrAssign, 0x1300}, {opAndAssign, 0x1100}, {opOrAssign, 0x1100},
      {opXorAssign, 0x1100}, {opEq, 0x042B},        {opNe, 0x042B},        {opGt, 0x040B},
      {opLt, 0x040B},        {opGe, 0x040B},        {opLe, 0x040B},        {opCond, 0x003F},
      {opColon, 0x003F},     {opLogAnd, 0x002B},    {opLogOr, 0x002B},     {opComma, 0x003F},
      {opPtrDiff, 0x0000},   {opDotStar, 0x0030},   {opArrowStar, 0x0032}, {opPlus, 0x0803},
      {opNeg, 0x0801},       {opBitNot, 0x0800},    {opLogNot, 0x002B},
  };
  for (const Row& row : rows) table.word[row.op] = row.word;
  return table;
}();

static_assert(operatorProperty.word[opAssign] == 0x313B && operatorProperty.word[opLogNot] == 0x002B);

// Bits of ExprNode::flags besides the two qualifiers, which are carried from the
// operands.
enum NodeFlag : uint32_t {
  promotedNode = 0x00002000,  // the result of an implicit promotion
  foldedNode = 0x80000000     // foldTree has done this subtree, and it is no constant
};

struct ExprNode;

// The operands of an operator; a unary one has its operand on the left.
struct ExprOperands {
  ExprNode* left;
  ExprNode* right;
};

struct ExprNode {
  int16_t op;        // ExprOp
  int16_t typeKind;  // the kind of `type`, 0 for the error node
  uint32_t flags;    // Qualifier and NodeFlag bits
  TypeNode* type;    // of the value
  union alignas(8) {
    ExprOperands operand;  // of operators
    uint32_t value;        // opIntConst: the word, reduced to the width of its type
    uint64_t longValue;    // opLongConst
    Byte floatBytes[10];   // opFloatConst: kept as bytes, so that the node stays small
  };
};

// The same on hosts of either pointer size: an arena chunk holds as many nodes.
static_assert(sizeof(ExprNode) == 32 && offsetof(ExprNode, operand) == 16);

constexpr bool isComparison(int op) {
  return op >= opEq && op <= opLe;
}
constexpr bool isConstant(int op) {
  return op >= opIntConst && op <= opFloatConst;
}

// A comparison or a logical operator: its value is 0 or 1 already.
constexpr bool isCondition(int op) {
  return isComparison(op) || op == opLogAnd || op == opLogOr || op == opLogNot;
}

inline bool isError(const ExprNode* node) {
  return node->typeKind == kindError;
}
inline bool isIntConst(const ExprNode* node, uint32_t value) {
  return node->op == opIntConst && node->value == value;
}

// Gives `node` the type `type`.
inline void retag(ExprNode* node, TypeNode* type) {
  node->type = type;
  node->typeKind = type->kind;
}

// New nodes. A leaf's value is still 0.
ExprNode* newLeaf(ExprOp op, TypeNode* type);
ExprNode* newOperator(ExprOp op, TypeNode* type, ExprNode* left, ExprNode* right);
ExprNode* newIntConst(TypeNode* type, uint32_t value);
ExprNode* newLongConst(TypeNode* type, uint64_t value);
ExprNode* newFloatConst(TypeNode* type, long double value);
ExprNode* newError();

// The arena of the nodes: made empty at the start of a unit, given back at its
// end, emptied behind an expression that needed more than one chunk.
void initNodes();
void freeNodes();
void trimNodes();
