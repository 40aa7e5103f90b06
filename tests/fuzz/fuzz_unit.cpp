// Fuzzes a whole unit: the first line of the input holds switches, then come the source and two
// headers "h" and "g.h" that it may include. A second unit runs after it in the same process, so
// that what the first one leaves behind is met too.

#include "in_process.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  enterScratch();
  std::vector<std::string> parts = splitParts(data, size);
  parts.resize(4);
  std::vector<std::string> words = splitWords(parts[0], 6);
  std::erase_if(words, [](const std::string& word) { return word[0] != '-'; });
  writeFile("a.c", parts[1]);
  writeFile("h.h", parts[2]);
  writeFile("g.h", parts[3]);
  writeFile("b.c", "#define A(x) #x\nint b = A(1) L'a';\n#if 1 + 1 == 2\nok\n#endif\n");
  words.push_back("a.c");
  words.push_back("b.c");
  runOn(std::move(words));
  return 0;
}
