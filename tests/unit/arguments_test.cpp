// Response files and the configuration file: what their texts come to as
// arguments, and how faulty ones end the run.

#include <string>

#include "../check.h"
#include "diag/report.h"
#include "memory/memory.h"
#include "options/arguments.h"
#include "options/option_image.h"
#include "options/options.h"

namespace {

using namespace std::string_literals;

// Runs in a directory of its own, with the memory layer up.
class Arguments : public testing::Test {
 protected:
  void SetUp() override {
    memoryStart();
    before_ = std::filesystem::current_path();
    std::filesystem::current_path(scratch_.path());
  }
  void TearDown() override {
    std::filesystem::current_path(before_);
    optionImage = kept_;
    memoryStop();
  }

  // The arguments that a list of words comes to, each in brackets.
  static std::string expanded(std::vector<std::string> words) {
    std::vector<char*> vector;
    for (std::string& word : words) vector.push_back(word.data());
    char** argv = vector.data();
    int argc = int(vector.size());
    expandResponseFiles(argv, argc);
    std::string text;
    for (int i = 0; i < argc; ++i) text += "[" + std::string(argv[i]) + "]";
    return text;
  }

  // The arguments in a response file of this text.
  static std::string response(const std::string& text) {
    writeFile("r.rsp", text);
    return expanded({"@r.rsp"});
  }

  // A run of the program with this configuration file.
  RunResult runWithConfig(const std::string& text, const std::vector<std::string>& arguments) {
    writeFile("vsc32.cfg", text);
    RunSetup setup;
    setup.directory = scratch_.path();
    setup.arguments = arguments;
    return run(setup);
  }

  ScratchDirectory scratch_;
  std::filesystem::path before_;
  const OptionImage kept_ = optionImage;
};

TEST_F(Arguments, ResponseFilesTakeTheirPlace) {
  writeFile("1.rsp", "-A b.c");
  writeFile("2.rsp", " \n");
  EXPECT_EQ(expanded({"vsp32", "x"}), "[vsp32][x]");
  EXPECT_EQ(expanded({"vsp32", "@1.rsp", "x", "@2.rsp", "@1.rsp"}), "[vsp32][-A][b.c][x][-A][b.c]");
  EXPECT_EQ(expanded({"@2.rsp"}), "");
  // A response file doesn't name another.
  EXPECT_EQ(response("a @1.rsp"), "[a][@1.rsp]");
}

TEST_F(Arguments, ResponseTokens) {
  EXPECT_EQ(response("a \"b c\"d e"), "[a][b cd][e]");
  EXPECT_EQ(response("\v-Da;b\t;c d\r\n  ; \"x\n\fe\r\n"), "[-Da;b][e]");
  EXPECT_EQ(response("a\"b\"\"c d\"\"\"e"), "[abc de]");
  EXPECT_EQ(response("\"a b\rc\" \"d"), "[a b][c d]");
  EXPECT_EQ(response("a\x1A"
                     "b"),
            "[a]");
  EXPECT_EQ(response("\"a b\x1A c\""), "[a b]");
  EXPECT_EQ(response(";a\x1A\nb"), "");
}

// What would be counted and then not found must leave no hole in the vector.
TEST_F(Arguments, HostileResponseFiles) {
  EXPECT_EQ(response("a \";b\" c"), "[a][c]");
  EXPECT_EQ(response("a \"\" \"\""), "[a]");
  EXPECT_EQ(response("\";a\nb\" c"), "[b][c]");
  EXPECT_EQ(response("\" \t\""), "");
  EXPECT_EQ(response("a\0b \0\0c ;d\0e"s), "[a][b][c][e]");
  EXPECT_EQ(response("\""), "");
  const std::string longToken(300000, 'x');
  EXPECT_EQ(response(longToken + " y"), "[" + longToken + "][y]");
  for (const size_t size : {4095u, 4096u, 4097u})
    EXPECT_EQ(response(std::string(size, 'x')).size(), size + 2);
}

// The linker's name, which nothing else looks at, as a configuration file sets it.
TEST_F(Arguments, ConfigurationTokens) {
  const std::pair<std::string, std::string> cases[] = {
      {"-e\"c:\\my dir\"", "c:\\my dir"},
      {"-ex=\\\"y\\\"z", "x=\"y\"z"},
      {"; -ea\n  ;-eb\n-ec", "c"},
      {"/ea;b", "a;b"},
      {"-ea\x1A-eb", "a"},
      {"-ea\0-eb"s, "a"},
      {"-ea \0-eb"s, "a"},
      {"-ea\"b c\"d\"e\"", "ab cde"},
  };
  for (const auto& [text, name] : cases) {
    writeFile("x.cfg", text);
    char program[] = "vsp32", plus[] = "+x.cfg";
    char* argv[] = {program, plus, nullptr};
    optionBootstrap(argv, 2);
    EXPECT_STREQ(optionImage.stored.linkerName, name.c_str()) << text;
  }
}

TEST_F(Arguments, CommandLineOverridesTheConfigurationFile) {
  writeFile("vsc32.cfg", "-j7 -g7 -nconfig");
  writeFile("y.cfg", "-j9");
  char program[] = "vsp32", limit[] = "-j8", plus[] = "+no.cfg", last[] = "+y.cfg";
  char* argv[] = {program, limit, plus, last, nullptr};
  optionBootstrap(argv, 2);
  EXPECT_EQ(messageLimits.errors, 8);
  EXPECT_EQ(messageLimits.warnings, 7);
  EXPECT_STREQ(optionImage.outputDirectory, "config");
  // The last name counts, and only its file is read.
  char* other[] = {program, plus, last, nullptr};
  optionBootstrap(other, 3);
  EXPECT_EQ(messageLimits.errors, 9);
  EXPECT_EQ(messageLimits.warnings, 100);
}

TEST_F(Arguments, FaultyFilesEndTheRun) {
  const auto fails = [&](const std::string& config, const std::string& argument, const std::string& message) {
    const RunResult result = runWithConfig(config, {"-q", argument, "a.c"});
    EXPECT_EQ(result.status, 1) << argument;
    EXPECT_EQ(result.out, message) << argument;
  };
  const std::string refused = "Error E2075: Incorrect configuration file option: ";
  fails("", "@no.rsp", "Error E2194: Could not find file 'no.rsp'\n");
  fails("", "+no.cfg", "Error E2194: Could not find file 'no.cfg'\n");
  fails("", "@.", "Error E2194: Could not find file '.'\n");
  fails("-A b.c", "-A", refused + "b.c\n");
  fails("+x.cfg", "-A", refused + "+x.cfg\n");
  fails("\"-Y Z\"", "-A", refused + "-Y Z\n");
  fails("-e\"a\rb\" ", "-A", refused + "b \n");
  fails("-Y", "-j1", refused + "-Y\n");
  fails("", "-AX", "Error E2075: Incorrect command line option: -AX\n");
  fails("", "/jx",
        "Error E2074: Value after -g or -j should be between 0 and 255 inclusive\n"
        "Error E2075: Incorrect command line option: /jx\n");
  fails("-e" + std::string(267, 'a'), "-A", refused + "-e" + std::string(267, 'a') + "\n");
  fails("-e" + std::string(500, 'b'), "-A", refused + "-e" + std::string(267, 'b') + "\n");
}

// One byte less than the first that is refused.
TEST_F(Arguments, LongestTokenIsTaken) {
  writeFile("a.c", "");
  EXPECT_EQ(runWithConfig("-e" + std::string(266, 'a'), {"-q", "a.c"}).status, 0);
}

}  // namespace
