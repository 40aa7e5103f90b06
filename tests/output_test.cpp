// What a run leaves behind under the name of its output: all of it or nothing, whatever happens, and never
// in the place of a file that was read. And what a break leaves of the text that was printed.
//
// Most units here read a named pipe as their last header. Its writer decides when the unit goes on, so that
// a break, a kill or another process meets it in the middle of its output and not at a moment of luck.

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/user.h>

#include <cstddef>

#include "check.h"

namespace {

namespace fs = std::filesystem;

// More text than any buffer on the way holds.
constexpr int longCount = 4000;

std::string longText(int count = longCount) {
  std::string text;
  for (int i = 0; i < count; i++) text += "int line" + std::to_string(i) + " = __LINE__;\n";
  return text;
}

const std::string oldText = "an older output\n";

class Output : public ScratchTest {
 protected:
  Output() { setup_.arguments = {"-q", "a.c"}; }

  // Makes a.c a unit of much text that waits in the middle for the writer of pipe.h.
  void writeWaitingUnit() const {
    file("a.c", longText() + "#include \"pipe.h\"\nlast\n");
    ASSERT_EQ(0, mkfifo(in("pipe.h").c_str(), 0600));
  }

  // Waits until a unit reads pipe.h. Returns the writer's end, -1 if none ever does.
  int openPipe() const {
    for (int i = 0; i < 2000; i++) {
      const int writer = open(in("pipe.h").c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
      if (writer >= 0) return writer;
      usleep(5000);
    }
    ADD_FAILURE() << "no unit reads the pipe";
    return -1;
  }

  // Runs with the signal sent while the unit waits.
  RunResult runWithSignal(int signal) {
    setup_.inParent = [this, signal](pid_t child) {
      const int writer = openPipe();
      kill(child, signal);
      // An ignored signal must not be what ends the wait.
      usleep(20000);
      close(writer);
    };
    return run(setup_);
  }

  // All names below the scratch directory that a run may have left, sorted; links to nothing count.
  std::string names() const {
    std::vector<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(scratch_.path())) {
      const std::string name = entry.path().lexically_relative(scratch_.path()).generic_string();
      if (name.ends_with(".i") || name.ends_with(".tmp")) found.push_back(name);
    }
    std::sort(found.begin(), found.end());
    std::string list;
    for (const std::string& name : found) list += name + " ";
    return list;
  }
};

// The ways in which the name of an output may stand for a file, and what is left of them by a failure.
struct Way {
  const char* name;
  void (*prepare)(const fs::path& directory);
  const char* leftByFailure;
};

const Way ways[] = {
    {"nothing", [](const fs::path&) {}, ""},
    {"an older output", [](const fs::path& directory) { writeFile(directory / "a.i", oldText); }, ""},
    {"a link into another directory",
     [](const fs::path& directory) {
       writeFile(directory / "sub/t.i", oldText);
       fs::create_symlink("sub/t.i", directory / "a.i");
     },
     "a.i "},
    {"a link to nothing",
     [](const fs::path& directory) {
       fs::create_directory(directory / "sub");
       fs::create_symlink(directory / "sub/t.i", directory / "b.i");
       fs::create_symlink("b.i", directory / "a.i");
     },
     "a.i b.i "},
    {"a file with two names",
     [](const fs::path& directory) {
       writeFile(directory / "a.i", oldText);
       fs::create_hard_link(directory / "a.i", directory / "z.i");
     },
     "z.i "}};

class OutputWays : public Output, public testing::WithParamInterface<Way> {};

TEST_P(OutputWays, AnErrorOrABreakLeavesNothing) {
  const Way& way = GetParam();
  const auto expectNothing = [&](const char* what) {
    EXPECT_EQ(way.leftByFailure, names()) << what;
    EXPECT_EQ("", text("a.i")) << what;
    EXPECT_EQ("", text("z.i")) << what;
    for (const char* name : {"a.i", "b.i", "z.i", "sub"}) fs::remove_all(in(name));
  };
  way.prepare(scratch_.path());
  file("a.c", longText() + "#include \"none.h\"\n");
  EXPECT_EQ(1, run(setup_).status);
  expectNothing("after an error");

  writeWaitingUnit();
  way.prepare(scratch_.path());
  EXPECT_EQ(255, runWithSignal(SIGINT).status);
  expectNothing("after a break");
}

// The name stays what it was, and every name of the file has the new text, which is there at once.
TEST_P(OutputWays, TheTextArrivesWhole) {
  writeWaitingUnit();
  GetParam().prepare(scratch_.path());
  const std::string before = text("a.i");
  const bool link = fs::is_symlink(in("a.i"));
  std::string during;
  setup_.inParent = [&](pid_t) {
    const int writer = openPipe();
    during = text("a.i");
    close(writer);
  };
  EXPECT_EQ(0, run(setup_).status);
  EXPECT_EQ(before, during);
  const std::string whole = text("a.i");
  EXPECT_TRUE(whole.starts_with("/* a.c 1: */int line0 = 1;\r\n")) << whole.substr(0, 100);
  EXPECT_TRUE(whole.ends_with("/* a.c 4002: */last\r\n/* a.c 4003: */\r\n/* a.c 4004: */")) << whole.size();
  EXPECT_EQ(link, fs::is_symlink(in("a.i")));
  for (const char* name : {"sub/t.i", "z.i"}) {
    if (fs::exists(in(name))) {
      EXPECT_EQ(whole, text(name));
    }
  }
  EXPECT_EQ(std::string::npos, names().find("tmp")) << names();
}

// A kill can't be met. What had the name still has it.
TEST_P(OutputWays, AKillLeavesTheOldText) {
  writeWaitingUnit();
  GetParam().prepare(scratch_.path());
  const std::string before = text("a.i");
  EXPECT_EQ(1000 + SIGKILL, runWithSignal(SIGKILL).status);
  EXPECT_EQ(before, text("a.i"));
  // What is left next to it is in nobody's way.
  setup_.arguments = {"-q", "next.c"};
  setup_.inParent = nullptr;
  file("next.c", "next\n");
  EXPECT_EQ(0, run(setup_).status);
}

// The name of a test in the list of all tests.
std::string wayName(const testing::TestParamInfo<Way>& way) {
  std::string name = way.param.name;
  std::replace(name.begin(), name.end(), ' ', '_');
  return name;
}
INSTANTIATE_TEST_SUITE_P(Ways, OutputWays, testing::ValuesIn(ways), wayName);

// Two processes with one output: each writes its own, and the last one stays.
TEST_F(Output, TwoProcessesDoNotMix) {
  writeWaitingUnit();
  file("b.c", "int b;\n");
  setup_.arguments = {"-q", "-oa.i", "a.c"};
  setup_.inParent = [&](pid_t) {
    const int writer = openPipe();
    RunSetup second = setup_;
    second.directory = in("other");
    fs::create_directory(second.directory);
    second.arguments = {"-q", "-o../a.i", "../b.c"};
    second.inParent = nullptr;
    EXPECT_EQ(0, run(second).status);
    EXPECT_EQ("/* ../b.c 1: */int b;\r\n/* ../b.c 2: */\r\n/* ../b.c 3: */", text("a.i"));
    close(writer);
  };
  EXPECT_EQ(0, run(setup_).status);
  EXPECT_TRUE(text("a.i").starts_with("/* a.c 1: */int line0"));
  EXPECT_TRUE(text("a.i").ends_with("/* a.c 4004: */"));
  EXPECT_EQ("a.i ", names());

  // One that fails doesn't take the other's output with it.
  fs::remove(in("a.i"));
  setup_.inParent = [&](pid_t child) {
    const int writer = openPipe();
    file("a.i", "of another process\n");
    kill(child, SIGTERM);
    waitid(P_PID, id_t(child), nullptr, WEXITED | WNOWAIT);
    close(writer);
  };
  EXPECT_EQ(255, run(setup_).status);
  EXPECT_EQ("of another process\n", text("a.i"));
}

// A failed unit's output that is kept takes its name at the end as well.
TEST_F(Output, KeptOneIsWholeToo) {
  file("a.c", longText() + "#include \"none.h\"\nlast\n");
  file("a.i", oldText);
  setup_.arguments = {"-q", "-Sk", "a.c"};
  EXPECT_EQ(1, run(setup_).status);
  EXPECT_TRUE(text("a.i").ends_with("last\r\n/* a.c 4003: */\r\n/* a.c 4004: */"));
  EXPECT_EQ("a.i ", names());
}

// A name that became a directory in the meantime.
TEST_F(Output, NameIsGone) {
  writeWaitingUnit();
  setup_.inParent = [&](pid_t) {
    const int writer = openPipe();
    fs::create_directories(in("a.i/x"));
    close(writer);
  };
  const RunResult result = run(setup_);
  EXPECT_EQ(1, result.status);
  EXPECT_EQ("Fatal F1002 a.c 4004: Unable to create output file 'a.i'\n", messagesOf(result.out));
  EXPECT_EQ("a.i ", names());
}

// Closes what the test's own caller has left open, so that the numbers of descriptors are known.
void closeInherited() {
  if (close_range(3, ~0U, 0) != 0) _exit(96);
}

// Becomes a user without special rights, if this one has them.
void dropRights() {
  constexpr uid_t nobody = 65534;
  if (geteuid() == 0 && (setgid(nobody) != 0 || setuid(nobody) != 0)) _exit(96);
}

// Rights of a new file come from the mask; those of a replaced one stay, and so does its owner.
TEST_F(Output, Rights) {
  const auto modeOf = [&](const char* name) {
    struct stat status {};
    EXPECT_EQ(0, stat(in(name).c_str(), &status)) << name;
    return status.st_mode & 07777;
  };
  file("a.c", "int a;\n");
  setup_.inChild = [] { umask(027); };
  ASSERT_EQ(0, run(setup_).status);
  EXPECT_EQ(0640U, modeOf("a.i"));
  ASSERT_EQ(0, chmod(in("a.i").c_str(), 0606));
  ASSERT_EQ(0, run(setup_).status);
  EXPECT_EQ(0606U, modeOf("a.i"));
  if (geteuid() == 0) {
    ASSERT_EQ(0, chown(in("a.i").c_str(), 65534, 65534));
    file("a.i", oldText);
    ASSERT_EQ(0, run(setup_).status);
    struct stat status {};
    ASSERT_EQ(0, stat(in("a.i").c_str(), &status));
    EXPECT_EQ(65534U, status.st_uid);
    EXPECT_TRUE(text("a.i").starts_with("/* a.c 1: */int a;"));
  }
}

// In a directory that may not be written an existing output is, and its failure is an empty one; a file
// that may not be written is none.
TEST_F(Output, DirectoryThatMayNotBeWritten) {
  file("good.c", "int a;\n");
  file("bad.c", longText() + "#include \"none.h\"\n");
  file("closed/a.i", oldText);
  file("open/a.i", oldText);
  ASSERT_EQ(0, chmod(in("closed/a.i").c_str(), 0666));
  ASSERT_EQ(0, chmod(in("closed").c_str(), 0555));
  ASSERT_EQ(0, chmod(in("open/a.i").c_str(), 0444));
  ASSERT_EQ(0, chmod(in("open").c_str(), 0777));
  ASSERT_EQ(0, chmod(scratch_.path().c_str(), 0755));
  setup_.inChild = dropRights;
  setup_.arguments = {"-q", "-oclosed\\a.i", "good.c"};
  const int status = run(setup_).status;
  if (status == 97) GTEST_SKIP() << "the build directory is closed to other users";
  EXPECT_EQ(0, status);
  EXPECT_EQ("/* good.c 1: */int a;\r\n/* good.c 2: */\r\n/* good.c 3: */", text("closed/a.i"));
  setup_.arguments = {"-q", "-oclosed\\a.i", "bad.c"};
  EXPECT_EQ(1, run(setup_).status);
  EXPECT_EQ("", text("closed/a.i"));
  setup_.arguments = {"-q", "-oclosed\\new.i", "good.c"};
  EXPECT_EQ("Fatal F1002 good.c: Unable to create output file 'closed\\new.i'\n",
            messagesOf(run(setup_).out));
  setup_.arguments = {"-q", "-oopen\\a.i", "good.c"};
  EXPECT_EQ("Fatal F1002 good.c: Unable to create output file 'open\\a.i'\n", messagesOf(run(setup_).out));
  EXPECT_EQ(oldText, text("open/a.i"));
  EXPECT_EQ("closed/a.i open/a.i ", names());
  chmod(in("closed").c_str(), 0755);
}

// Standard output as the output, by a link or by its own name: the messages stay, in their order.
TEST_F(Output, OnStandardOutput) {
  file("a.c", "int a;\n#include \"none.h\"\n");
  file("b.c", "int b;\n");
  fs::create_symlink("/dev/stdout", in("link.i"));
  const std::string expected =
      "a.c:\nError E2209 a.c 2: Unable to open include file 'none.h'\n"
      "*** 1 errors in Compile ***\nb.c:\n/* b.c 1: */int b;\r\n/* b.c 2: */\r\n/* b.c 3: */";
  for (const char* name : {"-olink.i", "-o.stdout"}) {
    setup_.arguments = {"-q", name, "a.c", "b.c"};
    EXPECT_EQ(expected, run(setup_).out) << name;
  }
  EXPECT_EQ("link.i ", names());
  EXPECT_TRUE(fs::is_symlink(in("link.i")));
}

// A host that can't say what the output is: no text of the old one may stay after the new one.
TEST_F(Output, UnknownStatus) {
  file("a.c", "int a;\n");
  file("a.i", std::string(5000, 'x'));
  setup_.inChild = [] {
    closeInherited();
    // Fails each fstat of descriptor 4, which the output gets. The C library asks for it by one of two calls.
    sock_filter code[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_newfstatat, 1, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_fstat, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[0])),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, 4, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EIO),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program = {sizeof code / sizeof code[0], code};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
      _exit(96);
  };
  const RunResult result = run(setup_);
  if (result.status == 96) GTEST_SKIP() << "no system call filters here";
  EXPECT_EQ("Fatal F1002 a.c: Unable to create output file 'a.i'\n", messagesOf(result.out));
  EXPECT_EQ("a.i ", names());
}

// --- Files that were read ---

// A file that was read is never the output, whatever it served for and by whatever name it is called.
TEST_F(Output, NeverAFileThatWasRead) {
  const std::string headerText = "int header;\n";
  const std::string source = "#include \"d.h\"\n#include \"own.i\"\n";
  file("a.c", source);
  file("d.h", headerText);
  file("own.i", headerText);
  file("vsc32.cfg", "-DX=1\n");
  file("given.cfg", "-DX=1\n");
  file("words.rsp", "-DY=1\n");
  file(".config/vestrel/locales", "* = DEU\n");
  fs::create_symlink("d.h", in("link.h"));
  file("twice.h", headerText);
  fs::create_hard_link(in("twice.h"), in("twin.h"));
  file("t.c", "#include \"twice.h\"\n");
  file("e.c", "#include \"d.h\"\n#include \"none.h\"\n");
  struct Row {
    std::vector<std::string> arguments;
    const char* untouched;
    bool atTheEnd;
  };
  const std::vector<Row> rows = {{{"-oA.C"}, "a.c", false},
                                 {{"-oa.c"}, "a.c", false},
                                 {{"-o./x/../a.c"}, "a.c", false},
                                 {{"-od.h"}, "d.h", true},
                                 {{"-oown.i"}, "own.i", true},
                                 {{"-olink.h"}, "d.h", true},
                                 {{"-Sk", "-od.h"}, "d.h", true},
                                 {{"-ovsc32.cfg"}, "vsc32.cfg", false},
                                 {{"+given.cfg", "-ogiven.cfg"}, "given.cfg", false},
                                 {{"@words.rsp", "-owords.rsp"}, "words.rsp", false},
                                 {{"-o.config/vestrel/locales."}, ".config/vestrel/locales", false}};
  fs::create_directory(in("x"));
  fs::create_symlink("locales", in(".config/vestrel/locales."));
  for (const Row& row : rows) {
    const std::string before = text(row.untouched);
    setup_.arguments = row.arguments;
    // The language is asked for by the first text that is printed, in this run the banner.
    setup_.arguments.push_back("a.c");
    const RunResult result = run(setup_);
    const std::string name = row.arguments.back().substr(2);
    if (name == "A.C") {
      // Another name here: a file of its own.
      EXPECT_EQ(0, result.status) << result.out;
    } else {
      const std::string place = row.atTheEnd ? "a.c 4" : "a.c";
      const char* const severity = "Fatal F1002 ";
      EXPECT_EQ(severity + place + ": Unable to create output file '" + name + "'\n", messagesOf(result.out));
      EXPECT_EQ(1, result.status) << name;
    }
    EXPECT_EQ(before, text(row.untouched)) << name;
    EXPECT_EQ(std::string::npos, names().find("tmp")) << name;
  }
  // The file of two names is written in place, which must not begin before it is known that nobody reads it.
  setup_.arguments = {"-q", "-otwin.h", "t.c"};
  EXPECT_EQ("Fatal F1002 t.c 3: Unable to create output file 'twin.h'\n", messagesOf(run(setup_).out));
  EXPECT_EQ(headerText, text("twice.h"));
  // A unit with errors doesn't delete it either, and a break doesn't.
  setup_.arguments = {"-q", "-od.h", "e.c"};
  EXPECT_EQ(1, run(setup_).status);
  EXPECT_EQ(headerText, text("d.h"));
  ASSERT_EQ(0, mkfifo(in("pipe.h").c_str(), 0600));
  file("a.c", "#include \"d.h\"\n#include \"pipe.h\"\n");
  setup_.arguments = {"-q", "-od.h", "a.c"};
  EXPECT_EQ(255, runWithSignal(SIGINT).status);
  EXPECT_EQ(headerText, text("d.h"));
}

// The output of one unit may be what another one has read before, and what a third one reads.
TEST_F(Output, OfOneUnitAndHeaderOfAnother) {
  file("a.c", "#include \"b.i\"\n");
  file("b.i", "old\n");
  file("b.c", "new\n");
  setup_.arguments = {"-q", "-P-", "a.c", "b.c", "a.c"};
  const RunResult result = run(setup_);
  EXPECT_EQ(0, result.status) << result.out;
  EXPECT_NE(std::string::npos, text("b.i").find("new"));
  EXPECT_NE(std::string::npos, text("a.i").find("new"));
}

// A header that another process puts under the output's name while the unit runs.
TEST_F(Output, HeaderThatCameLater) {
  // The directory is not listed while this is found: a listed one is known to lack the header.
  file("vsc32.cfg", "");
  file("a.c", "#include \"pipe.h\"\n#include \"a.i\"\n");
  ASSERT_EQ(0, mkfifo(in("pipe.h").c_str(), 0600));
  setup_.inParent = [&](pid_t) {
    const int writer = openPipe();
    file("a.i", "int header;\n");
    close(writer);
  };
  EXPECT_EQ("Fatal F1002 a.c 4: Unable to create output file 'a.i'\n", messagesOf(run(setup_).out));
  EXPECT_EQ("int header;\n", text("a.i"));
}

// The source's descriptor may have to be given up for the output's. It is still the source.
TEST_F(Output, SourceWithoutItsDescriptor) {
  file("a.c", "int a;\n");
  setup_.arguments = {"-q", "-oa.c", "a.c"};
  setup_.inChild = [] {
    closeInherited();
    const rlimit limit = {4, 4};
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0) _exit(96);
  };
  EXPECT_EQ("Fatal F1002 a.c: Unable to create output file 'a.c'\n", messagesOf(run(setup_).out));
  EXPECT_EQ("int a;\n", text("a.c"));
}

// --- Breaks ---

class BreakSignal : public Output, public testing::WithParamInterface<int> {};

// The lines that were given out before stay, and the process ends with its own status.
TEST_P(BreakSignal, EndsTheRunAndKeepsWhatWasPrinted) {
  writeWaitingUnit();
  file("first.c", "int first;\n");
  setup_.arguments = {"-q", "first.c", "a.c"};
  const RunResult result = runWithSignal(GetParam());
  EXPECT_EQ(255, result.status);
  EXPECT_EQ("first.c:\na.c:\n", result.out);
  EXPECT_EQ("first.i ", names());
}

TEST_P(BreakSignal, StaysIgnored) {
  writeWaitingUnit();
  setup_.inChild = [] { signal(GetParam(), SIG_IGN); };
  EXPECT_EQ(0, runWithSignal(GetParam()).status);
  EXPECT_TRUE(text("a.i").ends_with("/* a.c 4004: */"));
}

INSTANTIATE_TEST_SUITE_P(Signals, BreakSignal, testing::Values(SIGINT, SIGTERM, SIGHUP));

// Runs to the return of the `count`th system call after the one that installs the handler of SIGINT, sends
// the signal there, and lets the program go on. False if the program has ended before.
bool breakAtCall(pid_t child, int count) {
  int status = 0;
  waitpid(child, &status, 0);
  ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
  bool installed = false;
  bool entry = true;
  for (;;) {
    ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
    siginfo_t info{};
    // A child that has ended is left for the one who waits for its status.
    if (waitid(P_PID, id_t(child), &info, WEXITED | WSTOPPED | WNOWAIT) != 0 || info.si_code != CLD_TRAPPED)
      return false;
    waitpid(child, &status, 0);
    if (WSTOPSIG(status) != (SIGTRAP | 0x80)) continue;
    user_regs_struct registers{};
    ptrace(PTRACE_GETREGS, child, nullptr, &registers);
    if (registers.orig_rax == SYS_rt_sigaction && registers.rdi == SIGINT && registers.rsi != 0)
      installed = true;
    if (installed && entry && --count < 0) {
      kill(child, SIGINT);
      ptrace(PTRACE_DETACH, child, nullptr, nullptr);
      return true;
    }
    entry = !entry;
  }
}

// A break at the end of each system call of the run. Where the signal comes while the program waits for the
// system, its handler runs before the program learns what the call has done: nothing may be done twice or
// be forgotten there.
TEST_F(Output, BreakAtEachSystemCall) {
#ifdef VSP_READ_SIZE
  GTEST_SKIP() << "in this build there are too many: each read gets a byte";
#endif
  // A few buffers are enough, and each of their writes is a call.
  file("good.c", longText(600));
  file("bad.c", longText(600) + "#include \"none.h\"\n");
  setup_.inChild = [] { ptrace(PTRACE_TRACEME, 0, nullptr, nullptr); };
  struct Row {
    std::vector<std::string> arguments;
    bool linked;
  };
  for (const Row& row : {Row{{"-q", "-oa.i", "good.c"}, false}, Row{{"-q", "-oa.i", "bad.c"}, false},
                         Row{{"-q", "-oa.i", "good.c"}, true}, Row{{"-q", "-ocon", "good.c"}, false}}) {
    setup_.arguments = row.arguments;
    RunSetup undisturbed = setup_;
    undisturbed.inChild = nullptr;
    undisturbed.inParent = nullptr;
    const RunResult expected = run(undisturbed);
    const std::string whole = text("a.i");
    bool inTime = true;
    int broken = 0;
    int removed = 0;
    for (int count = 0; inTime; count++) {
      ASSERT_LT(count, 1000);
      file("a.i", oldText);
      if (row.linked) {
        fs::remove(in("z.i"));
        fs::create_hard_link(in("a.i"), in("z.i"));
      }
      setup_.inParent = [&](pid_t child) { inTime = breakAtCall(child, count); };
      const RunResult result = run(setup_);
      ASSERT_TRUE(result.status == 255 || result.status == expected.status) << "call " << count << result.err;
      EXPECT_TRUE(expected.out.starts_with(result.out)) << "call " << count << ": " << result.out.size();
      EXPECT_EQ(std::string::npos, names().find("tmp")) << "call " << count;
      const std::string left = text("a.i");
      // From the moment at which a break deletes the old output, every later one does.
      EXPECT_FALSE(removed != 0 && left == oldText) << "call " << count;
      EXPECT_TRUE(left.empty() || left == oldText || left == whole)
          << "call " << count << ": " << left.size();
      if (row.linked) {
        const std::string other = text("z.i");
        EXPECT_TRUE(other.empty() || other == oldText || other == whole) << "call " << count;
      }
      broken += result.status == 255;
      removed += !fs::exists(in("a.i"));
    }
    EXPECT_GT(broken, 20);
    EXPECT_TRUE(removed > 5 || row.arguments[1] == "-ocon") << removed;
  }
}

// A reader that is slow gets all that was printed before the break and nothing twice; one that reads no more
// doesn't keep the process from its end.
TEST_F(Output, BreakOnAFullPipe) {
  file("a.c", longText() + longText());
  setup_.arguments = {"-q", "-ocon", "a.c"};
  const std::string whole = run(setup_).out;
  ASSERT_GT(whole.size(), 200000U);
  for (const bool slow : {true, false}) {
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    std::string received;
    setup_.inChild = [&] {
      dup2(ends[1], 1);
      close(ends[0]);
      close(ends[1]);
    };
    setup_.inParent = [&](pid_t child) {
      close(ends[1]);
      // The pipe is full when nothing more comes for a while.
      usleep(300000);
      kill(child, SIGINT);
      if (slow)
        usleep(50000);
      else
        waitid(P_PID, id_t(child), nullptr, WEXITED | WNOWAIT);
      char block[1000];
      ssize_t count;
      while ((count = read(ends[0], block, sizeof block)) > 0) received.append(block, size_t(count));
      close(ends[0]);
    };
    EXPECT_EQ(255, run(setup_).status);
    EXPECT_TRUE(whole.starts_with(received)) << received.size();
    // The pipe alone holds 65,536 bytes. The program's buffer holds 8,192 more.
    EXPECT_EQ(slow ? 73728U : 65536U, received.size());
  }
}

// --- Settings that are no files ---

// A pipe or a directory in the place of a file that is looked for at the start must not stop the run.
TEST_F(Output, SettingsThatAreNoFiles) {
  file("a.c", "int a;\n");
  setup_.inChild = [] { alarm(20); };
  for (const char* name : {"vsc32.cfg", ".config/vestrel/locales"}) {
    fs::create_directories(in(name).parent_path());
    ASSERT_EQ(0, mkfifo(in(name).c_str(), 0600));
    EXPECT_EQ(0, run(setup_).status) << name;
    fs::remove(in(name));
    fs::create_directory(in(name));
    EXPECT_EQ(0, run(setup_).status) << name;
  }
  ASSERT_EQ(0, mkfifo(in("given.cfg").c_str(), 0600));
  setup_.arguments = {"-q", "+given.cfg", "a.c"};
  const RunResult result = run(setup_);
  EXPECT_EQ(1, result.status);
  EXPECT_EQ("Error E2194: Could not find file 'given.cfg'\n", messagesOf(result.out));
  // What a shell hands over as a file: no configuration at all, and one that another program writes.
  setup_.arguments = {"-q", "+/dev/null", "a.c"};
  EXPECT_EQ(0, run(setup_).status);
  int ends[2];
  ASSERT_EQ(0, pipe(ends));
  setup_.inChild = [&] { close(ends[1]); };
  setup_.inParent = [&](pid_t) {
    usleep(20000);
    EXPECT_EQ(5, write(ends[1], "-Da=b", 5));
    close(ends[1]);
  };
  setup_.arguments = {"-q", "+/dev/fd/" + std::to_string(ends[0]), "a.c"};
  EXPECT_EQ(0, run(setup_).status);
  close(ends[0]);
  EXPECT_TRUE(text("a.i").starts_with("/* a.c 1: */int b;")) << text("a.i");
}

}  // namespace
