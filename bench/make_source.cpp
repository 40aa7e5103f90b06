// Writes source text for the benchmark:  make_source KIND SIZE DIRECTORY
//
// The text follows a known mixture: 22% comment lines, 15% blank lines, and five tokens to a line of
// code. Along with KIND.c (and its headers) the program writes KIND.expected, the text that preprocessing
// must leave, without markers, empty lines and blanks at the ends of lines. Each line is made together
// with its expected form, so that the check owes nothing to the program that is measured.
//
// Kinds whose size is in kilobytes: large, one big source with few macros; headers, guarded headers of
// 4 KB, each named several times; macros, a macro call in nearly every line; tables, lists of rows that
// are expanded with several row macros; nested, calls in the arguments of calls; pasting, the operators #
// and ##; skipped, mostly false groups; comments, mostly long comments; small, files of 2 KB.
//
// Kinds whose size is a count, to see how the time grows: defines, as many macros; chain, the same with
// each body naming the macro before; options, the same as -D in a response file; permutations, macros
// whose names are the same ten letters in different order; calls, calls with eight arguments;
// directories, headers in the last of 300 directories, each included twice.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

// A fixed sequence, so that each run writes the same bytes.
uint64_t sequence = 0x2545F4914F6CDD1DU;

unsigned pick(unsigned count) {
  sequence ^= sequence << 13;
  sequence ^= sequence >> 7;
  sequence ^= sequence << 17;
  return static_cast<unsigned>((sequence >> 11) % count);
}

const char* const words[] = {"count", "buffer", "index", "next",  "limit", "p",     "value", "offset",
                             "table", "state",  "width", "entry", "n",     "total", "flags", "line"};

std::string name() {
  return words[pick(16)] + (pick(3) == 0 ? std::to_string(pick(100)) : std::string());
}

std::string number() {
  return pick(4) == 0 ? "0x" + std::to_string(pick(9000)) : std::to_string(pick(500));
}

// Text of a source and what must be left of it.
struct Text {
  std::string source, expected;
};

// A statement of about five tokens.
std::string statement() {
  switch (pick(8)) {
    case 0: return "int " + name() + " = " + number() + ";";
    case 1: return name() + "->" + name() + " = " + name() + ";";
    case 2: return "if (" + name() + " < " + number() + ")";
    case 3: return "return " + name() + " + " + number() + ";";
    case 4: return name() + "(\"" + name() + " \\n\");";
    case 5: return name() + " += '" + static_cast<char>('a' + pick(26)) + "';";
    case 6: return "{ " + name() + "++; }";
    default: return "static char* " + name() + ";";
  }
}

// Statements whose macro calls are told with what they become.
void macroStatement(Text& text) {
  const std::string a = name(), b = name(), c = number();
  switch (pick(5)) {
    case 0:
      text.source += a + " = ADD(" + b + ", " + c + ");";
      text.expected += a + " = ((" + b + ") + (" + c + "));";
      break;
    case 1:
      text.source += "int CAT(" + a + ", _tail) = LIMIT;";
      text.expected += "int " + a + "_tail = 1000;";
      break;
    case 2:
      text.source += "f(TEXT(" + a + "), " + b + ");";
      text.expected += "f(\"" + a + "\", " + b + ");";
      break;
    case 3:
      text.source += a + " = ADD(ADD(" + b + ", 1), SQUARE(" + c + "));";
      text.expected += a + " = ((((" + b + ") + (1))) + (((" + c + ") * (" + c + "))));";
      break;
    default:
      text.source += "while (" + a + " < LIMIT) " + b + ";";
      text.expected += "while (" + a + " < 1000) " + b + ";";
  }
}

// One line of the mixture.
void addLine(Text& text, bool macros) {
  const unsigned kind = pick(100);
  if (kind < 15) {
    text.source += "\n";
  } else if (kind < 30) {
    text.source += "  /* the " + name() + " of the " + name() + " is kept here */\n";
  } else if (kind < 37) {
    text.source += "// " + name() + " comes before " + name() + " in this place\n";
  } else {
    text.source += std::string(pick(4) * 2, ' ');
    if (macros) {
      macroStatement(text);
    } else {
      const std::string code = statement();
      text.source += code;
      text.expected += code;
    }
    if (pick(10) == 0) text.source += "  // as it was";
    text.source += "\n";
    text.expected += "\n";
  }
}

// The macros that `macroStatement` calls.
const char* const macroDefinitions =
    "#define LIMIT 1000\n#define ADD(a, b) ((a) + (b))\n#define CAT(a, b) a##b\n"
    "#define TEXT(a) #a\n#define SQUARE(x) ((x) * (x))\n";

// A list of rows, expanded once for their names and once for their texts.
void addTable(Text& text) {
  const std::string table = "TABLE" + std::to_string(pick(1000000));
  text.source += "#define " + table + "(ROW)";
  std::string names, texts;
  for (unsigned rows = 4 + pick(20); rows > 0; rows--) {
    const std::string key = name(), value = number(), label = name();
    text.source += " \\\n  ROW(" + key + ", " + value + ", \"" + label + "\")";
    names += " " + key + " = " + value + ",";
    texts += " {" + value + ", \"" + key + "\", \"" + label + "\"},";
  }
  text.source += "\nenum { " + table + "(NAME_ROW) };\n";
  text.source += "struct row rows[] = { " + table + "(TEXT_ROW) };\n";
  text.source += "#undef " + table + "\n";
  text.expected += "enum {" + names + " };\nstruct row rows[] = {" + texts + " };\n";
}

// An expression of macro calls, nested to a depth.
void nestedExpression(Text& text, unsigned depth) {
  if (depth == 0) {
    const std::string leaf = pick(3) == 0 ? number() : name();
    text.source += leaf;
    text.expected += leaf;
    return;
  }
  Text a, b;
  nestedExpression(a, depth - 1);
  switch (pick(4)) {
    case 0:
      nestedExpression(b, pick(depth));
      text.source += "ADD(" + a.source + ", " + b.source + ")";
      text.expected += "((" + a.expected + ") + (" + b.expected + "))";
      break;
    case 1:
      nestedExpression(b, pick(depth));
      text.source += "SMALLER(" + a.source + ", " + b.source + ")";
      text.expected +=
          "((" + a.expected + ") < (" + b.expected + ") ? (" + a.expected + ") : (" + b.expected + "))";
      break;
    case 2:
      text.source += "NEXT(" + a.source + ")";
      text.expected += "((" + a.expected + ") + (1))";
      break;
    default:
      text.source += "call(NEGATED(" + a.source + "), LIMIT)";
      text.expected += "call((-(" + a.expected + ")), 1000)";
  }
}

// A line whose macros join tokens and make strings of them.
void pastingStatement(Text& text) {
  const std::string a = name(), b = name(), c = name();
  switch (pick(4)) {
    case 0:
      text.source += "CAT3(" + a + ", _, " + b + ") = " + c + ";\n";
      text.expected += a + "_" + b + " = " + c + ";\n";
      break;
    case 1:
      text.source += "ACCESSORS(" + a + ", " + b + ")\n";
      text.expected += a + " get_" + b + "(void); void set_" + b + "(" + a + " value);\n";
      break;
    case 2:
      text.source += "f(TEXT(" + a + " + " + b + "), EXPANDED_TEXT(CAT(" + b + ", " + c + ")));\n";
      text.expected += "f(\"" + a + " + " + b + "\", \"" + b + c + "\");\n";
      break;
    default:
      text.source += "REGISTER(" + a + ", " + c + ");\n";
      text.expected += "static int register_" + a + " = add(\"" + a + "\", &" + a + "_" + c + ");\n";
  }
}

// Long comments of both kinds, then a statement.
void addComments(Text& text) {
  text.source += "/*\n";
  for (unsigned lines = 3 + pick(30); lines > 0; lines--) {
    text.source += " * The " + name() + " of the " + name() + " is set before the " + name() + " is read,\n";
  }
  text.source += " */\n";
  for (unsigned lines = pick(12); lines > 0; lines--) {
    text.source += "// here " + name() + " / " + name() + " * 100 gives the " + name() + " in percent\n";
  }
  const std::string code = statement();
  text.source += code + "\n";
  text.expected += code + "\n";
}

// A group that is false, with groups in it.
void addSkippedGroup(Text& text) {
  text.source += "#if NOTHING > 0\n";
  Text hidden;
  for (int i = 0; i < 60; i++) addLine(hidden, false);
  text.source += hidden.source;
  text.source += "#ifdef OTHER\nlook here\n#else\n#unknown\n#endif\n";
  hidden.source.clear();
  for (int i = 0; i < 60; i++) addLine(hidden, false);
  text.source += hidden.source + "#endif\n";
}

void write(const std::filesystem::path& path, const std::string& text) {
  std::ofstream stream(path, std::ios::binary);
  stream.write(text.data(), static_cast<std::streamsize>(text.size()));
  if (!stream.flush()) {
    fprintf(stderr, "can't write %s\n", path.c_str());
    exit(1);
  }
}

// Headers of 4 KB with guards, each included by the source and by two headers after it.
void makeHeaders(Text& text, size_t bytes, const std::filesystem::path& directory) {
  const size_t count = bytes / 4096 + 1;
  for (size_t i = 0; i < count; i++) {
    const std::string guard = "H" + std::to_string(i) + "_H";
    Text header;
    header.source = "// A header of the benchmark.\n\n#ifndef " + guard + "\n#define " + guard + "\n";
    for (size_t back = 1; back <= 2 && back <= i; back++) {
      header.source += "#include \"h" + std::to_string(i - back) + ".h\"\n";
    }
    while (header.source.size() < 4096) addLine(header, false);
    header.source += "\n#endif  // " + guard + "\n";
    write(directory / ("h" + std::to_string(i) + ".h"), header.source);
    text.source += "#include \"h" + std::to_string(i) + ".h\"\n";
    text.expected += header.expected;
  }
}

// `count` macros, for the kinds defines, chain, options and permutations, and calls of some of them.
void makeDefinitions(Text& text, size_t count, const std::string& kind,
                     const std::filesystem::path& directory) {
  const auto nameOf = [&](size_t i) {
    if (kind != "permutations") return "NAME_" + std::to_string(i);
    // The ten letters have 3,628,800 orders; the step spreads the names over all of them.
    std::string letters = "abcdefghij", result;
    size_t rank = i * 36;
    for (size_t left = 10; left > 0; left--) {
      const size_t place = rank % left;
      rank /= left;
      result += letters[place];
      letters.erase(place, 1);
    }
    return result;
  };
  std::string options;
  for (size_t i = 0; i < count; i++) {
    const std::string body = kind == "chain" && i > 0 ? nameOf(i - 1) : std::to_string(i);
    if (kind == "options") {
      options += "-D" + nameOf(i) + "=" + body + "\n";
    } else {
      text.source += "#define " + nameOf(i) + " " + body + "\n";
    }
  }
  if (kind == "options") write(directory / "options.txt", options);
  if (kind == "chain") {
    // Far enough to see that the chain holds, and not so far that a program needs a deep stack.
    text.source += "int last = " + nameOf(std::min<size_t>(count - 1, 50)) + ";\n";
    text.expected += "int last = 0;\n";
    return;
  }
  const size_t step = kind == "permutations" ? 1 : 1000;
  for (size_t i = 0; i < count; i += step) {
    text.source += "use(" + nameOf(i) + ");\n";
    text.expected += "use(" + std::to_string(i) + ");\n";
  }
}

// Calls with eight arguments, all of different names.
void makeCalls(Text& text, size_t count) {
  text.source += "#define ROW(a, b, c, d, e, f, g, h) {h, g, f, e, d, c, b, a}\n";
  for (size_t i = 0; i < count; i++) {
    std::string forward, backward;
    for (size_t k = 0; k < 8; k++) {
      const std::string word = "word" + std::to_string(8 * i + k);
      forward += (k > 0 ? ", " : "") + word;
      backward.insert(0, word + (k > 0 ? ", " : ""));
    }
    text.source += "ROW(" + forward + "),\n";
    text.expected += "{" + backward + "},\n";
  }
}

// Headers in the last of 300 directories, each named twice; without guards, so that both are read.
void makeDirectories(Text& text, size_t count, const std::filesystem::path& directory) {
  std::string options;
  std::filesystem::path last;
  for (int i = 0; i < 300; i++) {
    const std::string part = "part" + std::to_string(i);
    last = directory / part;
    std::filesystem::create_directories(last);
    options += "-I" + part + "\n";
  }
  write(directory / "options.txt", options);
  for (size_t i = 0; i < count; i++) {
    const std::string number = std::to_string(i);
    write(last / ("h" + number + ".h"), "int value" + number + ";\n");
    for (int time = 0; time < 2; time++) {
      text.source += "#include <h" + number + ".h>\n";
      text.expected += "int value" + number + ";\n";
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    fprintf(stderr, "usage: make_source KIND SIZE DIRECTORY\n");
    return 1;
  }
  const std::string kind = argv[1];
  const size_t size = std::stoul(argv[2]), bytes = size * 1024;
  const std::filesystem::path directory = argv[3];
  std::filesystem::create_directories(directory);
  Text text;
  if (kind == "large") {
    text.source = macroDefinitions;
    for (unsigned line = 0; text.source.size() < bytes; line++) addLine(text, line % 32 == 0);
  } else if (kind == "headers") {
    makeHeaders(text, bytes, directory);
  } else if (kind == "macros") {
    text.source = macroDefinitions;
    while (text.source.size() < bytes) addLine(text, true);
  } else if (kind == "tables") {
    text.source =
        "#define NAME_ROW(key, value, label) key = value,\n#define TEXT_ROW(key, value, label) {value, #key, "
        "label},\n";
    while (text.source.size() < bytes) addTable(text);
  } else if (kind == "nested") {
    text.source =
        "#define LIMIT 1000\n#define ADD(a, b) ((a) + (b))\n#define NEXT(a) ADD(a, 1)\n"
        "#define SMALLER(a, b) ((a) < (b) ? (a) : (b))\n#define NEGATED(a) (-(a))\n";
    while (text.source.size() < bytes) {
      text.source += "x = ";
      text.expected += "x = ";
      nestedExpression(text, 1 + pick(5));
      text.source += ";\n";
      text.expected += ";\n";
    }
  } else if (kind == "pasting") {
    text.source =
        "#define CAT(a, b) a##b\n#define CAT3(a, b, c) a##b##c\n#define TEXT(a) #a\n"
        "#define EXPANDED_TEXT(a) TEXT(a)\n"
        "#define ACCESSORS(type, name) type get_##name(void); void set_##name(type value);\n"
        "#define REGISTER(name, kind) static int register_##name = add(#name, &name##_##kind)\n";
    while (text.source.size() < bytes) pastingStatement(text);
  } else if (kind == "skipped") {
    while (text.source.size() < bytes) {
      addSkippedGroup(text);
      for (int i = 0; i < 10; i++) addLine(text, false);
    }
  } else if (kind == "comments") {
    while (text.source.size() < bytes) addComments(text);
  } else if (kind == "small") {
    for (size_t i = 0; i < size / 2; i++) {
      Text file;
      while (file.source.size() < 2048) addLine(file, false);
      char number[24];
      snprintf(number, sizeof number, "%03zu", i);
      write(directory / (std::string("s") + number + ".c"), file.source);
      text.expected += file.expected;
    }
  } else if (kind == "defines" || kind == "chain" || kind == "options" || kind == "permutations") {
    makeDefinitions(text, size, kind, directory);
  } else if (kind == "calls") {
    makeCalls(text, size);
  } else if (kind == "directories") {
    makeDirectories(text, size, directory);
  } else {
    fprintf(stderr, "unknown kind %s\n", kind.c_str());
    return 1;
  }
  if (kind != "small") write(directory / (kind + ".c"), text.source);
  write(directory / (kind + ".expected"), text.expected);
}
