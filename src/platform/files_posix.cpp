// Files of the host. A name is tried as it is spelled; only when that is
// missing do the directories say how it is really spelled.

#include "platform/files.h"

#include <errno.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cstring>

#include "platform/host_names.h"
#include "platform/host_open.h"

// What is noted of an ordinary file that is open for reading.
struct OpenFile {
  // Bytes still to be read. When the last of them has come, asking once more
  // would be a system call for nothing. Files without a size, as those of /proc,
  // have 0 here and are read until nothing comes.
  int64_t bytesLeft;
};

constexpr int notedHandles = 1024;
static constinit OpenFile openFiles[notedHandles] = {};

FileIdentity identityOf(const struct stat& status) {
  return {uint64_t(status.st_dev), uint64_t(status.st_ino)};
}

// Takes `count` bytes read from the handle off what is left. True if that was all.
static bool wasLastOf(int handle, int64_t count) {
  if (handle >= notedHandles || openFiles[handle].bytesLeft == 0) return false;
  int64_t& left = openFiles[handle].bytesLeft;
  left = count < left ? left - count : 0;
  return left == 0;
}

int openFailure(ResolveOutcome outcome) {
  switch (outcome) {
    case resolveNoDescriptor: return openTooManyFiles;
    case resolveNoMemory: return openNoMemory;
    case resolveMissing: return openFailed;
    default: return openBroken;
  }
}

int openFailure(int error) {
  return openFailure(outcomeOfError(error));
}

bool isMissing(int error) {
  return error == ENOENT || error == ENOTDIR;
}

int openHost(const char* name, int flags) {
  for (;;) {
    const int handle = open(name, flags | O_CLOEXEC | O_NOCTTY, 0666);
    if (handle >= 0 || errno != EINTR) return handle;
  }
}

static constinit char openedName[hostNameSize] = {};

// Opens `path` for reading with more flags of open(), and says in `status` what it
// is; `resolve` finds another spelling, `name` is room for its name of the host. Returns a handle or an
// OpenFailure.
static int openPath(const char* path, int flags, ResolveOutcome (*resolve)(char* name), struct stat& status,
                    char* name) {
  if (!spellHostName(path, name) || isKnownMissing(name)) return openFailed;
  int handle = openHost(name, O_RDONLY | flags);
  if (handle < 0) {
    if (!isMissing(errno)) return openFailure(errno);
    const ResolveOutcome outcome = resolve(name);
    if (outcome != resolveFound) return openFailure(outcome);
    handle = openHost(name, O_RDONLY | flags);
    if (handle < 0) return openFailure(errno);
  }
  if (fstat(handle, &status) != 0) {
    const int failure = openFailure(errno);
    close(handle);
    return failure;
  }
  if (S_ISDIR(status.st_mode)) {
    close(handle);
    return openFailed;
  }
  if (S_ISREG(status.st_mode) && handle < notedHandles) openFiles[handle] = {int64_t(status.st_size)};
  return handle;
}

int openForReading(const char* path) {
  struct stat status;
  const int handle = openPath(path, 0, resolveHostName, status, openedName);
  if (handle >= 0 && S_ISREG(status.st_mode)) noteRead(identityOf(status));
  return handle;
}

const char* openedHostName() {
  return openedName;
}

int openStandardInput() {
  const int handle = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (handle < 0) return openFailure(errno);
  struct stat status;
  if (fstat(handle, &status) == 0 && S_ISREG(status.st_mode)) noteRead(identityOf(status));
  return handle;
}

// Waits until a handle that somebody has made non-blocking has something to read.
static bool waitForInput(int handle) {
  pollfd waiting{handle, POLLIN, 0};
  return poll(&waiting, 1, -1) >= 0 || errno == EINTR;
}

// True for a pipe without a name, which has its writer already.
static bool isNamelessPipe(int handle) {
  struct statfs status;
  return fstatfs(handle, &status) == 0 && status.f_type == PIPEFS_MAGIC;
}

int openSettings(const char* path) {
  struct stat status;
  char name[hostNameSize];
  // So that the open of a named pipe comes back.
  const int handle = openPath(path, O_NONBLOCK, resolveHostNameOnce, status, name);
  if (handle < 0) return handle;
  if (S_ISREG(status.st_mode)) {
    noteReadForRun(identityOf(status));
    return handle;
  }
  const int flags = fcntl(handle, F_GETFL);
  if ((!S_ISFIFO(status.st_mode) || isNamelessPipe(handle)) && flags >= 0 &&
      fcntl(handle, F_SETFL, flags & ~O_NONBLOCK) == 0)
    return handle;
  close(handle);
  return openFailed;
}

int64_t readFile(int handle, void* buffer, size_t size) {
  Byte* const bytes = static_cast<Byte*>(buffer);
  size_t done = 0;
  while (done < size) {
    const ssize_t count = read(handle, bytes + done, size - done);
    if (count > 0) {
      done += size_t(count);
      if (wasLastOf(handle, count)) break;
    } else if (count == 0) {
      break;
    } else if (errno != EINTR && (errno != EAGAIN || !waitForInput(handle))) {
      // A part of the bytes would look like the end of the file.
      return -1;
    }
  }
  return int64_t(done);
}

bool seekFile(int handle, uint64_t offset) {
  if (offset > uint64_t{INT64_MAX}) return false;
  if (handle < notedHandles) openFiles[handle].bytesLeft = 0;
  return lseek(handle, off_t(offset), SEEK_SET) >= 0;
}

int64_t sizeOfFile(int handle) {
  struct stat status;
  return fstat(handle, &status) == 0 && S_ISREG(status.st_mode) ? int64_t(status.st_size) : -1;
}

bool closeFile(int handle) {
  if (handle < 0) return true;
  if (handle < notedHandles) openFiles[handle] = {};
  // The handle is gone even where this fails, so there is no second try.
  return close(handle) == 0;
}

PathKind kindOfPath(const char* path) {
  char name[hostNameSize];
  if (!spellHostName(path, name)) return pathMissing;
  struct stat status;
  switch (findHostStatus(name, status)) {
    case resolveFound: return S_ISDIR(status.st_mode) ? pathIsDirectory : pathIsFile;
    case resolveMissing: return pathMissing;
    case resolveDenied: return pathIsFile;
    case resolveNoMemory: return pathNoMemory;
    default: return pathUnknown;
  }
}

bool spellForHost(const char* path, char* name) {
  static_assert(hostPathSize == hostNameSize);
  char spelled[hostNameSize];
  if (!spellHostName(path, spelled)) return false;
  struct stat status;
  std::strcpy(name, spelled);
  ResolveOutcome outcome = findHostStatus(name, status);
  if (outcome == resolveFound || outcome == resolveDenied) return true;
  std::strcpy(name, spelled);
  if (outcome == resolveMissing) outcome = resolveHostDirectories(name);
  if (outcome == resolveFound) return true;
  std::strcpy(name, spelled);
  return outcome == resolveMissing || outcome == resolveDenied;
}

bool slashBeginsPaths() {
  return true;
}
