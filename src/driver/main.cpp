// The program: everything is in the core library.

#include "driver/program.h"

int main(int argc, char** argv) {
  return runProgram(argc, argv);
}
