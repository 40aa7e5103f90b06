// Reading of the host's directories.

#include "platform/directory_posix.h"

#include <errno.h>

DIR* openDirectory(const char* name) {
  for (;;) {
    DIR* const directory = opendir(name);
    if (directory != nullptr || errno != EINTR) return directory;
  }
}

const dirent* nextEntry(DIR* directory) {
  for (;;) {
    errno = 0;
    const dirent* const entry = readdir(directory);
    if (entry != nullptr || errno != EINTR) return entry;
  }
}
