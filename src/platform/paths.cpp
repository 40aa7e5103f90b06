// Paths as text. A drive is one character and a colon; the last component
// begins behind the last separator, or behind the drive.

#include "platform/paths.h"

#include <cstring>

PathParts splitPath(const char* path) {
  const size_t length = std::strlen(path);
  PathParts parts{};
  parts.length = length;
  if (length >= 2 && path[1] == ':' && !isSeparator(path[0])) parts.driveLength = 2;
  parts.nameStart = length;
  while (parts.nameStart > parts.driveLength && !isSeparator(path[parts.nameStart - 1])) --parts.nameStart;
  parts.extension = length;
  for (size_t i = length; i > parts.nameStart; --i) {
    if (path[i - 1] != '.') continue;
    parts.extension = i - 1;
    break;
  }
  return parts;
}

bool isRootedPath(const char* path) {
  return isSeparator(path[0]) || (path[0] != 0 && path[1] == ':');
}

bool sameFileName(const char* a, const char* b) {
  size_t i = 0;
  while (foldCase(Byte(a[i])) == foldCase(Byte(b[i]))) {
    if (a[i] == 0) return true;
    ++i;
  }
  return false;
}
