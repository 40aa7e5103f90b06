// Reading of the host's directories, for the files of this folder.

#pragma once

#include <dirent.h>

// opendir, to which a signal in between does not count.
DIR* openDirectory(const char* name);

// readdir, likewise. Null at the end, where errno is 0, and on a failure, where it
// is not.
const dirent* nextEntry(DIR* directory);
