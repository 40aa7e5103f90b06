// Recovery from a syntax error. The tokens of the rest are fetched like any others,
// so what is wrong inside them is still reported.

#include "expr/recovery.h"

#include "diag/position.h"
#include "diag/report.h"
#include "scanner/scan.h"
#include "scanner/token.h"

std::nullptr_t syntaxError(MessageId id) {
  messageLine = tokenState.line;
  reportError(id);
  skipRestOfLine();
  return nullptr;
}

void skipRestOfLine() {
  messageLine = tokenState.line;
  while (tokenState.code != tokEndOfFile && tokenState.code != tokEndOfLine) getToken();
}
