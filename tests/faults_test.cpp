// Runs the program where the host fails it: full disks, no descriptors, little memory, a small stack. Each
// run must end in the right message, leave no half-written output, and get the next file right.

#include <sys/resource.h>
#include <sys/stat.h>

#include "check.h"

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool sanitized = true;
#elif defined(__has_feature)
constexpr bool sanitized = __has_feature(address_sanitizer);
#else
constexpr bool sanitized = false;
#endif

void setLimit(decltype(RLIMIT_AS) resource, rlim_t value) {
  const rlimit limit = {value, value};
  if (setrlimit(resource, &limit) != 0) _exit(96);
}

// Text of many lines, each with its number.
std::string manyLines(int count) {
  std::string text;
  for (int i = 0; i < count; i++) text += "int line" + std::to_string(i) + " = __LINE__;\n";
  return text;
}

// A small file that must come out right after every failure.
void writeNext(const std::filesystem::path& directory) {
  writeFile(directory / "next.c", "#define N(x) #x x\nN(right)\n");
}
void expectNext(const std::filesystem::path& directory) {
  EXPECT_EQ("/* next.c 1: */\r\n/* next.c 2: */\"right\" right\r\n/* next.c 3: */\r\n/* next.c 4: */",
            readFile(directory / "next.i"));
}

// A write of a full buffer fails: the file goes, unless it is to be kept.
TEST(FullDisk, WholeBuffer) {
  for (const bool keep : {false, true}) {
    const ScratchDirectory scratch;
    writeFile(scratch.path() / "a.c", manyLines(2000));
    writeNext(scratch.path());
    RunSetup setup;
    setup.directory = scratch.path();
    setup.arguments = {keep ? "-Sk" : "-q", "a.c", "next.c"};
    setup.inChild = [] {
      signal(SIGXFSZ, SIG_IGN);
      setLimit(RLIMIT_FSIZE, 9000);
    };
    const RunResult result = run(setup);
    EXPECT_EQ(1, result.status);
    const std::string messages = messagesOf(result.out);
    EXPECT_TRUE(messages.starts_with("Error F1013 a.c ")) << messages;
    EXPECT_TRUE(messages.ends_with(": Error writing output file\n")) << messages;
    EXPECT_EQ(1U, splitLines(messages).size()) << messages;
    EXPECT_EQ(keep, std::filesystem::exists(scratch.path() / "a.i"));
    expectNext(scratch.path());
  }
}

// The last block alone fails, when the unit has no errors: the file goes even with -Sk.
TEST(FullDisk, LastBlock) {
  const ScratchDirectory scratch;
  writeFile(scratch.path() / "a.c", manyLines(20));
  writeNext(scratch.path());
  RunSetup setup;
  setup.directory = scratch.path();
  setup.arguments = {"-Sk", "a.c", "next.c"};
  setup.inChild = [] {
    signal(SIGXFSZ, SIG_IGN);
    setLimit(RLIMIT_FSIZE, 400);
  };
  const RunResult result = run(setup);
  EXPECT_EQ(1, result.status);
  EXPECT_EQ(1U, splitLines(messagesOf(result.out)).size()) << result.out;
  EXPECT_NE(std::string::npos, result.out.find("F1013")) << result.out;
  EXPECT_NE(std::string::npos, result.out.find("*** 1 errors in Compile ***")) << result.out;
  EXPECT_FALSE(std::filesystem::exists(scratch.path() / "a.i"));
  expectNext(scratch.path());
}

// Writes a chain of `count` headers, each with text before and after its include.
void writeChain(const std::filesystem::path& directory, int count) {
  writeFile(directory / "a.c", "#include \"h0.h\"\nlast __LINE__\n");
  for (int i = 0; i < count; i++) {
    std::string text = "in" + std::to_string(i) + "\n";
    if (i + 1 < count) text += "#include \"h" + std::to_string(i + 1) + ".h\"\n";
    // Enough text that the file's second block has to be read when the file is opened again.
    if (i % 100 == 0) text += std::string(20000, ' ') + "\n";
    text += "out" + std::to_string(i) + " __LINE__ __FILE__\n";
    writeFile(directory / ("h" + std::to_string(i) + ".h"), text);
  }
}

// Reading goes on in each outer file when its descriptor had to be given up for an inner one.
TEST(Descriptors, DeepNestingWithFewOfThem) {
  const int count = 999;
  const ScratchDirectory scratch;
  writeChain(scratch.path(), count);
  std::string expected;
  for (int i = 0; i < count; i++) expected += "in" + std::to_string(i) + " ";
  for (int i = count - 1; i >= 0; i--) {
    const std::string number = std::to_string(i);
    const int line = 2 + (i + 1 < count) + (i % 100 == 0);
    expected += "out" + number + " " + std::to_string(line) + " \"h" + number + ".h\" ";
  }
  expected += "last 2 ";
  for (const rlim_t limit : {rlim_t{20}, rlim_t{4096}}) {
    RunSetup setup;
    setup.directory = scratch.path();
    setup.arguments = {"-P-", "a.c"};
    setup.inChild = [limit] { setLimit(RLIMIT_NOFILE, limit); };
    const RunResult result = run(setup);
    EXPECT_EQ("", messagesOf(result.out));
    EXPECT_EQ(0, result.status);
    std::string left;
    for (std::string line : splitLines(readFile(scratch.path() / "a.i"))) {
      line.erase(line.find_last_not_of(" \r") + 1);
      line.erase(0, line.find_first_not_of(' '));
      if (!line.empty() && !line.starts_with("#line ")) left += line + " ";
    }
    EXPECT_EQ(expected, left) << "with " << limit << " descriptors";
  }
}

// Descriptors come back after each header, and are shared where headers nest.
TEST(Descriptors, HundredHeaders) {
  const int count = 100;
  for (const bool nested : {false, true}) {
    const ScratchDirectory scratch;
    std::string row, expected;
    if (nested) writeChain(scratch.path(), count);
    for (int i = 0; i < count; i++) {
      const std::string number = std::to_string(i);
      if (!nested) writeFile(scratch.path() / ("h" + number + ".h"), "in" + number + "\n");
      row += "#include \"h" + number + ".h\"\n";
      expected += "in" + number + "\n";
    }
    writeFile(scratch.path() / "a.c", nested ? "#include \"h0.h\"\n" : row);
    RunSetup setup;
    setup.directory = scratch.path();
    setup.arguments = {"-q", "-Sr", "a.c"};
    setup.inChild = [] { setLimit(RLIMIT_NOFILE, 40); };
    const RunResult result = run(setup);
    EXPECT_EQ("a.c:\n", result.out);
    EXPECT_EQ(0, result.status);
    std::string seen;
    for (std::string line : splitLines(readFile(scratch.path() / "a.i"))) {
      line.erase(line.find_last_not_of(" \r") + 1);
      line.erase(0, line.find_first_not_of(' '));
      if (line.starts_with("in")) seen += line + "\n";
    }
    EXPECT_EQ(expected, seen) << (nested ? "nested" : "in a row");
  }
}

// What has no place to go back to keeps its descriptor: a pipe that is given up would lose its text.
TEST(Descriptors, PipeIsNotGivenUp) {
  const ScratchDirectory scratch;
  writeChain(scratch.path(), 50);
  const std::string pipe = scratch.path() / "pipe.c";
  ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
  RunSetup setup;
  setup.directory = scratch.path();
  setup.arguments = {"-q", "-Sr", "pipe.c"};
  setup.inChild = [] {
    setLimit(RLIMIT_NOFILE, 20);
    alarm(20);
  };
  setup.inParent = [&](pid_t) { writeFile(pipe, "#include \"h0.h\"\n" + manyLines(1000) + "last\n"); };
  const RunResult result = run(setup);
  EXPECT_EQ("", messagesOf(result.out));
  EXPECT_EQ(0, result.status);
  EXPECT_TRUE(readFile(scratch.path() / "pipe.i").ends_with("= 1001;\r\nlast\r\n"));
}

// A converter of the host is made of files too, and needs a descriptor when all are in use.
TEST(Descriptors, ConverterGetsOne) {
  const ScratchDirectory scratch;
  writeChain(scratch.path(), 30);
  writeFile(scratch.path() / "h29.h", "#if L'\x82\xA0' == 0x3042\nconverted\n#endif\n");
  for (const rlim_t limit : {rlim_t{100}, rlim_t{20}}) {
    RunSetup setup;
    setup.directory = scratch.path();
    setup.arguments = {"-q", "-CP932", "a.c"};
    setup.inChild = [limit] { setLimit(RLIMIT_NOFILE, limit); };
    EXPECT_EQ(0, run(setup).status);
    EXPECT_NE(std::string::npos, readFile(scratch.path() / "a.i").find("converted")) << limit;
  }
}

// One file more is too deep, and the next source is read as usual.
TEST(Descriptors, NestingHasALimit) {
  const ScratchDirectory scratch;
  writeChain(scratch.path(), 1000);
  writeNext(scratch.path());
  RunSetup setup;
  setup.directory = scratch.path();
  setup.arguments = {"a.c", "next.c"};
  setup.inChild = [] { setLimit(RLIMIT_NOFILE, 20); };
  const RunResult result = run(setup);
  EXPECT_EQ("Fatal F1005 h998.h 2: Include files nested too deep\n", messagesOf(result.out));
  EXPECT_EQ(1, result.status);
  expectNext(scratch.path());
}

// Little memory: a run either works or says that it has none, and never leaves half an output.
TEST(Memory, RunsOutInOrder) {
  if (sanitized) GTEST_SKIP() << "the sanitizer needs more address space than any limit leaves";
  const ScratchDirectory scratch;
  std::string text;
  for (int i = 0; i < 20000; i++) {
    const std::string name = "macro_with_a_long_name_" + std::to_string(i);
    text += "#define " + name + "(a) " + std::string(200, 'x') + " a\n";
  }
  writeFile(scratch.path() / "a.c", text + "end\n");
  RunSetup setup;
  setup.directory = scratch.path();
  setup.arguments = {"-q", "a.c"};
  ASSERT_EQ(0, run(setup).status);
  const std::string whole = readFile(scratch.path() / "a.i");
  int worked = 0, exhausted = 0;
  for (rlim_t megabytes = 2; megabytes <= 4096; megabytes += megabytes / 2) {
    std::filesystem::remove(scratch.path() / "a.i");
    setup.inChild = [megabytes] { setLimit(RLIMIT_AS, megabytes << 20); };
    const RunResult result = run(setup);
    // The loader itself may find no room; that is not the program's run.
    if (result.status == 127 || result.status >= 1000) {
      EXPECT_LT(megabytes, 16U) << result.status << result.err;
      continue;
    }
    if (result.status == 0) {
      worked++;
      EXPECT_EQ(whole, readFile(scratch.path() / "a.i"));
    } else {
      exhausted++;
      EXPECT_EQ(1, result.status);
      EXPECT_NE(std::string::npos, messagesOf(result.out).find("F1008")) << result.out;
      EXPECT_FALSE(std::filesystem::exists(scratch.path() / "a.i"));
    }
  }
  EXPECT_GT(worked, 0);
  EXPECT_GT(exhausted, 0);
}

// What a unit has used serves the next one: twelve units of some megabytes run in room for a few.
TEST(Memory, OfAUnitIsGivenBack) {
  if (sanitized) GTEST_SKIP() << "the sanitizer needs more address space than any limit leaves";
  const ScratchDirectory scratch;
  std::string text;
  // Blocks of the pool, names and macros of the region.
  for (int i = 0; i < 200; i++) {
    text += "#line 1 \"" + std::string(15000, 'l') + std::to_string(i) + "\"\n";
    text += "#define " + std::string(200, 'n') + std::to_string(i) + " " + std::string(10000, 'x') + "\n";
  }
  // Chunks of the arena.
  std::string sum = "#if 0";
  for (int i = 0; i < 60000; i++) sum += "+1";
  writeFile(scratch.path() / "a.c", text + sum + "\nend\n#endif\n");
  RunSetup setup;
  setup.directory = scratch.path();
  setup.arguments = std::vector<std::string>(12, "a.c");
  setup.arguments.insert(setup.arguments.begin(), "-q");
  setup.inChild = [] { setLimit(RLIMIT_AS, rlim_t{88} << 20); };
  const RunResult result = run(setup);
  EXPECT_EQ("", messagesOf(result.out));
  EXPECT_EQ(0, result.status);
}

// Deep recursion of the expression reader and of macro arguments ends the file and no more.
TEST(Stack, DeepNesting) {
  const std::string deepExpression =
      "#if " + std::string(400000, '(') + "1" + std::string(400000, ')') + "\n#endif\nend\n";
  std::string deepCalls = "#define f(a) a\n";
  for (int i = 0; i < 30000; i++) deepCalls += "f(";
  for (const std::string& text : {deepExpression, deepCalls + "\n"}) {
    for (const rlim_t kilobytes : {rlim_t{512}, rlim_t{8192}}) {
      const ScratchDirectory scratch;
      writeFile(scratch.path() / "a.c", text);
      writeNext(scratch.path());
      RunSetup setup;
      setup.directory = scratch.path();
      setup.arguments = {"-q", "a.c", "next.c"};
      setup.inChild = [kilobytes] { setLimit(RLIMIT_STACK, kilobytes << 10); };
      const RunResult result = run(setup);
      EXPECT_EQ(1, result.status);
      EXPECT_NE("", messagesOf(result.out));
      EXPECT_FALSE(std::filesystem::exists(scratch.path() / "a.i"));
      expectNext(scratch.path());
    }
  }
  const ScratchDirectory scratch;
  writeFile(scratch.path() / "a.c", deepExpression);
  RunSetup setup;
  setup.directory = scratch.path();
  setup.arguments = {"-q", "a.c"};
  setup.inChild = [] { setLimit(RLIMIT_STACK, 512 << 10); };
  EXPECT_EQ("Fatal F1008 a.c 1: Out of memory\n", messagesOf(run(setup).out));
}

// A source that can't be read, a directory in place of a file, and standard output that is full.
TEST(Files, UnreadableOnes) {
  const ScratchDirectory scratch;
  writeNext(scratch.path());
  writeFile(scratch.path() / "a.c", "#include \"dir\"\n#include \"closed.h\"\n");
  std::filesystem::create_directories(scratch.path() / "dir");
  writeFile(scratch.path() / "closed.h", "closed\n");
  std::filesystem::permissions(scratch.path() / "closed.h", std::filesystem::perms::none);
  RunSetup setup;
  setup.directory = scratch.path();
  setup.arguments = {"-q", "a.c", "next.c"};
  const RunResult result = run(setup);
  std::string expected = "Error E2209 a.c 1: Unable to open include file 'dir'\n";
  // To the administrator every file is open.
  if (geteuid() != 0) expected += "Error E2209 a.c 2: Unable to open include file 'closed.h'\n";
  EXPECT_EQ(expected, messagesOf(result.out));
  EXPECT_EQ(1, result.status);
  expectNext(scratch.path());
}

// A file that opens and can't be read, of every kind: its part is not taken for the whole.
TEST(Files, FailedReads) {
  const std::string broken = "/proc/self/mem";
  const ScratchDirectory scratch;
  writeNext(scratch.path());
  writeFile(scratch.path() / "a.c", "one\n#include \"" + broken + "\"\ntwo\n");
  RunSetup setup;
  setup.directory = scratch.path();
  const auto messagesFor = [&](const std::vector<std::string>& arguments) {
    setup.arguments = arguments;
    const RunResult result = run(setup);
    EXPECT_EQ(1, result.status);
    return messagesOf(result.out);
  };
  const std::string text = "Unable to open input file '" + broken + "'\n";
  EXPECT_EQ("Error F1009 " + broken + ": " + text, messagesFor({"-q", "a.c", "next.c"}));
  EXPECT_FALSE(std::filesystem::exists(scratch.path() / "a.i"));
  expectNext(scratch.path());
  std::filesystem::create_symlink(broken, scratch.path() / "mem.c");
  EXPECT_EQ("Error F1009 mem.c: Unable to open input file 'mem.c'\n", messagesFor({"mem.c", "next.c"}));
  EXPECT_EQ("Error F1009: " + text, messagesFor({"@" + broken, "next.c"}));
  EXPECT_EQ("Error F1009: " + text, messagesFor({"+" + broken, "next.c"}));
}

// Text that a stream doesn't take is told on the other one.
TEST(FullDisk, StandardStreams) {
  const ScratchDirectory scratch;
  writeFile(scratch.path() / "a.c", "#include \"h.h\"\n");
  writeFile(scratch.path() / "h.h", "one\n");
  writeNext(scratch.path());
  RunSetup setup;
  setup.directory = scratch.path();
  setup.arguments = {"-q", "-Sg", "a.c", "next.c"};
  const auto runWithFull = [&](int stream) {
    setup.inChild = [stream] { dup2(open("/dev/full", O_WRONLY), stream); };
    return run(setup);
  };
  const RunResult guards = runWithFull(2);
  EXPECT_EQ("Error F1013 a.c 3: Error writing output file\n", messagesOf(guards.out));
  EXPECT_EQ(1, guards.status);
  EXPECT_FALSE(std::filesystem::exists(scratch.path() / "a.i"));
  expectNext(scratch.path());
  for (const char* output : {"-q", "-ocon"}) {
    setup.arguments = {output, "a.c"};
    const RunResult messages = runWithFull(1);
    EXPECT_EQ("Error F1013: Error writing output file\n", messages.err);
    EXPECT_EQ(1, messages.status);
  }
  // A file must not get the number of a stream that was closed: with standard input closed as well, that
  // would be the output.
  writeFile(scratch.path() / "b.c", "#include \"h.h\"\n#define A\n#define A 1\n");
  for (const int stream : {1, 2}) {
    setup.arguments = {"-q", stream == 1 ? "-P-" : "-Sg", "b.c"};
    setup.inChild = [stream] {
      close(0);
      close(stream);
    };
    const RunResult result = run(setup);
    EXPECT_NE(std::string::npos, (result.out + result.err).find("Error F1013")) << "stream " << stream;
    EXPECT_EQ(1, result.status);
    const std::string output = readFile(scratch.path() / "b.i");
    EXPECT_EQ(std::string::npos, output.find("Warning")) << output;
  }
}

}  // namespace
