// The Windows program under Wine, where a case can't show it: what stands next to the program, a full
// stack, deep nesting, and the break signal. scripts/test-windows.sh runs these tests; the cases and the
// units of the platform layer it runs by other programs.
//
// VSP_PROGRAM starts the program, VSP_WINDOWS_BUILD is the directory with its files.

#include <sys/stat.h>

#include <chrono>
#include <thread>

#include "check.h"

namespace {

using Path = std::filesystem::path;

class WindowsProgram : public testing::Test {
 protected:
  WindowsProgram() : bin_(scratch_.path() / "bin"), work_(scratch_.path() / "work") {
    std::filesystem::create_directories(bin_);
    std::filesystem::create_directories(work_);
    put("vsp32.exe", "vsp32.exe");
    setup_.directory = work_;
    setup_.arguments = {"-q", "-P-", "a.c"};
    setup_.environment["VSP_EXE"] = (bin_ / "vsp32.exe").string();
  }

  // Puts a file of the build next to the program.
  void put(const std::string& name, const std::string& as) {
    const Path build = placeOf("VSP_WINDOWS_BUILD", "");
    std::filesystem::copy_file(build / name, bin_ / as, std::filesystem::copy_options::overwrite_existing);
  }

  void file(const std::string& name, const std::string& text = "") { writeFile(work_ / name, text); }
  std::string output(const std::string& name) { return readFile(work_ / name); }

  RunResult runOver(const std::string& text) {
    file("a.c", text);
    return run(setup_);
  }

  // A small file that must come out right after every failure.
  void writeNext() { file("next.c", "#define N(x) #x x\nN(right)\n"); }
  void expectNext() {
    EXPECT_EQ("/* next.c 1: */\r\n/* next.c 2: */\"right\" right\r\n/* next.c 3: */\r\n/* next.c 4: */",
              output("next.i"));
  }

  ScratchDirectory scratch_;
  Path bin_;
  Path work_;
  RunSetup setup_;
};

TEST_F(WindowsProgram, CallsTheComponent) {
  file("x.tlb");
  file("types.tlh", "struct Types;\n");
  setup_.environment["TLB_LOG"] = "log";
  setup_.environment["TLB_NAME"] = "types.tlh";
  const std::string source = "#import \"x.tlb\" no_namespace, rename(\"a\",\"b\")\n";
  for (const char* name : {"cdeclReader.dll", "stdcallReader.dll"}) {
    put(name, "TLBREADER.DLL");
    setup_.environment["TLB_RESULT"] = "0";
    EXPECT_EQ("", messagesOf(runOver(source).out));
    EXPECT_EQ("x.tlb|no_namespace , rename ( \"a\" , \"b\" ) |0\r\n", output("log"));
    EXPECT_NE(std::string::npos, output("a.i").find("struct Types;"));
    std::filesystem::remove(work_ / "log");
    setup_.environment["TLB_RESULT"] = "5";
    EXPECT_EQ("Error E2502 a.c 1: Error resolving #import: types.tlh\n", messagesOf(runOver(source).out));
    std::filesystem::remove(work_ / "log");
  }
  const std::string none = "Error E2503 a.c 1: Missing or incorrect version of TlbReader.dll\n";
  put("otherReader.dll", "TLBREADER.DLL");
  EXPECT_EQ(none, messagesOf(runOver(source).out));
  std::filesystem::remove(bin_ / "TLBREADER.DLL");
  EXPECT_EQ(none, messagesOf(runOver(source).out));
}

// The language of the session is English; a German library under its name shows that the library is used,
// with diagnostics in the character set of the program and the summary in that of the console.
TEST_F(WindowsProgram, TakesTextsFromALanguageLibrary) {
  const std::string german =
      "a.c:\nFehler E2209 a.c 1: Include-Datei 'none.h' kann nicht ge\xF6"
      "ffnet werden\n"
      "*** 1 Fehler beim Kompilieren ***\n";
  put("vsp32.DEU", "vsp32.DEU");
  EXPECT_EQ("Error E2209 a.c 1: Unable to open include file 'none.h'\n",
            messagesOf(runOver("#include \"none.h\"\n").out));
  put("vsp32.DEU", "vsp32.EN");
  EXPECT_EQ(german, runOver("#include \"none.h\"\n").out);
  file("../bin/vsp32.ENU", "no library");
  EXPECT_EQ(german, runOver("#include \"none.h\"\n").out);
  put("vsp32.DEU", "vsp32.ENU");
  setup_.arguments = {"a.c"};
  const std::string banner = runOver("#include \"none.h\"\n").out;
  EXPECT_EQ(0U, banner.find("Vestrel C++ Win32 Pr\x84prozessor 5.5 ")) << banner;
}

TEST_F(WindowsProgram, ReadsTheConfigurationBesideIt) {
  writeFile(bin_ / "vsc32.cfg", "-DA=beside\n");
  runOver("A\n");
  EXPECT_NE(std::string::npos, output("a.i").find("beside"));
  file("VSC32.CFG", "-DA=here\n");
  runOver("A\n");
  EXPECT_NE(std::string::npos, output("a.i").find("here"));
}

// Three files in a row use the stack up, and the next one is read as usual.
TEST_F(WindowsProgram, SurvivesAFullStack) {
  const std::string deep =
      "#if " + std::string(1000000, '(') + "1" + std::string(1000000, ')') + "\n#endif\n";
  for (const char* name : {"a.c", "b.c", "c.c"}) file(name, deep);
  writeNext();
  setup_.arguments = {"-q", "a.c", "b.c", "c.c", "next.c"};
  const RunResult result = run(setup_);
  EXPECT_EQ(
      "Fatal F1008 a.c 1: Out of memory\nFatal F1008 b.c 1: Out of memory\nFatal F1008 c.c 1: Out of "
      "memory\n",
      messagesOf(result.out));
  EXPECT_EQ(1, result.status);
  EXPECT_FALSE(std::filesystem::exists(work_ / "a.i"));
  expectNext();
}

// More files than the program has handles.
TEST_F(WindowsProgram, NestsDeeplyWithFewHandles) {
  const int count = 999;
  std::string expected;
  for (int i = 0; i < count; i++) {
    const std::string number = std::to_string(i);
    const std::string next = i + 1 < count ? "#include \"h" + std::to_string(i + 1) + ".h\"\n" : "";
    file("h" + number + ".h", "in" + number + "\n" + next + "out" + number + " __LINE__\n");
    expected += "in" + number + "\n";
  }
  for (int i = count - 1; i >= 0; i--)
    expected += "out" + std::to_string(i) + (i + 1 < count ? " 3\n" : " 2\n");
  const RunResult result = runOver("#include \"h0.h\"\n");
  EXPECT_EQ("", messagesOf(result.out));
  EXPECT_EQ(0, result.status);
  std::string left;
  for (std::string line : splitLines(output("a.i"))) {
    line.erase(line.find_last_not_of(" \r") + 1);
    if (line.starts_with("in") || line.starts_with("out")) left += line + "\n";
  }
  EXPECT_EQ(expected, left);
}

// The processes that run `program`, by its Windows name.
std::vector<pid_t> processesOf(const std::string& program) {
  std::vector<pid_t> found;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    const std::string line = readFile(entry.path() / "cmdline");
    if (line.substr(0, line.find('\0')).ends_with(program))
      found.push_back(std::stoi(entry.path().filename()));
  }
  return found;
}

// How many files a run has made in a directory that holds a.c, pipe.h and its two streams.
size_t writtenFiles(const Path& directory) {
  size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    const std::string name = entry.path().filename();
    if (name != "a.c" && name != "pipe.h" && name != ".stdout" && name != ".stderr") count++;
  }
  return count;
}

// Each unit has a process of its own, and what they tell comes in the order of the serial run.
TEST_F(WindowsProgram, UnitsSideBySide) {
  file("both.h", "#define BOTH 2\n");
  for (const char* name : {"u0.c", "u1.c", "u2.c", "u3.c", "u4.c"})
    file(name, "#include \"both.h\"\n" + std::string(name[1] == '2' ? "#bad\n" : "BOTH ") + name[1] + "\n");
  std::vector<std::string> results;
  for (const char* jobs : {"--jobs=1", "--jobs=3"}) {
    setup_.arguments = {"-q", "-P-", "--deps=all.d", jobs, "u0.c", "u1.c", "u2.c", "u3.c", "u4.c"};
    const RunResult result = run(setup_);
    EXPECT_EQ(1, result.status);
    EXPECT_NE(std::string::npos, result.out.find("Error E2048 u2.c 2: ")) << result.out;
    std::string all = result.out + result.err + output("all.d");
    for (const char* name : {"u0.i", "u1.i", "u3.i", "u4.i"}) {
      EXPECT_NE(std::string::npos, output(name).find("2 " + std::string(1, name[1]))) << name;
      all += output(name);
      std::filesystem::remove(work_ / name);
    }
    EXPECT_FALSE(std::filesystem::exists(work_ / "u2.i"));
    EXPECT_NE(std::string::npos, output("all.d").find("u4.i: \\\n  u4.c \\\n  both.h")) << output("all.d");
    std::filesystem::remove(work_ / "all.d");
    results.push_back(all);
  }
  EXPECT_EQ(results[0], results[1]);
}

TEST_F(WindowsProgram, LongSwitches) {
  file("h.h", "#define A 1\n#bad\n");
  file("a.c", "#include \"h.h\"\nA\n");
  setup_.arguments = {"-q",
                      "-Sk",
                      "--line-markers=gnu",
                      "--messages=gnu",
                      "--explain=A",
                      "--trace=t.json",
                      "--include-graph=g.dot",
                      "a.c"};
  const RunResult result = run(setup_);
  EXPECT_EQ(1, result.status);
  EXPECT_NE(std::string::npos, result.out.find("h.h:2: error: Unknown preprocessor directive: 'bad' [E2048]"))
      << result.out;
  EXPECT_NE(std::string::npos, result.err.find("a.c:2: A expands to 1 (from h.h:1)")) << result.err;
  EXPECT_NE(std::string::npos, output("a.i").find("# 2 \"a.c\" 2\r\n1\r\n")) << output("a.i");
  EXPECT_NE(std::string::npos, output("t.json").find("\"h.h\"")) << output("t.json");
  EXPECT_NE(std::string::npos, output("g.dot").find("\"a.c\" -> \"h.h\"")) << output("g.dot");
}

// The signal comes while the output is open and the program waits for the rest of a file: Wine hands a
// signal on only to a program that waits.
TEST_F(WindowsProgram, BreakLeavesNoOutput) {
  const std::string name = scratch_.path().filename().string() + "\\bin\\vsp32.exe";
  const Path pipe = work_ / "pipe.h";
  ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
  const int writer = open(pipe.c_str(), O_RDWR | O_CLOEXEC);
  size_t met = 0;
  setup_.inParent = [&](pid_t) {
    for (int tries = 0; tries < 200 && met == 0; tries++) {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      // Of the outputs of a run, only one that is complete has its own name for sure.
      if (writtenFiles(work_) == 0) continue;
      std::this_thread::sleep_for(std::chrono::milliseconds(200));
      for (const pid_t process : processesOf(name)) {
        kill(process, SIGINT);
        met++;
      }
    }
    // Without a signal the file ends here, and so does the program.
    if (met == 0) close(writer);
  };
  const RunResult result = runOver("int first;\n#include \"pipe.h\"\nint last;\n");
  EXPECT_EQ(1U, met);
  EXPECT_EQ(255, result.status);
  EXPECT_EQ("", messagesOf(result.out));
  EXPECT_EQ(0U, writtenFiles(work_));
  close(writer);
}

}  // namespace
