// Reads the sources and fails where they leave the rules that the design rests on: files include
// only what stands before them in the order of the folders, system headers stay in src/platform, and
// nothing with a destructor, no exception and no virtual operation is used below the armed return,
// since a non-local return jumps over it without a word.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

const fs::path sourceRoot = fs::path(VSP_SOURCE_DIR) / "src";

// A file of src as lines, with comments and the inside of string literals taken out.
std::vector<std::string> codeLines(const fs::path& path) {
  std::ifstream stream(path);
  std::vector<std::string> lines;
  std::string line;
  bool inComment = false;
  while (std::getline(stream, line)) {
    std::string code;
    const bool isInclude = line.starts_with("#include");
    for (size_t i = 0; i < line.size(); i++) {
      if (inComment) {
        if (line.compare(i, 2, "*/") == 0) {
          inComment = false;
          i++;
        }
      } else if (line.compare(i, 2, "//") == 0) {
        break;
      } else if (line.compare(i, 2, "/*") == 0) {
        inComment = true;
        i++;
      } else if (line[i] == '"' && !isInclude) {
        for (i++; i < line.size() && line[i] != '"'; i++) {
          if (line[i] == '\\') i++;
        }
        code += "\"\"";
      } else {
        code += line[i];
      }
    }
    lines.push_back(code);
  }
  return lines;
}

// All files of src with one of the extensions.
std::vector<fs::path> sources(const std::vector<std::string>& extensions) {
  std::vector<fs::path> paths;
  for (const auto& entry : fs::recursive_directory_iterator(sourceRoot)) {
    const std::string extension = entry.path().extension().string();
    if (std::find(extensions.begin(), extensions.end(), extension) != extensions.end()) {
      paths.push_back(entry.path());
    }
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

// The folders in their order: a file includes what lies in its own folder or in one before it.
constexpr std::array<const char*, 14> folders = {"base.h",  "platform/", "diag/",      "memory/", "options/",
                                                 "record/", "output/",   "names/",     "input/",  "scanner/",
                                                 "macro/",  "expr/",     "directive/", "driver/"};

// The place of a file, told by its path below src; -1 if it lies in no known folder.
int rank(const std::string& path) {
  for (size_t i = 0; i < folders.size(); i++) {
    if (path.starts_with(folders[i])) return static_cast<int>(i);
  }
  return -1;
}

std::string below(const fs::path& path) {
  return fs::relative(path, sourceRoot).generic_string();
}

TEST(Rules, IncludesRunDown) {
  const std::regex include("^#include \"([^\"]+)\"");
  size_t seen = 0;
  for (const fs::path& path : sources({".h", ".cpp"})) {
    const std::string own = below(path);
    EXPECT_GE(rank(own), 0) << own << " lies in no known folder";
    for (const std::string& line : codeLines(path)) {
      std::smatch match;
      if (!std::regex_search(line, match, include)) continue;
      seen++;
      EXPECT_TRUE(fs::exists(sourceRoot / match[1].str())) << own << ": " << line;
      EXPECT_LE(rank(match[1].str()), rank(own)) << own << ": " << line;
    }
  }
  EXPECT_GT(seen, 200U);
}

// The calls that run up the order are declared in one header, and each is defined in a folder above.
TEST(Rules, CallsUpAreNamedInOnePlace) {
  const std::regex declaration("\\b(\\w+)\\([^()]*\\);");
  size_t seen = 0;
  for (const std::string& line : codeLines(sourceRoot / "scanner/upcalls.h")) {
    std::smatch match;
    if (!std::regex_search(line, match, declaration)) continue;
    seen++;
    const std::regex definition("^\\w.*\\b" + match[1].str() + "\\(.*\\{$");
    size_t found = 0;
    for (const fs::path& path : sources({".cpp"})) {
      for (const std::string& code : codeLines(path)) {
        if (!std::regex_search(code, definition)) continue;
        found++;
        EXPECT_GT(rank(below(path)), rank("scanner/")) << below(path) << ": " << code;
      }
    }
    EXPECT_EQ(found, 1U) << match[1].str();
  }
  EXPECT_EQ(seen, 2U);
}

// A .cpp includes its own header first.
TEST(Rules, SourcesIncludeTheirHeaderFirst) {
  const std::regex include("^#include \"([^\"]+)\"");
  for (const fs::path& path : sources({".cpp"})) {
    const fs::path header = fs::path(path).replace_extension(".h");
    if (!fs::exists(header)) continue;
    std::string first;
    for (const std::string& line : codeLines(path)) {
      std::smatch match;
      if (first.empty() && std::regex_search(line, match, include)) first = match[1].str();
    }
    EXPECT_EQ(below(header), first) << below(path);
  }
}

TEST(Rules, SystemHeadersStayInPlatform) {
  const std::vector<std::string> allowed = {
      "algorithm",        "array",      "bit",         "cfenv",   "cfloat",   "charconv",
      "climits",          "cmath",      "csetjmp",     "cstdarg", "cstddef",  "cstdint",
      "cstdio",           "cstdlib",    "cstring",     "ctime",   "limits",   "new",
      "iterator",         "span",       "string_view", "utility", "setjmp.h", "emmintrin.h",
      "initializer_list", "type_traits"};
  const std::regex include("^#include <([^>]+)>");
  for (const fs::path& path : sources({".h", ".cpp"})) {
    const std::string own = below(path);
    const bool platform = own.starts_with("platform/") && (own.find("_posix") != std::string::npos ||
                                                           own.find("_win32") != std::string::npos);
    for (const std::string& line : codeLines(path)) {
      std::smatch match;
      if (platform || !std::regex_search(line, match, include)) continue;
      EXPECT_NE(std::find(allowed.begin(), allowed.end(), match[1].str()), allowed.end())
          << own << ": " << line;
    }
  }
}

TEST(Rules, NothingIsJumpedOver) {
  const std::regex forbidden(
      "std::(string\\b|vector|map|set|list|deque|unordered_|unique_ptr|shared_ptr|function|optional|ostream|"
      "istream|fstream|cout|cerr)|\\b(virtual|throw|try|catch|namespace|dynamic_cast|typeid)\\b|"
      // These may throw, which would also link all that exceptions need.
      "\\.(substr|at)\\(");
  const std::regex platformTest("^\\s*#\\s*(if|ifdef|ifndef|elif).*(_WIN32|__linux__|__unix__|__APPLE__)");
  for (const fs::path& path : sources({".h", ".cpp"})) {
    const std::string own = below(path);
    int number = 0;
    for (const std::string& line : codeLines(path)) {
      number++;
      EXPECT_FALSE(std::regex_search(line, forbidden)) << own << ":" << number << ": " << line;
      EXPECT_FALSE(std::regex_search(line, platformTest)) << own << ":" << number << ": " << line;
    }
  }
}

}  // namespace
