// Values and types of the evaluator that no line of a program shows: what exactly a cast leaves, when
// a 64-bit result becomes a word, and that a chain of operators is folded without recursion and once.

#include <gtest/gtest.h>

#include <string>

#include "diag/report.h"
#include "expr/expr.h"
#include "expr/fold.h"
#include "expr/nodes.h"
#include "expr/operators.h"
#include "memory/memory.h"
#include "options/option_image.h"
#include "diag/warnings.h"
#include "scanner/literals.h"

namespace {

class Expr : public testing::Test {
 protected:
  void SetUp() override {
    memoryStart();
    optionImage = {};
    cplusplusMode = false;
    resetCounters();
    beginExpressions();
  }
  void TearDown() override {
    endExpressions();
    memoryEndUnit();
    memoryStop();
  }
};

// A node as a text: sort of constant, number of its type, value.
std::string show(const ExprNode* node) {
  const std::string kind = " " + std::to_string(kindOf(node)) + " ";
  switch (node->op) {
    case opIntConst: return "word" + kind + std::to_string(int32_t(node->value));
    case opLongConst: return "long" + kind + std::to_string(int64_t(node->longValue));
    case opFloatConst:
      return "float" + kind + std::to_string(static_cast<double>(floatOfBytes(node->floatBytes)));
    default: return "op " + std::to_string(node->op) + kind;
  }
}

ExprNode* word(TypeKind kind, uint32_t value) {
  return newIntConst(basicType(kind), value);
}
ExprNode* wide(TypeKind kind, uint64_t value) {
  return newLongConst(basicType(kind), value);
}
ExprNode* real(TypeKind kind, long double value) {
  return newFloatConst(basicType(kind), value);
}
std::string cast(TypeKind kind, ExprNode* node) {
  return show(castNode(basicType(kind), node));
}

// An operand that is no constant, of type int.
ExprNode* comma() {
  return buildBinary(opComma, word(kindInt, 1), word(kindInt, 2));
}

std::string fold(ExprOp op, TypeKind kind, ExprNode* left, ExprNode* right) {
  return show(foldTree(newOperator(op, basicType(kind), left, right)));
}

TEST_F(Expr, WordsAreReducedToNarrowTypes) {
  EXPECT_EQ(wrapToType(kindSignedChar, 0x1FF), 0xFFFFFFFFu);
  EXPECT_EQ(wrapToType(kindUnsignedChar, 0x1FF), 0xFFu);
  EXPECT_EQ(wrapToType(kindShort, 0x18000), 0xFFFF8000u);
  EXPECT_EQ(wrapToType(kindWchar, 0x18000), 0x8000u);
  EXPECT_EQ(wrapToType(kindBool, 0x18000), 0x18000u);
  EXPECT_EQ(wrapToType(kindChar, 0x80), 0xFFFFFF80u);
  optionImage.unsignedChar = 1;
  EXPECT_EQ(wrapToType(kindChar, 0x80), 0x80u);
}

TEST_F(Expr, CastsOfWords) {
  EXPECT_EQ(cast(kindInt64, word(kindInt, ~0u)), "long 11 -1");
  EXPECT_EQ(cast(kindInt64, word(kindUnsignedInt, ~0u)), "long 11 4294967295");
  EXPECT_EQ(cast(kindUnsignedInt64, word(kindInt64, ~0u)), "long 12 -1");
  EXPECT_EQ(cast(kindDouble, word(kindUnsignedInt, ~0u)), "float 14 4294967295.000000");
  EXPECT_EQ(cast(kindFloat, word(kindInt, 16777217)), "float 13 16777216.000000");
  EXPECT_EQ(cast(kindShort, word(kindInt, 70000)), "word 5 4464");
  // A type of the same representation takes the word as it stands.
  EXPECT_EQ(cast(kindSignedChar, word(kindSignedChar, 300)), "word 2 300");
  EXPECT_EQ(cast(kindLong, word(kindInt, 5)), "word 9 5");
}

TEST_F(Expr, CastsOfFloatingAndLongValues) {
  EXPECT_EQ(cast(kindUnsignedInt64, real(kindDouble, 1e30L)), "long 12 -9223372036854775808");
  EXPECT_EQ(cast(kindUnsignedChar, real(kindDouble, 300.9L)), "word 3 300");
  EXPECT_EQ(cast(kindInt, real(kindDouble, 1e30L)), "word 7 0");
  EXPECT_EQ(cast(kindFloat, real(kindDouble, 16777217.0L)), "float 13 16777216.000000");
  EXPECT_EQ(cast(kindUnsignedInt64, wide(kindInt64, ~uint64_t{0})), "long 12 -1");
  EXPECT_EQ(cast(kindSignedChar, wide(kindInt64, 0x1000000FF)), "word 2 255");
  EXPECT_EQ(cast(kindDouble, wide(kindUnsignedInt64, uint64_t{1} << 63)),
            "float 14 9223372036854775808.000000");
  // Exact in the extended format, though no float holds it.
  EXPECT_EQ(cast(kindFloat, wide(kindInt64, 0x100000001)), "float 13 4294967297.000000");
}

TEST_F(Expr, LongResultsBecomeWordsWhereTheyFit) {
  const auto sum = [](TypeKind kind, uint64_t value) {
    return fold(opAdd, kind, wide(kind, value), wide(kind, 0));
  };
  EXPECT_EQ(sum(kindInt64, 0x7FFFFFFF), "word 11 2147483647");
  EXPECT_EQ(sum(kindInt64, 0x80000000), "long 11 2147483648");
  EXPECT_EQ(sum(kindInt64, ~uint64_t{0}), "word 11 -1");
  EXPECT_EQ(sum(kindUnsignedInt64, 0xFFFFFFFF), "word 12 -1");
  EXPECT_EQ(sum(kindUnsignedInt64, ~uint64_t{0}), "long 12 -1");
  EXPECT_EQ(fold(opLt, kindInt, wide(kindUnsignedInt64, ~uint64_t{0}), wide(kindUnsignedInt64, 0)),
            "word 7 0");
}

TEST_F(Expr, LongShiftsTakeTheCountAsASignedByte) {
  const auto shift = [](ExprOp op, TypeKind kind, uint32_t count) {
    return fold(op, kind, wide(kind, 0x8000000000000001), word(kindUnsignedInt, count));
  };
  EXPECT_EQ(shift(opShl, kindInt64, 64), "word 11 0");
  EXPECT_EQ(shift(opShl, kindInt64, 63), "long 11 -9223372036854775808");
  EXPECT_EQ(shift(opShl, kindInt64, 0x80), "long 11 -9223372036854775807");
  EXPECT_EQ(shift(opShr, kindInt64, 127), "word 11 -1");
  EXPECT_EQ(shift(opShr, kindUnsignedInt64, 64), "word 12 0");
  EXPECT_EQ(shift(opShr, kindUnsignedInt64, 63), "word 12 1");
  EXPECT_EQ(shift(opShr, kindInt64, 0xE1), "long 11 -4611686018427387904");
}

TEST_F(Expr, PointerTypesAreUniqueAndArraysAreNot) {
  TypeNode* const pointer = makePointerType(false, constQualifier, basicType(kindInt));
  EXPECT_EQ(pointer, makePointerType(false, constQualifier, basicType(kindInt)));
  EXPECT_NE(pointer, makePointerType(false, 0, basicType(kindInt)));
  EXPECT_TRUE(pointer->pointer.toPlainData);
  EXPECT_FALSE(makePointerType(false, 0, makeFunctionType(0, conventionNone, basicType(kindInt)))
                   ->pointer.toPlainData);
  TypeNode* const three = makeArrayType(basicType(kindInt), 3);
  EXPECT_NE(three, makeArrayType(basicType(kindInt), 3));
  EXPECT_TRUE(typesCompatible(sameTypes, three, makeArrayType(basicType(kindInt), 0)));
  EXPECT_FALSE(typesCompatible(sameTypes, three, makeArrayType(basicType(kindInt), 4)));
  // Below a level that is not const, nothing may be added.
  TypeNode* const added = makePointerType(false, 0, pointer);
  TypeNode* const plain = makePointerType(false, 0, makePointerType(false, 0, basicType(kindInt)));
  EXPECT_TRUE(typesCompatible(usableAs, pointer, makePointerType(false, 0, basicType(kindInt))));
  EXPECT_FALSE(typesCompatible(usableAs, added, plain));
}

TEST_F(Expr, AChainIsFoldedOnceAndWithoutRecursion) {
  ExprNode* chain = comma();
  for (int i = 0; i < 1000000; i++) chain = newOperator(opMul, basicType(kindInt), chain, word(kindInt, 3));
  chain = newOperator(opAdd, basicType(kindInt), chain,
                      newOperator(opDiv, basicType(kindInt), word(kindInt, 1), word(kindInt, 0)));
  warningOn[warnDivisionByZero - firstWarningId] = true;
  testing::internal::CaptureStdout();
  for (int i = 0; i < 1000; i++) chain = foldTree(chain);
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(messageCount, 1u);
  EXPECT_EQ(chain->op, opAdd);
}

}  // namespace
