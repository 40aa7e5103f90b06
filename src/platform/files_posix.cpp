// Files of the host. A name is tried as it is spelled; only when that is
// missing do the directories say how it is really spelled.
//
// The file made last is remembered by name and identity, so that a signal
// handler can delete it. A name that leads through a symbolic link, or that has
// come to belong to another file, is left alone: "-o /dev/stdout" must not
// delete a link of the system.

#include "platform/files.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <initializer_list>

#include "platform/host_names.h"

// What createFile made last; `ordinary` is false when there is nothing to delete.
struct CreatedFile {
  dev_t device;
  ino_t inode;
  bool ordinary;
  char name[hostNameSize];
};
static constinit CreatedFile createdFile = {};

// Handles of ordinary files, as far as they are noted: a short read from one is its
// end, and asking again would be a system call for nothing.
constexpr int notedHandles = 1024;
static constinit bool isOrdinary[notedHandles] = {};

// The result of an open that failed with `error`.
static int openFailure(int error) {
  return error == EMFILE || error == ENFILE ? openTooManyFiles : openFailed;
}

// True if a failed open or stat means that the spelling may be another.
static bool isMissing(int error) {
  return error == ENOENT || error == ENOTDIR;
}

// Opens a name of the host; a signal in between does not count.
static int openHost(const char* name, int flags) {
  for (;;) {
    const int handle = open(name, flags | O_CLOEXEC | O_NOCTTY, 0666);
    if (handle >= 0 || errno != EINTR) return handle;
  }
}

int openForReading(const char* path) {
  char name[hostNameSize];
  if (!spellHostName(path, name)) return openFailed;
  // Without blocking, so that a pipe that nobody writes to cannot hang the program.
  int handle = openHost(name, O_RDONLY | O_NONBLOCK);
  if (handle < 0) {
    if (!isMissing(errno)) return openFailure(errno);
    const ResolveOutcome outcome = resolveHostName(name);
    if (outcome != resolveFound) return outcome == resolveNoDescriptor ? openTooManyFiles : openFailed;
    handle = openHost(name, O_RDONLY | O_NONBLOCK);
    if (handle < 0) return openFailure(errno);
  }
  struct stat status;
  if (fstat(handle, &status) != 0 || S_ISDIR(status.st_mode)) {
    close(handle);
    return openFailed;
  }
  if (handle < notedHandles) isOrdinary[handle] = S_ISREG(status.st_mode);
  if (!S_ISREG(status.st_mode)) {
    const int flags = fcntl(handle, F_GETFL);
    if (flags >= 0) fcntl(handle, F_SETFL, flags & ~O_NONBLOCK);
  }
  return handle;
}

// Notes the open file `handle` for removeCreatedFile.
static void rememberCreated(int handle, const char* name) {
  struct stat status;
  // A break in between must not find half of it.
  createdFile.ordinary = false;
  if (fstat(handle, &status) != 0 || !S_ISREG(status.st_mode)) return;
  std::memcpy(createdFile.name, name, std::strlen(name) + 1);
  createdFile.device = status.st_dev;
  createdFile.inode = status.st_ino;
  createdFile.ordinary = true;
}

// Makes the file and notes it; the caller has blocked the break signals.
static int createAndRemember(const char* path) {
  constexpr int flags = O_RDWR | O_CREAT | O_TRUNC;
  char name[hostNameSize];
  if (!spellHostName(path, name)) return openFailed;
  int handle = openHost(name, flags);
  if (handle < 0) {
    if (!isMissing(errno)) return openFailure(errno);
    const ResolveOutcome outcome = resolveHostDirectories(name);
    if (outcome != resolveFound) return outcome == resolveNoDescriptor ? openTooManyFiles : openFailed;
    handle = openHost(name, flags);
    if (handle < 0) return openFailure(errno);
  }
  rememberCreated(handle, name);
  return handle;
}

int createFile(const char* path) {
  // A break between the file's making and its note would leave an empty file.
  sigset_t breaks, former;
  sigemptyset(&breaks);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&breaks, signal);
  sigprocmask(SIG_BLOCK, &breaks, &former);
  const int handle = createAndRemember(path);
  sigprocmask(SIG_SETMASK, &former, nullptr);
  return handle;
}

void keepCreatedFile() {
  createdFile.ordinary = false;
}

void removeCreatedFile() {
  if (!createdFile.ordinary) return;
  createdFile.ordinary = false;
  struct stat status;
  if (lstat(createdFile.name, &status) != 0) return;
  if (status.st_dev == createdFile.device && status.st_ino == createdFile.inode) unlink(createdFile.name);
}

int64_t readFile(int handle, void* buffer, size_t size) {
  Byte* const bytes = static_cast<Byte*>(buffer);
  size_t done = 0;
  while (done < size) {
    const ssize_t count = read(handle, bytes + done, size - done);
    if (count > 0) {
      done += size_t(count);
      if (handle < notedHandles && isOrdinary[handle]) break;
    } else if (count == 0) {
      break;
    } else if (errno != EINTR) {
      // What came before the failure is delivered; the next call meets it again.
      return done > 0 ? int64_t(done) : -1;
    }
  }
  return int64_t(done);
}

bool seekFile(int handle, uint64_t offset) {
  if (offset > uint64_t{INT64_MAX}) return false;
  return lseek(handle, off_t(offset), SEEK_SET) >= 0;
}

int64_t sizeOfFile(int handle) {
  struct stat status;
  return fstat(handle, &status) == 0 && S_ISREG(status.st_mode) ? int64_t(status.st_size) : -1;
}

void closeFile(int handle) {
  if (handle < 0) return;
  if (handle < notedHandles) isOrdinary[handle] = false;
  close(handle);
}

bool fileExists(const char* path) {
  char name[hostNameSize];
  struct stat status;
  if (!spellHostName(path, name)) return false;
  if (stat(name, &status) != 0) {
    if (!isMissing(errno) || resolveHostName(name) != resolveFound) return false;
    if (stat(name, &status) != 0) return false;
  }
  return !S_ISDIR(status.st_mode);
}
