// Texts of many lines: the pass by blocks against one that takes a byte at a time.

#include "scanner/byte_search.h"

#include <gtest/gtest.h>
#include <random>
#include <string>

namespace {

const Byte* bytesOf(const std::string& text) {
  return asBytes(text.data());
}

bool endsComment(char c, char d) {
  return (c == '*' && (d == '/' || d == '\\')) || c == 0x1A;
}

bool endsSkipped(char c, char d) {
  if (c == '/') return d == '*';
  if (c == '\\') return d == '\n' || d == '\r';
  return c == 0x1A || (d == '#' && (c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\0'));
}

// Where text ends whose lines end in `lineEnd`, alone or after the other byte, and the line ends before
// that. The last byte is never passed: what it means depends on the next one.
std::pair<size_t, uint32_t> passSlowly(const std::string& text, size_t from, char lineEnd,
                                       bool (*ends)(char, char)) {
  const char other = lineEnd == '\n' ? '\r' : '\n';
  uint32_t lines = 0;
  for (size_t i = from;;) {
    const auto mayPass = [&](size_t at) { return at + 1 < text.size() && !ends(text[at], text[at + 1]); };
    if (!mayPass(i)) return {i, lines};
    if (text[i] == other) {
      if (text[i + 1] != lineEnd || !mayPass(i + 1)) return {i, lines};
      ++i;
    } else if (text[i] == lineEnd && text[i + 1] == other) {
      return {i, lines};
    }
    lines += text[i] == lineEnd;
    ++i;
  }
}

void expectSame(const std::string& text, PassedText (*pass)(const Byte*, const Byte*),
                bool (*ends)(char, char)) {
  const PassedText passed = pass(bytesOf(text), bytesOf(text) + text.size());
  auto [end, lines] = passSlowly(text, 0, '\n', ends);
  const auto [lastEnd, moreLines] = passSlowly(text, end, '\r', ends);
  ASSERT_EQ(size_t(passed.end - bytesOf(text)), lastEnd) << testing::PrintToString(text);
  ASSERT_EQ(passed.lines, lines + moreLines) << testing::PrintToString(text);
}

// Texts in which ends of lines and of texts meet the blocks in all ways.
TEST(ByteSearch, TextsOfManyLinesEndWhereTheirBytesSay) {
  std::mt19937 random(1);
  const std::string forms[] = {std::string("ab \n"),     std::string("a\r\n"),
                               std::string("a\r\nb\n#"), std::string("a\r"),
                               std::string("a\n\r"),     std::string("ab\n*/\\# \"\x1A\0", 10)};
  for (int round = 0; round < 40000; ++round) {
    const std::string& form = forms[random() % 6];
    std::string text;
    for (size_t length = random() % 80; length != 0; --length) {
      // Line ends of one kind as a rule, long runs without an end now and then.
      if (form == forms[1] && random() % 8 == 0)
        text += "\r\n";
      else if (form == forms[4] && random() % 8 == 0)
        text += "\n\r";
      else
        text += random() % 4 == 0 ? form[random() % form.size()] : 'x';
    }
    expectSame(text, passCommentText, endsComment);
    expectSame(text, passSkippedText, endsSkipped);
  }
}

TEST(ByteSearch, LinesAreCountedAcrossManyBlocks) {
  std::string pairs;
  for (int i = 0; i < 5000; ++i) pairs += "\r\n";
  EXPECT_EQ(passCommentText(bytesOf(pairs), bytesOf(pairs) + pairs.size()).lines, 4999U);
  const std::string feeds(5000, '\n');
  EXPECT_EQ(passSkippedText(bytesOf(feeds), bytesOf(feeds) + feeds.size()).lines, 4999U);
}

}  // namespace
