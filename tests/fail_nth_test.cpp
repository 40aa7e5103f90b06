// Lets each system call of a run fail, one after the other, and looks at what is left.
//
// A library in front of the program makes call n of a group fail, once or from then on, with each error
// that fits; n goes from 1 until the program makes no such call any more. Whatever fails: the program ends
// by itself and in time, every output is complete or absent, nothing else is left behind, and status 0 means
// that all is as in a run without a fault. All else is told by a message.

#include <sys/resource.h>

#include <cerrno>
#include <cstring>
#include <functional>

#include "check.h"

namespace {

using Path = std::filesystem::path;
using Files = std::map<std::string, std::string>;  // relative name and text

// An error that the calls of a group end in. One that the program takes as a reason to try again can't last.
struct Failure {
  const char* group;
  int error;  // 0: one byte is transferred
  bool lasts;
  const char* code;  // of the message, "" where it depends on the file
};

const std::vector<Failure> failures = {{"open", EMFILE, true, ""},
                                       {"open", ENOMEM, true, "F1008"},
                                       {"open", EIO, true, ""},
                                       {"open", EACCES, true, ""},
                                       {"open", EINTR, false, ""},
                                       {"read", EIO, true, "F1009"},
                                       {"read", EINTR, false, ""},
                                       {"read", 0, true, ""},
                                       {"write", ENOSPC, true, "F1013"},
                                       {"write", EIO, true, "F1013"},
                                       {"write", EINTR, false, ""},
                                       {"write", EAGAIN, false, ""},
                                       {"write", 0, true, ""},
                                       {"close", EDQUOT, true, "F1013"},
                                       {"close", EINTR, true, "F1013"},
                                       {"stat", EIO, true, ""},
                                       {"stat", ENOMEM, true, ""},
                                       {"stat", EACCES, true, ""},
                                       {"lseek", EIO, true, "F1009"},
                                       {"ftruncate", EIO, true, ""},
                                       {"ftruncate", EINTR, false, ""},
                                       {"fsync", EIO, true, ""},
                                       {"fchmod", EPERM, true, ""},
                                       {"rename", ENOSPC, true, ""},
                                       {"rename", EACCES, true, ""},
                                       {"rename", EIO, true, ""},
                                       {"unlink", EIO, true, ""},
                                       {"unlink", EACCES, true, ""},
                                       {"mmap", ENOMEM, true, "F1008"},
                                       {"mprotect", ENOMEM, true, "F1008"},
                                       {"munmap", ENOMEM, true, "F1008"},
                                       {"madvise", ENOMEM, true, "F1008"},
                                       {"malloc", ENOMEM, true, "F1008"},
                                       {"opendir", EMFILE, true, ""},
                                       {"opendir", ENOMEM, true, "F1008"},
                                       {"opendir", EIO, true, ""},
                                       {"opendir", EACCES, true, ""},
                                       {"opendir", EINTR, false, ""},
                                       {"readdir", EIO, true, ""},
                                       {"readdir", ENOMEM, true, "F1008"},
                                       {"readdir", EINTR, false, ""},
                                       {"readlink", EIO, true, ""}};

// All files below a directory.
Files filesIn(const Path& directory) {
  Files files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(directory))
    if (entry.is_regular_file())
      files[std::filesystem::relative(entry.path(), directory).string()] = readFile(entry.path());
  return files;
}

// True for an error after which the program tries again.
bool isRetried(const Failure& failure) {
  const std::string group = failure.group;
  if (group == "close") return false;
  return failure.error == EINTR || failure.error == EAGAIN || failure.error == 0;
}

class FailNth : public testing::Test {
 protected:
  FailNth() : work_(scratch_.path() / "work") {
    std::filesystem::create_directories(work_);
    setup_.directory = work_;
    setup_.inChild = [this] {
      alarm(5);
      if (descriptors_ == 0) return;
      const rlimit limit = {descriptors_, descriptors_};
      if (setrlimit(RLIMIT_NOFILE, &limit) != 0) _exit(96);
    };
    // Two nested headers, each found in another way: in the directory of the source, through -I, and in
    // another case of letters.
    file("near.h", "#ifndef NEAR\n#define NEAR 1\n#include <FAR.H>\nnear NEAR\n#endif\n");
    file("lib/far.h", "#define TWICE(x) ((x) + (x))\n#include \"Sub\\Deep.H\"\nfar TWICE(FAR)\n");
    file("lib/sub/deep.h", "#define FAR 'f'\ndeep __FILE__ __LINE__\n");
  }

  // A file of the run, by its name below the working directory.
  void file(const std::string& name, const std::string& text) { writeFile(work_ / name, text); }

  // A source that includes the headers, with more text than one buffer of the output holds.
  void source(const std::string& name) {
    std::string text = "#include \"near.h\"\n#include \"near.h\"\nint TWICE(" + name.substr(0, 1) + ");\n";
    for (int i = 0; i < 60; i++) text += "int some_long_name_" + std::to_string(i) + " = TWICE(__LINE__);\n";
    file(name, text);
  }

  // Runs the program with every failure, or those of `groups` alone.
  void sweep(const std::vector<std::string>& arguments, const std::vector<std::string>& groups = {});

  // What is wrong with a disturbed run; empty if nothing is.
  std::string faultOf(const Failure& failure, bool always, const RunResult& result, const Files& left) const;

  ScratchDirectory scratch_;
  Path work_;
  RunSetup setup_;
  rlim_t descriptors_ = 0;         // how many the program may have; 0 for as many as it likes
  std::function<void()> prepare_;  // what is to be done in front of each run
  Files inputs_;                   // all files in front of a run
  Files outputs_;                  // what the undisturbed run adds or changes
  RunResult whole_;                // its result
  bool manyProcesses_ = false;     // one that can't tell how its unit has ended is an internal error
  std::string otherMessages_;      // standard output, if messages may come out in another language
};

std::string FailNth::faultOf(const Failure& failure, bool always, const RunResult& result,
                             const Files& left) const {
  const std::string group = failure.group;
  if (result.status != 0 && result.status != 1) return "status";
  for (const auto& [name, text] : inputs_)
    if (!left.contains(name) && !outputs_.contains(name)) return "input is gone: " + name;
  bool complete = true;
  for (const auto& [name, text] : outputs_)
    complete = complete && left.contains(name) && left.at(name) == text;
  for (const auto& [name, text] : left) {
    const bool isInput = inputs_.contains(name);
    if (isInput && text == inputs_.at(name)) continue;
    if (outputs_.contains(name) && text == outputs_.at(name)) continue;
    // What can't be deleted stays, but not under a name that somebody reads.
    if (group == "unlink" && !isInput && (!name.ends_with(".i") || text.empty())) continue;
    // The other name of a failed output has no text to show.
    if (group == "ftruncate" && text.empty()) continue;
    return "left behind: " + name;
  }
  const bool sameText = result.out == whole_.out || (!otherMessages_.empty() && result.out == otherMessages_);
  const bool same = complete && sameText && result.err == whole_.err && result.status == whole_.status;
  // In a directory that may not be listed, a name in another case is none.
  const bool isListing = group == "opendir" && failure.error == EACCES;
  if ((result.status == 0 || isRetried(failure)) && !same && !isListing) return "not the undisturbed run";
  // Where no write works, there is no place for a message.
  const bool canTell = group != "write" || !always;
  // On the console a message may come after a piece of text.
  const std::string text = result.out + result.err;
  const auto tells = [&text](const char* piece) { return text.find(piece) != std::string::npos; };
  if (canTell && whole_.status == 0 && result.status == 1 && !tells(failure.code) &&
      !(manyProcesses_ && tells("F1004")))
    return std::string("no message ") + failure.code;
  if (canTell && result.status == 1 && !tells("Error ") && !tells("Fatal ")) return "no message";
  return "";
}

void FailNth::sweep(const std::vector<std::string>& arguments, const std::vector<std::string>& groups) {
  inputs_ = filesIn(scratch_.path());
  setup_.arguments = arguments;
  const Path report = scratch_.path() / "fired";
  if (prepare_) prepare_();
  whole_ = run(setup_);
  for (const auto& [name, text] : filesIn(scratch_.path()))
    if (!inputs_.contains(name) || inputs_.at(name) != text) outputs_[name] = text;
  int fired = 0;
  int faults = 0;
  setup_.environment["LD_PRELOAD"] = VSP_FAIL_NTH;
  setup_.environment["FAIL_REPORT"] = report.string();
  for (const Failure& failure : failures) {
    if (!groups.empty() && std::find(groups.begin(), groups.end(), failure.group) == groups.end()) continue;
    setup_.environment["FAIL_CALL"] = failure.group;
    setup_.environment["FAIL_ERROR"] = std::to_string(failure.error);
    for (const bool always : {false, true}) {
      if (always && !failure.lasts) continue;
      setup_.environment["FAIL_ALWAYS"] = always ? "1" : "0";
      for (int n = 1;; n++) {
        ASSERT_LT(n, 1000) << "calls without end";
        setup_.environment["FAIL_AT"] = std::to_string(n);
        if (prepare_) prepare_();
        const RunResult result = run(setup_);
        const bool done = !std::filesystem::remove(report);
        Files left = filesIn(scratch_.path());
        const std::string fault = faultOf(failure, always, result, left);
        if (!fault.empty()) {
          ADD_FAILURE() << failure.group << " " << n << (always ? " and all after it" : "") << ", "
                        << (failure.error == 0 ? "one byte" : strerror(failure.error)) << ": " << fault
                        << "\nstatus " << result.status << "\n"
                        << result.out << result.err;
          ASSERT_LT(++faults, 20) << "too many faults";
        }
        for (const auto& [name, text] : left)
          if (!inputs_.contains(name)) std::filesystem::remove(scratch_.path() / name);
        for (const auto& [name, text] : inputs_)
          if (!left.contains(name) || left.at(name) != text) writeFile(scratch_.path() / name, text);
        if (done) break;
        fired++;
      }
    }
  }
  EXPECT_GT(fired, 0) << "no call failed";
}

// Sources with headers, an output directory in another case, the guard report, an absolute name.
TEST_F(FailNth, SourcesAndHeaders) {
  source("a.c");
  source("b.c");
  std::filesystem::create_directories(work_ / "Out");
  file("Out/keep", "");
  sweep({"-Sg", "-Ilib", "-nout", "a.c", (work_ / "b.c").string()});
  EXPECT_EQ(2U, outputs_.size());
  EXPECT_NE("", whole_.err);
  EXPECT_EQ(0, whole_.status);
}

// Patterns, one of them in a directory of another case.
TEST_F(FailNth, Patterns) {
  for (const char* name : {"a.c", "b.c", "more/c.c", "more/d.c"}) file(name, "one\n");
  sweep({"-q", "*.c", "More\\?.C"});
  EXPECT_EQ(4U, outputs_.size());
  EXPECT_EQ(0, whole_.status);
}

// A response file, a configuration file next to the program, a language library and the user's settings.
TEST_F(FailNth, FilesOfTheUser) {
  setup_.program = (scratch_.path() / "bin/vsp32").string();
  std::filesystem::create_directories(scratch_.path() / "bin");
  std::filesystem::copy_file(VSP_PROGRAM, setup_.program);
  source("a.c");
  file("a.c", readFile(work_ / "a.c") + "#if A == 1\n#define A 2\n#endif\nB\n");
  file("args.rsp", "-q -Ilib -DA=1 ; comment\n a.c\n");
  writeFile(scratch_.path() / "bin/vsc32.cfg", "-DB=cfg\n");
  // Without its library a run speaks English; the message and its code are the same.
  std::string library;
  for (const char* line :
       {"4138 \\n", "4143 Error", "4144 Fatal", "4145 Warning", "540 W8017 Neue Definition von '%s'",
        "10 F1009 Eingabe '%s' fehlt", "14 F1013 Ausgabe", "9 F1008 Speicher", "224 E2209 Kein '%s'",
        "209 E2194 Kein '%s'", "3 F1002 Keine Ausgabe '%s'"})
    library += std::string(line) + "\n";
  writeFile(scratch_.path() / "bin/vsp32.DEU", library);
  file(".config/vestrel/locales", "* = DEU\n");
  const RunSetup german = setup_;
  setup_.environment["XDG_CONFIG_HOME"] = "/none";
  setup_.arguments = {"@args.rsp"};
  otherMessages_ = run(setup_).out;
  setup_.environment.erase("XDG_CONFIG_HOME");
  std::filesystem::remove(work_ / "a.i");
  sweep({"@args.rsp"});
  EXPECT_EQ(1U, outputs_.size());
  EXPECT_NE(std::string::npos, whole_.out.find("Neue Definition")) << whole_.out;
  EXPECT_EQ(std::string::npos, otherMessages_.find("Neue Definition")) << otherMessages_;
  EXPECT_EQ(0, whole_.status);
}

// A configuration file in the current directory, in another case, and the console as output.
TEST_F(FailNth, Console) {
  source("a.c");
  file("Vsc32.Cfg", "-Sr\n");
  sweep({"-Ilib", "-ocon", "a.c"});
  EXPECT_NE(std::string::npos, whole_.out.find("deep")) << whole_.out;
  EXPECT_EQ(0, whole_.status);
}

// A unit with errors removes its output; an older one of a good unit is replaced.
TEST_F(FailNth, ErrorsAndOldOutputs) {
  file("bad.c", "#include \"near.h\"\n#endif\n");
  file("good.c", "good\n");
  file("good.i", std::string(9000, 'o'));
  sweep({"-q", "-Ilib", "bad.c", "good.c"});
  EXPECT_EQ(1U, outputs_.size());
  EXPECT_EQ(1, whole_.status);
}

// An older output of two names keeps its place, and so do the names: its text is cut off and written anew.
TEST_F(FailNth, LinkedOutput) {
  file("good.c", "good\n");
  file("other.txt", std::string(9000, 'o'));
  prepare_ = [this] {
    std::filesystem::remove(work_ / "good.i");
    std::filesystem::create_hard_link(work_ / "other.txt", work_ / "good.i");
  };
  sweep({"-q", "good.c"}, {"ftruncate"});
  EXPECT_EQ(2U, outputs_.size());
  EXPECT_EQ(0, whole_.status);
}

// The history of a macro, which is put together in memory of the system and goes to standard error.
TEST_F(FailNth, Explanation) {
  file("a.c", "#include \"near.h\"\n#define TWICE(x) x x\nint TWICE(TWICE(1)) near;\n");
  sweep({"-q", "-Ilib", "--explain=TWICE", "a.c"}, {"write", "malloc"});
  EXPECT_EQ(1U, outputs_.size());
  EXPECT_NE("", whole_.err);
  EXPECT_EQ(0, whole_.status);
}

// A unit that needs more memory than is kept for the next one.
TEST_F(FailNth, MuchMemory) {
  std::string text;
  for (int i = 0; i < 240; i++)
    text += "#define macro_" + std::to_string(i) + " " + std::string(5000, 'x') + "\n";
  file("a.c", text + "end\n");
  file("b.c", "#if 1 + 1 == 2\nnext\n#endif\n");
  sweep({"-q", "-P-", "a.c", "b.c"}, {"mmap", "mprotect", "munmap", "madvise"});
  EXPECT_EQ(2U, outputs_.size());
  EXPECT_EQ(0, whole_.status);
}

// The dependencies, in a file that is there already.
TEST_F(FailNth, Reports) {
  source("a.c");
  file("deps", std::string(9000, 'o'));
  sweep({"-q", "-Ilib", "a.c", "--deps=deps", "--deps-phony"});
  EXPECT_EQ(2U, outputs_.size());
  EXPECT_EQ(0, whole_.status);
}

// Units in processes of their own: a call of any of the processes fails. What is lost when a file is closed
// is left out: the files of the processes are no more than memory.
TEST_F(FailNth, Jobs) {
  source("a.c");
  source("b.c");
  manyProcesses_ = true;
  sweep({"-q", "-Sg", "-Ilib", "--jobs=2", "a.c", "b.c"},
        {"open", "read", "write", "stat", "lseek", "rename", "unlink", "mmap", "mprotect", "malloc",
         "opendir", "readdir", "readlink"});
  EXPECT_EQ(2U, outputs_.size());
  EXPECT_EQ(0, whole_.status);
}

// Standard input in place of a file.
TEST_F(FailNth, StandardInput) {
  source("a.c");
  const auto limits = setup_.inChild;
  setup_.inChild = [this, limits] {
    limits();
    dup2(open((work_ / "a.c").c_str(), O_RDONLY), 0);
  };
  sweep({"-q", "-Ilib", "--stdin=a.c"}, {"open", "read", "close", "stat", "malloc"});
  EXPECT_EQ(1U, outputs_.size());
  EXPECT_EQ(0, whole_.status);
}

// Files that are given up and opened again where there are few descriptors.
TEST_F(FailNth, FewDescriptors) {
  for (int i = 0; i < 6; i++) {
    std::string text = "in" + std::to_string(i) + "\n";
    if (i < 5) text += "#include \"h" + std::to_string(i + 1) + ".h\"\n";
    // Enough that the second block has to be read.
    if (i == 2) text += std::string(16000, ' ') + "\n";
    file("h" + std::to_string(i) + ".h", text + "out" + std::to_string(i) + "\n");
  }
  file("a.c", "#include \"h0.h\"\nlast\n");
  descriptors_ = 7;
  sweep({"-q", "-P-", "a.c"}, {"open", "read", "close", "stat", "lseek"});
  EXPECT_EQ(1U, outputs_.size());
  EXPECT_EQ(0, whole_.status);
}

}  // namespace
