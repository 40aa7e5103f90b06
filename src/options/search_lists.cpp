// The search lists, which last for the run.

#include "options/search_lists.h"

#include "memory/memory.h"
#include "platform/paths.h"

constinit SearchList includeDirs = {};
constinit SearchList libraryDirs = {};

// Appends one directory to a list: without its quotes, and with a closing
// separator.
static void addDir(SearchList& list, const char* item, size_t length) {
  char* const path = static_cast<char*>(permAlloc(length + 2));
  size_t used = 0;
  for (size_t i = 0; i < length; ++i)
    if (item[i] != '"') path[used++] = item[i];
  if (used != 0 && !endsInSeparator(path, used)) path[used++] = '\\';
  path[used] = 0;
  DirNode* const node = permRecord<DirNode>();
  *node = {nullptr, path};
  (list.first == nullptr ? list.first : list.last->next) = node;
  list.last = node;
}

void addDirs(SearchList& list, const char* text) {
  const char* item = text;
  for (;; ++text) {
    if (*text != ';' && *text != 0) continue;
    if (text != item) addDir(list, item, size_t(text - item));
    if (*text == 0) return;
    item = text + 1;
  }
}

void clearSearchLists() {
  includeDirs = {};
  libraryDirs = {};
}
