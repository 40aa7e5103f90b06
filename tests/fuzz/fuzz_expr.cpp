// Fuzzes the expressions of #if: each line of the input is one expression, tried as C and as C++.

#include "in_process.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  enterScratch();
  std::string text = "#define ONE 1\n#define ID(x) x\n";
  std::string line;
  for (size_t i = 0; i <= size; i++) {
    const char c = i < size ? static_cast<char>(data[i]) : '\n';
    line += c;
    if (c == '\n') {
      text += "#if " + line + "true\n#endif\n";
      line.clear();
    }
  }
  writeFile("a.c", text);
  writeFile("a.cpp", text);
  runOn({"-j0", "-g0", "-w", "a.c", "a.cpp"});
  return 0;
}
