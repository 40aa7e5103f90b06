// The storage of expression trees.
//
// Nodes are never freed one by one. A typical expression fills a small part of
// the first chunk, so the arena is emptied only behind an expression that grew it
// beyond that; clearing the chunk after each expression would cost more than
// reading it.

#include "expr/nodes.h"

#include <new>

#include "memory/memory.h"
#include "scanner/literals.h"

constexpr uint32_t nodeChunkSize = 0x5000;

// The nodes of this unit.
static constinit Arena nodeArena = {};

void initNodes() {
  arenaInit(nodeArena, nodeChunkSize);
}
void freeNodes() {
  arenaFree(nodeArena);
}

void trimNodes() {
  if (nodeArena.head != nodeArena.tail) arenaReset(nodeArena);
}

ExprNode* newLeaf(ExprOp op, TypeNode* type) {
  ExprNode* const node = new (arenaAlloc(sizeof(ExprNode), nodeArena)) ExprNode{};
  node->op = op;
  retag(node, type);
  return node;
}

ExprNode* newOperator(ExprOp op, TypeNode* type, ExprNode* left, ExprNode* right) {
  ExprNode* const node = newLeaf(op, type);
  node->operand = {.left = left, .right = right};
  return node;
}

ExprNode* newIntConst(TypeNode* type, uint32_t value) {
  ExprNode* const node = newLeaf(opIntConst, type);
  node->value = value;
  return node;
}

ExprNode* newLongConst(TypeNode* type, uint64_t value) {
  ExprNode* const node = newLeaf(opLongConst, type);
  node->longValue = value;
  return node;
}

ExprNode* newFloatConst(TypeNode* type, long double value) {
  ExprNode* const node = newLeaf(opFloatConst, type);
  bytesOfFloat(value, node->floatBytes);
  return node;
}

ExprNode* newError() {
  return newLeaf(opError, basicTypes[kindError]);
}
