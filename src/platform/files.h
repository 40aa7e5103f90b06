// Files and the console, by the names that the program's user writes.
//
// Owns the mapping from the family's spelling of a path ('\' or '/' between
// components, "X:" in front) to a name of the host, and every open, read and write;
// the making of outputs is in output_file.h. Nothing here prints or stops the program: failures are returned.

#pragma once

#include "base.h"

// Results of an open that did not succeed. After the first a search may look
// elsewhere; after the others there may be such a file, and a search that went on
// might find the wrong one.
enum OpenFailure : int {
  openFailed = -1,        // no such file, or a directory
  openTooManyFiles = -2,  // the process or the host has no descriptor left
  openNoMemory = -3,      // the host has no memory left
  openBroken = -4         // the user may not open it, or the host failed
};

// Opens `path` for reading. Returns a handle (0 or more) or an OpenFailure.
int openForReading(const char* path);

// The name of the host that the file opened last by openForReading has, with '/' between its components.
// Valid until the next one is opened.
const char* openedHostName();

// A handle of its own for the rest of standard input, or an OpenFailure.
int openStandardInput();

// Opens a file that the program looks for on its own account and that serves
// the whole run, as a configuration or a language. One whose open or reading could
// wait for ever, a named pipe, counts as missing.
int openSettings(const char* path);

// Room for what spellForHost gives.
constexpr size_t hostPathSize = 4096;

// Puts the name under which other programs of the host find the file `path` into `name`, of hostPathSize
// bytes, with '/' between its components. One that isn't there keeps its own spelling. False if it is too
// long, or if the host failed to find out.
bool spellForHost(const char* path, char* name);

// Forgets the listings of directories, which are kept to find names in another
// case. To be called where a run starts in a process that had one before: the
// current directory may have changed since.
void forgetDirectories();

// Makes the three standard handles usable, so that no file gets the number of one
// that was closed when the program started. False if that cannot be done.
bool openStandardHandles();

// Reads up to `size` bytes; fewer only at the end. 0 at the end, -1 on failure,
// also where a part had come.
int64_t readFile(int handle, void* buffer, size_t size);

// Writes `size` bytes. False if not all of them could be written.
bool writeFile(int handle, const void* data, size_t size);

// Sets the read position to `offset` bytes from the start. False on failure.
bool seekFile(int handle, uint64_t offset);

// The size of an open file in bytes, or -1 if it has none (a pipe, a device).
int64_t sizeOfFile(int handle);

// Closes a handle. Safe in a signal handler. False if what was written to it may
// be lost: some hosts find out only here that there is no room for it.
bool closeFile(int handle);

// What a path stands for.
enum PathKind {
  pathMissing,
  pathIsFile,  // an ordinary file, a device, or what the user may not look at
  pathIsDirectory,
  pathNoMemory,  // the host has no memory left to find out
  pathUnknown    // the host failed to find out
};

PathKind kindOfPath(const char* path);

// True where an absolute path of the host begins with a slash, and so looks like a
// switch.
bool slashBeginsPaths();

// Standard output, gathered in a buffer that flushConsole empties; messages and
// -ocon text share it, so they come out in the order in which they arise. Both
// return false once a write has failed.
bool writeConsole(const char* data, size_t size);
bool flushConsole();

// The same for the handler of a break: sends what is in the buffer, but does not
// wait long for a reader who doesn't read. Safe in a signal handler.
void flushConsoleAtBreak();

// Standard error, unbuffered. False if it could not be written.
bool writeErrorStream(const char* data, size_t size);

// True if somebody may be watching the standard streams: they go to a terminal.
bool errorStreamIsTerminal();
bool consoleIsTerminal();

// How many characters a line of the error stream's terminal has; 0 if it is none.
int errorStreamWidth();

// Room for a path of the program that is sure to fit, with its NUL.
constexpr size_t programPathSize = 4096;

// Full path of the running program into `buffer` of `size` bytes, with its NUL.
// False if it cannot be had or does not fit.
bool programPath(char* buffer, size_t size);

// False if no file of this name, in any case, lies in the directory of the program.
// Costs less than programPath.
bool mayLieBesideProgram(const char* name);

// Value of the environment variable `name`, or null.
const char* environmentValue(const char* name);

// Ends the process at once with `status`, no clean-up of any kind. Safe in a
// signal handler.
[[noreturn]] void endProcessNow(int status);
