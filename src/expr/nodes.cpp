// The storage of expression trees.
//
// Nodes are never freed one by one. A typical expression fills a small part of
// the first chunk, so the arena is emptied only after an expression that grew it
// beyond that; clearing the chunk after each expression would cost more than
// reading it.

#include "expr/nodes.h"

#include <new>

#include "expr/state.h"
#include "memory/memory.h"
#include "scanner/literals.h"

constexpr uint32_t nodeChunkSize = 0x5000;

void initNodes() {
  arenaInit(evaluator.nodes, nodeChunkSize);
}
void freeNodes() {
  arenaFree(evaluator.nodes);
}

void trimNodes() {
  if (evaluator.nodes.head != evaluator.nodes.tail) arenaReset(evaluator.nodes);
}

// A node without its value.
static ExprNode* newNode(ExprOp op, TypeNode* type) {
  ExprNode* const node = new (arenaAlloc(sizeof(ExprNode), evaluator.nodes)) ExprNode{};
  node->op = op;
  node->type = type;
  return node;
}

ExprNode* newOperator(ExprOp op, TypeNode* type, ExprNode* left, ExprNode* right) {
  ExprNode* const node = newNode(op, type);
  node->operand = {.left = left, .right = right};
  return node;
}

ExprNode* newIntConst(TypeNode* type, uint32_t value) {
  ExprNode* const node = newNode(opIntConst, type);
  node->value = value;
  return node;
}

ExprNode* newLongConst(TypeNode* type, uint64_t value) {
  ExprNode* const node = newNode(opLongConst, type);
  node->longValue = value;
  return node;
}

ExprNode* newFloatConst(TypeNode* type, long double value) {
  ExprNode* const node = newNode(opFloatConst, type);
  bytesOfFloat(value, node->floatBytes);
  return node;
}

ExprNode* newError() {
  return newNode(opError, basicType(kindError));
}
