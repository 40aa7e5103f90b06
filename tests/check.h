// Shared by the test programs that run the real program: files, scratch directories, and one run of
// the program as a child with its environment, limits and results under control.
//
// A run starts in a scratch directory of its own with a fixed environment, so that neither the user's
// locale nor a configuration file in the home directory changes a result.

#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

// The whole of a file; empty if it can't be read.
inline std::string readFile(const std::filesystem::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// Writes a file, with the directories above it.
inline void writeFile(const std::filesystem::path& path, const std::string& text) {
  if (path.has_parent_path()) std::filesystem::create_directories(path.parent_path());
  std::ofstream stream(path, std::ios::binary);
  stream.write(text.data(), static_cast<std::streamsize>(text.size()));
}

// A place of the build, unless the environment names another: the program for Windows is tested by the
// same tests, through a program that starts it.
inline std::string placeOf(const char* variable, const char* usual) {
  const char* const value = std::getenv(variable);
  return value != nullptr ? value : usual;
}

// Descriptors of whoever started the tests would change the numbers that the program's own get.
inline const bool strangersClosed = [] {
  for (int handle = 3; handle < 256; ++handle) close(handle);
  return true;
}();

// A directory that lasts as long as the object.
class ScratchDirectory {
 public:
  ScratchDirectory() {
    std::string pattern = placeOf("VSP_SCRATCH_DIR", VSP_SCRATCH_DIR);
    std::filesystem::create_directories(pattern);
    pattern += "/XXXXXX";
    path_ = mkdtemp(pattern.data());
  }
  // With VSP_KEEP in the environment it stays, for a look at what a run left.
  ~ScratchDirectory() {
    std::error_code ignored;
    if (std::getenv("VSP_KEEP") != nullptr)
      std::cerr << "kept: " << path_.string() << "\n";
    else
      std::filesystem::remove_all(path_, ignored);
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// How a run is started.
struct RunSetup {
  std::filesystem::path directory;                 // where the program runs
  std::vector<std::string> arguments;              // without the program's name
  std::map<std::string, std::string> environment;  // added to the fixed one
  std::function<void()> inChild;                   // limits; runs in the child before the program
  std::function<void(pid_t)> inParent;             // runs concurrently with the program
  std::string program = placeOf("VSP_PROGRAM", VSP_PROGRAM);
  unsigned seconds = 60;  // after which the run is killed
};

// What a run left behind.
struct RunResult {
  int status = -1;        // exit status, or 1000 + the signal that ended it
  bool timedOut = false;  // the run took all its seconds
  std::string out;        // standard output
  std::string err;        // standard error
};

// Runs the program and waits for it.
inline RunResult run(const RunSetup& setup) {
  const std::filesystem::path outPath = setup.directory / ".stdout";
  const std::filesystem::path errPath = setup.directory / ".stderr";
  const pid_t child = fork();
  if (child == 0) {
    std::map<std::string, std::string> environment = {
        {"LC_ALL", "C"},
        {"TZ", "UTC"},
        {"PATH", "/usr/bin:/bin"},
        {"HOME", setup.directory.string()},
        // Memory of the whole process is given back by its end, so there are no leaks to report.
        {"ASAN_OPTIONS", "detect_leaks=0:exitcode=99"},
        {"UBSAN_OPTIONS", "print_stacktrace=1:exitcode=99"}};
    for (const auto& [name, value] : setup.environment) environment[name] = value;
    std::vector<std::string> lines;
    for (const auto& [name, value] : environment) lines.push_back(name + "=" + value);
    std::vector<char*> envp;
    for (std::string& line : lines) envp.push_back(line.data());
    envp.push_back(nullptr);
    std::vector<std::string> words = {setup.program};
    words.insert(words.end(), setup.arguments.begin(), setup.arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    const int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (chdir(setup.directory.c_str()) != 0) _exit(98);
    dup2(out, 1);
    dup2(err, 2);
    close(out);
    close(err);
    // A run that hangs ends by this signal, and the test fails in place of the whole suite.
    alarm(setup.seconds);
    if (setup.inChild) setup.inChild();
    execve(argv[0], argv.data(), envp.data());
    _exit(97);
  }
  if (child < 0) {
    // As the target of a signal this number would mean every process of the user.
    ADD_FAILURE() << "no process can be made";
    return {};
  }
  if (setup.inParent) setup.inParent(child);
  int status = 0;
  waitpid(child, &status, 0);
  RunResult result;
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
  result.timedOut = result.status == 1000 + SIGALRM;
  result.out = readFile(outPath);
  result.err = readFile(errPath);
  std::filesystem::remove(outPath);
  std::filesystem::remove(errPath);
  return result;
}

// What a command of the shell has printed to both streams, and its exit status; -1 if it could not run.
struct ShellResult {
  int status = -1;
  std::string text;
};

// Runs a command of the shell in a directory, with the tests' own environment.
inline ShellResult runShell(const std::filesystem::path& directory, const std::string& command) {
  ShellResult result;
  FILE* const pipe = popen(("cd '" + directory.string() + "' && { " + command + "; } 2>&1").c_str(), "r");
  if (pipe == nullptr) return result;
  char block[4096];
  for (size_t count; (count = fread(block, 1, sizeof block, pipe)) != 0;) result.text.append(block, count);
  const int status = pclose(pipe);
  if (WIFEXITED(status)) result.status = WEXITSTATUS(status);
  return result;
}

// True if the shell finds a tool.
inline bool hasTool(const std::string& name) {
  return runShell(".", "command -v " + name).status == 0;
}

// A test that runs the program in a scratch directory of its own.
class ScratchTest : public testing::Test {
 protected:
  ScratchTest() { setup_.directory = scratch_.path(); }

  // A file in the scratch directory: its path, its making, its text.
  std::filesystem::path in(const std::string& name) const { return scratch_.path() / name; }
  void file(const std::string& name, const std::string& text) const { writeFile(in(name), text); }
  std::string text(const std::string& name) const { return readFile(in(name)); }

  // Runs the program without its banner.
  RunResult runWith(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "-q");
    setup_.arguments = std::move(arguments);
    return run(setup_);
  }

  // Runs a command of the shell in the scratch directory.
  ShellResult shell(const std::string& command) const { return runShell(scratch_.path(), command); }

  ScratchDirectory scratch_;
  RunSetup setup_;
};

// A text split into its lines, without their line feeds.
inline std::vector<std::string> splitLines(const std::string& text) {
  std::vector<std::string> lines;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

// True if a line of standard output is a message.
inline bool isMessage(const std::string& line) {
  return line.starts_with("Error ") || line.starts_with("Warning ") || line.starts_with("Fatal ");
}

// The messages among the lines of standard output, each with its line feed.
inline std::string messagesOf(const std::string& out) {
  std::string messages;
  for (const std::string& line : splitLines(out)) {
    if (isMessage(line)) messages += line + "\n";
  }
  return messages;
}

// The names of the outputs in a directory, sorted, with the directories below it.
inline std::vector<std::string> outputsIn(const std::filesystem::path& directory) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
    if (entry.path().extension() == ".i") {
      names.push_back(std::filesystem::relative(entry.path(), directory).string());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}
