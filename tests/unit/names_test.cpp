// The identifier table: growth, attacks on the hash, and what a unit leaves to the next.

#include "names/names.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <string>
#include <vector>

#include "memory/memory.h"

namespace {

class Names : public testing::Test {
 protected:
  void SetUp() override {
    memoryStart();
    resetNames();
  }
  void TearDown() override {
    memoryStop();
    resetNames();
  }
};

IdentEntry* look(const std::string& text) {
  return lookupName(asBytes(text.c_str()));
}

// The most names of which one place of a table with twice as many places is the first.
size_t fullestPlace(const std::vector<std::string>& names) {
  size_t places = 1;
  while (places < 2 * names.size()) places *= 2;
  std::vector<size_t> counts(places);
  for (const std::string& name : names) ++counts[nameOf(asBytes(name.c_str())).hash & (places - 1)];
  return *std::max_element(counts.begin(), counts.end());
}

TEST_F(Names, EntriesStayWhereTheyAreWhenTheTableGrows) {
  std::vector<IdentEntry*> entries;
  for (int i = 0; i < 100000; ++i) {
    entries.push_back(look("name" + std::to_string(i)));
    ASSERT_STREQ(asChars(entries.back()->spelling()), ("name" + std::to_string(i)).c_str());
    ASSERT_EQ(nameTable.entryCount, uint32_t(i + 1));
    ASSERT_LE(nameTable.entryCount * 2, nameTable.slotMask + 1);
  }
  for (int i = 0; i < 100000; ++i) ASSERT_EQ(look("name" + std::to_string(i)), entries[size_t(i)]);
  EXPECT_EQ(nameTable.entryCount, 100000U);
  EXPECT_EQ(findKnown(nameOf(asBytes("name100000"))), nullptr);
  EXPECT_EQ(nameTable.entryCount, 100000U);
}

TEST_F(Names, AreToldApartAtEveryLength) {
  std::vector<IdentEntry*> entries;
  for (size_t length = 1; length <= nameLengthLimit; ++length) {
    const std::string name(length, 'x');
    entries.push_back(look(name));
    for (size_t i = 0; i < length; ++i) {
      std::string other = name;
      other[i] = 'y';
      entries.push_back(look(other));
      ASSERT_EQ(look(other), entries.back());
      ASSERT_EQ(asChars(entries.back()->spelling()), other);
    }
    ASSERT_EQ(look(name)->nameLength, length);
  }
  std::sort(entries.begin(), entries.end());
  EXPECT_EQ(std::adjacent_find(entries.begin(), entries.end()), entries.end());
}

TEST_F(Names, NoFamilyOfNamesSharesPlaces) {
  std::vector<std::string> orders;
  std::string letters = "abcdefghi";
  do {
    orders.push_back(letters);
  } while (orders.size() < 100000 && std::next_permutation(letters.begin(), letters.end()));
  std::vector<std::string> equalEnds, counted, swapped;
  for (const std::string& order : orders) {
    equalEnds.push_back("the_same_beginning_" + order + "_and_the_same_end");
    counted.push_back("NAME_" + std::to_string(counted.size()));
    // Words of eight letters in another order.
    std::string words;
    for (const char c : order) words += std::string(8, c);
    swapped.push_back(words);
  }
  // Of names that were thrown in at random, eight or nine would meet in one place.
  for (const auto& family : {orders, equalEnds, counted, swapped}) EXPECT_LE(fullestPlace(family), 12U);
}

TEST_F(Names, AUnitBeginsWithoutThem) {
  for (int i = 0; i < 5000; ++i) look("name" + std::to_string(i));
  const uint32_t grown = nameTable.slotMask;
  memoryEndUnit();
  resetNames();
  EXPECT_EQ(nameTable.entryCount, 0U);
  EXPECT_LT(nameTable.slotMask, grown);
  for (int i = 0; i < 5000; ++i)
    ASSERT_EQ(findKnown(nameOf(asBytes(("name" + std::to_string(i)).c_str()))), nullptr);
}

TEST_F(Names, MacrosAreListedByChainsThatTheNewestLeads) {
  static const Byte body[] = {1};
  // Permutations share a chain of the list.
  for (const char* const name : {"abc", "plain", "b", "cab", "a", "bca"}) look(name)->macroBody = body;
  look("plain")->macroBody = noMacro;
  look("abc");
  size_t count;
  IdentEntry** const macros = listMacros(count);
  std::vector<std::string> listed;
  for (size_t i = 0; i < count; ++i) listed.push_back(asChars(macros[i]->spelling()));
  memFree(macros);
  EXPECT_EQ(listed, (std::vector<std::string>{"a", "bca", "cab", "abc", "b"}));
}

}  // namespace
