// Operators meet their operands: checks, promotions, conversions, result types.
//
// Each routine gives an error node after a refusal, which it has reported, and
// hands an operand that is an error node on.

#pragma once

#include "base.h"
#include "expr/nodes.h"

// The node of `left op right`; `op` is a token's operator, opCond or opColon.
ExprNode* buildBinary(ExprOp op, ExprNode* left, ExprNode* right);

// The node of opPlus, opNeg, opBitNot or opLogNot over `operand`.
ExprNode* buildUnary(ExprOp op, ExprNode* operand);

// Who asks for a conversion. A cast may do what an implicit one may not.
enum ConversionSource { implicitConversion, castConversion };

// `node` converted to `type`.
ExprNode* convertNode(ConversionSource source, TypeNode* type, ExprNode* node);

// The integral promotion.
ExprNode* promoteNode(ExprNode* node);

// An operand in the form of a condition.
ExprNode* toCondition(ExprNode* node);
