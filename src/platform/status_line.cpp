// The line is overwritten from its start with as many blanks as it is long: that works on terminals of any
// kind.

#include "platform/status_line.h"

#include <cstring>

#include "platform/files.h"

constexpr size_t statusLineRoom = 512;

static constinit size_t shownLength = 0;

void eraseStatusLine() {
  if (shownLength == 0) return;
  char text[statusLineRoom + 2];
  const size_t length = shownLength;
  shownLength = 0;
  text[0] = '\r';
  std::memset(text + 1, ' ', length);
  text[length + 1] = '\r';
  (void)writeErrorStream(text, length + 2);
}

void showStatusLine(const char* text, size_t length) {
  const int width = errorStreamWidth();
  if (width < 2) return;
  size_t room = size_t(width) - 1;
  if (room > statusLineRoom) room = statusLineRoom;
  if (length > room) length = room;
  eraseStatusLine();
  (void)writeErrorStream(text, length);
  shownLength = length;
}
