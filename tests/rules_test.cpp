// Reads the sources and fails where they leave the rules that the design rests on: headers include
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

// The place of a header, told by its path below src, in the order of inclusion.
int rank(const std::string& path) {
  if (path == "base.h") return 0;
  if (path == "scanner/token.h" || path == "scanner/tokens.def" || path == "scanner/identifiers.h" ||
      path == "scanner/keywords.def") {
    return 5;
  }
  const std::array<const char*, 12> folders = {"",         "platform/",  "memory/", "diag/",
                                               "options/", "",           "input/",  "scanner/",
                                               "macro/",   "directive/", "expr/",   "driver/"};
  for (size_t i = 0; i < folders.size(); i++) {
    if (folders[i][0] != 0 && path.starts_with(folders[i])) return static_cast<int>(i);
  }
  return -1;
}

std::string below(const fs::path& path) {
  return fs::relative(path, sourceRoot).generic_string();
}

TEST(Rules, HeadersIncludeOnlyWhatStandsBefore) {
  const std::regex include("^#include \"([^\"]+)\"");
  size_t seen = 0;
  for (const fs::path& path : sources({".h"})) {
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
  EXPECT_GT(seen, 20U);
}

// A .cpp includes its own header first, and later headers only under their comment.
TEST(Rules, SourcesIncludeTheirHeaderFirst) {
  const std::regex include("^#include \"([^\"]+)\"");
  for (const fs::path& path : sources({".cpp"})) {
    const std::string own = below(path);
    std::string first;
    bool later = false;
    std::ifstream stream(path);
    for (std::string line; std::getline(stream, line);) {
      if (line == "// Called from here, defined later:") later = true;
      std::smatch match;
      if (!std::regex_search(line, match, include) || !match[1].str().ends_with(".h")) continue;
      if (first.empty()) first = match[1].str();
      const int place = rank(own) == 7 && rank(match[1].str()) == 5 ? 7 : rank(match[1].str());
      EXPECT_TRUE(later || place <= std::max(rank(own), rank(first))) << own << ": " << line;
    }
    const fs::path header = fs::path(path).replace_extension(".h");
    EXPECT_TRUE(!fs::exists(header) || below(header) == first) << own << " begins with " << first;
  }
}

TEST(Rules, SystemHeadersStayInPlatform) {
  const std::vector<std::string> allowed = {
      "algorithm", "array",   "bit",     "cfenv",    "cfloat",      "charconv",         "climits",    "cmath",
      "csetjmp",   "cstdarg", "cstddef", "cstdint",  "cstdio",      "cstdlib",          "cstring",    "ctime",
      "limits",    "new",     "utility", "setjmp.h", "emmintrin.h", "initializer_list", "type_traits"};
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
      "std::(string|vector|map|set|list|deque|unordered_|unique_ptr|shared_ptr|function|optional|ostream|"
      "istream|fstream|cout|cerr)|\\b(virtual|throw|try|catch|namespace|dynamic_cast|typeid)\\b");
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
