// Fuzzes the command line, the configuration file and a response file: the three parts of the input.

#include "in_process.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  enterScratch();
  std::vector<std::string> parts = splitParts(data, size);
  parts.resize(3);
  std::vector<std::string> words = splitWords(parts[0], 12);
  writeFile("a.c", "int a;\n");
  writeFile("vsc32.cfg", parts[1]);
  writeFile("r.rsp", parts[2]);
  words.push_back("@r.rsp");
  words.push_back("a.c");
  runOn(std::move(words));
  return 0;
}
