// Paths as text. A drive is one character and a colon; the last component
// begins after the last separator, or after the drive.

#include "platform/paths.h"

#include <cstring>

constinit const Byte* pathLeadBytes = nullptr;

PathParts splitPath(const char* path) {
  PathParts parts{};
  if (path[0] != 0 && path[1] == ':' && !isSeparator(path[0])) parts.driveLength = 2;
  parts.nameStart = parts.driveLength;
  size_t dot = 0;
  size_t i = parts.driveLength;
  while (path[i] != 0) {
    const size_t size = pathCharLength(path + i);
    if (size == 1 && isSeparator(path[i])) {
      parts.nameStart = i + 1;
      dot = 0;
    } else if (size == 1 && path[i] == '.') {
      dot = i + 1;
    }
    i += size;
  }
  parts.length = i;
  parts.extension = dot != 0 ? dot - 1 : i;
  return parts;
}

bool endsInSeparator(const char* path, size_t length) {
  if (length == 0) return false;
  size_t last = 0;
  for (size_t i = 0; i < length; i += pathCharLength(path + i)) last = i;
  return last == length - 1 && (isSeparator(path[last]) || path[last] == ':');
}

bool isRootedPath(const char* path) {
  return isSeparator(path[0]) || (path[0] != 0 && path[1] == ':');
}

void copyFolded(char* target, const char* path, size_t length) {
  for (size_t i = 0; i < length; ++i) {
    const bool isPair = pathCharLength(path + i) == 2 && i + 1 < length;
    target[i] = isPair ? path[i] : char(foldCase(Byte(path[i])));
    if (isPair) {
      ++i;
      target[i] = path[i];
    }
  }
}

bool sameFileName(const char* a, const char* b) {
  size_t i = 0;
  while (foldCase(Byte(a[i])) == foldCase(Byte(b[i]))) {
    if (a[i] == 0) return true;
    ++i;
  }
  return false;
}
