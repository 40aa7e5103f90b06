// Writing, to files and to the console, and what else the process has from the
// system: its name, its environment, its end.
//
// Console output is gathered in one buffer. On a terminal each complete line
// goes out at once, so that the user sees how far a long run is.

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <sys/auxv.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "platform/faults.h"
#include "platform/files.h"
#include "platform/host_open.h"
#include "platform/status_line.h"

constexpr size_t consoleRoom = 8192;

// How long a break waits for the reader of a full pipe, in milliseconds.
constexpr int breakPatience = 1000;

// The bytes from consoleSent to consoleUsed wait in the buffer. The handler of a
// break may look at any moment, but for the time of a flush, in which it is held
// back: only then is it certain how much has been written.
static constinit char consoleBuffer[consoleRoom] = {};
static constinit volatile size_t consoleUsed = 0;
static constinit volatile size_t consoleSent = 0;
static constinit bool consoleFailed = false;  // a write failed: nothing is tried any more

// What standard output is; asked once.
struct ConsoleKind {
  bool known;
  bool terminal;
  FileIdentity file;  // noFile if it is no ordinary file
};
static constinit ConsoleKind consoleKind = {};

bool openStandardHandles() {
  // For reading alone: what is written to a closed output is still a failed write.
  // Where there are no devices, a directory does as well.
  for (int handle = 0; handle <= 2; ++handle)
    if (fcntl(handle, F_GETFD) < 0 && errno == EBADF && open("/dev/null", O_RDONLY) < 0 &&
        open("/", O_RDONLY) < 0)
      return false;
  return true;
}

// One write. Returns how many bytes went out; 0 after a signal or a wait, when it is
// to be tried again; -1 on failure.
static ssize_t writeSome(int handle, const char* data, size_t size) {
  const ssize_t count = write(handle, data, size);
  if (count > 0) return count;
  if (count == 0) return -1;
  if (errno == EINTR) return 0;
  if (errno != EAGAIN) return -1;
  // Another program has made a shared terminal or pipe non-blocking.
  pollfd waiting{handle, POLLOUT, 0};
  return poll(&waiting, 1, -1) >= 0 || errno == EINTR ? 0 : -1;
}

bool writeFile(int handle, const void* data, size_t size) {
  const char* next = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t count = writeSome(handle, next, size);
    if (count < 0) return false;
    next += count;
    size -= size_t(count);
  }
  return true;
}

bool flushConsole() {
  holdBreaks();
  // A break that waits sends the rest itself.
  while (consoleSent < consoleUsed && !consoleFailed && !breakWaits()) {
    const size_t sent = consoleSent;
    const ssize_t count = writeSome(STDOUT_FILENO, consoleBuffer + sent, consoleUsed - sent);
    if (count < 0)
      consoleFailed = true;
    else
      consoleSent = sent + size_t(count);
  }
  if (consoleFailed || consoleSent == consoleUsed) {
    consoleSent = 0;
    consoleUsed = 0;
  }
  releaseBreaks();
  return !consoleFailed;
}

void flushConsoleAtBreak() {
  while (consoleSent < consoleUsed && !consoleFailed) {
    pollfd waiting{STDOUT_FILENO, POLLOUT, 0};
    if (poll(&waiting, 1, breakPatience) <= 0) return;
    // A pipe that is ready takes that much without waiting.
    const size_t rest = consoleUsed - consoleSent;
    const ssize_t count =
        write(STDOUT_FILENO, consoleBuffer + consoleSent, rest < PIPE_BUF ? rest : size_t{PIPE_BUF});
    if (count > 0)
      consoleSent = consoleSent + size_t(count);
    else if (count == 0 || errno != EINTR)
      return;
  }
}

static const ConsoleKind& kindOfConsole() {
  if (!consoleKind.known) {
    struct stat status;
    const bool open = fstat(STDOUT_FILENO, &status) == 0;
    consoleKind.terminal = open && S_ISCHR(status.st_mode) && isatty(STDOUT_FILENO) == 1;
    consoleKind.file = open && S_ISREG(status.st_mode) ? identityOf(status) : noFile;
    consoleKind.known = true;
  }
  return consoleKind;
}

// What the two streams were before they were captured; noFile if they are not, or were no ordinary files.
static constinit FileIdentity capturedFiles[2] = {};

static FileIdentity identityOfStream(int handle) {
  struct stat status;
  return fstat(handle, &status) == 0 ? identityOf(status) : noFile;
}

int standardStreamOf(FileIdentity file) {
  for (const int handle : {STDOUT_FILENO, STDERR_FILENO})
    if (identityOfStream(handle) == file || capturedFiles[handle - STDOUT_FILENO] == file) return handle;
  return -1;
}

bool standardStreamsAreOne() {
  const FileIdentity out = identityOfStream(STDOUT_FILENO);
  return !(out == noFile) && out == identityOfStream(STDERR_FILENO);
}

void captureStandardStreams(int out, int err) {
  kindOfConsole();
  consoleKind.terminal = false;
  for (const int handle : {STDOUT_FILENO, STDERR_FILENO})
    capturedFiles[handle - STDOUT_FILENO] = identityOfStream(handle);
  dup2(out, STDOUT_FILENO);
  dup2(err, STDERR_FILENO);
}

FileIdentity consoleFile() {
  return kindOfConsole().file;
}

bool writeConsole(const char* data, size_t size) {
  const bool endsLine = size != 0 && data[size - 1] == '\n';
  while (size > 0 && !consoleFailed) {
    const size_t used = consoleUsed;
    const size_t part = size < consoleRoom - used ? size : consoleRoom - used;
    std::memcpy(consoleBuffer + used, data, part);
    // The bytes first, then their number.
    std::atomic_signal_fence(std::memory_order_release);
    consoleUsed = used + part;
    data += part;
    size -= part;
    if (consoleUsed == consoleRoom) flushConsole();
  }
  if (endsLine && kindOfConsole().terminal) flushConsole();
  return !consoleFailed;
}

bool writeErrorStream(const char* data, size_t size) {
  eraseStatusLine();
  // What was written before is to be seen before.
  flushConsole();
  return writeFile(STDERR_FILENO, data, size);
}

bool errorStreamIsTerminal() {
  return isatty(STDERR_FILENO) == 1;
}

int errorStreamWidth() {
  constexpr int usualWidth = 80;
  if (!errorStreamIsTerminal()) return 0;
  struct winsize size {};
  return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : usualWidth;
}

bool consoleIsTerminal() {
  return kindOfConsole().terminal;
}

bool programPath(char* buffer, size_t size) {
  const ssize_t length = readlink("/proc/self/exe", buffer, size);
  if (length > 0) {
    if (size_t(length) >= size) return false;
    buffer[length] = 0;
    return true;
  }
  // Where /proc is missing, the name that the program was started under has to do.
  const char* const name = reinterpret_cast<const char*>(getauxval(AT_EXECFN));
  if (name == nullptr || std::strlen(name) >= size) return false;
  std::strcpy(buffer, name);
  return true;
}

// Asked of the name under which the program was started, if that is no link: the file
// lies in the same directory, however it is spelled. To read the link in /proc, which
// makes the system enter this process there, took 28 us.
bool mayLieBesideProgram(const char* name) {
  const char* const started = reinterpret_cast<const char*>(getauxval(AT_EXECFN));
  struct stat status;
  if (!fastPaths || started == nullptr || lstat(started, &status) != 0 || !S_ISREG(status.st_mode))
    return true;
  char path[hostNameSize];
  const size_t start = hostNameStart(started);
  if (start + std::strlen(name) >= sizeof path) return true;
  std::memcpy(path, started, start);
  std::strcpy(path + start, name);
  // Its own spelling comes first: that serves also where the directory can't be read.
  return lstat(path, &status) == 0 || !isMissing(errno) || resolveHostNameOnce(path) != resolveMissing;
}

const char* environmentValue(const char* name) {
  return std::getenv(name);
}

void endProcessNow(int status) {
  _exit(status);
}
