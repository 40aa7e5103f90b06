// Compares a build with the fast paths with one that has only the ordinary ways:
//
//   compare_paths FAST ORDINARY random SEED COUNT [ JOBS [ DIRECTORY ] ]
//   compare_paths FAST ORDINARY cases FILE.case...
//
// Both programs run on the same command line in the same directory; standard output, standard error,
// the status and every file written must agree byte for byte, and neither program may end by a signal
// or a finding of a sanitizer. The inputs are COUNT random programs, or those of the cases with each
// form of line ends. A random program that differs is made as small as it can be and shown, and kept in
// DIRECTORY if that is given. The status is 1 if anything differed.

#include <cstdio>
#include <iostream>

#include "case_text.h"
#include "check.h"
#include "make_program.h"

namespace {

constexpr int sourcesPerBatch = 25;
constexpr int findingsLimit = 8;     // of one process
constexpr int shrinkingRuns = 1500;  // for one finding

struct Programs {
  std::string fast, ordinary;
};

// One command line with its files, and the environment that a case asks for.
struct Input {
  Batch batch;
  std::map<std::string, std::string> environment;
};

// All that a run leaves.
struct Outcome {
  RunResult result;
  std::map<std::string, std::string> files;

  bool broken() const { return result.status != 0 && result.status != 1; }
  bool operator==(const Outcome& other) const {
    return result.status == other.result.status && result.out == other.result.out &&
           result.err == other.result.err && files == other.files;
  }
};

using FileList = std::vector<std::pair<std::string, std::string>>;

// Runs one of the programs in an empty directory, and leaves it empty.
Outcome runOne(const std::string& program, const Input& input, const std::filesystem::path& directory) {
  RunSetup setup;
  setup.program = program;
  setup.directory = directory;
  setup.environment = input.environment;
  setup.arguments = input.batch.switches;
  for (const auto& [name, text] : input.batch.sources) setup.arguments.push_back(name);
  for (const FileList* const files : {&input.batch.headers, &input.batch.sources})
    for (const auto& [name, text] : *files) writeFile(directory / name, text);
  Outcome outcome;
  outcome.result = run(setup);
  for (const FileList* const files : {&input.batch.headers, &input.batch.sources})
    for (const auto& [name, text] : *files) std::filesystem::remove(directory / name);
  for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
    if (entry.is_regular_file())
      outcome.files[std::filesystem::relative(entry.path(), directory).string()] = readFile(entry.path());
  }
  for (const auto& entry : std::filesystem::directory_iterator(directory))
    std::filesystem::remove_all(entry.path());
  return outcome;
}

// The outcomes of both programs.
struct Pair {
  Outcome fast, ordinary;

  bool agree() const { return fast == ordinary && !fast.broken(); }
};

Pair runBoth(const Programs& programs, const Input& input, const std::filesystem::path& directory) {
  Pair pair = {runOne(programs.fast, input, directory), runOne(programs.ordinary, input, directory)};
  // The clock may have gone on between the two runs.
  if (!pair.agree())
    pair = {runOne(programs.fast, input, directory), runOne(programs.ordinary, input, directory)};
  return pair;
}

// --- Making a finding small ---

class Shrinker {
 public:
  Shrinker(const Programs& programs, const std::filesystem::path& directory)
      : programs_(programs), directory_(directory) {}

  // The smallest batch found that still differs.
  Batch shrink(Batch batch) {
    keepOneSource(batch);
    dropItems(batch, &Batch::switches);
    dropItems(batch, &Batch::headers);
    for (int round = 0; round < 2; round++) {
      for (auto& [name, text] : batch.sources) shrinkText(batch, text);
      for (auto& [name, text] : batch.headers) shrinkText(batch, text);
    }
    return batch;
  }

 private:
  bool differs(const Batch& batch) {
    return runs_++ < shrinkingRuns && !runBoth(programs_, {batch, {}}, directory_).agree();
  }

  void keepOneSource(Batch& batch) {
    for (const auto& source : batch.sources) {
      Batch one = batch;
      one.sources = {source};
      if (differs(one)) {
        batch = one;
        return;
      }
    }
    // The difference needs a unit in front of its own.
    dropItems(batch, &Batch::sources);
  }

  template <typename Item>
  void dropItems(Batch& batch, std::vector<Item> Batch::*items) {
    for (size_t i = 0; i < (batch.*items).size();) {
      Batch less = batch;
      (less.*items).erase((less.*items).begin() + static_cast<std::ptrdiff_t>(i));
      if (!less.sources.empty() && differs(less))
        batch = less;
      else
        i++;
    }
  }

  // Takes out part after part of `text`, which belongs to `batch`.
  void shrinkText(const Batch& batch, std::string& text) {
    for (size_t part = text.size() / 2; part != 0; part /= 2) {
      for (size_t at = 0; at < text.size();) {
        const std::string before = text;
        text.erase(at, part);
        if (!differs(batch)) {
          text = before;
          at += part;
        }
      }
    }
  }

  const Programs& programs_;
  std::filesystem::path directory_;
  int runs_ = 0;
};

// --- Reports ---

// A text on one line, with unprintable bytes as escapes.
std::string visible(const std::string& text) {
  std::string result;
  for (const char c : text) {
    char code[8];
    if (c == '\n') {
      result += "\\n";
    } else if (c < ' ' || c > '~') {
      snprintf(code, sizeof code, "\\x%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
      result += code;
    } else {
      result += c;
    }
  }
  return result;
}

// Shows two texts from just in front of the place where they part.
void showDifference(const std::string& what, const std::string& fast, const std::string& ordinary) {
  if (fast == ordinary) return;
  const size_t shorter = std::min(fast.size(), ordinary.size());
  size_t at = 0;
  while (at < shorter && fast[at] == ordinary[at]) at++;
  const size_t start = at < 40 ? 0 : at - 40;
  std::cout << "  " << what << ", fast:     " << visible(fast.substr(start, 160)) << "\n"
            << "  " << what << ", ordinary: " << visible(ordinary.substr(start, 160)) << "\n";
}

void showFinding(const std::string& title, const Batch& batch, const Pair& pair) {
  std::cout << title << ":";
  for (const std::string& word : batch.switches) std::cout << " " << word;
  std::cout << "\n";
  for (const FileList* const files : {&batch.sources, &batch.headers})
    for (const auto& [name, text] : *files) std::cout << "  " << name << ": " << visible(text) << "\n";
  if (pair.fast.result.status != pair.ordinary.result.status || pair.fast.broken()) {
    std::cout << "  status, fast: " << pair.fast.result.status
              << ", ordinary: " << pair.ordinary.result.status << "\n";
  }
  showDifference("stdout", pair.fast.result.out, pair.ordinary.result.out);
  showDifference("stderr", pair.fast.result.err, pair.ordinary.result.err);
  std::map<std::string, std::string> ordinary = pair.ordinary.files;
  for (const auto& [name, text] : pair.fast.files) {
    showDifference(name, text, ordinary[name]);
    ordinary.erase(name);
  }
  for (const auto& [name, text] : ordinary) showDifference(name, "", text);
  std::cout << std::flush;
}

void keepFinding(const std::filesystem::path& directory, uint64_t seed, const Batch& batch) {
  const std::filesystem::path place = directory / ("paths-" + std::to_string(seed));
  std::string command;
  for (const std::string& word : batch.switches) command += word + " ";
  for (const auto& [name, text] : batch.sources) command += name + " ";
  writeFile(place / "command", command + "\n");
  for (const FileList* const files : {&batch.sources, &batch.headers})
    for (const auto& [name, text] : *files) writeFile(place / name, text);
}

// What one process has done.
struct Tally {
  size_t inputs = 0;    // random programs, or runs of cases
  size_t bytes = 0;     // of files that the fast program wrote
  size_t findings = 0;  // inputs, or batches of them, that differed

  void count(size_t number, const Outcome& outcome) {
    inputs += number;
    for (const auto& [name, text] : outcome.files) bytes += text.size();
  }
};

// An empty directory, which the caller removes.
std::filesystem::path makeDirectory() {
  std::string pattern = (std::filesystem::temp_directory_path() / "paths-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) {
    perror(pattern.c_str());
    exit(2);
  }
  return pattern;
}

// --- Random programs ---

struct RandomPlan {
  uint64_t seed;
  int count;
  int jobs;
  std::filesystem::path keep;  // empty: findings are only shown
};

// Compares every `jobs`-th batch from `first` on.
Tally compareBatches(const Programs& programs, const RandomPlan& plan, int first) {
  const std::filesystem::path directory = makeDirectory();
  Tally tally;
  for (int i = first; i * sourcesPerBatch < plan.count && tally.findings < findingsLimit; i += plan.jobs) {
    const uint64_t seed = plan.seed * 1000003 + static_cast<uint64_t>(i);
    const int count = std::min(sourcesPerBatch, plan.count - i * sourcesPerBatch);
    const Batch batch = makeBatch(seed, count);
    const Pair pair = runBoth(programs, {batch, {}}, directory);
    tally.count(static_cast<size_t>(count), pair.fast);
    if (pair.agree()) continue;
    tally.findings++;
    const Batch small = Shrinker(programs, directory).shrink(batch);
    showFinding("seed " + std::to_string(seed), small, runBoth(programs, {small, {}}, directory));
    if (!plan.keep.empty()) keepFinding(plan.keep, seed, small);
  }
  std::filesystem::remove_all(directory);
  return tally;
}

// Runs the jobs as processes, whose tallies come through a pipe.
Tally compareRandom(const Programs& programs, const RandomPlan& plan) {
  int ends[2];
  if (pipe(ends) != 0) exit(2);
  for (int job = 0; job < plan.jobs; job++) {
    if (fork() != 0) continue;
    const Tally tally = compareBatches(programs, plan, job);
    _exit(write(ends[1], &tally, sizeof tally) == sizeof tally ? 0 : 1);
  }
  close(ends[1]);
  Tally sum;
  int status = 0;
  while (wait(&status) > 0) {
    Tally part;
    if (status != 0 || read(ends[0], &part, sizeof part) != sizeof part) part.findings = 1;
    sum.inputs += part.inputs;
    sum.bytes += part.bytes;
    sum.findings += part.findings;
  }
  return sum;
}

// --- Cases ---

// A case as far as its input goes, with its line ends not decoded yet.
struct CaseInput {
  std::string name;
  Input input;
};

std::vector<CaseInput> readInputs(const std::filesystem::path& path) {
  std::vector<CaseInput> inputs;
  std::string* section = nullptr;
  for (const std::string& line : splitLines(readFile(path))) {
    if (line.starts_with("=== ")) {
      inputs.push_back({path.stem().string() + ", " + line.substr(4), {}});
      section = nullptr;
    } else if (line.starts_with("--- ")) {
      Input& input = inputs.back().input;
      section = nullptr;
      if (line.starts_with("--- args ")) {
        for (const std::string& word : splitWords(line.substr(9)))
          input.batch.switches.push_back(decode(word, "\n"));
      } else if (line.starts_with("--- file ")) {
        section = &input.batch.headers.emplace_back(line.substr(9), "").second;
      } else if (line.starts_with("--- env ")) {
        const size_t equals = line.find('=');
        input.environment[line.substr(8, equals - 8)] = line.substr(equals + 1);
      }
    } else if (section != nullptr) {
      *section += line + "\n";
    }
  }
  for (CaseInput& one : inputs) {
    Batch& batch = one.input.batch;
    if (batch.switches.empty() && !batch.headers.empty()) batch.switches = {batch.headers.front().first};
  }
  return inputs;
}

Tally compareCases(const Programs& programs, const std::vector<std::string>& paths) {
  const std::filesystem::path directory = makeDirectory();
  Tally tally;
  for (const std::string& path : paths) {
    for (const CaseInput& one : readInputs(path)) {
      for (const char* const lineEnd : {"\n", "\r\n", "\n\r", "\r"}) {
        Input input = one.input;
        for (auto& [name, text] : input.batch.headers) text = decode(text, lineEnd);
        const Pair pair = runBoth(programs, input, directory);
        tally.count(1, pair.fast);
        if (pair.agree()) continue;
        tally.findings++;
        showFinding(one.name + " with " + visible(lineEnd), input.batch, pair);
      }
    }
  }
  std::filesystem::remove_all(directory);
  return tally;
}

int usage() {
  fprintf(stderr,
          "usage: compare_paths FAST ORDINARY random SEED COUNT [ JOBS [ DIRECTORY ] ]\n"
          "       compare_paths FAST ORDINARY cases FILE.case...\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> words(argv + 1, argv + argc);
  if (words.size() < 4) return usage();
  const Programs programs = {std::filesystem::absolute(words[0]).string(),
                             std::filesystem::absolute(words[1]).string()};
  Tally tally;
  if (words[2] == "cases") {
    tally = compareCases(programs, {words.begin() + 3, words.end()});
  } else if (words[2] == "random" && words.size() >= 5) {
    const int jobs = words.size() > 5 ? std::max(1, std::stoi(words[5])) : 1;
    const std::filesystem::path keep = words.size() > 6 ? std::filesystem::absolute(words[6]) : "";
    tally = compareRandom(programs, {std::stoull(words[3]), std::stoi(words[4]), jobs, keep});
  } else {
    return usage();
  }
  std::cout << tally.inputs << " inputs compared with " << tally.bytes << " bytes of output, "
            << tally.findings << " differences\n";
  // A comparison of nothing would prove nothing.
  return tally.findings == 0 && tally.bytes != 0 ? 0 : 1;
}
