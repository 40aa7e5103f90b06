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

#include "expr/expr.h"

#include "diag/report.h"
#include "expr/declarations.h"
#include "expr/fold.h"
#include "expr/nodes.h"
#include "expr/operators.h"
#include "expr/recovery.h"
#include "input/guard.h"
#include "diag/position.h"
#include "options/option_image.h"
#include "scanner/token.h"

constinit int16_t lastConstantKind = kindError;

// The expressions being read: a bound inside a directive's line is a second one.
static constinit int readingDepth = 0;

// The token that ends an expression, besides those that no operator begins with.
enum StopMode : Byte {
  stopNowhere = 0,   // inside parentheses
  stopAtComma = 2,   // a bound
  stopAtColon = 3,   // between '?' and ':'
  stopAtLineEnd = 4  // a directive's line
};

// By StopMode; a token that can't be met stands for none.
constexpr TokenCode stopToken[] = {tokNone, tokNone, tokComma, tokColon, tokEndOfLine};

// A token as a binary operator.
struct BinaryOperator {
  ExprOp op;
  Byte level;  // of precedence, 0 for a token that ends an expression
};

constexpr int binaryTokenCount = tokExclaim;  // tokens from here on are no binary operators

constexpr auto binaryOperator = [] {
  struct Table {
    BinaryOperator row[binaryTokenCount];
  } table{};
  struct Row {
    TokenCode token;
    BinaryOperator row;
  };
  constexpr Row rows[] = {
      {tokPlus, {opAdd, 13}},
      {tokMinus, {opSub, 13}},
      {tokStar, {opMul, 14}},
      {tokSlash, {opDiv, 14}},
      {tokPercent, {opMod, 14}},
      {tokShl, {opShl, 12}},
      {tokShr, {opShr, 12}},
      {tokAmpersand, {opAnd, 9}},
      {tokBar, {opOr, 7}},
      {tokCaret, {opXor, 8}},
      {tokAssign, {opAssign, 2}},
      {tokAddAssign, {opAddAssign, 2}},
      {tokSubAssign, {opSubAssign, 2}},
      {tokMulAssign, {opMulAssign, 2}},
      {tokDivAssign, {opDivAssign, 2}},
      {tokModAssign, {opModAssign, 2}},
      {tokShlAssign, {opShlAssign, 2}},
      {tokShrAssign, {opShrAssign, 2}},
      {tokAndAssign, {opAndAssign, 2}},
      {tokOrAssign, {opOrAssign, 2}},
      {tokXorAssign, {opXorAssign, 2}},
      {tokEqual, {opEq, 10}},
      {tokNotEqual, {opNe, 10}},
      {tokGreater, {opGt, 11}},
      {tokLess, {opLt, 11}},
      {tokGreaterEqual, {opGe, 11}},
      {tokLessEqual, {opLe, 11}},
      {tokQuestion, {opCond, 3}},
      {tokColon, {opColon, 0}},
      {tokAndAnd, {opLogAnd, 6}},
      {tokOrOr, {opLogOr, 5}},
      {tokComma, {opComma, 1}},
      {tokDotStar, {opDotStar, 15}},
      {tokArrowStar, {opArrowStar, 15}},
  };
  for (const Row& row : rows) table.row[row.token] = row.row;
  return table;
}();

static_assert(binaryOperator.row[tokComma].level == 1 && binaryOperator.row[tokCloseParen].level == 0);

constexpr int conditionLevel = 3;
constexpr int shiftLevel = 12;

// Levels whose operators group to the right.
constexpr bool groupsRight(int level) {
  return level >= 2 && level <= 4;
}

static ExprNode* parseExpression(ExprOp prevOp, StopMode stopMode, int minLevel);
static ExprNode* parseUnary(StopMode stopMode);

// Reports `id` at the current token and skips the line.
static ExprNode* fail(MessageId id) {
  syntaxError(id);
  return nullptr;
}

// The line is not the single "!defined(X)" that guards a file.
static void dropGuardName() {
  notDefinedArmed = false;
  notDefinedEntry = nullptr;
}

// Fetches the token behind a leaf and returns the leaf.
static ExprNode* leaf(ExprNode* node) {
  getToken();
  return node;
}

// The current integer constant as a node.
static ExprNode* intLeaf() {
  return newIntConst(basicTypes[tokenState.integer.typeTag], tokenState.integer.value);
}

// A floating constant.
static ExprNode* parseFloat() {
  if (optionImage.languageLevel == levelAnsi) return fail(msgUseOfFloat);
  ExprNode* const node = newLeaf(opFloatConst, basicTypes[tokenState.floating.typeTag]);
  for (size_t i = 0; i < sizeof node->floatBytes; ++i) node->floatBytes[i] = tokenState.floating.bytes[i];
  return leaf(node);
}

// A string is refused. Its text has not been read: it comes as tokens.
static ExprNode* parseString() {
  reportError(msgConstantRequired);
  while (tokenState.code == tokString) getToken();
  return newError();
}

// "!", and with it the recognition of a guard: "!defined(X)" and nothing else,
// of which the scanner has left "!" and a digit.
static ExprNode* parseNot(StopMode stopMode) {
  getToken();
  if (notDefinedArmed) {
    if (tokenState.code == tokIntConst && notDefinedEntry != nullptr) {
      ExprNode* const node = buildOperator(nullptr, intLeaf(), opLogNot);
      getToken();
      if (tokenState.code != tokEndOfLine) notDefinedEntry = nullptr;
      return node;
    }
    notDefinedArmed = false;
  }
  ExprNode* const operand = parseUnary(stopMode);
  return operand == nullptr ? nullptr : buildOperator(nullptr, operand, opLogNot);
}

// "+", "-" and "~".
static ExprNode* parseSign(StopMode stopMode, ExprOp op) {
  getToken();
  ExprNode* const operand = parseUnary(stopMode);
  if (operand == nullptr) return nullptr;
  if (op == opPlus && !cplusplusMode && isPointer(operand->typeKind)) reportError(msgUseOfPointer);
  return buildOperator(nullptr, operand, op);
}

// "(": a cast or an expression in parentheses, inside which no comma ends it.
static ExprNode* parseParenthesis(StopMode stopMode) {
  getToken();
  if (!startsTypeName(tokenState.code)) {
    ExprNode* const node = parseExpression(opError, stopNowhere, 0);
    if (node == nullptr) return nullptr;
    return tokenState.code == tokCloseParen ? leaf(node) : fail(msgCloseParenExpected);
  }
  uint32_t qualifiers;
  TypeNode* const type = parseTypeName(qualifiers);
  if (type == nullptr) return nullptr;
  ExprNode* const operand = parseUnary(stopMode);
  if (operand == nullptr || isError(operand)) return operand;
  ExprNode* const node = convertNode(true, type, operand);
  node->flags |= qualifiers & bothQualifiers;
  return node;
}

// The type that `sizeof` is asked about; null after an error.
static TypeNode* parseSizeofOperand(StopMode stopMode) {
  const ExprNode* node;
  if (tokenState.code == tokOpenParen) {
    getToken();
    if (startsTypeName(tokenState.code)) {
      uint32_t qualifiers;
      return parseTypeName(qualifiers);
    }
    node = parseExpression(opError, stopNowhere, 0);
    if (node == nullptr) return nullptr;
    if (tokenState.code != tokCloseParen) {
      syntaxError(msgExpressionSyntax);
      return nullptr;
    }
    getToken();
  } else {
    node = parseUnary(stopMode);
  }
  return node == nullptr ? nullptr : node->type;
}

// "sizeof"
static ExprNode* parseSizeof(StopMode stopMode) {
  getToken();
  const TypeNode* const type = parseSizeofOperand(stopMode);
  if (type == nullptr) return nullptr;
  uint32_t size = 1;
  if (type->kind == kindFunction) {
    reportError(msgSizeofFunction);
  } else {
    size = sizeOfType(type);
    if (size == 0) reportError(msgNotAllowedType);
  }
  return newIntConst(basicTypes[kindUnsignedInt], size);
}

// "__uuidof": nothing gives it a value here. A type name is read and refused; an
// expression can't denote a variable.
static ExprNode* parseUuidof() {
  if (!cplusplusMode) return fail(msgUuidof);
  if (getToken() != tokOpenParen) return fail(msgUuidof);
  getToken();
  if (!startsTypeName(tokenState.code)) {
    parseUnary(stopNowhere);
    return fail(msgUuidof);
  }
  uint32_t qualifiers;
  if (parseTypeName(qualifiers) == nullptr) return fail(msgUuidof);
  reportError(msgUuidof);
  return newError();
}

// Reads a unary expression.
static ExprNode* parseUnary(StopMode stopMode) {
  messageLine = tokenState.line;
  switch (tokenState.code) {
    case tokPlus: return parseSign(stopMode, opPlus);
    case tokMinus: return parseSign(stopMode, opNeg);
    case tokTilde: return parseSign(stopMode, opBitNot);
    case tokExclaim: return parseNot(stopMode);
    case tokSizeof: return parseSizeof(stopMode);
    case tokUuidof: return parseUuidof();
    case tokOpenParen: return parseParenthesis(stopMode);
    case tokIdent: return leaf(newIntConst(basicTypes[kindInt], 0));
    case tokCharConst:
    case tokIntConst: return leaf(intLeaf());
    case tokLongConst:
      return leaf(newLongConst(basicTypes[tokenState.longInteger.typeTag], tokenState.longInteger.value));
    case tokFloatConst: return parseFloat();
    case tokString: return parseString();
    default: return fail(msgExpressionSyntax);
  }
}

// Two different operators of which one is easily read as binding otherwise.
static void checkPrecedence(ExprOp prevOp, ExprOp op, int minLevel, int level) {
  if (prevOp == opError || op == prevOp || minLevel < 7 || level < 7) return;
  const int lower = minLevel < level ? minLevel : level;
  const int higher = minLevel < level ? level : minLevel;
  if (higher <= shiftLevel || (lower == shiftLevel && higher == shiftLevel + 1))
    reportWarning(warnPrecedence);
}

// The rest of a condition: "?" is current and `condition` stands in front of it.
static ExprNode* parseBranches(StopMode stopMode, ExprNode* condition, int32_t line) {
  if (condition->op != opIntConst) condition = toCondition(condition);
  getToken();
  ExprNode* const middle = parseExpression(opError, stopAtColon, 0);
  if (middle == nullptr) return nullptr;
  if (tokenState.code != tokColon) return fail(msgNoColon);
  getToken();
  // In C++ an assignment may stand behind the colon.
  ExprNode* const last =
      parseExpression(opError, stopMode, cplusplusMode ? conditionLevel - 1 : conditionLevel);
  if (last == nullptr) return nullptr;
  messageLine = line;
  return buildOperator(buildOperator(last, middle, opColon), condition, opCond);
}

// Reads an expression of operators of `minLevel` and above. `prevOp` is the
// operator in front, opError for none.
static ExprNode* parseExpression(ExprOp prevOp, StopMode stopMode, int minLevel) {
  ExprNode* left = parseUnary(stopMode);
  if (notDefinedArmed && tokenState.code != tokEndOfLine) dropGuardName();
  while (left != nullptr) {
    const int32_t code = tokenState.code;
    if (code >= binaryTokenCount || code == stopToken[stopMode]) break;
    const BinaryOperator row = binaryOperator.row[code];
    if (row.level == 0) break;
    const int32_t line = tokenState.line;
    messageLine = line;
    // Told also of the operator that ends this operand.
    checkPrecedence(prevOp, row.op, minLevel, row.level);
    if (row.level < minLevel || (row.level == minLevel && !groupsRight(row.level))) break;
    if (row.op == opCond) {
      left = parseBranches(stopMode, left, line);
    } else {
      getToken();
      ExprNode* const right = parseExpression(row.op, stopMode, row.level);
      if (right == nullptr) return nullptr;
      messageLine = line;
      left = buildOperator(right, left, row.op);
    }
  }
  return left;
}

// Folds a finished tree to its value.
static int32_t valueOf(ExprNode* node) {
  node = foldTree(node);
  lastConstantKind = node->typeKind;
  if (isError(node)) return 1;
  if (node->op == opIntConst) return int32_t(node->value);
  if (node->op == opLongConst) {
    reportError(msgConstantTooLarge);
    return int32_t(uint32_t(node->longValue));
  }
  reportError(msgConstantRequired);
  return 1;
}

// Reads a directive's line. False if it does not end behind the expression.
static bool readDirective(ExprNode*& node) {
  lineMode = true;
  getToken();
  if (notDefinedArmed && tokenState.code != tokExclaim) dropGuardName();
  node = parseExpression(opError, stopAtLineEnd, 0);
  lineMode = false;
  if (tokenState.code == tokEndOfLine && (node == nullptr || node->op != opComma)) return true;
  reportError(msgExpressionSyntax);
  return false;
}

bool evaluateConstant(int32_t& result, EvaluateMode mode) {
  ++readingDepth;
  ExprNode* node = nullptr;
  bool wellFormed = true;
  if (mode == evaluateDirective) {
    wellFormed = readDirective(node);
  } else {
    node = parseExpression(opError, stopAtComma, 0);
  }
  if (!wellFormed) {
    result = 0;
  } else {
    result = node == nullptr ? 1 : valueOf(node);
  }
  // The nodes of an outer expression are still in use.
  if (--readingDepth == 0) trimNodes();
  return wellFormed;
}

void beginExpressions() {
  readingDepth = 0;
  lastConstantKind = kindError;
  initNodes();
  initTypes();
  initDeclarations();
}

void endExpressions() {
  freeNodes();
}
