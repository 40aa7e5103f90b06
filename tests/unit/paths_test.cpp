// Paths and GUIDs: text that is taken apart without touching a file.

#include "platform/paths.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "platform/guid.h"

namespace {

// A path as "drive|directory|name|extension".
std::string parts(const std::string& path) {
  const PathParts p = splitPath(path.c_str());
  return path.substr(0, p.driveLength) + "|" + path.substr(p.driveLength, p.nameStart - p.driveLength) + "|" +
         path.substr(p.nameStart, p.extension - p.nameStart) + "|" + path.substr(p.extension);
}

TEST(Paths, SplitAtBothSeparatorsAndTheDrive) {
  EXPECT_EQ(parts("a.c"), "||a|.c");
  EXPECT_EQ(parts("C:\\x\\a.tar.gz"), "C:|\\x\\|a.tar|.gz");
  EXPECT_EQ(parts("C:a.c"), "C:||a|.c");
  EXPECT_EQ(parts("x/y\\z"), "|x/y\\|z|");
  // A dot in a directory is no extension, and a lone dot is one.
  EXPECT_EQ(parts("a.b\\c"), "|a.b\\|c|");
  EXPECT_EQ(parts("d\\a."), "|d\\|a|.");
  EXPECT_EQ(parts("d/"), "|d/||");
  EXPECT_EQ(parts("/:x"), "|/|:x|");
  EXPECT_EQ(parts(""), "|||");
}

TEST(Paths, RootedAndEqualNames) {
  EXPECT_TRUE(isRootedPath("C:x"));
  EXPECT_TRUE(isRootedPath("\\x"));
  EXPECT_TRUE(isRootedPath("/x"));
  EXPECT_FALSE(isRootedPath("x\\C:"));
  // What follows the end of an empty path is no part of it.
  EXPECT_FALSE(isRootedPath("\0:"));
  EXPECT_TRUE(sameFileName("Con.I", "cON.i"));
  EXPECT_FALSE(sameFileName("con", "con."));
  // Only ASCII letters fold: '[' and '{' differ in the same bit as a letter's cases.
  EXPECT_FALSE(sameFileName("a[", "a{"));
  EXPECT_FALSE(sameFileName("\xC4", "\xE4"));
}

TEST(Paths, FoldingLeavesSecondBytesAlone) {
  const char path[] = "d:\\a\x83\x61z\x83";
  std::string copy(sizeof path - 1, 0);
  copyFolded(copy.data(), path, copy.size());
  EXPECT_EQ(copy, "D:\\A\x83\x41Z\x83");
  static const std::array<Byte, 256> leadBytes = [] {
    std::array<Byte, 256> table{};
    table[0x83] = 1;
    return table;
  }();
  pathLeadBytes = leadBytes.data();
  copyFolded(copy.data(), path, copy.size());
  pathLeadBytes = nullptr;
  EXPECT_EQ(copy, "D:\\A\x83\x61Z\x83");
}

// The result of parseGuid as hexadecimal digits, or "bad".
std::string guid(const std::string& text) {
  uint16_t wide[100] = {};
  for (size_t i = 0; i < text.size(); i++) wide[i] = uint16_t(text[i]);
  Byte bytes[16];
  if (parseGuid(wide, bytes) != 0) return "bad";
  std::string digits;
  for (const Byte b : bytes) {
    digits += "0123456789abcdef"[b >> 4];
    digits += "0123456789abcdef"[b & 15];
  }
  return digits;
}

TEST(Guid, NumbersAreLittleEndianAndTheFormIsStrict) {
  EXPECT_EQ(guid("{00112233-4455-6677-8899-aAbBcCdDeEfF}"), "33221100554477668899aabbccddeeff");
  EXPECT_EQ(guid("{00112233-4455-6677-8899-aabbccddeefg}"), "bad");
  EXPECT_EQ(guid("{00112233-4455-6677-8899-aabbccddeeff} "), "bad");
  EXPECT_EQ(guid("{00112233-4455-6677-8899-aabbccddeef}"), "bad");
  EXPECT_EQ(guid("{0011223344-55-6677-8899-aabbccddeeff}"), "bad");
  EXPECT_EQ(guid("00112233-4455-6677-8899-aabbccddeeff"), "bad");
  EXPECT_EQ(guid("{"), "bad");
  EXPECT_EQ(guid(""), "bad");
}

}  // namespace
