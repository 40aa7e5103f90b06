// Writing, to files and to the console, and what else the process has from the
// system: its name, its environment, its end.
//
// Console output is gathered in one buffer. On a terminal each complete line
// goes out at once, so that the user sees how far a long run is.

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/auxv.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "platform/files.h"

constexpr size_t consoleRoom = 8192;

static constinit char consoleBuffer[consoleRoom] = {};
static constinit size_t consoleUsed = 0;      // bytes waiting in the buffer
static constinit bool consoleFailed = false;  // a write failed: nothing is tried any more
static constinit int consoleIsTerminal = -1;  // not asked yet

bool openStandardHandles() {
  // For reading alone: what is written to a closed output is still a failed write.
  // Where there are no devices, a directory does as well.
  for (int handle = 0; handle <= 2; ++handle)
    if (fcntl(handle, F_GETFD) < 0 && errno == EBADF && open("/dev/null", O_RDONLY) < 0 &&
        open("/", O_RDONLY) < 0)
      return false;
  return true;
}

bool writeFile(int handle, const void* data, size_t size) {
  const char* next = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t count = write(handle, next, size);
    if (count > 0) {
      next += count;
      size -= size_t(count);
    } else if (count < 0 && errno == EAGAIN) {
      // Another program has made a shared terminal or pipe non-blocking.
      pollfd waiting{handle, POLLOUT, 0};
      if (poll(&waiting, 1, -1) < 0 && errno != EINTR) return false;
    } else if (count == 0 || errno != EINTR) {
      return false;
    }
  }
  return true;
}

bool flushConsole() {
  const size_t size = consoleUsed;
  consoleUsed = 0;
  if (size != 0 && !consoleFailed) consoleFailed = !writeFile(STDOUT_FILENO, consoleBuffer, size);
  return !consoleFailed;
}

bool writeConsole(const char* data, size_t size) {
  if (consoleIsTerminal < 0) consoleIsTerminal = isatty(STDOUT_FILENO) == 1 ? 1 : 0;
  const bool endsLine = size != 0 && data[size - 1] == '\n';
  while (size > 0 && !consoleFailed) {
    const size_t room = consoleRoom - consoleUsed;
    const size_t part = size < room ? size : room;
    std::memcpy(consoleBuffer + consoleUsed, data, part);
    consoleUsed += part;
    data += part;
    size -= part;
    if (consoleUsed == consoleRoom) flushConsole();
  }
  if (endsLine && consoleIsTerminal == 1) flushConsole();
  return !consoleFailed;
}

bool writeErrorStream(const char* data, size_t size) {
  // What was written before is to be seen before.
  flushConsole();
  return writeFile(STDERR_FILENO, data, size);
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

const char* environmentValue(const char* name) {
  return std::getenv(name);
}

void endProcessNow(int status) {
  _exit(status);
}
