// Runs the cases of tests/cases: each is a small set of files, a command line, and what must come of
// it. The real program runs in a scratch directory; text is compared with text.
//
// A .case file holds many cases. A case starts with a line "=== name"; prose may follow, up to the
// first line "--- keyword ...". The keywords, each with the lines below it as its text:
//
//   --- args A B ...      the command line, split at blanks; "A B" is one argument. Without it, the
//                         name of the first file
//   --- file NAME         a file to write
//   --- env NAME=VALUE    an addition to the environment
//   --- output NAME       what must stand in the output NAME but for markers, empty lines and blanks
//                         at both ends of lines
//   --- exact NAME        the whole of NAME, with CR LF written as a line feed; the last line feed of
//                         the section doesn't count
//   --- exists NAME       NAME exists, whatever it holds
//   --- messages          the lines of standard output that begin with Error, Warning or Fatal
//   --- stdout, stderr    the whole of that stream; "{{*}}" at the end of a line matches any rest
//   --- status N          the exit status
//   --- as-is             no second run with other line ends
//   --- alone             no second run after a unit that ended in a fatal error
//   --- linux REASON      no run of the program for Windows (VSP_HOST=windows), where this can't hold
//
// One empty line in front of the next case belongs to neither.
//
// What isn't given is checked too: no messages, nothing on standard error, no output (a file *.i) but
// those named, and the status 1 if the messages hold an Error or a Fatal and else 0.
//
// "{{1A}}" is a byte, "{{41*300}}" 300 of it, "{{"ab"*9}}" nine times a text (which may hold
// line ends), and "{{end}}" drops the line feed after it. A byte stays as it is in the runs with other
// line ends.
//
// The runs of a case: as written; with CR LF; with LF CR; with CR, whose outputs are compared without
// their markers, since a file that ends in a lone CR is one line shorter; and after a unit that is
// stopped by an error limit in the middle of a macro argument within a directive, in one process.
//
// A run that takes ten seconds (or $VSP_CASE_SECONDS) is killed and fails its case.
//
// With VSP_TWIN another program runs each case as well, and must give the same bytes: all of both streams,
// and of all files.
//
// With --update the cases, or those of --gtest_filter, run as written, and what the program gives takes
// the place of what the file expects; sections that a case hasn't yet are added.

#include <sys/resource.h>

#include <deque>
#include <optional>
#include <set>

#include "case_text.h"
#include "check.h"

namespace {

// One case as it was read.
struct Case {
  std::string name;
  std::string place;                                          // file and line, for the report
  std::vector<std::string> lines;                             // as they stand in the file
  std::vector<std::pair<std::string, std::string>> sections;  // head and text, in their order
  bool changed = false;                                       // `sections` differs from the file
  std::vector<std::pair<std::string, std::string>> files;
  std::vector<std::string> arguments;
  std::map<std::string, std::string> environment;
  std::map<std::string, std::string> outputs, exacts;
  std::vector<std::string> existing;
  std::string messages;
  std::string out, err;
  bool hasOut = false, hasErr = false;
  int status = -1;
  bool asIs = false, alone = false;
  std::string linuxReason;  // why it can't hold on Windows; empty if it can
};

enum class Variant { plain, crLf, lfCr, cr, second };

// The unit that fails in front of a case's own. It is stopped at its 25th error, in the middle of an
// argument within a directive within a group; where the case has lifted that limit, it goes on from there
// to the end of its text.
const char* const failingName = "zzfail.c";

std::string failingText() {
  std::string text = "#if 1\n#define NAME wrong\n#define X wrong\n#define f(x) #x wrong x\n";
  text += "#define g(x) f(x)\n#pragma left \"over\nL'a' \"\n";
  for (int i = 0; i < 24; i++) text += "#unknown\n";
  text += "#if f(g(L\"x\" 1 'x\n#endif\n";
  return text;
}

// Puts one section into its case.
void addSection(Case& result, const std::string& head, const std::string& text) {
  result.sections.emplace_back(head, text);
  const size_t blank = head.find(' ');
  const std::string keyword = head.substr(0, blank);
  const std::string rest = blank == std::string::npos ? "" : head.substr(blank + 1);
  if (keyword == "args") {
    result.arguments = splitWords(rest);
    for (std::string& word : result.arguments) word = decode(word, "\n");
  } else if (keyword == "file") {
    result.files.emplace_back(rest, text);
  } else if (keyword == "env") {
    result.environment[rest.substr(0, rest.find('='))] = rest.substr(rest.find('=') + 1);
  } else if (keyword == "output") {
    result.outputs[rest] = decode(text, "\n");
  } else if (keyword == "exact") {
    result.exacts[rest] = decode(text, "\n");
  } else if (keyword == "exists") {
    result.existing.push_back(rest);
  } else if (keyword == "messages") {
    result.messages = decode(text, "\n");
  } else if (keyword == "stdout") {
    result.out = text;
    result.hasOut = true;
  } else if (keyword == "stderr") {
    result.err = text;
    result.hasErr = true;
  } else if (keyword == "status") {
    result.status = std::stoi(rest);
  } else if (keyword == "as-is") {
    result.asIs = true;
  } else if (keyword == "alone") {
    result.alone = true;
  } else if (keyword == "linux" && !rest.empty()) {
    result.linuxReason = rest;
  } else {
    fprintf(stderr, "%s: unknown keyword '%s'\n", result.place.c_str(), keyword.c_str());
    exit(2);
  }
}

// The exit status of a run with these messages, if the case names no other.
int statusOf(const std::string& messages) {
  const std::string lines = "\n" + messages;
  return lines.find("\nError ") != std::string::npos || lines.find("\nFatal ") != std::string::npos;
}

// Reads all cases of a file.
std::vector<Case> readCases(const std::filesystem::path& path) {
  std::vector<Case> cases;
  std::string head, text;
  bool inSection = false;
  const auto finishSection = [&] {
    if (inSection) addSection(cases.back(), head, text);
    inSection = false;
    text.clear();
  };
  int number = 0;
  for (const std::string& line : splitLines(readFile(path))) {
    number++;
    if (line.starts_with("=== ")) {
      if (text.ends_with("\n\n") || text == "\n") text.pop_back();
      finishSection();
      Case next;
      next.name = line.substr(4);
      next.place = path.filename().string() + ":" + std::to_string(number);
      next.lines.push_back(line);
      cases.push_back(next);
      continue;
    }
    if (!cases.empty()) cases.back().lines.push_back(line);
    if (line.starts_with("--- ")) {
      finishSection();
      head = line.substr(4);
      inSection = true;
    } else if (inSection) {
      text += line + "\n";
    }
  }
  finishSection();
  for (Case& one : cases) {
    if (one.arguments.empty() && !one.files.empty()) one.arguments = {one.files.front().first};
    if (one.status < 0) one.status = statusOf(one.messages);
  }
  return cases;
}

// CR LF and lone CR as a line feed.
std::string plainLineEnds(const std::string& text) {
  std::string result;
  for (size_t i = 0; i < text.size(); i++) {
    if (text[i] != '\r') {
      result += text[i];
    } else if (i + 1 >= text.size() || text[i + 1] != '\n') {
      result += '\n';
    }
  }
  return result;
}

// Drops the line marker at the start of a line, if there is one.
std::string withoutMarker(const std::string& line) {
  if (line.starts_with("#line ") && line.ends_with('"')) return "";
  if (!line.starts_with("/* ")) return line;
  const size_t close = line.find(": */");
  if (close == std::string::npos || close == 0 || isdigit(static_cast<unsigned char>(line[close - 1])) == 0)
    return line;
  return line.substr(close + 4);
}

// The text of an output without markers, empty lines and blanks at both ends of lines.
std::string strip(const std::string& text) {
  std::string result;
  for (const std::string& line : splitLines(plainLineEnds(text))) {
    std::string rest = withoutMarker(line);
    rest.erase(rest.find_last_not_of(" \t") + 1);
    rest.erase(0, rest.find_first_not_of(" \t"));
    if (!rest.empty()) result += rest + "\n";
  }
  return result;
}

// The exact form: CR LF as a line feed, and a last line that ends in one, as a section's does.
std::string exactForm(const std::string& text) {
  std::string result;
  for (size_t i = 0; i < text.size(); i++) {
    if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') continue;
    result += text[i];
  }
  return result + "\n";
}

// A stream with the lines of its expected text that leave their rest open in place of those they match.
std::string withOpenLines(const std::string& expected, const std::string& actual) {
  const std::vector<std::string> want = splitLines(expected), got = splitLines(actual);
  std::string shown;
  for (size_t i = 0; i < got.size(); i++) {
    const std::string open = "{{*}}";
    if (i < want.size() && want[i].ends_with(open) &&
        got[i].starts_with(decode(want[i].substr(0, want[i].size() - open.size()), "\n"))) {
      shown += want[i] + "\n";
    } else {
      shown += got[i] + "\n";
    }
  }
  return shown;
}

// The expected text of a stream without its escapes, but for open rests.
std::string decodeStream(const std::string& expected) {
  std::string decoded;
  for (const std::string& line : splitLines(expected)) {
    decoded += (line.ends_with("{{*}}") ? line : decode(line, "\n")) + "\n";
  }
  return decoded;
}

void compareStream(const std::string& expected, const std::string& actual, const char* stream) {
  EXPECT_EQ(decodeStream(expected), withOpenLines(expected, actual)) << stream;
}

// The messages that don't belong to the failing unit.
std::string ownMessages(const std::string& messages) {
  std::string result;
  for (const std::string& line : splitLines(messages)) {
    const std::string name = std::string(" ") + failingName;
    if (line.find(name + " ") == std::string::npos && line.find(name + ":") == std::string::npos) {
      result += line + "\n";
    }
  }
  return result;
}

// The place of the one source argument, or -1 if there isn't exactly one or it isn't plain.
int sourceArgument(const Case& one) {
  int found = -1;
  for (size_t i = 0; i < one.arguments.size(); i++) {
    const char first = one.arguments[i].empty() ? '-' : one.arguments[i][0];
    if (first == '@') return -1;
    if (first == '-' || first == '/' || first == '+') continue;
    if (found >= 0) return -1;
    found = static_cast<int>(i);
  }
  return found;
}

// Compares the outputs in the directory with those of the case.
void compareOutputs(const Case& one, Variant variant, const std::filesystem::path& directory) {
  std::vector<std::string> expected = one.existing;
  for (const auto& [name, text] : one.outputs) expected.push_back(name);
  for (const auto& [name, text] : one.exacts) expected.push_back(name);
  for (const auto& [name, text] : one.files) {
    if (name.ends_with(".i")) expected.push_back(name);
  }
  std::sort(expected.begin(), expected.end());
  expected.erase(std::unique(expected.begin(), expected.end()), expected.end());
  std::vector<std::string> outputs, others;
  for (const std::string& name : expected) (name.ends_with(".i") ? outputs : others).push_back(name);
  std::vector<std::string> present = outputsIn(directory);
  if (variant == Variant::second) std::erase(present, "zzfail.i");
  EXPECT_EQ(outputs, present);
  for (const std::string& name : others) EXPECT_TRUE(std::filesystem::exists(directory / name)) << name;
  for (const auto& [name, text] : one.outputs) {
    EXPECT_EQ(text, strip(readFile(directory / name))) << name;
  }
  for (const auto& [name, text] : one.exacts) {
    const std::string written = readFile(directory / name);
    if (variant == Variant::cr) {
      EXPECT_EQ(strip(text), strip(written)) << name;
    } else {
      EXPECT_EQ(text, exactForm(written)) << name;
    }
  }
}

// How long a run may take.
unsigned caseSeconds() {
  const char* const value = std::getenv("VSP_CASE_SECONDS");
  return value != nullptr ? unsigned(std::stoul(value)) : 10;
}

// Writes the files of a case and runs the program.
RunResult runProgram(const Case& one, Variant variant, const std::filesystem::path& directory,
                     const std::string& program = RunSetup().program) {
  const std::string lineEnd = variant == Variant::crLf   ? "\r\n"
                              : variant == Variant::lfCr ? "\n\r"
                              : variant == Variant::cr   ? "\r"
                                                         : "\n";
  for (const auto& [name, text] : one.files) writeFile(directory / name, decode(text, lineEnd));
  RunSetup setup;
  setup.directory = directory;
  setup.program = program;
  setup.arguments = one.arguments;
  setup.environment = one.environment;
  setup.seconds = caseSeconds();
  setup.inChild = [] {
    // A program that writes for ever must not fill the disk until its time is over.
    const rlimit limit = {rlim_t{1} << 28, rlim_t{1} << 28};
    setrlimit(RLIMIT_FSIZE, &limit);
  };
  if (variant == Variant::second) {
    writeFile(directory / failingName, failingText());
    setup.arguments.insert(setup.arguments.begin() + sourceArgument(one), failingName);
  }
  return run(setup);
}

// The contents of all files below a directory, by their names.
std::map<std::string, std::string> filesBelow(const std::filesystem::path& directory) {
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
    if (entry.is_regular_file()) files[entry.path().lexically_relative(directory)] = readFile(entry.path());
  }
  return files;
}

// Runs the case with the other program too, which must give the same bytes everywhere.
void compareWithTwin(const Case& one, Variant variant, const std::string& twin, const RunResult& result,
                     const std::filesystem::path& directory) {
  const ScratchDirectory scratch;
  const RunResult other = runProgram(one, variant, scratch.path(), twin);
  EXPECT_EQ(other.out, result.out) << "standard output of the two programs";
  EXPECT_EQ(other.err, result.err) << "standard error of the two programs";
  EXPECT_EQ(other.status, result.status) << "status of the two programs";
  EXPECT_EQ(filesBelow(scratch.path()), filesBelow(directory)) << "files of the two programs";
}

// Places of the cases that had to be killed; their other variants don't run.
std::set<std::string> killedCases;

// Runs a case in one of its variants.
void runCase(const Case& one, Variant variant) {
  if (!one.linuxReason.empty() && placeOf("VSP_HOST", "linux") == "windows") GTEST_SKIP() << one.linuxReason;
  if (killedCases.contains(one.place)) GTEST_SKIP() << "killed in an earlier variant";
  const ScratchDirectory scratch;
  const RunResult result = runProgram(one, variant, scratch.path());
  if (result.timedOut) {
    killedCases.insert(one.place);
    FAIL() << "the program was killed after " << caseSeconds() << " seconds";
  }
  const std::string messages = messagesOf(result.out);
  if (variant == Variant::second) {
    EXPECT_EQ(one.messages, ownMessages(messages)) << result.out;
    EXPECT_EQ(1, result.status);
  } else {
    EXPECT_EQ(one.messages, messages) << result.out;
    EXPECT_EQ(one.status, result.status);
    if (one.hasOut) compareStream(one.out, plainLineEnds(result.out), "stdout");
  }
  compareStream(one.err, result.err, "stderr");
  compareOutputs(one, variant, scratch.path());
  const std::string twin = placeOf("VSP_TWIN", "");
  if (!twin.empty()) compareWithTwin(one, variant, twin, result, scratch.path());
}

// --- Writing what a case expects ---

// A text of whole lines as a section holds it.
std::string encode(const std::string& text) {
  std::string result;
  for (size_t i = 0; i < text.size(); i++) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const bool lineStart = i == 0 || text[i - 1] == '\n';
    const bool keyword = lineStart && (text.compare(i, 4, "=== ") == 0 || text.compare(i, 4, "--- ") == 0);
    const bool plain = (byte >= ' ' && byte < 0x7F) || byte == '\t' || byte == '\n';
    if (plain && !keyword && text.compare(i, 2, "{{") != 0) {
      result += text[i];
    } else {
      const char* const digits = "0123456789ABCDEF";
      result += std::string("{{") + digits[byte >> 4] + digits[byte & 15] + "}}";
    }
  }
  if (!text.empty() && text.back() != '\n') result += "{{end}}\n";
  return result;
}

// Makes `actual` the text of the section with this head, or drops the section if there is none. A
// section that says the same stays as it is written.
void setSection(Case& one, const std::string& head, const std::string& expected,
                const std::optional<std::string>& actual) {
  const auto found = std::find_if(one.sections.begin(), one.sections.end(),
                                  [&](const auto& section) { return section.first == head; });
  const bool exists = found != one.sections.end();
  if (actual.has_value() == exists && (!exists || *actual == expected)) return;
  one.changed = true;
  if (!actual.has_value())
    one.sections.erase(found);
  else if (exists)
    found->second = encode(*actual);
  else
    one.sections.emplace_back(head, encode(*actual));
}

std::optional<std::string> unlessEmpty(const std::string& text) {
  return text.empty() ? std::nullopt : std::optional(text);
}

// Makes what the program gives the expectation of the case.
void updateCase(Case& one) {
  const ScratchDirectory scratch;
  const RunResult result = runProgram(one, Variant::plain, scratch.path());
  if (result.timedOut) FAIL() << "the program was killed after " << caseSeconds() << " seconds";
  std::set<std::string> names;
  for (const std::string& name : outputsIn(scratch.path())) names.insert(name);
  for (const auto& [name, text] : one.files) names.erase(name);
  for (const auto& [name, text] : one.outputs) names.insert(name);
  for (const auto& [name, text] : one.exacts) names.insert(name);
  for (const std::string& name : one.existing) {
    names.erase(name);
    if (!std::filesystem::exists(scratch.path() / name)) setSection(one, "exists " + name, "", std::nullopt);
  }
  for (const std::string& name : names) {
    const bool exact = one.exacts.contains(name);
    std::optional<std::string> actual;
    if (std::filesystem::exists(scratch.path() / name)) {
      const std::string written = readFile(scratch.path() / name);
      actual = exact ? exactForm(written) : strip(written);
    }
    setSection(one, (exact ? "exact " : "output ") + name, exact ? one.exacts[name] : one.outputs[name],
               actual);
  }
  const std::string messages = messagesOf(result.out);
  setSection(one, "messages", one.messages, unlessEmpty(messages));
  if (one.hasOut)
    setSection(one, "stdout", decodeStream(one.out), withOpenLines(one.out, plainLineEnds(result.out)));
  setSection(one, "stderr", decodeStream(one.err), unlessEmpty(withOpenLines(one.err, result.err)));
  if (result.status != one.status) setSection(one, "status " + std::to_string(one.status), "", std::nullopt);
  if (result.status != statusOf(messages)) setSection(one, "status " + std::to_string(result.status), "", "");
}

// Writes a file of cases again, with the sections of those that have changed.
void writeCases(const std::filesystem::path& path, const std::vector<Case>& cases) {
  std::string text;
  for (const std::string& line : splitLines(readFile(path))) {
    if (line.starts_with("=== ")) break;
    text += line + "\n";
  }
  for (const Case& one : cases) {
    for (const std::string& line : one.lines) {
      if (one.changed && line.starts_with("--- ")) break;
      text += line + "\n";
    }
    if (!one.changed) continue;
    printf("%s: %s: written\n", one.place.c_str(), one.name.c_str());
    for (const auto& [head, body] : one.sections) text += "--- " + head + "\n" + body;
    if (&one != &cases.back()) text += "\n";
  }
  writeFile(path, text);
}

// A test for one case: a run in one variant, or writing its expectation.
class CaseTest : public testing::Test {
 public:
  CaseTest(Case& one, Variant variant, bool update) : case_(one), variant_(variant), update_(update) {}
  void TestBody() override {
    SCOPED_TRACE(case_.place);
    if (update_)
      updateCase(case_);
    else
      runCase(case_, variant_);
  }

 private:
  Case& case_;
  Variant variant_;
  bool update_;
};

// A file of cases, kept until all tests have run.
struct CaseFile {
  std::filesystem::path path;
  std::vector<Case> cases;
};

// Adds the tests of one file.
void addTests(CaseFile& file, bool update) {
  const std::string theme = file.path.stem().string();
  for (Case& one : file.cases) {
    const auto add = [&](Variant variant, const char* suffix) {
      testing::RegisterTest(
          theme.c_str(), (one.name + suffix).c_str(), nullptr, nullptr, __FILE__, __LINE__,
          [&one, variant, update]() -> testing::Test* { return new CaseTest(one, variant, update); });
    };
    add(Variant::plain, "");
    if (update) continue;
    if (!one.asIs) {
      add(Variant::crLf, " (CR LF)");
      add(Variant::lfCr, " (LF CR)");
      add(Variant::cr, " (CR)");
    }
    if (!one.alone && sourceArgument(one) >= 0) add(Variant::second, " (second)");
  }
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  bool update = false;
  std::deque<CaseFile> files;
  for (int i = 1; i < argc; i++) {
    if (std::string(argv[i]) == "--update") {
      update = true;
      continue;
    }
    files.push_back({argv[i], readCases(argv[i])});
    if (files.back().cases.empty()) {
      fprintf(stderr, "%s: no cases\n", argv[i]);
      return 2;
    }
  }
  for (CaseFile& file : files) addTests(file, update);
  const int status = RUN_ALL_TESTS();
  if (update) {
    for (const CaseFile& file : files) writeCases(file.path, file.cases);
  }
  return status;
}
