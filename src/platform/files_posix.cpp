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

// What is noted of an ordinary file that is open for reading.
struct OpenFile {
  // Bytes still to be read. When the last of them has come, asking once more
  // would be a system call for nothing. Files without a size, as those of /proc,
  // have 0 here and are read until nothing comes.
  int64_t bytesLeft;
  dev_t device;  // with `inode`, which file it is; an inode of 0 for none
  ino_t inode;
};

constexpr int notedHandles = 1024;
static constinit OpenFile openFiles[notedHandles] = {};

static void noteFile(int handle, const struct stat& status) {
  if (handle < notedHandles) openFiles[handle] = {int64_t(status.st_size), status.st_dev, status.st_ino};
}

// Takes `count` bytes read from the handle off what is left. True if that was all.
static bool wasLastOf(int handle, int64_t count) {
  if (handle >= notedHandles || openFiles[handle].bytesLeft == 0) return false;
  int64_t& left = openFiles[handle].bytesLeft;
  left = count < left ? left - count : 0;
  return left == 0;
}

// True if the file is one that is being read.
static bool isBeingRead(const struct stat& status) {
  for (const OpenFile& file : openFiles)
    if (file.inode == status.st_ino && file.device == status.st_dev && file.inode != 0) return true;
  return false;
}

// The result of an open whose name led to `outcome`.
static int openFailure(ResolveOutcome outcome) {
  switch (outcome) {
    case resolveNoDescriptor: return openTooManyFiles;
    case resolveNoMemory: return openNoMemory;
    case resolveMissing: return openFailed;
    default: return openBroken;
  }
}

// The result of an open that failed with `error`.
static int openFailure(int error) {
  return openFailure(outcomeOfError(error));
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
  int handle = openHost(name, O_RDONLY);
  if (handle < 0) {
    if (!isMissing(errno)) return openFailure(errno);
    const ResolveOutcome outcome = resolveHostName(name);
    if (outcome != resolveFound) return openFailure(outcome);
    handle = openHost(name, O_RDONLY);
    if (handle < 0) return openFailure(errno);
  }
  struct stat status;
  if (fstat(handle, &status) != 0) {
    const int failure = openFailure(errno);
    close(handle);
    return failure;
  }
  if (S_ISDIR(status.st_mode)) {
    close(handle);
    return openFailed;
  }
  if (S_ISREG(status.st_mode)) noteFile(handle, status);
  return handle;
}

// Empties the file just opened for writing, and notes it for removeCreatedFile.
// False if it is one that is being read, whose text would be lost, or if it can't
// be emptied, so that the end of an older text would stay.
static bool takeOver(int handle, const char* name) {
  struct stat status;
  // A break in between must not find half of the note.
  createdFile.ordinary = false;
  if (fstat(handle, &status) != 0) return false;
  if (!S_ISREG(status.st_mode)) return true;
  if (status.st_size != 0 && (isBeingRead(status) || ftruncate(handle, 0) != 0)) return false;
  std::memcpy(createdFile.name, name, std::strlen(name) + 1);
  createdFile.device = status.st_dev;
  createdFile.inode = status.st_ino;
  createdFile.ordinary = true;
  return true;
}

// Opens a file for writing. One that is new is told in `made`.
static int openOrMake(const char* name, bool& made) {
  const int handle = openHost(name, O_RDWR | O_CREAT | O_EXCL);
  made = handle >= 0;
  return handle < 0 && errno == EEXIST ? openHost(name, O_RDWR | O_CREAT) : handle;
}

// Makes the file and notes it; the caller has blocked the break signals.
static int createAndRemember(const char* path) {
  bool made;
  char name[hostNameSize];
  if (!spellHostName(path, name)) return openFailed;
  int handle = openOrMake(name, made);
  if (handle < 0) {
    if (!isMissing(errno)) return openFailure(errno);
    const ResolveOutcome outcome = resolveHostDirectories(name);
    if (outcome != resolveFound) return openFailure(outcome);
    handle = openOrMake(name, made);
    if (handle < 0) return openFailure(errno);
  }
  if (takeOver(handle, name)) return handle;
  if (made) unlink(name);
  close(handle);
  return openFailed;
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
  // Where the host fails to say whose file it is, it is taken for ours: half an output must not stay.
  if (lstat(createdFile.name, &status) != 0) {
    if (errno != ENOENT) unlink(createdFile.name);
    return;
  }
  if (status.st_dev == createdFile.device && status.st_ino == createdFile.inode) unlink(createdFile.name);
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
    } else if (errno != EINTR) {
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
