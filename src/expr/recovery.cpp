// Recovery from a syntax error: nothing more of the line is read.

#include "expr/recovery.h"

#include "diag/position.h"
#include "diag/report.h"
#include "scanner/token.h"

void syntaxError(MessageId id) {
  messageLine = tokenState.line;
  reportError(id);
  skipRestOfLine();
}

void skipRestOfLine() {
  messageLine = tokenState.line;
  while (tokenState.code != tokEndOfFile && tokenState.code != tokEndOfLine) getToken();
}
