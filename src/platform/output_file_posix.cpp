// Outputs that are whole or not there.
//
// The ordinary way is a new file, ".vsp32-<process>-<number>.tmp" in its directory,
// which rename() puts in its place. A file that already has the name is replaced so
// if nothing but its text changes by it. So it isn't
// - if it has other links, which would keep the old text;
// - if it belongs to somebody else, or to another group than new files do;
// - if we may not write to it: only opening it says whether the system lets us;
// - if no other name can be made in its directory;
// - if standard output goes there, for then the messages would be lost.
// The last one gets its text through standard output's own descriptor. For all
// others the text is gathered in memory and copied into the file at the end.
//
// A symbolic link stays: what is said above is then meant of the file at its end.

#include "platform/output_file.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <cstring>

#include "platform/faults.h"
#include "platform/files.h"
#include "platform/host_names.h"
#include "platform/host_open.h"

// How the output gets its name.
enum OutputWay : int {
  wayNone,    // there is none to be finished or removed
  wayRename,  // `temporary` is renamed to `name`
  wayCopy     // the text is copied into `target`
};

// What createFile made last. A signal handler may look at it at any time.
struct CreatedFile {
  volatile sig_atomic_t way;
  int target;           // of wayCopy: the file of that name, open; -1 when closed
  FileIdentity former;  // the file that has the name, noFile if there was none
  char name[hostNameSize];
  char temporary[hostNameSize];
  char asked[hostNameSize];  // what `name` was before links were followed
};
static constinit CreatedFile created = {};

// --- Creation: -1 with errno on failure ---

static bool noDescriptorLeft(int error) {
  return error == EMFILE || error == ENFILE;
}

// Makes a file of a new name, created.temporary, in the directory of the output.
static int makeTemporary() {
  constexpr char prefix[] = ".vsp32-";
  constexpr char suffix[] = ".tmp";
  constexpr size_t digits = 12;  // enough for a process and for a number
  constexpr unsigned attempts = 10000;
  static constinit pid_t process = 0;

  if (process == 0) process = getpid();
  const size_t start = hostNameStart(created.name);
  if (start + sizeof prefix + 2 * digits + sizeof suffix > hostNameSize) {
    errno = ENAMETOOLONG;
    return -1;
  }
  std::memcpy(created.temporary, created.name, start);
  char* text = created.temporary + start;
  std::memcpy(text, prefix, sizeof prefix - 1);
  text += sizeof prefix - 1;
  text = std::to_chars(text, text + digits, process).ptr;
  *text++ = '-';
  // A process of another host, or one that was killed, may have left the same name.
  for (unsigned number = 0; number < attempts; ++number) {
    std::memcpy(std::to_chars(text, text + digits, number).ptr, suffix, sizeof suffix);
    const int handle = openHost(created.temporary, O_RDWR | O_CREAT | O_EXCL);
    if (handle >= 0 || errno != EEXIST) return handle;
  }
  return -1;
}

// Gives up a file just opened, which goes if `flags` says that it is a new one.
static int giveUp(int target, int flags) {
  const int error = errno;
  if (flags != 0) unlink(created.name);
  close(target);
  errno = error;
  return -1;
}

// Opens the file of that name, and for an ordinary one a place where the text is
// gathered. `flags` says whether the file is a new one.
static int createInPlace(int flags) {
  const int target = openHost(created.name, O_RDWR | flags);
  if (target < 0) return -1;
  struct stat status;
  if (fstat(target, &status) != 0) return giveUp(target, flags);
  if (!S_ISREG(status.st_mode)) return target;
  const int stream = standardStreamOf(identityOf(status));
  const int handle =
      stream >= 0 ? fcntl(stream, F_DUPFD_CLOEXEC, STDERR_FILENO + 1) : memfd_create("output", MFD_CLOEXEC);
  if (handle < 0) return giveUp(target, flags);
  if (stream >= 0) {
    close(target);
    // What was printed before comes first.
    flushConsole();
    return handle;
  }
  created.target = target;
  created.former = identityOf(status);
  watchFile(flags == 0 ? created.former : noFile);
  created.way = wayCopy;
  return handle;
}

// Makes an output whose name no file has.
static int createNew() {
  const int handle = makeTemporary();
  if (handle < 0) {
    if (noDescriptorLeft(errno) || isMissing(errno)) return -1;
    return createInPlace(O_CREAT | O_EXCL);
  }
  created.former = noFile;
  watchFile(noFile);
  created.way = wayRename;
  return handle;
}

// Gives the new file the rights of the former one. False if it can't have them.
static bool takeRights(int handle, const struct stat& former) {
  struct stat own;
  if (fstat(handle, &own) != 0 || own.st_uid != former.st_uid || own.st_gid != former.st_gid) return false;
  constexpr mode_t rights = S_IRWXU | S_IRWXG | S_IRWXO;
  return (own.st_mode & rights) == (former.st_mode & rights) || fchmod(handle, former.st_mode & rights) == 0;
}

// True if the file is this program. The system doesn't let anyone write to it, but
// it would let it be replaced.
static bool isThisProgram(const struct stat& status) {
  struct stat program;
  return (status.st_mode & (S_IXUSR | S_IXGRP | S_IXOTH)) != 0 && stat("/proc/self/exe", &program) == 0 &&
         identityOf(program) == identityOf(status);
}

// Makes an output whose name the ordinary file `former` has.
static int createOver(const struct stat& former, bool mayRename) {
  constexpr mode_t ownUse = S_IRUSR | S_IWUSR;
  const FileIdentity identity = identityOf(former);
  if (wasRead(identity) || isThisProgram(former)) {
    errno = EBUSY;
    return -1;
  }
  if (mayRename && former.st_nlink == 1 && (former.st_mode & ownUse) == ownUse &&
      !(identity == consoleFile())) {
    const int handle = makeTemporary();
    if (handle < 0 && noDescriptorLeft(errno)) return -1;
    if (handle >= 0) {
      if (takeRights(handle, former)) {
        created.former = identity;
        watchFile(identity);
        created.way = wayRename;
        return handle;
      }
      unlink(created.temporary);
      close(handle);
    }
  }
  return createInPlace(0);
}

// Replaces a name that is a symbolic link by the one at the end of all links, which
// need not exist. False if there is no end, or the name gets too long.
static bool followLinks(char* name) {
  constexpr int linkLimit = 40;  // as the system has it
  for (int i = 0; i < linkLimit; ++i) {
    char text[hostNameSize];
    const ssize_t length = readlink(name, text, sizeof text);
    if (length < 0) return errno == EINVAL || errno == ENOENT;
    const size_t start = text[0] == '/' ? 0 : hostNameStart(name);
    if (start + size_t(length) >= hostNameSize) break;
    std::memcpy(name + start, text, size_t(length));
    name[start + size_t(length)] = 0;
  }
  errno = ELOOP;
  return false;
}

// Makes an output whose name is a symbolic link.
static int createThroughLink() {
  struct stat status;
  const bool exists = stat(created.name, &status) == 0;
  if (!exists && !isMissing(errno)) return -1;
  if (exists && !S_ISREG(status.st_mode)) return createInPlace(0);
  const bool followed = followLinks(created.name);
  if (!exists) return followed ? createNew() : -1;
  // The links that the system has for open files may name what isn't there.
  struct stat last;
  const bool same = followed && lstat(created.name, &last) == 0 && identityOf(last) == identityOf(status);
  if (!same) std::strcpy(created.name, created.asked);
  return createOver(status, same);
}

// Makes the output created.name.
static int createSpelled() {
  std::strcpy(created.asked, created.name);
  struct stat status;
  if (lstat(created.name, &status) != 0) return isMissing(errno) ? createNew() : -1;
  if (S_ISLNK(status.st_mode)) return createThroughLink();
  if (S_ISREG(status.st_mode)) return createOver(status, true);
  return createInPlace(0);
}

static int createAndRemember(const char* path) {
  created.way = wayNone;
  if (!spellHostName(path, created.name) || created.name[hostNameStart(created.name)] == 0) return openFailed;
  int handle = createSpelled();
  if (handle < 0 && isMissing(errno)) {
    const ResolveOutcome outcome = resolveHostDirectories(created.name);
    if (outcome != resolveFound) return openFailure(outcome);
    handle = createSpelled();
  }
  return handle < 0 ? openFailure(errno) : handle;
}

int createFile(const char* path) {
  // A break must not find half of what is remembered.
  holdBreaks();
  const int handle = createAndRemember(path);
  releaseBreaks();
  return handle;
}

const char* createdHostName() {
  return created.asked;
}

// --- The end ---

// False on failure. The descriptor is gone in every case.
static bool closeWritten(int handle) {
  return close(handle) == 0 || errno == EINTR;
}

// Cuts an open file to no bytes.
static bool emptyFile(int handle) {
  for (;;) {
    if (ftruncate(handle, 0) == 0) return true;
    if (errno != EINTR) return false;
  }
}

// True if the file that has the name now is one that the unit has read.
static bool nameWasRead() {
  if (watchedFileWasRead()) return true;
  // Another process may have made the file since.
  struct stat status;
  return anyReadSinceWatch() && lstat(created.name, &status) == 0 &&
         !(identityOf(status) == created.former) && wasRead(identityOf(status));
}

static FinishResult finishRename(int handle) {
  if (!closeWritten(handle)) return finishNotWritten;
  if (nameWasRead()) return finishRefused;
  holdBreaks();
  const bool renamed = std::rename(created.temporary, created.name) == 0;
  if (renamed) created.way = wayNone;
  releaseBreaks();
  return renamed ? finishDone : finishRefused;
}

// Copies what was gathered into the file.
static bool copyGathered(int handle) {
  if (lseek(handle, 0, SEEK_SET) != 0 || !emptyFile(created.target)) return false;
  char block[16384];
  for (;;) {
    const ssize_t count = read(handle, block, sizeof block);
    if (count == 0) return true;
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 || !writeFile(created.target, block, size_t(count))) return false;
  }
}

static FinishResult finishCopy(int handle) {
  const bool refused = watchedFileWasRead();
  const bool copied = !refused && copyGathered(handle);
  close(handle);
  if (refused) return finishRefused;
  if (!copied) return finishNotWritten;
  holdBreaks();
  const bool closed = closeWritten(created.target);
  created.target = -1;
  if (closed) created.way = wayNone;
  releaseBreaks();
  return closed ? finishDone : finishNotWritten;
}

FinishResult finishCreatedFile(int handle) {
  const int way = created.way;
  if (way == wayNone) return closeWritten(handle) ? finishDone : finishNotWritten;
  const FinishResult result = way == wayRename ? finishRename(handle) : finishCopy(handle);
  if (result == finishDone) noteHostName(created.name);
  return result;
}

// Deletes the file that had the name, if it still has it.
static void removeFormer() {
  struct stat status;
  if (created.former == noFile || lstat(created.name, &status) != 0) return;
  if (!(identityOf(status) == created.former) || unlink(created.name) == 0) return;
  const int handle = openHost(created.name, O_WRONLY | O_NOFOLLOW);
  if (handle < 0) return;
  emptyFile(handle);
  close(handle);
}

void removeCreatedFile() {
  // Each step may be done twice, and the note goes last: a break in between starts
  // anew.
  const int way = created.way;
  if (way == wayNone) return;
  if (way == wayRename) unlink(created.temporary);
  if (!watchedFileWasRead()) {
    if (way == wayCopy && created.target >= 0) emptyFile(created.target);
    removeFormer();
  }
  if (way == wayCopy && created.target >= 0) close(created.target);
  created.way = wayNone;
}
