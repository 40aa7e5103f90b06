// Writes source text for the benchmark:  make_source KIND KILOBYTES DIRECTORY
//
// The text follows a known mixture: 22% comment lines, 15% blank lines, and five tokens to a line of
// code. Beside KIND.c (and its headers) the program writes KIND.expected, the text that preprocessing
// must leave, without markers, empty lines and blanks at the ends of lines. Each line is made together
// with its expected form, so that the check owes nothing to the program that is measured.
//
// Kinds: large, one big source; headers, many guarded headers, each named several times; macros, calls
// of macros in nearly every line; skipped, mostly false groups; small, 200 files of a few lines.

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

// Headers of 4 KB with guards, each included by the source and by two headers behind it.
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

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    fprintf(stderr, "usage: make_source KIND KILOBYTES DIRECTORY\n");
    return 1;
  }
  const std::string kind = argv[1];
  const size_t bytes = std::stoul(argv[2]) * 1024;
  const std::filesystem::path directory = argv[3];
  std::filesystem::create_directories(directory);
  Text text;
  if (kind == "large") {
    while (text.source.size() < bytes) addLine(text, false);
  } else if (kind == "headers") {
    makeHeaders(text, bytes, directory);
  } else if (kind == "macros") {
    text.source =
        "#define LIMIT 1000\n#define ADD(a, b) ((a) + (b))\n#define CAT(a, b) a##b\n"
        "#define TEXT(a) #a\n#define SQUARE(x) ((x) * (x))\n";
    while (text.source.size() < bytes) addLine(text, true);
  } else if (kind == "skipped") {
    while (text.source.size() < bytes) {
      addSkippedGroup(text);
      for (int i = 0; i < 10; i++) addLine(text, false);
    }
  } else if (kind == "small") {
    for (int i = 0; i < 200; i++) {
      Text file;
      while (file.source.size() < bytes / 200) addLine(file, false);
      char number[16];
      snprintf(number, sizeof number, "%03d", i);
      write(directory / (std::string("s") + number + ".c"), file.source);
      text.expected += file.expected;
    }
  } else {
    fprintf(stderr, "unknown kind %s\n", kind.c_str());
    return 1;
  }
  if (kind != "small") write(directory / (kind + ".c"), text.source);
  write(directory / (kind + ".expected"), text.expected);
}
