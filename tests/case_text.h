// The text of .case files, as run_cases.cpp tells: the escapes of sections and the words of a command
// line.

#pragma once

#include <string>
#include <vector>

// Replaces the escapes of a text; line feeds outside them become `lineEnd`.
inline std::string decode(const std::string& text, const std::string& lineEnd) {
  std::string result;
  for (size_t i = 0; i < text.size(); i++) {
    if (text.compare(i, 2, "{{") != 0) {
      result += text[i] == '\n' ? lineEnd : std::string(1, text[i]);
      continue;
    }
    const size_t close = text.find("}}", i);
    std::string item = text.substr(i + 2, close - i - 2);
    i = close + 1;
    if (item == "end") {
      i++;
      continue;
    }
    size_t count = 1;
    if (const size_t star = item.rfind('*'); star != std::string::npos && item.size() > 1) {
      count = std::stoul(item.substr(star + 1));
      item.resize(star);
    }
    std::string piece;
    if (item.starts_with('"')) {
      for (const char c : item.substr(1, item.size() - 2)) piece += c == '\n' ? lineEnd : std::string(1, c);
    } else {
      piece = static_cast<char>(std::stoul(item, nullptr, 16));
    }
    for (; count > 0; count--) result += piece;
  }
  return result;
}

// The words of a command line.
inline std::vector<std::string> splitWords(const std::string& text) {
  std::vector<std::string> words;
  std::string word;
  bool quoted = false, started = false;
  for (const char c : text) {
    if (c == '"') {
      quoted = !quoted;
      started = true;
    } else if (c == ' ' && !quoted) {
      if (started || !word.empty()) words.push_back(word);
      word.clear();
      started = false;
    } else {
      word += c;
    }
  }
  if (started || !word.empty()) words.push_back(word);
  return words;
}
