// Makes random programs for the comparison of the fast paths with the ordinary ways.
//
// A program is written from a rough grammar of what a preprocessor meets, so that most of it means
// something: definitions, calls over several lines, groups, directives, literals, numbers. Blanks,
// comments and line splices may stand at every place. Then bytes are changed, and line ends take one
// of their forms. All of it follows from the seed.

#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// One command line with its files.
struct Batch {
  std::vector<std::string> switches;
  std::vector<std::pair<std::string, std::string>> headers;  // name and text
  std::vector<std::pair<std::string, std::string>> sources;
};

// The batch of a seed, with `count` sources.
Batch makeBatch(uint64_t seed, int count);
