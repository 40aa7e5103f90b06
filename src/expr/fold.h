// Folding of constants, with the arithmetic of the target.

#pragma once

#include "base.h"
#include "expr/nodes.h"

// The simplified tree, which may be `node` itself, changed. Null, constants and
// error nodes come back as they are.
ExprNode* foldTree(ExprNode* node);

// Folds one operator over folded operands: a constant, or `node` if the operands
// are no constants of one sort.
ExprNode* foldOperator(ExprNode* node);

// `node`, folded, as a value of `type`. Checks nothing but a void source.
ExprNode* castNode(TypeNode* type, ExprNode* node);

// A word reduced to the width of a narrow type.
uint32_t wrapToType(TypeKind kind, uint32_t value);
