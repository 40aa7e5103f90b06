// The two rules of blanks between tokens, for all pairs of tokens, against a statement of the rules from
// the user's side: an operator is kept from the one in front if the two would read as a longer one, and a
// word from a word. Each pair runs with a blank between its tokens in the source, which stays, and as two
// macros with nothing but a comment between them.

#include "check.h"

namespace {

// Every operator and bracket of the language.
const std::vector<std::string> operators = {
    "(",  ")",   "[",   "]",  "{", "}", ";",  ",",  "...", "=", "+=", "-=", "*=", "/=", "%=", "&=", "|=",
    "^=", "<<=", ">>=", "+",  "-", "*", "/",  "%",  "&",   "|", "^",  "<<", ">>", "?",  ":",  "||", "&&",
    ".*", "->*", "==",  "!=", "<", ">", "<=", ">=", "!",   "~", "++", "--", ".",  "->", "#",  "::"};

// A token of a kind that isn't an operator.
struct Word {
  std::string text;
  bool isNumber;
};
const std::vector<Word> words = {{"name", false}, {"int", false},   {"_", false},   {"1", true},
                                 {"2L", true},    {"3.5", true},    {"'c'", false}, {"\"s\"", false},
                                 {"L'c'", false}, {"L\"s\"", false}};

// True if `first` with the beginning of `second` is another operator. Comments are none.
bool readsAsAnother(const std::string& first, const std::string& second) {
  for (size_t length = 1; length <= second.size(); length++) {
    if (std::find(operators.begin(), operators.end(), first + second.substr(0, length)) != operators.end())
      return true;
  }
  return false;
}

bool endsInWord(const std::string& text) {
  return isalnum(static_cast<unsigned char>(text.back())) != 0 || text.back() == '_';
}

struct Pair {
  std::string first, second, blank;
};

std::vector<Pair> allPairs() {
  std::vector<Pair> pairs;
  for (const std::string& first : operators) {
    for (const std::string& second : operators) {
      pairs.push_back({first, second, readsAsAnother(first, second) ? " " : ""});
    }
    for (const Word& second : words) pairs.push_back({first, second.text, ""});
  }
  for (const Word& first : words) {
    for (const std::string& second : operators) pairs.push_back({first.text, second, ""});
    // A constant counts as a word whatever its first byte is; a number may be followed by anything.
    for (const Word& second : words)
      pairs.push_back({first.text, second.text, endsInWord(first.text) && !first.isNumber ? " " : ""});
  }
  return pairs;
}

// Runs a source of one pair a line, each after a bracket, and compares line by line.
void compare(const std::string& definitions, const std::vector<std::string>& sources,
             const std::vector<std::string>& expected) {
  const ScratchDirectory scratch;
  std::string source = definitions;
  for (const std::string& line : sources) source += "{ " + line + "\n";
  writeFile(scratch.path() / "a.cpp", source);
  RunSetup setup;
  setup.directory = scratch.path();
  setup.arguments = {"-P-", "-w-", "a.cpp"};
  const RunResult result = run(setup);
  EXPECT_EQ("", messagesOf(result.out));
  EXPECT_EQ(0, result.status);
  const std::vector<std::string> lines = splitLines(readFile(scratch.path() / "a.i"));
  // The #line in front, and what the definitions leave.
  const size_t start = 1 + splitLines(definitions).size();
  ASSERT_LE(start + expected.size(), lines.size());
  for (size_t i = 0; i < expected.size(); i++) EXPECT_EQ("{ " + expected[i] + "\r", lines[start + i]);
}

TEST(Separators, BetweenTokensWithABlank) {
  std::vector<std::string> sources, expected;
  for (const Pair& pair : allPairs()) {
    sources.push_back(pair.first + " " + pair.second);
    // The blank of the source keeps words apart, but the rule for operators adds its own.
    const bool operatorRule = !pair.blank.empty() && !endsInWord(pair.first);
    expected.push_back(pair.first + " " + (operatorRule ? " " : "") + pair.second);
  }
  compare("", sources, expected);
}

TEST(Separators, BetweenMacrosWithNothing) {
  std::map<std::string, std::string> names;
  std::string definitions;
  for (const Pair& pair : allPairs()) {
    std::string& name = names[pair.first];
    if (!name.empty()) continue;
    name = "m" + std::to_string(names.size());
    definitions += "#define " + name + " " + pair.first + "\n";
  }
  std::vector<std::string> sources, expected;
  int operatorBlanks = 0;
  for (const Pair& pair : allPairs()) {
    sources.push_back(names[pair.first] + "/**/" + names[pair.second]);
    expected.push_back(pair.first + pair.blank + pair.second);
    if (!pair.blank.empty() && !endsInWord(pair.first)) operatorBlanks++;
  }
  EXPECT_EQ(61, operatorBlanks);
  compare(definitions, sources, expected);
}

}  // namespace
