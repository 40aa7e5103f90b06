// Splitting, joining and comparing of paths as the program's user writes them.
//
// Knows both separators and the drive, and nothing of the host: the same on
// every platform. Works on text alone; no file is touched.

#pragma once

#include "base.h"

// The longest path that the searches build, without its NUL.
constexpr size_t pathLimit = 260;

inline bool isSeparator(char c) {
  return c == '\\' || c == '/';
}

// The table of the bytes that begin a double-byte character (256 entries, not 0
// for such a byte), null where there are none. A trail byte may look like a
// separator and is none.
extern const Byte* pathLeadBytes;

// How many bytes the character at `text` takes: 2 for a double-byte one.
inline size_t pathCharLength(const char* text) {
  return pathLeadBytes != nullptr && pathLeadBytes[Byte(text[0])] != 0 && text[1] != 0 ? 2 : 1;
}

// Where the parts of a path begin. The directory is path[driveLength ..
// nameStart), with its closing separator; the extension is path[extension ..
// length), with its dot, empty if there is none. "a.b\c" has no extension: it
// is that of the last component.
struct PathParts {
  size_t driveLength;  // 2 for "X:", else 0
  size_t nameStart;    // first byte of the last component
  size_t extension;    // index of the last dot of that component, or length
  size_t length;       // of the whole path
};

PathParts splitPath(const char* path);

// True if a name can be put after the `length` bytes of `path` as it stands: it
// ends in a separator or in the colon of a drive.
bool endsInSeparator(const char* path, size_t length);

// True for a name with a drive or with a separator in front.
bool isRootedPath(const char* path);

// ASCII lower case to upper case.
inline Byte foldCase(Byte c) {
  return (c >= 'a' && c <= 'z') ? Byte(c - 0x20) : c;
}

// Copies `length` bytes of a path to `target`, its ASCII letters in upper case. The
// second byte of a double-byte character is no letter.
void copyFolded(char* target, const char* path, size_t length);

// True if the two names are equal when ASCII case is folded.
bool sameFileName(const char* a, const char* b);
