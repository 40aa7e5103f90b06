// Operators meet their operands: checks, promotions, conversions, result types.

#pragma once

#include "base.h"
#include "expr/nodes.h"

// The node of `left op right`, or an error node after a message. For a unary
// operator `right` is null and `left` the operand.
ExprNode* buildOperator(ExprNode* right, ExprNode* left, ExprOp op);

// `node` converted to `type`, with the checks of a cast if `isCast` is set, else
// with those of an implicit conversion. An error node after a refusal.
ExprNode* convertNode(bool isCast, TypeNode* type, ExprNode* node);

// The integral promotion.
ExprNode* promoteNode(ExprNode* node);

// An operand in the form of a condition.
ExprNode* toCondition(ExprNode* node);
