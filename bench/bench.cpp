// Measures whole runs of the program, process and all, on generated text: megabytes of input a second
// and page faults a run. The clock is the wall's, from the start of the child to its end; the best of
// several repetitions is what counts. The output of each kind is compared with the text that the
// generator expects before a time is taken, so that no wrong program is ever called fast.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

std::string readFile(const fs::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// Runs a program in a directory with standard output thrown away; fills in what it used.
int runIn(const fs::path& directory, std::vector<std::string> words, rusage& usage) {
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  const pid_t child = vfork();
  if (child == 0) {
    const int nothing = open("/dev/null", O_WRONLY);
    dup2(nothing, 1);
    if (chdir(directory.c_str()) != 0) _exit(98);
    execv(argv[0], argv.data());
    _exit(97);
  }
  int status = 0;
  wait4(child, &status, 0, &usage);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Adds the text of an output without markers, empty lines and blanks at the ends of lines.
void addStripped(const std::string& text, std::string& result) {
  for (size_t start = 0; start < text.size();) {
    const size_t end = std::min(text.find('\n', start), text.size());
    std::string line = text.substr(start, end - start);
    start = end + 1;
    if (line.starts_with("/* ")) line.erase(0, line.find(": */") + 4);
    line.erase(line.find_last_not_of(" \r") + 1);
    if (!line.empty()) result += line + "\n";
  }
}

// The bytes that the program reads for a kind.
size_t inputBytes(const fs::path& directory) {
  size_t total = 0;
  for (const auto& entry : fs::directory_iterator(directory)) {
    const fs::path extension = entry.path().extension();
    if (extension == ".c" || extension == ".h") total += fs::file_size(entry.path());
  }
  return total;
}

// One benchmark: text of `kind`, made once, run as often as the library asks.
void wholeRun(benchmark::State& state, const std::string& kind, const std::string& kilobytes) {
  const fs::path directory = fs::path(VSP_SCRATCH_DIR) / kind;
  fs::remove_all(directory);
  fs::create_directories(directory);
  rusage usage{};
  if (runIn(".", {VSP_MAKE_SOURCE, kind, kilobytes, directory.string()}, usage) != 0) {
    state.SkipWithError("no source");
    return;
  }
  std::vector<std::string> words = {VSP_PROGRAM, "-q"};
  words.push_back(kind == "small" ? "s*.c" : kind + ".c");
  std::string left;
  if (runIn(directory, words, usage) == 0) {
    std::vector<fs::path> outputs;
    for (const auto& entry : fs::directory_iterator(directory)) {
      if (entry.path().extension() == ".i") outputs.push_back(entry.path());
    }
    std::sort(outputs.begin(), outputs.end());
    for (const fs::path& path : outputs) addStripped(readFile(path), left);
  }
  if (left.empty() || left != readFile(directory / (kind + ".expected"))) {
    state.SkipWithError("the output is wrong");
    return;
  }
  double faults = 0;
  for ([[maybe_unused]] const auto& step : state) {
    const auto start = std::chrono::steady_clock::now();
    const int status = runIn(directory, words, usage);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    if (status != 0) {
      state.SkipWithError("the run failed");
      return;
    }
    state.SetIterationTime(elapsed.count());
    faults += static_cast<double>(usage.ru_minflt);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(inputBytes(directory)));
  state.counters["faults"] = benchmark::Counter(faults, benchmark::Counter::kAvgIterations);
}

}  // namespace

int main(int argc, char** argv) {
  const char* const kinds[][2] = {
      {"large", "8192"}, {"headers", "4096"}, {"macros", "4096"}, {"skipped", "8192"}, {"small", "400"}};
  for (const auto& [kind, kilobytes] : kinds) {
    benchmark::RegisterBenchmark(kind, [kind = std::string(kind), kilobytes = std::string(kilobytes)](
                                           benchmark::State& state) { wholeRun(state, kind, kilobytes); })
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
