// A type-library reader for the tests. It reads no library: it writes down what it was told, one line a
// call, into the file that TLB_LOG names, and answers with TLB_RESULT and TLB_NAME.
//
// ENTRY is the name under which it is exported, so that one without the right entry can be built too;
// CONVENTION is how it is called, where there is a choice.

#include <cstdio>
#include <cstdlib>
#include <cstring>

#ifndef CONVENTION
#define CONVENTION
#endif

extern "C" int CONVENTION ENTRY(const char* path, const char* attributes, int zero, char* generatedName) {
  if (std::FILE* const log = std::fopen(std::getenv("TLB_LOG"), "a")) {
    std::fprintf(log, "%s|%s|%d\n", path, attributes, zero);
    std::fclose(log);
  }
  std::strcpy(generatedName, std::getenv("TLB_NAME"));
  return std::atoi(std::getenv("TLB_RESULT"));
}
