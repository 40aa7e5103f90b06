// The protected levels: each is a record in the frame of runProtected, linked to
// the level outside it.

#include "diag/fatal.h"

#include <setjmp.h>

#include <cstdlib>

struct ProtectedLevel {
  jmp_buf context;
  ProtectedLevel* outer;
};

static constinit ProtectedLevel* innermost = nullptr;

bool runProtected(void (*body)(void* argument), void* argument) {
  ProtectedLevel level;
  level.outer = innermost;
  innermost = &level;
  if (setjmp(level.context) == 0) {
    body(argument);
    innermost = level.outer;
    return true;
  }
  innermost = level.outer;
  return false;
}

void forgetLevels() {
  innermost = nullptr;
}

void leaveLevel() {
  if (innermost == nullptr) std::abort();
  longjmp(innermost->context, 1);
}

void leaveRun() {
  while (innermost != nullptr && innermost->outer != nullptr) innermost = innermost->outer;
  leaveLevel();
}
