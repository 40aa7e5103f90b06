#include "make_program.h"

#include <algorithm>
#include <iterator>

namespace {

// A fixed sequence for each seed, the same on every system.
class Dice {
 public:
  explicit Dice(uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15U + 1) {
    for (int i = 0; i < 4; i++) roll(2);
  }
  unsigned roll(unsigned sides) {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 7;
    state_ ^= state_ << 17;
    return static_cast<unsigned>((state_ * 0x2545F4914F6CDD1DU >> 33) % sides);
  }
  bool oneIn(unsigned sides) { return roll(sides) == 0; }
  template <size_t count>
  std::string of(const char* const (&items)[count]) {
    return items[roll(count)];
  }

 private:
  uint64_t state_;
};

// Reads past this size would only make the runs slower.
constexpr size_t textLimit = 6000;

// The program's buffers, at whose edges the fast paths give up.
constexpr unsigned readBlock = 0xF000;
constexpr unsigned writeBlock = 0x10000;
constexpr unsigned textBlock = 16384;

const char* const plainNames[] = {
    "a",      "b",     "x",     "y1",     "e5",  "L",     "u",
    "ab",     "count", "_x",    "__foo",  "int", "char",  "if",
    "sizeof", "else",  "class", "_cdecl", "try", "__try", "a_name_of_many_letters",
    "x1",     "mushj", "fgnoxc"};
const char* const oddNames[] = {"asm",         "__asm",    "defined",    "__FILE__", "__LINE__",
                                "__cplusplus", "__STDC__", "_asm",       "L1",       "__TIMEX_",
                                "include",     "define",   "__declspec", "operator"};
// "frmws" and "czthqa" have the hash of a plain name.
const char* const objectMacros[] = {"A", "B", "C", "D", "EMPTY", "M_with_a_long_name", "frmws", "czthqa"};
// A macro with parameters, and how many its definitions and calls have as a rule.
struct FunctionMacro {
  const char* name;
  unsigned count;
};
const FunctionMacro functionMacros[] = {{"f", 1},   {"g", 1},  {"str", 1}, {"h", 2},
                                        {"cat", 2}, {"F0", 0}, {"f3", 3}};
const char* const parameters[] = {"p", "q", "r"};
const char* const numbers[] = {"0",
                               "1",
                               "2",
                               "12",
                               "017",
                               "08",
                               "0x1F",
                               "0x",
                               "1.5",
                               "1e5",
                               ".5",
                               "1.",
                               "1.e+3",
                               "1L",
                               "1ul",
                               "1i64",
                               "0ui8",
                               "1..2",
                               "1f",
                               "0f",
                               "1.2.3",
                               "4294967296",
                               "12345678901234567890",
                               "1e5e5",
                               "00",
                               "0x1Fu",
                               "5U",
                               "0L",
                               "3lu",
                               "1ULL",
                               "0xU",
                               "07u",
                               "078"};
const char* const punctuators[] = {"+",  "-",  "*",   "/",  "%",  "&",  "|",   "^",  "!",  "=",  "<",  ">",
                                   "++", "--", "&&",  "||", "==", "!=", "<=",  ">=", "<<", ">>", "->", "->*",
                                   "+=", "-=", ">>=", ".",  ".*", "..", "...", ":",  "::", "?",  "~",  ";",
                                   ";",  "[",  "]",   "{",  "}",  "&",  "*",   "=",  "#",  "\\?"};
const char* const breakers[] = {"(", ")", ",", "##", "\"open", "'open", "\\", "$", "@", "(("};
const char* const pieces[] = {"/*",     "*/",   "//",   "\"",        "'",         "#",          "##",
                              "(",      ")",    ",",    "\\",        "\\\n",      "\n",         "/\\\n*",
                              "*\\\n/", "\n#",  "\n\n", "\r",        "L'",        "L\"",        "0x",
                              "..",     "\\\\", "\\\"", "\n#if 0\n", "\n#else\n", "\n#endif\n", "__"};
const char* const headerNames[] = {"h0.h", "h1.h", "h2.h", "h3.h", "h4.h"};
const char* const literals[] = {"\"\"",   "\"text\"", "\"a b\"",       "\"\\\"\"", "\"\\\\\"", "\"a\\\nb\"",
                                "L\"w\"", "\"/*\"",   "\"a\\n\\x41\"", "\"(\"",    "\",\"",    "'a'",
                                "'\\n'",  "'\\''",    "'ab'",          "L'a'",     "'\\x41'",  "'\"'",
                                "'('",    "'\\\\'",   "'\\0'",         "''",       "'a\\\nb'"};

// What plain calls are made of: no token here makes a program leave the paths of such calls, and
// most of them meet others closely.
const char* const tidyTokens[] = {
    "a",   "b",   "y1",    "int", "__try", "1",  "12", "0x1F", "0x2aUL", "7u",  "+", "-",       "=",
    "->",  "<",   "&",     "*",   ".",     "/",  ":",  "?",    ";",      "[a]", "~", "\"s t\"", "\"\\n\"",
    "'c'", "(b)", "(1,2)", "{",   "}",     "==", "-1", "x.y",  "count",  "&&",  "L"};
const char* const edgeOperators[] = {"-", "+", "<", "=", "&", ".", "/ ", "/", "*", "\"s\"", "("};
const FunctionMacro tidyMacros[] = {{"T0", 0}, {"T1", 1}, {"U1", 1}, {"T2", 2}, {"U2", 2}, {"T3", 3}};
const char* const tidyObjects[] = {"O1", "O2", "a1", "xa", "ab", "La"};
const char* const callNames[] = {"T1", "U1"};
const char* const pasteStarts[] = {"", "x##", "L##", "LL##", "a##"};

class Maker {
 public:
  explicit Maker(Dice& dice) : dice_(dice) {}

  // The text of a source, which may include the headers from `firstHeader` on.
  std::string source(size_t firstHeader) {
    begin(firstHeader);
    if (!dice_.oneIn(4)) prelude();
    if (dice_.oneIn(16)) filler(readBlock - dice_.roll(600));
    if (dice_.oneIn(16)) plainLines(writeBlock - dice_.roll(writeBlock));
    if (dice_.oneIn(3)) tidyLines(8 + dice_.roll(60));
    lines(6 + dice_.roll(30), 0);
    if (dice_.oneIn(40)) longCall();
    return finish();
  }

  // The text of a header, which may include those after it.
  std::string header(size_t number) {
    begin(number + 1);
    wildness_ = std::min(wildness_, 1U);
    const std::string guard = "GUARD" + std::to_string(number);
    const unsigned form = dice_.roll(6);
    if (dice_.oneIn(3)) lines(1 + dice_.roll(2), 3);
    if (form < 3) {
      text_ += form == 0 ? "#if !defined(" + guard + ")\n" : "#ifndef " + guard + comment(4) + "\n";
      if (!dice_.oneIn(6)) text_ += "#define " + guard + "\n";
    }
    lines(1 + dice_.roll(8), 1);
    if (form < 3) {
      text_ += directive() + "endif" + comment(3);
      if (!dice_.oneIn(4)) text_ += "\n";
      if (dice_.oneIn(6)) lines(1, 3);
    }
    return finish();
  }

 private:
  void begin(size_t firstHeader) {
    text_.clear();
    firstHeader_ = firstHeader;
    wildness_ = dice_.roll(3);
  }

  // One time in `sides` something that breaks the text around it, in programs that are wild.
  bool slip(unsigned sides) { return wildness_ != 0 && dice_.oneIn(wildness_ == 1 ? 5 * sides : sides); }

  // --- Small things ---

  std::string words(unsigned count) {
    std::string text;
    for (unsigned i = 0; i < count; i++) text += dice_.of(plainNames) + " ";
    return text;
  }

  std::string blockComment() {
    switch (dice_.roll(9)) {
      case 0: return "/**/";
      case 1: return "/* " + words(2) + "\n" + (dice_.oneIn(3) ? doubleByte() : "") + "*/";
      case 2: return "/***/";
      case 3: return "/* // \" ' *\\\n/";
      case 4:
      case 5: return "/* /* */" + std::string(dice_.oneIn(2) ? " */" : "");
      default: return "/* " + words(dice_.roll(4)) + "*/";
    }
  }

  std::string lineComment() {
    switch (dice_.roll(8)) {
      case 0: return "//";
      case 1: return "// " + words(1) + "\\\n" + words(1);
      case 2: return "// don't /* \"" + words(1) + (dice_.oneIn(3) ? doubleByte() : "");
      case 3: return "// a\\b";
      default: return "// " + words(dice_.roll(5));
    }
  }

  // One time in `sides` a comment.
  std::string comment(unsigned sides) { return dice_.oneIn(sides) ? " " + blockComment() : ""; }

  // What may stand between two tokens of a line.
  std::string gap() {
    switch (dice_.roll(30)) {
      case 0: return "\t";
      case 1: return "  \t ";
      case 2: return dice_.oneIn(2) ? "\v" : "\f";
      case 3: return blockComment();
      case 4: return " \\\n";
      case 5: return "\\\n";
      case 6: return "\\\n\\\n ";
      case 7: return " " + blockComment() + " ";
      default: return dice_.oneIn(3) ? "" : " ";
    }
  }

  std::string name() {
    switch (dice_.roll(12)) {
      case 0: return dice_.of(oddNames);
      case 1:
      case 2:
      case 3: return dice_.of(objectMacros);
      case 4: return macro().name;
      case 5: return dice_.oneIn(30) ? std::string(240 + dice_.roll(30), 'n') : dice_.of(parameters);
      default: return dice_.of(plainNames);
    }
  }

  const FunctionMacro& macro() { return functionMacros[dice_.roll(std::size(functionMacros))]; }

  // A byte that stands in no ordinary text; most have a meaning in macro text.
  std::string rawByte() {
    const unsigned byte = dice_.oneIn(3) ? 0x80 + dice_.roll(128) : 0xFA + dice_.roll(6);
    return std::string(1, static_cast<char>(dice_.oneIn(8) ? 0 : byte));
  }

  std::string token(int depth) {
    if (slip(12)) return dice_.of(breakers);
    switch (dice_.roll(24)) {
      case 0:
      case 1:
      case 2:
      case 3: return dice_.of(punctuators);
      case 4:
      case 5: return dice_.of(numbers);
      case 6:
      case 7: return literal();
      case 8:
      case 9:
      case 10:
      case 11: return depth < 3 ? call(depth + 1) : name();
      case 12: return "(" + tokens(dice_.roll(3), depth + 1) + ")";
      case 13: return dice_.oneIn(3) ? rawByte() : ";";
      default: return name();
    }
  }

  std::string literal() {
    switch (dice_.roll(40)) {
      case 0: return "'" + std::string(1, "\0\x1A\n\r"[dice_.roll(4)]) + "'";
      case 1: return '"' + std::string(200 + dice_.roll(400), 's') + '"';
      case 2:
      case 3: return '"' + doubleByte() + doubleByte() + '"';
      case 4: return "'" + doubleByte() + "'";
      default: return dice_.of(literals);
    }
  }

  // A double-byte character of a Japanese code page, whose second byte may be any.
  std::string doubleByte() {
    const std::string lead(1, static_cast<char>(0x81 + dice_.roll(31)));
    return lead +
           (dice_.oneIn(2) ? std::string(1, static_cast<char>(0x40 + dice_.roll(63))) : dice_.of(breakers));
  }

  std::string tokens(unsigned count, int depth) {
    std::string text;
    for (unsigned i = 0; i < count; i++) text += token(depth) + gap();
    return text;
  }

  // What an argument holds besides tokens: line ends, comments, directives.
  std::string argumentBreak() {
    switch (dice_.roll(14)) {
      case 0: return "\n";
      case 1: return "\n\n ";
      case 2: return lineComment() + "\n";
      case 3: return blockComment();
      case 4: return dice_.oneIn(3) ? "\n#define A 7\n" : "\n";
      case 5: return dice_.oneIn(3) ? "\n#if 0\n" : "";
      case 6: return " \\\n";
      default: return "";
    }
  }

  std::string call(int depth) {
    const FunctionMacro& called = macro();
    std::string text = called.name;
    text += dice_.oneIn(6) ? (dice_.oneIn(2) ? "\n" : comment(1) + "\n ") : (dice_.oneIn(4) ? gap() : "");
    if (dice_.oneIn(15)) return text;
    text += "(";
    const unsigned count = slip(8) ? dice_.roll(5) : called.count;
    for (unsigned i = 0; i < count; i++) {
      if (i != 0) text += dice_.oneIn(5) ? " , " : ",";
      text += argumentBreak() + tokens(dice_.roll(4), depth) + argumentBreak();
    }
    return slip(15) ? text : text + ")";
  }

  // --- Directives ---

  // Everything in front of a directive's name.
  std::string directive() {
    std::string text = dice_.oneIn(8) ? gap() : "";
    if (dice_.oneIn(60)) text += '\0';
    text += "#";
    if (dice_.oneIn(8)) text += gap();
    return text;
  }

  std::string definition() {
    if (dice_.oneIn(3)) {
      const std::string head = slip(8) ? dice_.of(oddNames) : dice_.of(objectMacros);
      return "define " + head + (slip(8) ? gap() : " ") + body(0);
    }
    const FunctionMacro& defined = macro();
    return functionDefinition(defined.name, slip(8) ? dice_.roll(4) : defined.count);
  }

  std::string functionDefinition(const std::string& head, unsigned count) {
    std::string text = "define " + head + "(";
    for (unsigned i = 0; i < count; i++) {
      if (i != 0) text += ",";
      if (dice_.oneIn(10)) text += gap();
      text += slip(20) ? token(2) : parameters[i % 3];
    }
    return text + (slip(20) ? "" : ")") + gap() + body(count);
  }

  // Definitions of all macros, so that the calls after them mean something.
  void prelude() {
    for (const char* const head : objectMacros)
      if (!dice_.oneIn(5)) text_ += "#define " + std::string(head) + " " + body(0) + "\n";
    for (const FunctionMacro& macro : functionMacros)
      if (!dice_.oneIn(5)) text_ += "#" + functionDefinition(macro.name, macro.count) + "\n";
  }

  // A macro body with `count` parameters.
  std::string body(unsigned count) {
    std::string text;
    const unsigned length = dice_.roll(6);
    for (unsigned i = 0; i < length; i++) {
      const std::string parameter = count == 0 ? "z" : parameters[dice_.roll(count)];
      switch (dice_.roll(9)) {
        case 0:
        case 1:
        case 2: text += parameter; break;
        case 3: text += count == 0 ? "x" : "#" + std::string(dice_.oneIn(3) ? " " : "") + parameter; break;
        case 4: text += (dice_.oneIn(2) ? "##" : " ## ") + (dice_.oneIn(2) ? parameter : token(3)); break;
        default: text += token(2); break;
      }
      text += gap();
    }
    return text;
  }

  std::string condition(int depth) {
    switch (dice_.roll(depth > 2 ? 6 : 12)) {
      case 0: return dice_.of(numbers);
      case 1: return "defined " + name();
      case 2: return "defined(" + gap() + name() + gap() + ")";
      case 3: return dice_.of(objectMacros);
      case 4: return name();
      case 5: return dice_.oneIn(3) ? "L'a'" : "1";
      case 6: return "!" + condition(depth + 1);
      case 7: return "(" + condition(depth + 1) + ")";
      case 8: return call(3);
      case 9: return token(2) + " " + condition(depth + 1);
      default: {
        static const char* const operators[] = {"&&", "||", "==", "<", "+",  "-",
                                                "/",  "?",  ":",  ",", ">>", "%"};
        return condition(depth + 1) + gap() + dice_.of(operators) + gap() + condition(depth + 1);
      }
    }
  }

  std::string opening() {
    switch (dice_.roll(5)) {
      case 0: return "ifdef " + name();
      case 1: return "ifndef " + name();
      case 2: return "if 0";
      case 3: return "if 1";
      default: return "if " + condition(0);
    }
  }

  void group(int depth) {
    text_ += directive() + opening() + comment(8) + "\n";
    lines(dice_.roll(5), depth + 1);
    while (dice_.oneIn(3)) {
      text_ += directive() + "elif " + condition(1) + "\n";
      lines(dice_.roll(3), depth + 1);
    }
    if (dice_.oneIn(2)) {
      text_ += directive() + "else" + comment(8) + "\n";
      lines(dice_.roll(4), depth + 1);
    }
    if (!slip(12)) text_ += directive() + "endif" + comment(6) + "\n";
  }

  std::string otherDirective() {
    switch (dice_.roll(14)) {
      case 0: return "line " + std::to_string(dice_.roll(3) * 4999);
      case 1:
        return "line " + std::to_string(dice_.roll(200)) + " \"l" + std::to_string(dice_.roll(3)) + ".c\"";
      case 2: return "line " + tokens(2, 1);
      case 3: return "error " + tokens(dice_.roll(4), 2) + "don't";
      case 4: return "pragma " + tokens(dice_.roll(4), 1);
      case 5: return "undef " + name() + gap();
      case 6: return dice_.oneIn(2) ? "" : "unknown " + tokens(2, 2);
      case 7: return slip(2) ? (dice_.oneIn(2) ? "else" : "endif") : "undef A";
      case 8: return slip(2) ? "elif " + condition(2) : "pragma A";
      case 9: return "include " + std::string(dice_.oneIn(2) ? "<none>" : "A");
      default: return include();
    }
  }

  std::string include() {
    if (firstHeader_ >= std::size(headerNames)) return "include";
    const unsigned count = static_cast<unsigned>(std::size(headerNames) - firstHeader_);
    const std::string file = headerNames[firstHeader_ + dice_.roll(count)];
    return "include " + (dice_.oneIn(4) ? "<" + file + ">" : "\"" + file + "\"") + comment(8);
  }

  // --- Lines ---

  void line(int depth) {
    const unsigned kind = dice_.roll(32);
    if (kind < 2) {
      text_ += dice_.oneIn(2) ? "\n" : gap() + "\n";
    } else if (kind < 4) {
      text_ += "asm" + std::string(dice_.oneIn(2) ? " { mov eax, 1\n" : " ") + tokens(2, 2);
      text_ += dice_.oneIn(2) ? "}\n" : "\n";
    } else if (kind < 11) {
      text_ += directive() + definition() + (dice_.oneIn(6) ? lineComment() : "") + "\n";
    } else if (kind < 14 && depth < 4) {
      group(depth);
    } else if (kind < 17) {
      text_ += directive() + otherDirective() + "\n";
    } else {
      if (dice_.oneIn(3)) text_ += gap();
      text_ += tokens(1 + dice_.roll(7), 0);
      if (dice_.oneIn(8)) text_ += lineComment();
      if (!dice_.oneIn(30)) text_ += "\n";
    }
  }

  void lines(unsigned count, int depth) {
    for (unsigned i = 0; i < count && text_.size() < limit_; i++) line(depth);
  }

  // About `size` bytes of text that leaves nothing but line ends behind.
  void filler(size_t size) {
    while (text_.size() + 80 < size) text_ += "/* " + std::string(70, '-') + " */\n";
    if (text_.size() < size) text_ += std::string(size - text_.size(), ' ');
    limit_ = text_.size() + textLimit;
  }

  // About `size` bytes of output.
  void plainLines(size_t size) {
    for (size_t i = 0; i < size; i += 40) text_ += "int count" + std::to_string(i) + " = " + words(2) + ";\n";
    limit_ = text_.size() + textLimit;
  }

  // A call whose argument fills the text buffer, or nearly.
  void longCall() {
    const std::string unit = dice_.oneIn(2) ? "ab " : "1,(2),";
    std::string argument(textBlock - dice_.roll(300), 'x');
    for (size_t i = 0; i < argument.size(); i++) argument[i] = unit[i % unit.size()];
    text_ += macro().name + ("(" + argument) + tokens(dice_.roll(40), 1) + ")\n";
  }

  // --- Plain calls ---

  std::string tidyGap() {
    return dice_.oneIn(3) ? "" : dice_.oneIn(25) ? "\t" : dice_.oneIn(25) ? "  " : " ";
  }

  std::string tidyTokensOf(unsigned count, int depth) {
    std::string text;
    for (unsigned i = 0; i < count; i++) {
      switch (dice_.roll(depth < 4 ? 8 : 5)) {
        case 0: text += dice_.of(tidyObjects); break;
        case 1: text += dice_.oneIn(4) ? tidyMacros[dice_.roll(std::size(tidyMacros))].name : "b"; break;
        case 5:
        case 6:
        case 7: text += tidyCall(depth + 1); break;
        default: text += dice_.of(tidyTokens); break;
      }
      text += tidyGap();
    }
    return text;
  }

  std::string tidyCall(int depth) {
    const FunctionMacro& called = tidyMacros[dice_.roll(std::size(tidyMacros))];
    std::string text = called.name + std::string(dice_.oneIn(12) ? " (" : "(");
    for (unsigned i = 0; i < called.count; i++) {
      if (i != 0) text += dice_.oneIn(3) ? "," : ", ";
      text += tidyTokensOf(dice_.oneIn(8) ? 0 : 1 + dice_.roll(3), depth);
    }
    return text + ")";
  }

  // A paste that may make the name of a macro.
  std::string tidyPaste(const std::string& parameter) {
    return dice_.of(pasteStarts) + parameter + (dice_.oneIn(2) ? "##b" : " ");
  }
  std::string tidyBody(unsigned count) {
    std::string text;
    for (unsigned i = dice_.roll(7); i != 0; i--) {
      const std::string parameter = count == 0 ? "z" : parameters[dice_.roll(count)];
      switch (dice_.roll(12)) {
        case 0: text += count == 0 ? "x" : "#" + parameter; break;
        case 10: text += tidyPaste(parameter); break;
        case 11: text += std::string(dice_.of(callNames)) + "(" + tidyPaste(parameter) + ")"; break;
        case 9:
          text += dice_.of(edgeOperators) + parameter + (dice_.oneIn(2) ? dice_.of(edgeOperators) : "");
          break;
        case 1:
          text += dice_.oneIn(6) ? "1 " : dice_.oneIn(2) ? "x##" + parameter : parameter + "##" + parameter;
          break;
        case 2: text += tidyTokensOf(1, 3); break;
        case 3: text += "(" + parameter + ")"; break;
        case 4: text += dice_.of(tidyTokens); break;
        default: text += parameter; break;
      }
      text += tidyGap();
    }
    return text;
  }

  void tidyDefinition() {
    if (dice_.oneIn(3)) {
      text_ += "#define " + std::string(dice_.of(tidyObjects)) + " " + tidyBody(0) + "\n";
      return;
    }
    const FunctionMacro& defined = tidyMacros[dice_.roll(std::size(tidyMacros))];
    text_ += "#define " + std::string(defined.name) + "(";
    for (unsigned i = 0; i < defined.count; i++) text_ += (i == 0 ? "" : ",") + std::string(parameters[i]);
    text_ +=
        ") " + tidyBody(defined.count) + (dice_.oneIn(8) ? "\\\n " + tidyBody(defined.count) : "") + "\n";
  }

  // Definitions and calls without anything that is out of the common.
  void tidyLines(unsigned count) {
    for (unsigned i = 0; i < 8; i++) tidyDefinition();
    for (; count != 0 && text_.size() < limit_; count--) {
      if (dice_.oneIn(30)) {
        tidyDefinition();
        continue;
      }
      // The paths of plain calls need some text after them in the buffer.
      text_ += tidyTokensOf(1 + dice_.roll(5), 0) + "\n" + (dice_.oneIn(2) ? words(6) + ";\n" : "");
    }
  }

  // --- Changes of bytes ---

  size_t place() {
    // Behind a filler, what matters stands at the end.
    const size_t window = text_.size() < textLimit ? text_.size() : textLimit;
    return text_.size() - window + dice_.roll(static_cast<unsigned>(window) + 1);
  }

  void change() {
    const size_t at = place();
    const size_t length = std::min<size_t>(text_.size() - at, dice_.roll(dice_.oneIn(4) ? 60 : 6));
    switch (dice_.roll(12)) {
      case 0: text_.insert(at, 1, static_cast<char>(dice_.roll(256))); break;
      case 1: text_.insert(at, 1, static_cast<char>(0x80 + dice_.roll(128))); break;
      case 2: text_.insert(at, 1, static_cast<char>(dice_.oneIn(2) ? 0xFA + dice_.roll(6) : 0)); break;
      case 3: text_.insert(at, 1, dice_.oneIn(3) ? '\x1A' : '\\'); break;
      case 4: text_.erase(at, length); break;
      case 5: text_.insert(place(), text_.substr(at, length)); break;
      case 6:
      case 7: text_.insert(at, "\\\n"); break;
      case 8: text_.insert(at, blockComment()); break;
      case 9:
        if (at < text_.size()) text_[at] = static_cast<char>(dice_.roll(256));
        break;
      default: text_.insert(at, dice_.of(pieces)); break;
    }
  }

  // Gives the line ends their form.
  std::string withLineEnds() {
    static const char* const forms[] = {"\n", "\r\n", "\n\r", "\r"};
    const unsigned style = dice_.roll(8);
    std::string result;
    for (const char c : text_) {
      if (c != '\n')
        result += c;
      else if (style < 4)
        result += forms[style];
      else
        result += style == 4 ? dice_.of(forms) : "\n";
    }
    return result;
  }

  std::string finish() {
    if (wildness_ != 0)
      for (unsigned i = dice_.roll(5 * wildness_); i != 0; i--) change();
    if (dice_.oneIn(6) && !text_.empty() && text_.back() == '\n') text_.pop_back();
    limit_ = textLimit;
    return withLineEnds();
  }

  Dice& dice_;
  std::string text_;
  size_t firstHeader_ = 0;
  unsigned wildness_ = 0;  // 0: nothing is broken on purpose; up to 2
  size_t limit_ = textLimit;
};

std::vector<std::string> makeSwitches(Dice& dice) {
  static const char* const kinds[] = {"-A",      "-AU",     "-AK",  "-AT",  "-C",    "-Sc",     "-Sr",
                                      "-Sd",     "-Ss",     "-Sg",  "-P-",  "-i8",   "-i2",     "-K",
                                      "-CP932",  "-CP437",  "-idl", "-w",   "-w-",   "-P",      "-DA=f",
                                      "-DEMPTY", "-Df=g;B", "-u-",  "-VI-", "-ocon", "-CP65001"};
  std::vector<std::string> switches = {"-q", "-I."};
  if (!dice.oneIn(12)) switches.insert(switches.end(), {"-j0", "-g0"});
  if (!dice.oneIn(12)) switches.push_back("-Sk");
  if (dice.oneIn(5)) switches.push_back("-CP932");
  if (dice.oneIn(5)) switches.push_back("-C");
  while (!dice.oneIn(4)) switches.push_back(dice.of(kinds));
  return switches;
}

}  // namespace

Batch makeBatch(uint64_t seed, size_t count) {
  Dice dice(seed);
  Maker maker(dice);
  Batch batch;
  batch.switches = makeSwitches(dice);
  for (size_t i = 0; i < std::size(headerNames); i++)
    batch.headers.emplace_back(headerNames[i], maker.header(i));
  for (size_t i = 0; i < count; i++) {
    const std::string extension = dice.oneIn(3) ? ".cpp" : ".c";
    batch.sources.emplace_back("p" + std::to_string(i) + extension, maker.source(0));
  }
  return batch;
}
