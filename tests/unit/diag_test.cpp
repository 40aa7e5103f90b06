// Messages: the formatter against texts that a translator got wrong, language
// libraries against damaged files, and the limits.

#include <string>

#include "../check.h"
#include "diag/fatal.h"
#include "diag/json_text.h"
#include "diag/messages.h"
#include "diag/report.h"
#include "diag/position.h"
#include "memory/memory.h"
#include "options/option_image.h"
#include "diag/warnings.h"
#include "platform/files.h"
#include "platform/string_table.h"

namespace {

std::string formatted;

void collect(const char* piece, size_t length) {
  formatted.append(piece, length);
}

// A text with its arguments put in.
std::string format(const char* text, DiagArg first = {}, DiagArg second = {}) {
  const DiagArg arguments[] = {first, second};
  formatted.clear();
  formatMessage(text, arguments, 2, collect);
  return formatted;
}

std::string textOf(int id, size_t size = messageTextLimit) {
  std::vector<char> buffer(size);
  return loadMessageInto(size, buffer.data(), id);
}

// Identifiers and built-in texts.
const std::map<int, std::string> builtIn = {
#define MESSAGE(id, name, text) {id, text},
#include "diag/messages.def"
#undef MESSAGE
};

TEST(FormatMessage, PutsArgumentsIntoTheirPlaces) {
  EXPECT_EQ(format("'%s' (0x%x)", "ab", 255), "'ab' (0xff)");
  EXPECT_EQ(format("%d %ld", -7, 4000000000u), "-7 4000000000");
  EXPECT_EQ(format("%x", -1), "ffffffff");
  const std::string longName(100000, 'n');
  EXPECT_EQ(format("<%s>", longName.c_str()), "<" + longName + ">");
  EXPECT_EQ(format("%s", "%s%n%d"), "%s%n%d");
}

TEST(FormatMessage, SurvivesWrongPlaceholders) {
  EXPECT_EQ(format("%d %s", "text", 12), "text 12");
  EXPECT_EQ(format("%s %s %s", "a"), "a %s %s");
  EXPECT_EQ(format("%s %s %s %d", "a", "b"), "a b %s %d");
  EXPECT_EQ(format("none", "a", "b"), "none");
  EXPECT_EQ(format("100%% %q %n %5d %-*s %l %lx %", "a"), "100% %q %n %5d %-*s %l %lx %");
  EXPECT_EQ(format("%%s %s", "a"), "%s a");
  EXPECT_EQ(format("%s", static_cast<const char*>(nullptr)), "");
  EXPECT_EQ(format(""), "");
}

// A library file in force for one test.
class Library : public testing::Test {
 protected:
  void TearDown() override { useBuiltInMessages(); }

  bool use(const std::string& text) {
    const std::filesystem::path path = scratch_.path() / "vsp32.XYZ";
    writeFile(path, text);
    return useFile(path);
  }
  bool useFile(const std::filesystem::path& path) {
    useBuiltInMessages();
    return openStringLibrary(path.c_str());
  }

  ScratchDirectory scratch_;
};

TEST_F(Library, ReplacesAllTexts) {
  ASSERT_TRUE(
      use("\xEF\xBB\xBF# head\r\n4096 ja\r4097 a\\sb\\n\\\\n\\q\\\n  4098 x\n4133   two \n4143\n4144 Ende"));
  EXPECT_EQ(textOf(textTrue), "ja");
  EXPECT_EQ(textOf(textFalse), "a b\n\\n\\q\\");
  EXPECT_EQ(textOf(textBannerName), "  two ");
  EXPECT_EQ(textOf(textError), "");
  EXPECT_EQ(textOf(textFatal), "Ende");
  // An indented line is a comment, and what is missing is not taken from the program.
  EXPECT_EQ(textOf(textCommandLine), "");
  EXPECT_EQ(textOf(msgOutOfMemory), "");
  ASSERT_TRUE(
      use("\xEF\xBB\xBF"
          "4096 oui"));
  EXPECT_EQ(textOf(textTrue), "oui");
  useBuiltInMessages();
  EXPECT_EQ(textOf(textTrue), "true");
}

TEST_F(Library, RefusesWhatIsNone) {
  EXPECT_FALSE(useFile(scratch_.path() / "missing"));
  EXPECT_FALSE(useFile(scratch_.path()));
  EXPECT_FALSE(use(""));
  EXPECT_FALSE(
      use("\x7F"
          "ELF no text of ours\n1 an identifier that nobody has\n"));
  EXPECT_FALSE(use(std::string(2 << 20, '4')));
  EXPECT_EQ(textOf(textTrue), "true");
}

TEST_F(Library, SurvivesDamage) {
  ASSERT_TRUE(use("4096 first\n4096 second\n" + std::string(5000, '9') + " x\n4097 " +
                  std::string(70000, 'y') + "\n4098x\n69634 wraps\n9 F1008 a" + std::string(1, '\0') +
                  "b\n4099 end\\\x1A"
                  "4110 behind\n"));
  EXPECT_EQ(textOf(textTrue), "first");
  EXPECT_EQ(textOf(textFalse), std::string(messageTextLimit - 1, 'y'));
  EXPECT_EQ(textOf(textFalse, 8), "yyyyyyy");
  EXPECT_EQ(textOf(textCommandLine), "");
  EXPECT_EQ(textOf(msgOutOfMemory), "F1008 a");
  EXPECT_EQ(textOf(textConfigurationFile), "end\\");
  EXPECT_EQ(textOf(textArrayBounds), "");
}

// A library of exactly one page leaves no byte after its last text.
TEST_F(Library, FillsItsPagesToTheLastByte) {
  for (const size_t size : {4095u, 4096u, 4097u}) {
    ASSERT_TRUE(use("4096 " + std::string(size - 5, 'z')));
    EXPECT_EQ(textOf(textTrue, size), std::string(std::min(size - 5, messageTextLimit - 1), 'z'));
  }
}

// The placeholders of a text, in their order.
std::string placeholders(const std::string& text) {
  std::string found;
  for (size_t i = 0; i + 1 < text.size(); ++i)
    if (text[i] == '%') found += text[i + 1];
  return found;
}

// A language that comes with the program must have every text, with its code and
// its placeholders.
TEST_F(Library, GermanTextsAreComplete) {
  std::map<int, std::string> english;
  for (const auto& [id, text] : builtIn) english[id] = textOf(id);
  ASSERT_TRUE(useFile(std::filesystem::path(VSP_SOURCE_DIR) / "languages/vsp32.DEU"));
  for (const auto& [id, text] : english) {
    const std::string german = textOf(id);
    EXPECT_FALSE(german.empty()) << id;
    EXPECT_EQ(placeholders(german), placeholders(text)) << id;
    EXPECT_EQ(german.back() == '\n', text.back() == '\n') << id;
    EXPECT_EQ(german.back() == ' ', text.back() == ' ') << id;
    if (id < 4096) {
      EXPECT_EQ(german.substr(0, 6), text.substr(0, 6)) << id;
    }
  }
}

// A library stands next to the program, whose name has no extension here.
TEST_F(Library, IsFoundByTheLanguageOfTheSurroundings) {
  const std::filesystem::path program = scratch_.path() / "bin" / "vsp32";
  std::filesystem::create_directories(program.parent_path());
  std::filesystem::copy_file(VSP_PROGRAM, program);
  RunSetup setup;
  setup.directory = scratch_.path();
  setup.program = program.string();
  setup.arguments = {"-q"};
  setup.environment["LC_ALL"] = "de_DE.UTF-8";
  EXPECT_EQ(run(setup).out, "Error E2266: No file names given\n");
  writeFile(program.parent_path() / "vsp32.de", "281 E2266 Zwei\n4143 Fehler\n");
  EXPECT_EQ(run(setup).out, "Fehler E2266: Zwei\n");
  writeFile(program.parent_path() / "vsp32.DEU", "281 E2266 Drei %s %d %\n4143 Fehler\n");
  EXPECT_EQ(run(setup).out, "Fehler E2266: Drei %s %d %\n");
  setup.environment["LC_ALL"] = "C";
  EXPECT_EQ(run(setup).out, "Error E2266: No file names given\n");
}

// Reporting as in a unit: a position, a level to jump to, fresh counters.
class Report : public testing::Test {
 protected:
  void SetUp() override {
    kept_ = messageLimits;
    resetCounters();
    resetWarnings();
    loadWarnings();
    useBuiltInMessages();
    currentFileName = "a.c";
    messageLine = 12;
  }
  void TearDown() override {
    messageLimits = kept_;
    currentFileName = nullptr;
    messageLine = 0;
    resetCounters();
  }

  // What `report` writes. A jump ends it, and shows as "(stop)".
  static std::string output(void (*report)()) {
    testing::internal::CaptureStdout();
    const bool stopped = jumps(report);
    flushConsole();
    return testing::internal::GetCapturedStdout() + (stopped ? "(stop)" : "");
  }

 private:
  static bool jumps(void (*report)()) {
    return !runProtected([](void* argument) { (*static_cast<void (**)()>(argument))(); }, &report);
  }

  MessageLimits kept_;
};

TEST_F(Report, LineNamesSeverityCodeAndPlace) {
  EXPECT_EQ(output([] { reportError(msgUnknownDirective, "foo"); }),
            "Error E2048 a.c 12: Unknown preprocessor directive: 'foo'\n");
  EXPECT_EQ(output([] { reportWarning(warnRedefinition, "X"); }),
            "Warning W8017 a.c 12: Redefinition of 'X' is not identical\n");
  EXPECT_EQ(output([] { reportFatal(msgInternalError, "at 0x1"); }),
            "Fatal F1004 a.c 12: Internal compiler error at 0x1\n");
  EXPECT_EQ(errorCount, 1u);
  EXPECT_EQ(messageCount, 2u);
  currentFileName = nullptr;
  messageLine = 0;
  EXPECT_EQ(output([] { reportError(msgNoFileNames); }), "Error E2266: No file names given\n");
}

TEST_F(Report, FatalErrorSilencesTheRest) {
  EXPECT_EQ(output([] { reportFatal(msgIncludeTooDeep); }),
            "Fatal F1005 a.c 12: Include files nested too deep\n(stop)");
  EXPECT_EQ(output([] {
              reportFatal(msgOutOfMemory);
              reportError(msgNoFileNames);
              reportWarning(warnNoEffect);
            }),
            "");
  EXPECT_EQ(errorCount, 1u);
  resetCounters();
  EXPECT_EQ(output([] { reportFatal(msgCannotOpenInput, "b"); }),
            "Error F1009 a.c 12: Unable to open input file 'b'\n(stop)");
}

// The message limit counts all messages at an error, and only warnings at a warning.
TEST_F(Report, LimitsStopTheUnit) {
  const std::string error = "Error E2188 a.c 12: Expression syntax\n";
  const std::string warning = "Warning W8019 a.c 12: Code has no effect\n";
  const std::string stop = "Error E2228 a.c 12: Too many error or warning messages\n(stop)";
  const auto errors = [] {
    for (int i = 0; i < 4; ++i) reportError(msgExpressionSyntax);
  };
  const auto mixed = [] {
    for (int i = 0; i < 2; ++i) reportError(msgExpressionSyntax);
    for (int i = 0; i < 3; ++i) reportWarning(warnNoEffect);
  };
  const auto hidden = [] {
    for (int i = 0; i < 4; ++i) reportWarning(warnPrecedence);
  };
  messageLimits.errors = 2;
  EXPECT_EQ(output(errors), error + error + stop);
  EXPECT_EQ(errorCount, 3u);
  resetCounters();
  messageLimits.errors = 0;
  messageLimits.warnings = 3;
  EXPECT_EQ(output(errors), error + error + error + stop);
  resetCounters();
  EXPECT_EQ(output(mixed), error + error + warning + warning + warning + stop);
  resetCounters();
  EXPECT_EQ(output(hidden), "");
  messageLimits.warnings = 0;
  EXPECT_EQ(output(errors), error + error + error + error);
}

// --- JSON ---

// What one of the routines of json_text appends.
std::string json(void (*append)(TextBuffer&, const char*), const std::string& text) {
  TextBuffer buffer = {};
  append(buffer, text.c_str());
  const std::string result(buffer.data, buffer.length);
  emptyBuffer(buffer);
  return result;
}

TEST(JsonText, IsValidUtf8) {
  EXPECT_EQ("\"a\\\"\\\\\\n\\t\\u0001\x7F\"", json(appendJsonString, "a\"\\\n\t\x01\x7F"));
  // The first and the last character of each length, and what lies just outside.
  for (const char* const whole : {"\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80",
                                  "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"})
    EXPECT_EQ("\"" + std::string(whole) + "\"", json(appendJsonString, whole));
  for (const char* const broken : {"\x80", "\xC1\x80", "\xE0\x9F\x80", "\xED\xA0\x80", "\xF0\x8F\x80\x80",
                                   "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xC2", "\xE2\x82", "\xFF"}) {
    std::string each;
    for (const char* c = broken; *c != 0; c++) {
      each += static_cast<char>(0xC0 | Byte(*c) >> 6);
      each += static_cast<char>(0x80 | (*c & 0x3F));
    }
    EXPECT_EQ("\"" + each + "\"", json(appendJsonString, broken)) << each;
  }
}

TEST(JsonText, NamesFilesByUris) {
  EXPECT_EQ("\"a%20b/..%3A%25/%C3%A4-._~%0A\"", json(appendJsonUri, "a b\\..:%/\xC3\xA4-._~\n"));
  EXPECT_EQ("\"file:///C:/x/y.h\"", json(appendJsonUri, "C:\\x\\y.h"));
  EXPECT_EQ("\"C%3Ay.h\"", json(appendJsonUri, "C:y.h"));
  EXPECT_EQ("\"file:///r/y.h\"", json(appendJsonUri, "/r/y.h"));
  EXPECT_EQ("\"file://host/y.h\"", json(appendJsonUri, "\\\\host\\y.h"));
}

}  // namespace
