// Response files and the configuration file.
//
// The two look alike and are read by different rules: a response file is
// expanded in place in the argument vector and may name files; the
// configuration file holds switches only.

#pragma once

#include "base.h"

// Replaces every argument "@name" by the tokens of the file `name`. `argv` and
// `argc` are replaced if there was any. A missing file ends the process with
// status 1.
void expandResponseFiles(char**& argv, int& argc);

// The name of the configuration file that is read without being asked for.
constexpr char defaultConfigFile[] = "vsc32.cfg";

// The configuration file's name, defaultConfigFile until a +name replaces it.
extern const char* configFileName;

// Reads the configuration file, applying each token through parseOption. With
// `given`, a missing file ends the process; else the directory of the program is
// searched after the current one.
void readConfigurationFile(bool given);
