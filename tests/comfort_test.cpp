// The long switches as their users meet them: at a terminal, in a build with make or ninja, in front of
// another compiler, with many files at a time.

#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <termios.h>

#include <chrono>
#include <thread>

#include "check.h"

namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

using Comfort = ScratchTest;

// A terminal, to which a run's error stream, or both of its streams, can be led.
class Terminal {
 public:
  Terminal() : handle_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    grantpt(handle_);
    unlockpt(handle_);
    const winsize size = {24, 60, 0, 0};
    ioctl(handle_, TIOCSWINSZ, &size);
    other_ = open(ptsname(handle_), O_RDWR | O_NOCTTY | O_CLOEXEC);
  }
  ~Terminal() {
    close(handle_);
    close(other_);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  // For RunSetup::inChild.
  std::function<void()> lead(bool both) const {
    return [this, both] {
      dup2(other_, 2);
      if (both) dup2(other_, 1);
    };
  }

  // What has been written to it.
  std::string shown() const {
    std::string text;
    char block[4096];
    fcntl(handle_, F_SETFL, O_NONBLOCK);
    for (ssize_t count; (count = read(handle_, block, sizeof block)) > 0;) text.append(block, size_t(count));
    return text;
  }

 private:
  int handle_;
  int other_;
};

// --- The switches themselves ---

TEST_F(Comfort, HelpAndVersionStandAlone) {
  setup_.arguments = {};
  const std::string screen = run(setup_).out;
  setup_.arguments = {"--help"};
  const RunResult help = run(setup_);
  EXPECT_EQ(0, help.status);
  EXPECT_TRUE(help.out.starts_with(screen)) << help.out;
  for (const char* const form : {"  --help  ", "  --deps=FILE  ", "  --jobs=N  ", "  --stdin=NAME  "})
    EXPECT_NE(std::string::npos, help.out.find(form, screen.size())) << form;
  // Nothing else is done, and the banner doesn't stand above the version.
  file("a.c", "$\n");
  file("list", "--version\n");
  for (const Words& words : {Words{"--version", "a.c"}, Words{"-q", "a.c", "@list"}}) {
    setup_.arguments = words;
    const RunResult version = run(setup_);
    EXPECT_EQ(0, version.status);
    EXPECT_TRUE(version.out.starts_with("vsp32 5.5\nBuilt by ")) << version.out;
  }
  EXPECT_FALSE(fs::exists(in("a.i")));
}

TEST_F(Comfort, ValuesAreChecked) {
  file("a.c", "int a;\n");
  for (const std::string bad :
       {"--help=1", "--deps", "--deps=", "--jobs", "--jobs=x", "--jobs=-1", "--jobs=1x", "--jobs=257",
        "--line-markers=c", "--messages=sarif:", "--depsfile=a"}) {
    const RunResult result = runWith({bad, "a.c"});
    EXPECT_EQ(1, result.status) << bad;
    EXPECT_EQ("Error E2075: Incorrect command line option: " + bad + "\n", result.out);
  }
  // After a file name an unknown switch is passed over, as all are; a known one counts there too.
  EXPECT_EQ("a.c:\n", runWith({"a.c", "--depsfile=a"}).out);
  EXPECT_EQ("a.c:\nError E2075: Incorrect command line option: --jobs=x\n",
            "a.c:\n" + runWith({"a.c", "--jobs=x"}).out);
  EXPECT_EQ(0, runWith({"a.c", "--deps=d"}).status);
  EXPECT_EQ("a.i: \\\n  a.c\n", text("d"));
}

TEST_F(Comfort, HintsAtATerminalAlone) {
  file("a.c", "int a;\n");
  const std::vector<std::pair<Words, std::string>> cases = {
      {{"a.c"}, ""},
      {{"-n", "a.c"}, ""},
      {{"-zz", "a.c"}, "Hint: --help shows all switches\r\n"},
      {{"--deps", "a.c"}, "Hint: the value of --deps stands after an equals sign: --deps=\r\n"},
      {{"-o", "out.i", "a.c"}, "Hint: -o has no value; it is written in the same word: -oout.i\r\n"},
      {{"-I", "inc", "a.c"}, "Hint: -I has no value; it is written in the same word: -Iinc\r\n"},
      {{"a.c", "--deps=d", "-DX", "-DY"},
       "Hint: -DX is passed over: switches stand in front of the first file name\r\n"}};
  for (const auto& [words, hint] : cases) {
    const Terminal terminal;
    const RunResult plain = runWith(words);
    EXPECT_EQ("", plain.err);
    setup_.inChild = terminal.lead(false);
    const RunResult watched = runWith(words);
    setup_.inChild = nullptr;
    EXPECT_EQ(hint, terminal.shown());
    EXPECT_EQ(plain.out, watched.out);
    EXPECT_EQ(plain.status, watched.status);
  }
}

// --- Dependencies ---

// Names with all that the two build programs read in a way of their own.
const Words oddHeaders = {"sub/b.h", "in c/c d.h", "x$y#z.h", "ab:r.h"};

class Deps : public Comfort {
 protected:
  Deps() {
    for (const std::string& name : oddHeaders) file(name, "int x;\n");
    file("a.c",
         "#include \"Sub\\B.h\"\n#include <c d.h>\n#include \"x$y#z.h\"\n#include \"./sub/b.h\"\n#include "
         "\"ab:r.h\"\n");
  }

  // Checks that the build program makes the output once, and again whenever a file has changed.
  void expectRebuilds(const std::string& command, const std::string& idle) const {
    EXPECT_EQ(0, shell(command).status) << shell(command).text;
    EXPECT_NE(std::string::npos, shell(command).text.find(idle));
    for (const std::string& name : oddHeaders) {
      fs::last_write_time(in(name), fs::file_time_type::clock::now() + std::chrono::seconds(1));
      EXPECT_EQ(std::string::npos, shell(command).text.find(idle)) << name;
      // As the clock would have gone on.
      fs::last_write_time(in(name), fs::file_time_type::clock::now() - std::chrono::seconds(9));
      EXPECT_EQ(std::string::npos, shell(command).text.find("rror")) << name;
    }
    // With a rule for each header the end of one is no fault.
    file("a.c", "int a;\n");
    fs::remove(in("ab:r.h"));
    EXPECT_EQ(0, shell(command).status) << shell(command).text;
  }
};

TEST_F(Deps, RulesNameEachFileOnceAsTheHostSpellsIt) {
  const std::string files = " \\\n  a.c \\\n  sub/b.h \\\n  in\\ c/c\\ d.h \\\n  x$$y\\#z.h \\\n  ab\\:r.h\n";
  ASSERT_EQ(0, runWith({"--deps=d", "-Iin c", "a.c"}).status);
  EXPECT_EQ("a.i:" + files, text("d"));
  // A link keeps its name, whatever it leads to.
  fs::create_symlink("other.x", in("named.x"));
  runWith({"--deps=d", "-Iin c", "-onamed.x", "a.c"});
  EXPECT_EQ("named.x:" + files, text("d"));
  // The console has no name; that of the file that would be there stands for it, with its directory as it is.
  fs::create_directory(in("OuT"));
  runWith({"--deps=d", "-Iin c", "-nout", "-ocon", "a.c"});
  EXPECT_EQ("OuT/a.i:" + files, text("d"));
  runWith({"--deps=d", "-Iin c", "--deps-target=x\\ y", "--deps-phony", "a.c"});
  EXPECT_EQ("x\\\\\\ y:" + files + "sub/b.h:\nin\\ c/c\\ d.h:\nx$$y\\#z.h:\nab\\:r.h:\n", text("d"));
}

TEST_F(Deps, OnlyWhatSucceededIsWritten) {
  file("bad.c", "$\n");
  EXPECT_EQ(1, runWith({"--deps=d", "bad.c"}).status);
  EXPECT_FALSE(fs::exists(in("d")));
  EXPECT_EQ(1, runWith({"--deps=d", "-Iin c", "bad.c", "a.c"}).status);
  EXPECT_TRUE(text("d").starts_with("a.i:"));
  const std::string before = text("d");
  runWith({"--deps=d", "bad.c"});
  EXPECT_EQ(before, text("d"));
  // A file that any of the units has read isn't written over, whichever process has read it.
  file("b.c", "int b;\n");
  for (const char* const jobs : {"--jobs=1", "--jobs=2"}) {
    const RunResult result = runWith({jobs, "--deps=sub/b.h", "-Iin c", "a.c", "b.c"});
    EXPECT_EQ(1, result.status);
    EXPECT_NE(std::string::npos, result.out.find("F1002: Unable to create output file 'sub/b.h'"))
        << result.out;
    EXPECT_EQ("int x;\n", text("sub/b.h"));
  }
}

TEST_F(Deps, MakeReadsThem) {
  if (!hasTool("make")) GTEST_SKIP() << "make is not installed";
  file("Makefile",
       "a.i: a.c\n\t'" + setup_.program + "' -q --deps=d --deps-phony '-Iin c' a.c\n-include d\n");
  expectRebuilds("make", "up to date");
}

TEST_F(Deps, NinjaReadsThem) {
  if (!hasTool("ninja")) GTEST_SKIP() << "ninja is not installed";
  file("b.c", "#include \"sub/b.h\"\n");
  file("build.ninja", "rule pp\n  command = '" + setup_.program +
                          "' -q --deps=d --deps-phony '-Iin c' $in\n  depfile = d\n  deps = gcc\n"
                          "build a.i b.i: pp a.c b.c\n");
  expectRebuilds("ninja", "no work to do");
}

// --- Time and standard input ---

TEST_F(Comfort, TheEnvironmentSetsTheTimeOfABuild) {
  file("a.c", "__DATE__ __TIME__\n");
  setup_.environment["TZ"] = "XYZ-9";
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"0", "\"Jan  1 1970\" \"00:00:00\""},
      {"1700000000", "\"Nov 14 2023\" \"22:13:20\""},
      {"253402300799", "\"Dec 31 9999\" \"23:59:59\""}};
  for (const auto& [seconds, expected] : cases) {
    setup_.environment["SOURCE_DATE_EPOCH"] = seconds;
    runWith({"a.c"});
    EXPECT_NE(std::string::npos, text("a.i").find(expected)) << seconds << text("a.i");
  }
  for (const std::string wrong : {"", " 0", "0x", "-1", "253402300800", "99999999999999999999"}) {
    setup_.environment["SOURCE_DATE_EPOCH"] = wrong;
    runWith({"a.c"});
    EXPECT_EQ(std::string::npos, text("a.i").find("Jan  1 1")) << wrong << text("a.i");
    EXPECT_NE(std::string::npos, text("a.i").find("\" \"")) << wrong << text("a.i");
  }
}

TEST_F(Comfort, AUnitFromStandardInput) {
  file("src/h.h", "#define X here\n");
  file("text", "__FILE__ X\n$\n");
  file("good", "#include \"h.h\"\n__FILE__ X\n");
  file("a.c", "int a;\n");
  const auto from = [this](const std::string& name) {
    return [path = in(name)] { dup2(open(path.c_str(), O_RDONLY), 0); };
  };
  setup_.inChild = from("good");
  EXPECT_EQ("src/n.cpp:\na.c:\n", runWith({"a.c", "--stdin=src/n.cpp", "--deps=d"}).out);
  EXPECT_EQ("/* src/n.cpp 1: */\r\n", text("n.i").substr(0, 20));
  EXPECT_NE(std::string::npos, text("n.i").find("/* src/n.cpp 2: */\"src/n.cpp\" here")) << text("n.i");
  // No file has that name, so nothing can depend on it.
  EXPECT_EQ("n.i: \\\n  src/h.h\na.i: \\\n  a.c\n", text("d"));
  setup_.inChild = from("text");
  EXPECT_EQ("n.c:\nError E2206 n.c 2: Illegal character '$' (0x24)\n*** 1 errors in Compile ***\n",
            runWith({"--stdin=n.c"}).out);
  runWith({"-Sk", "--stdin=sub\\n.c", "--line-markers=gnu"});
  EXPECT_TRUE(text("n.i").starts_with("# 1 \"sub\\\\n.c\"\r\n"));
  // What is read there is no output either.
  file("n.i", "int n;\n");
  setup_.inChild = from("n.i");
  EXPECT_NE(std::string::npos,
            runWith({"--stdin=n.c"}).out.find("F1002 n.c: Unable to create output file 'n.i'"));
  EXPECT_EQ("int n;\n", text("n.i"));
  EXPECT_EQ(0, shell("printf 'int p;' | '" + setup_.program + "' -q -ocon -P- --stdin=p.c").status);
  EXPECT_EQ("#line 1 \"p.c\"\r\nint p;\r\n",
            shell("printf 'int p;' | '" + setup_.program + "' -q -ocon -P- --stdin=p.c").text);
}

// With few descriptors files are closed and opened again: standard input can't be, be it a file or not.
TEST_F(Comfort, StandardInputIsKeptOpen) {
  constexpr int depth = 40;
  std::string text1 = "#include \"h0.h\"\n";
  for (int i = 0; i < 30000; i++) text1 += "int x" + std::to_string(i) + ";\n";
  file("n.c", text1);
  for (int i = 0; i < depth; i++)
    file("h" + std::to_string(i) + ".h",
         i + 1 == depth ? "end\n" : "#include \"h" + std::to_string(i + 1) + ".h\"\n");
  ASSERT_EQ(0, runWith({"-ofrom-file.i", "n.c"}).status);
  fs::rename(in("n.c"), in("input"));
  setup_.inChild = [path = in("input")] {
    dup2(open(path.c_str(), O_RDONLY), 0);
    const rlimit limit = {16, 16};
    setrlimit(RLIMIT_NOFILE, &limit);
  };
  EXPECT_EQ(0, runWith({"-ofrom-input.i", "--stdin=n.c"}).status);
  EXPECT_TRUE(text("from-file.i") == text("from-input.i"));
}

// --- Markers for other tools ---

class GnuMarkers : public Comfort {
 protected:
  // Lines with "bad" in them are errors to any compiler; all other lines are none.
  void writeSources() const {
    file("a.c",
         "/* a\n comment */ int a;\n#include \"h.h\"\nbad1 x1;\n#define F(a, b) a + \\\n   b\nint x = "
         "F(1,\n\n  2); bad2 x2;\n"
         "#if 0\n\n\nx\n#endif\nbad3 x3;\nconst char* s = \"abc\\\ndef\\n\";\nbad4 x4;\n#include <s.h>\nbad5 "
         "x5;\n"
         "int q(void) {\n#include \"h2.h\"\n}\nbad6 x6;\n");
    file("h.h", "\n// comment\n\n/* more\n  lines */\nbad7 x7;\n#include \"sub.h\"\nbad8 x8;\n");
    file("sub.h", "int sub(void);\n");
    file("h2.h", "return bad9;\n");
    file("sys/s.h", "#include \"sub.h\"\n\nbad10 x10;");
  }

  // The places of the bad lines, as compilers name them.
  std::vector<std::string> badPlaces() const {
    std::vector<std::string> places;
    for (const char* const name : {"a.c", "h.h", "h2.h", "sys/s.h"}) {
      int number = 0;
      for (const std::string& line : splitLines(text(name))) {
        number++;
        if (line.find("bad") != std::string::npos)
          places.push_back(std::string(name) + ":" + std::to_string(number));
      }
    }
    std::sort(places.begin(), places.end());
    return places;
  }

  // The places that a compiler's errors name.
  std::vector<std::string> placesIn(const std::string& messages) const {
    std::vector<std::string> places;
    for (const std::string& line : splitLines(messages)) {
      const size_t word = line.find(" error: ");
      if (word == std::string::npos) continue;
      const size_t colon = line.find(':', line.find(':') + 1);
      places.push_back(line.substr(0, colon));
    }
    std::sort(places.begin(), places.end());
    return places;
  }
};

TEST_F(GnuMarkers, CompilersFindThePlaces) {
  writeSources();
  const std::vector<std::pair<std::string, std::string>> compilers = {
      {"gcc", "gcc -fpreprocessed -x cpp-output -fsyntax-only a.i"},
      {"clang", "clang -x cpp-output -fsyntax-only a.i"}};
  ASSERT_EQ(0, runWith({"-Isys", "--line-markers=gnu", "a.c"}).status);
  for (const auto& [name, command] : compilers) {
    if (!hasTool(name)) {
      std::cerr << name << " is not installed\n";
      continue;
    }
    const std::string messages = shell(command).text;
    EXPECT_EQ(badPlaces(), placesIn(messages)) << messages;
    EXPECT_NE(std::string::npos, messages.find("In file included from a.c:3:\nh.h:6:")) << messages;
  }
}

TEST_F(GnuMarkers, MarkersStandWhereTheCountChanges) {
  file("a.c", "one\n#include \"h.h\"\n#include <Sys\\s.h>\n#line 100 \"q\\\"\"\nfour \"a\\\nb\" five\nsix\n");
  file("h.h", "\n\nh\n");
  file("sys/s.h", "#include \"h.h\"\ns");
  const std::string expected =
      "# 1 \"a.c\"\r\none\r\n# 1 \"h.h\" 1\r\n\r\n\r\nh\r\n\r\n# 3 \"a.c\" 2\r\n# 1 \"sys/s.h\" 1 3\r\n"
      "# 1 \"h.h\" 1\r\n\r\n\r\nh\r\n\r\n# 2 \"sys/s.h\" 2 3\r\ns\r\n# 4 \"a.c\" 2\r\n"
      "# 100 \"q\\\\\\\"\"\r\nfour \"ab\" five\r\n# 102 \"q\\\\\\\"\"\r\nsix\r\n\r\n";
  runWith({"--line-markers=gnu", "a.c"});
  EXPECT_EQ(expected, text("a.i"));
  // They take the place of either form, and -Sr leaves out markers of any form.
  runWith({"--line-markers=gnu", "-P-", "a.c"});
  EXPECT_EQ(expected, text("a.i"));
  runWith({"-Sr", "a.c"});
  const std::string readable = text("a.i");
  runWith({"--line-markers=gnu", "-Sr", "-ob.i", "a.c"});
  EXPECT_EQ(readable.find("# "), std::string::npos);
  EXPECT_EQ(text("b.i").find("# "), std::string::npos);
  runWith({"--line-markers=family", "a.c"});
  EXPECT_TRUE(text("a.i").starts_with("/* a.c 1: */one"));
}

// --- Units side by side ---

class Jobs : public Comfort {
 protected:
  // A batch of units of all kinds, named in the order in which the pattern finds them.
  void writeUnits(int count) const {
    file("g.h", "#ifndef G\n#define G\n#endif\n");
    for (int i = 0; i < count; i++) {
      std::string unit = "#include \"g.h\"\n#include \"g.h\"\nint a" + std::to_string(i) + ";\n";
      if (i % 3 == 0) unit += "$\n";
      if (i % 5 == 0) unit += "#include \"missing.h\"\n";
      if (i % 7 == 0) unit += "#if\n";
      for (int line = 0; line < i * 7 % 90; line++) unit += "int b = __LINE__;\n";
      file("u" + std::to_string(1000 + i) + ".c", unit);
    }
  }

  // All that a run leaves behind, with its output files.
  std::string everything(const RunResult& result) const {
    std::string all = std::to_string(result.status) + "\n" + result.out + "\n---\n" + result.err + "\n---\n";
    for (const std::string& name : outputsIn(scratch_.path())) {
      all += name + ":\n" + text(name);
      fs::remove(in(name));
    }
    all += text("d");
    fs::remove(in("d"));
    return all;
  }

  // The job processes of a process, as soon as there are `count`.
  static std::vector<pid_t> childrenOf(pid_t parent, size_t count) {
    std::vector<pid_t> children;
    for (int i = 0; i < 2000 && children.size() < count; i++) {
      children.clear();
      std::ifstream list("/proc/" + std::to_string(parent) + "/task/" + std::to_string(parent) + "/children");
      for (pid_t child; list >> child;) children.push_back(child);
      usleep(5000);
    }
    return children;
  }

  // True for a process that has not ended, be it waited for or not.
  static bool isRunning(pid_t process) {
    const std::string state = readFile("/proc/" + std::to_string(process) + "/stat");
    return !state.empty() && state.find(") Z ") == std::string::npos;
  }

  // Waits until a file of an output that isn't finished is there.
  bool waitForTemporary() const {
    for (int i = 0; i < 2000; i++) {
      for (const auto& entry : fs::directory_iterator(scratch_.path()))
        if (entry.path().extension() == ".tmp") return true;
      usleep(5000);
    }
    return false;
  }

  // Writes a unit that begins its output and then waits for the writer of a pipe.
  void writeWaitingUnit() const {
    file("w.c", "int before;\n#include \"pipe.h\"\nint after;\n");
    ASSERT_EQ(0, mkfifo(in("pipe.h").c_str(), 0600));
  }
};

TEST_F(Jobs, NothingDiffersFromOneAfterTheOther) {
  writeUnits(60);
  file("fatal.c", "#include \"fatal.c\"\n");
  for (const char* const name : {"m1.c", "m2.c"}) file(name, "__MEMWARD__\n");
  const std::vector<Words> lines = {{"-Sg", "u*.c", "nix.c", "u1001.c", "--deps=d"},
                                    {"u1001.c", "fatal.c", "nix.c", "u1002.c"},
                                    {"-ocon", "u101?.c", "u1001.c", "u102*.c"},
                                    {"u*.c", "m1.c", "-vG", "m2.c", "u1001.c"},
                                    {"-o.stdout", "u1001.c", "u1002.c"},
                                    {"-oone.i", "u1001.c", "u1000.c", "u1002.c", "--deps=d"},
                                    {"-w", "-w!", "-Sk", "u1001.c", "u100*.c", "-vx", "u1002.c"},
                                    {"-jb", "u1001.c", "u1002.c", "u1000.c", "u1004.c"},
                                    {"u1001.c", "u1001.i", "*.i"}};
  for (const bool together : {false, true}) {
    setup_.inChild = [together] {
      if (together) dup2(1, 2);
    };
    for (Words words : lines) {
      words.insert(words.begin(), "--jobs=1");
      const std::string serial = everything(runWith(words));
      for (const char* const jobs : {"--jobs=2", "--jobs=7", "--jobs=0"}) {
        words[0] = jobs;
        EXPECT_EQ(serial, everything(runWith(words))) << words[1] << " " << words[2] << " " << jobs;
      }
    }
  }
}

TEST_F(Jobs, WithoutRoomForProcessesUnitsRunInThisOne) {
  writeUnits(12);
  const std::string serial = everything(runWith({"u*.c"}));
  // With so few descriptors there is none for what a process would print.
  setup_.inChild = [] {
    const rlimit limit = {5, 5};
    setrlimit(RLIMIT_NOFILE, &limit);
  };
  EXPECT_EQ(serial, everything(runWith({"--jobs=3", "u*.c"})));
}

TEST_F(Jobs, TheLastOfTwoOutputsOfOneNameWins) {
  writeUnits(3);
  writeWaitingUnit();
  setup_.inParent = [this](pid_t) {
    // The other unit would be done by then.
    ASSERT_TRUE(waitForTemporary());
    usleep(200000);
    close(open(in("pipe.h").c_str(), O_WRONLY | O_CLOEXEC));
  };
  EXPECT_EQ("w.c:\nu1001.c:\n", runWith({"--jobs=2", "-oone.i", "w.c", "u1001.c"}).out);
  EXPECT_TRUE(text("one.i").starts_with("/* u1001.c 1: */")) << text("one.i");
}

TEST_F(Jobs, ABrokenUnitHarmsNoOther) {
  constexpr int count = 40;
  for (int i = 0; i < count; i++) file("v" + std::to_string(1000 + i) + ".c", "int x;\n");
  writeWaitingUnit();
  setup_.inParent = [this](pid_t program) {
    // All others are done by then, and the one that runs waits for ever.
    ASSERT_TRUE(waitForTemporary());
    usleep(300000);
    for (const pid_t child : childrenOf(program, 1)) kill(child, SIGKILL);
  };
  // The first units make the batches larger, so that some are left of the one that breaks.
  const RunResult result = runWith({"--jobs=2", "v1000.c", "v101*.c", "v102*.c", "w.c", "v10*.c"});
  EXPECT_EQ(1, result.status);
  EXPECT_NE(
      std::string::npos,
      result.out.find("v1029.c:\nFatal F1004 w.c: Internal compiler error (killed by signal 9)\nv1000.c:\n"))
      << result.out;
  EXPECT_FALSE(fs::exists(in("w.i")));
  EXPECT_EQ(size_t{count}, outputsIn(scratch_.path()).size());
  EXPECT_EQ(21 + 1 + count, std::count(result.out.begin(), result.out.end(), '\n')) << result.out;
}

// A kill of the first process alone ends the others too.
TEST_F(Jobs, ABreakLeavesNothingHalf) {
  writeUnits(3);
  writeWaitingUnit();
  for (const int signal : {SIGTERM, SIGKILL}) {
    std::vector<pid_t> children;
    setup_.inParent = [&](pid_t program) {
      ASSERT_TRUE(waitForTemporary());
      children = childrenOf(program, 1);
      kill(program, signal);
    };
    const RunResult result = runWith({"--jobs=2", "u1001.c", "w.c", "u1002.c"});
    EXPECT_EQ(signal == SIGTERM ? 255 : 1000 + SIGKILL, result.status);
    EXPECT_FALSE(children.empty());
    for (const pid_t child : children) {
      // After a break they are gone before the first process is.
      for (int i = 0; signal == SIGKILL && i < 2000 && isRunning(child); i++) usleep(5000);
      EXPECT_TRUE(signal == SIGKILL ? !isRunning(child) : kill(child, 0) != 0) << "a process is left";
    }
    for (const auto& entry : fs::directory_iterator(scratch_.path()))
      EXPECT_NE(".tmp", entry.path().extension());
    EXPECT_FALSE(fs::exists(in("w.i")));
  }
}

// --- The line that tells how far it is ---

TEST_F(Jobs, ProgressIsShownOnATerminalOfItsOwn) {
  writeUnits(25);
  for (const char* const jobs : {"--jobs=1", "--jobs=2"}) {
    const Terminal terminal;
    setup_.inChild = terminal.lead(false);
    const RunResult watched = runWith({jobs, "u*.c", "-Dlate"});
    const std::string shown = terminal.shown();
    EXPECT_TRUE(shown.starts_with("[1/25] u1000.c\r              \r")) << shown;
    EXPECT_TRUE(
        shown.ends_with(" \rHint: -Dlate is passed over: switches stand in front of the first file name\r\n"))
        << shown;
    EXPECT_EQ(std::string::npos, watched.out.find('['));
  }
  // A few files are done at once, and lines of two kinds on one screen would be in each other's way.
  for (const bool both : {false, true}) {
    const Terminal terminal;
    setup_.inChild = terminal.lead(both);
    runWith({both ? "u*.c" : "u100*.c"});
    EXPECT_EQ(std::string::npos, terminal.shown().find('[')) << both;
  }
}

}  // namespace
