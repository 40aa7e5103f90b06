// The expression reader of #if and #elif: precedence climbing over the tokens of
// the line, with macros expanded and `defined` replaced by the scanner.
//
// Every operator is checked as soon as its operands are read; the tree is folded
// at the end. A routine of the reader returns null when the line was no
// expression: that was reported, the line skipped, and all readers end at once.
// An error node, on the other hand, is an operand like any other, so one line can
// give several messages.
//
// A condition with an error in it counts as true, unless the reader stopped short
// of the line's end: then it counts as false.

#include "expr/read.h"

#include <array>

#include "diag/position.h"
#include "diag/report.h"
#include "expr/declarations.h"
#include "expr/expr.h"
#include "expr/fold.h"
#include "expr/nodes.h"
#include "expr/operators.h"
#include "expr/recovery.h"
#include "expr/specifiers.h"
#include "expr/state.h"
#include "input/guard.h"
#include "options/option_image.h"
#include "record/explain.h"
#include "scanner/literals.h"
#include "scanner/scan.h"
#include "scanner/state.h"
#include "scanner/token.h"

constinit EvaluatorState evaluator = {};

// Levels of precedence; a higher one binds tighter.
enum Precedence : Byte {
  levelNone,  // of a token that ends an expression
  levelComma,
  levelAssign,
  levelCondition,
  levelLogOr,
  levelLogAnd,
  levelOr,
  levelXor,
  levelAnd,
  levelEquality,
  levelOrder,
  levelShift,
  levelSum,
  levelProduct,
  levelMember
};

// Levels whose operators group to the right.
constexpr bool groupsRight(Precedence level) {
  return level == levelAssign || level == levelCondition;
}

// A token as a binary operator.
struct BinaryOperator {
  ExprOp op;
  Precedence level;
};

constexpr std::array<BinaryOperator, tokenCodeCount> binaryOperator = [] {
  std::array<BinaryOperator, tokenCodeCount> table{};
  table[tokComma] = {opComma, levelComma};
  table[tokAssign] = {opAssign, levelAssign};
  table[tokAddAssign] = {opAddAssign, levelAssign};
  table[tokSubAssign] = {opSubAssign, levelAssign};
  table[tokMulAssign] = {opMulAssign, levelAssign};
  table[tokDivAssign] = {opDivAssign, levelAssign};
  table[tokModAssign] = {opModAssign, levelAssign};
  table[tokShlAssign] = {opShlAssign, levelAssign};
  table[tokShrAssign] = {opShrAssign, levelAssign};
  table[tokAndAssign] = {opAndAssign, levelAssign};
  table[tokOrAssign] = {opOrAssign, levelAssign};
  table[tokXorAssign] = {opXorAssign, levelAssign};
  table[tokQuestion] = {opCond, levelCondition};
  table[tokOrOr] = {opLogOr, levelLogOr};
  table[tokAndAnd] = {opLogAnd, levelLogAnd};
  table[tokBar] = {opOr, levelOr};
  table[tokCaret] = {opXor, levelXor};
  table[tokAmpersand] = {opAnd, levelAnd};
  table[tokEqual] = {opEq, levelEquality};
  table[tokNotEqual] = {opNe, levelEquality};
  table[tokGreater] = {opGt, levelOrder};
  table[tokLess] = {opLt, levelOrder};
  table[tokGreaterEqual] = {opGe, levelOrder};
  table[tokLessEqual] = {opLe, levelOrder};
  table[tokShl] = {opShl, levelShift};
  table[tokShr] = {opShr, levelShift};
  table[tokPlus] = {opAdd, levelSum};
  table[tokMinus] = {opSub, levelSum};
  table[tokStar] = {opMul, levelProduct};
  table[tokSlash] = {opDiv, levelProduct};
  table[tokPercent] = {opMod, levelProduct};
  table[tokDotStar] = {opDotStar, levelMember};
  table[tokArrowStar] = {opArrowStar, levelMember};
  return table;
}();

static_assert(binaryOperator[tokColon].level == levelNone && binaryOperator[tokExclaim].level == levelNone &&
              binaryOperator[tokCloseParen].level == levelNone);

// Whether a comma is an operator or ends the expression, as in a bound.
enum CommaUse { commaOperator, commaEnds };

static ExprNode* parseExpression(ExprOp prevOp, CommaUse commaUse, Precedence minLevel);
static ExprNode* parseUnary();

// An expression from its first operand on, with operators of all levels.
static ExprNode* parseWhole(CommaUse commaUse) {
  return parseExpression(opError, commaUse, levelNone);
}

// The line is not the single "!defined(X)" that guards a file.
static void dropGuardName() {
  guards.notDefinedArmed = false;
  guards.notDefinedEntry = nullptr;
}

// --- Operands ---

// Fetches the token after an operand and returns the operand.
static ExprNode* passOperand(ExprNode* node) {
  getToken();
  return node;
}

// The type of the current constant, by its tag.
static TypeNode* tagType(Byte typeTag) {
  return basicType(TypeKind(typeTag));
}

// The current integer constant as a node.
static ExprNode* intOperand() {
  return newIntConst(tagType(tokenState.integer.typeTag), tokenState.integer.value);
}

static ExprNode* parseFloat() {
  if (optionImage.languageLevel == levelAnsi) return syntaxError(msgUseOfFloat);
  const FloatTokenValue& token = tokenState.floating;
  return passOperand(newFloatConst(tagType(token.typeTag), floatOfBytes(token.bytes)));
}

// A string is refused. Its text has not been read: it comes as tokens.
static ExprNode* parseString() {
  reportError(msgConstantRequired);
  while (tokenState.code == tokString) getToken();
  return newError();
}

// "!", and with it the recognition of a guard: "!defined(X)" and nothing else,
// of which the scanner has left "!" and a digit.
static ExprNode* parseNot() {
  getToken();
  if (guards.notDefinedArmed) {
    if (tokenState.code == tokIntConst && guards.notDefinedEntry != nullptr) {
      ExprNode* const node = buildUnary(opLogNot, intOperand());
      getToken();
      if (tokenState.code != tokEndOfLine) guards.notDefinedEntry = nullptr;
      return node;
    }
    guards.notDefinedArmed = false;
  }
  ExprNode* const operand = parseUnary();
  return operand == nullptr ? nullptr : buildUnary(opLogNot, operand);
}

// "+", "-" and "~".
static ExprNode* parseSign(ExprOp op) {
  getToken();
  ExprNode* const operand = parseUnary();
  if (operand == nullptr) return nullptr;
  if (op == opPlus && !cplusplusMode && isPointer(operand)) reportError(msgUseOfPointer);
  return buildUnary(op, operand);
}

// "(": a cast or an expression in parentheses, inside which no comma ends it.
static ExprNode* parseParenthesis() {
  getToken();
  if (!startsTypeName(tokenState.code)) {
    ExprNode* const node = parseWhole(commaOperator);
    if (node == nullptr) return nullptr;
    return tokenState.code == tokCloseParen ? passOperand(node) : syntaxError(msgCloseParenExpected);
  }
  TypeNode* const type = parseTypeName();
  if (type == nullptr) return nullptr;
  ExprNode* const operand = parseUnary();
  return operand == nullptr ? nullptr : convertNode(castConversion, type, operand);
}

// The type that `sizeof` is asked about; null after an error.
static const TypeNode* parseSizeofOperand() {
  const ExprNode* node;
  if (tokenState.code == tokOpenParen) {
    getToken();
    if (startsTypeName(tokenState.code)) return parseTypeName();
    node = parseWhole(commaOperator);
    if (node == nullptr) return nullptr;
    if (tokenState.code != tokCloseParen) return syntaxError(msgExpressionSyntax);
    getToken();
  } else {
    node = parseUnary();
  }
  return node == nullptr ? nullptr : node->type;
}

static ExprNode* parseSizeof() {
  getToken();
  const TypeNode* const type = parseSizeofOperand();
  if (type == nullptr) return nullptr;
  uint32_t size = 1;
  if (type->kind == kindFunction) {
    reportError(msgSizeofFunction);
  } else {
    size = sizeOfType(type);
    if (size == 0) reportError(msgNotAllowedType);
  }
  return newIntConst(basicType(kindUnsignedInt), size);
}

// "__uuidof": nothing gives it a value here. A type name is read and refused; an
// expression can't denote a variable.
static ExprNode* parseUuidof() {
  if (!cplusplusMode || getToken() != tokOpenParen) return syntaxError(msgUuidof);
  getToken();
  if (!startsTypeName(tokenState.code)) {
    parseUnary();
    return syntaxError(msgUuidof);
  }
  if (parseTypeName() == nullptr) return syntaxError(msgUuidof);
  reportError(msgUuidof);
  return newError();
}

// Reads a unary expression.
static ExprNode* parseUnary() {
  messageLine = tokenState.line;
  switch (tokenState.code) {
    case tokPlus: return parseSign(opPlus);
    case tokMinus: return parseSign(opNeg);
    case tokTilde: return parseSign(opBitNot);
    case tokExclaim: return parseNot();
    case tokSizeof: return parseSizeof();
    case tokUuidof: return parseUuidof();
    case tokOpenParen: return parseParenthesis();
    case tokIdent:
      if (explaining) [[unlikely]]
        if (isExplained(tokenState.entry->spelling(), tokenState.entry->nameLength)) explainOperand();
      return passOperand(newIntConst(basicType(kindInt), 0));
    case tokCharConst:
    case tokIntConst: return passOperand(intOperand());
    case tokLongConst:
      return passOperand(newLongConst(tagType(tokenState.longInteger.typeTag), tokenState.longInteger.value));
    case tokFloatConst: return parseFloat();
    case tokString: return parseString();
    default: return syntaxError(msgExpressionSyntax);
  }
}

// --- Operators ---

// Warns about two different operators that are easily read as grouping otherwise:
// two of those from "|" to shifts, or a shift and a sum.
static void checkPrecedence(ExprOp prevOp, ExprOp op, Precedence minLevel, Precedence level) {
  if (prevOp == opError || op == prevOp || minLevel < levelOr || level < levelOr) return;
  const Precedence lower = minLevel < level ? minLevel : level;
  const Precedence higher = minLevel < level ? level : minLevel;
  if (higher <= levelShift || (lower == levelShift && higher == levelSum)) reportWarning(warnPrecedence);
}

// The rest of a condition: "?" is current, on `line`, and `condition` has been read.
static ExprNode* parseBranches(CommaUse commaUse, ExprNode* condition, int32_t line) {
  if (condition->op != opIntConst) condition = toCondition(condition);
  getToken();
  ExprNode* const middle = parseWhole(commaOperator);
  if (middle == nullptr) return nullptr;
  if (tokenState.code != tokColon) return syntaxError(msgNoColon);
  getToken();
  // In C++ an assignment may stand after the colon.
  ExprNode* const last = parseExpression(opError, commaUse, cplusplusMode ? levelAssign : levelCondition);
  if (last == nullptr) return nullptr;
  messageLine = line;
  return buildBinary(opCond, condition, buildBinary(opColon, middle, last));
}

// Reads an expression of operators of `minLevel` and above. `prevOp` is the
// operator in front, opError for none.
static ExprNode* parseExpression(ExprOp prevOp, CommaUse commaUse, Precedence minLevel) {
  ExprNode* left = parseUnary();
  if (guards.notDefinedArmed && tokenState.code != tokEndOfLine) dropGuardName();
  while (left != nullptr) {
    if (tokenState.code == tokComma && commaUse == commaEnds) break;
    const BinaryOperator row = binaryOperator[size_t(tokenState.code)];
    if (row.level == levelNone) break;
    const int32_t line = tokenState.line;
    messageLine = line;
    // Told also of the operator that ends this operand.
    checkPrecedence(prevOp, row.op, minLevel, row.level);
    if (row.level < minLevel || (row.level == minLevel && !groupsRight(row.level))) break;
    if (row.op == opCond) {
      left = parseBranches(commaUse, left, line);
    } else {
      getToken();
      ExprNode* const right = parseExpression(row.op, commaUse, row.level);
      if (right == nullptr) return nullptr;
      messageLine = line;
      left = buildBinary(row.op, left, right);
    }
  }
  return left;
}

// --- The whole expression ---

// The value of a folded tree, with a message if it is none of 32 bits.
static int32_t valueOf(const ExprNode* node) {
  if (isError(node)) return 1;
  if (node->op == opIntConst) return int32_t(node->value);
  if (node->op == opLongConst) {
    reportError(msgConstantTooLarge);
    return int32_t(uint32_t(node->longValue));
  }
  reportError(msgConstantRequired);
  return 1;
}

// Reads a directive's line. False if it does not end after the expression.
static bool readDirective(ExprNode*& node) {
  scanner.lineMode = true;
  getToken();
  if (guards.notDefinedArmed && tokenState.code != tokExclaim) dropGuardName();
  node = parseWhole(commaOperator);
  scanner.lineMode = false;
  if (tokenState.code == tokEndOfLine && (node == nullptr || node->op != opComma)) return true;
  reportError(msgExpressionSyntax);
  return false;
}

bool evaluateCondition() {
  ++evaluator.readingDepth;
  ExprNode* node;
  const bool holds = readDirective(node) && (node == nullptr || valueOf(foldTree(node)) != 0);
  // The nodes of an outer expression are still in use.
  if (--evaluator.readingDepth == 0) trimNodes();
  return holds;
}

ArrayBound readArrayBound() {
  ExprNode* const node = foldTree(parseWhole(commaEnds));
  if (node == nullptr) return {.value = 1, .isUnsigned = false};
  return {.value = valueOf(node), .isUnsigned = isUnsigned(kindOf(node))};
}

void beginExpressions() {
  evaluator = {};
  initNodes();
  initTypes();
}

void endExpressions() {
  freeNodes();
}
