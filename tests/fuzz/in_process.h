// Shared by the fuzz targets: runs the whole program inside the process, in a scratch directory below
// $FUZZ_SCRATCH.
//
// The input is cut into parts by lines that hold "----" alone; a part that is missing is empty.

#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "driver/program.h"

// Moves into a directory of this process's own, once.
inline void enterScratch() {
  static bool entered = false;
  if (entered) return;
  entered = true;
  // The fuzzer ends without running what atexit holds, so the caller removes the directory.
  const char* const parent = getenv("FUZZ_SCRATCH");
  std::string pattern = std::string(parent != nullptr ? parent : "/tmp") + "/fuzz-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr || chdir(pattern.c_str()) != 0) abort();
}

// The parts of an input.
inline std::vector<std::string> splitParts(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::string separator = "\n----\n";
  std::vector<std::string> parts;
  size_t start = 0;
  for (size_t end = 0; end != std::string::npos; start = end + separator.size()) {
    end = text.find(separator, start);
    parts.push_back(text.substr(start, end == std::string::npos ? end : end - start));
  }
  return parts;
}

// The words of a line, at most `limit` of them, without any that lead out of the scratch directory or
// out of the process.
inline std::vector<std::string> splitWords(const std::string& line, size_t limit) {
  std::vector<std::string> words;
  std::string word;
  for (const char c : line + " ") {
    if (c != ' ' && c != '\n' && c != '\0') {
      word += c;
    } else if (!word.empty() && words.size() < limit) {
      words.push_back(word);
      word.clear();
    }
  }
  std::erase_if(words, [](const std::string& one) {
    return one.find("..") != std::string::npos || one.starts_with("-o") || one.starts_with("/") ||
           one.starts_with("-n") || one.find(':') != std::string::npos || one.starts_with("--jobs") ||
           one.starts_with("--stdin") ||
           (one.starts_with("--") && one.find_first_of("/\\") != std::string::npos);
  });
  return words;
}

// Writes a file of the scratch directory.
inline void writeFile(const char* name, const std::string& text) {
  FILE* file = fopen(name, "wb");
  if (file == nullptr) abort();
  fwrite(text.data(), 1, text.size(), file);
  fclose(file);
}

// Runs the program on a command line.
inline void runOn(std::vector<std::string> words) {
  words.insert(words.begin(), "vsp32");
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  runProgram(static_cast<int>(argv.size()) - 1, argv.data());
}
