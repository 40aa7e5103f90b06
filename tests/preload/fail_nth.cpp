// A library that is loaded in front of the program under test and makes one of its system calls fail.
//
// Environment:
//   FAIL_CALL    the group of calls: a name of the table below
//   FAIL_ERROR   the number of the error; 0 for a transfer of a single byte (read and write alone)
//   FAIL_AT      which call of the group fails, from 1
//   FAIL_ALWAYS  1: all calls after it fail as well
//   FAIL_REPORT  a file that is made when a call has failed
//
// The calls themselves go past the C library, straight into the system, so that nothing here runs into
// its own replacements. Only opendir and readdir are the library's, and the allocator by its other names.

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
}

namespace {

enum Group {
  groupOpen,
  groupRead,
  groupWrite,
  groupClose,
  groupStat,
  groupSeek,
  groupTruncate,
  groupSync,
  groupMode,
  groupRename,
  groupUnlink,
  groupMap,
  groupProtect,
  groupUnmap,
  groupAdvise,
  groupMalloc,
  groupOpendir,
  groupReaddir,
  groupReadlink,
  groupCount
};

constexpr const char* groupNames[] = {
    "open",   "read", "write",    "close",  "stat",    "lseek",  "ftruncate", "fsync",   "fchmod",  "rename",
    "unlink", "mmap", "mprotect", "munmap", "madvise", "malloc", "opendir",   "readdir", "readlink"};
static_assert(sizeof groupNames / sizeof groupNames[0] == groupCount);

constinit int failingGroup = -1;  // -1: nothing fails
constinit int failingError = 0;
constinit long failAt = 0;
constinit bool failAlways = false;
constinit const char* reportPath = nullptr;
constinit long callsSeen = 0;

[[gnu::constructor]] void readSetup() {
  const char* const call = std::getenv("FAIL_CALL");
  const char* const error = std::getenv("FAIL_ERROR");
  const char* const at = std::getenv("FAIL_AT");
  const char* const always = std::getenv("FAIL_ALWAYS");
  reportPath = std::getenv("FAIL_REPORT");
  if (call == nullptr || error == nullptr || at == nullptr || always == nullptr || reportPath == nullptr)
    return;
  failingError = std::atoi(error);
  failAt = std::atol(at);
  failAlways = always[0] == '1';
  for (int group = 0; group < groupCount; ++group)
    if (std::strcmp(groupNames[group], call) == 0) failingGroup = group;
}

// Counts a call of `group`. True if it is to fail.
bool fails(Group group) {
  if (group != failingGroup) return false;
  ++callsSeen;
  if (failAlways ? callsSeen < failAt : callsSeen != failAt) return false;
  const long handle = syscall(SYS_openat, AT_FDCWD, reportPath, O_WRONLY | O_CREAT, 0600);
  if (handle >= 0) syscall(SYS_close, handle);
  return true;
}

// The failure of a call that is to fail.
template <typename Result>
Result failed(Result result) {
  errno = failingError;
  return result;
}

// The C library's own routine of this name, looked for once.
template <typename Routine>
Routine* next(Routine*& routine, const char* name) {
  if (routine == nullptr) routine = reinterpret_cast<Routine*>(dlsym(RTLD_NEXT, name));
  return routine;
}

int openAt(int directory, const char* path, int flags, mode_t mode) {
  if (fails((flags & O_DIRECTORY) != 0 ? groupOpendir : groupOpen)) return failed(-1);
  return int(syscall(SYS_openat, directory, path, flags, mode));
}

int statAt(int directory, const char* path, struct stat* status, int flags) {
  if (fails(groupStat)) return failed(-1);
  return int(syscall(SYS_newfstatat, directory, path, status, flags));
}

}  // namespace

extern "C" {

#define MODE_OF(flags)                      \
  va_list list;                             \
  va_start(list, flags);                    \
  const mode_t mode = va_arg(list, mode_t); \
  va_end(list)

int open(const char* path, int flags, ...) {
  MODE_OF(flags);
  return openAt(AT_FDCWD, path, flags, mode);
}
int open64(const char* path, int flags, ...) {
  MODE_OF(flags);
  return openAt(AT_FDCWD, path, flags, mode);
}
int openat(int directory, const char* path, int flags, ...) {
  MODE_OF(flags);
  return openAt(directory, path, flags, mode);
}
int openat64(int directory, const char* path, int flags, ...) {
  MODE_OF(flags);
  return openAt(directory, path, flags, mode);
}

int memfd_create(const char* name, unsigned flags) noexcept {
  return fails(groupOpen) ? failed(-1) : int(syscall(SYS_memfd_create, name, flags));
}

ssize_t read(int handle, void* buffer, size_t size) {
  if (fails(groupRead)) {
    if (failingError != 0) return failed<ssize_t>(-1);
    if (size > 1) size = 1;
  }
  return syscall(SYS_read, handle, buffer, size);
}
ssize_t write(int handle, const void* data, size_t size) {
  if (fails(groupWrite)) {
    if (failingError != 0) return failed<ssize_t>(-1);
    if (size > 1) size = 1;
  }
  return syscall(SYS_write, handle, data, size);
}

// The descriptor is gone also when the call fails, as the system has it; and so is what was written, where
// there turns out to be no room for it.
int close(int handle) {
  const bool toFail = fails(groupClose);
  if (toFail && failingError == EDQUOT) syscall(SYS_ftruncate, handle, 0);
  const int result = int(syscall(SYS_close, handle));
  return toFail ? failed(-1) : result;
}

int fstat(int handle, struct stat* status) noexcept {
  return statAt(handle, "", status, AT_EMPTY_PATH);
}
int stat(const char* path, struct stat* status) noexcept {
  return statAt(AT_FDCWD, path, status, 0);
}
int lstat(const char* path, struct stat* status) noexcept {
  return statAt(AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW);
}
int fstatat(int directory, const char* path, struct stat* status, int flags) noexcept {
  return statAt(directory, path, status, flags);
}

off_t lseek(int handle, off_t offset, int origin) noexcept {
  return fails(groupSeek) ? failed<off_t>(-1) : syscall(SYS_lseek, handle, offset, origin);
}
int ftruncate(int handle, off_t size) noexcept {
  return fails(groupTruncate) ? failed(-1) : int(syscall(SYS_ftruncate, handle, size));
}
int fsync(int handle) {
  return fails(groupSync) ? failed(-1) : int(syscall(SYS_fsync, handle));
}
int fchmod(int handle, mode_t mode) noexcept {
  return fails(groupMode) ? failed(-1) : int(syscall(SYS_fchmod, handle, mode));
}

int rename(const char* from, const char* to) noexcept {
  return fails(groupRename) ? failed(-1) : int(syscall(SYS_rename, from, to));
}
int renameat(int fromDirectory, const char* from, int toDirectory, const char* to) noexcept {
  return fails(groupRename) ? failed(-1) : int(syscall(SYS_renameat, fromDirectory, from, toDirectory, to));
}
int renameat2(int fromDirectory, const char* from, int toDirectory, const char* to, unsigned flags) noexcept {
  return fails(groupRename) ? failed(-1)
                            : int(syscall(SYS_renameat2, fromDirectory, from, toDirectory, to, flags));
}
int linkat(int fromDirectory, const char* from, int toDirectory, const char* to, int flags) noexcept {
  return fails(groupRename) ? failed(-1)
                            : int(syscall(SYS_linkat, fromDirectory, from, toDirectory, to, flags));
}
int unlink(const char* path) noexcept {
  return fails(groupUnlink) ? failed(-1) : int(syscall(SYS_unlink, path));
}
int unlinkat(int directory, const char* path, int flags) noexcept {
  return fails(groupUnlink) ? failed(-1) : int(syscall(SYS_unlinkat, directory, path, flags));
}
ssize_t readlink(const char* path, char* buffer, size_t size) noexcept {
  return fails(groupReadlink) ? failed<ssize_t>(-1) : syscall(SYS_readlink, path, buffer, size);
}

void* mmap(void* start, size_t size, int access, int flags, int handle, off_t offset) noexcept {
  if (fails(groupMap)) return failed(MAP_FAILED);
  return reinterpret_cast<void*>(syscall(SYS_mmap, start, size, access, flags, handle, offset));
}
int mprotect(void* start, size_t size, int access) noexcept {
  return fails(groupProtect) ? failed(-1) : int(syscall(SYS_mprotect, start, size, access));
}
int munmap(void* start, size_t size) noexcept {
  return fails(groupUnmap) ? failed(-1) : int(syscall(SYS_munmap, start, size));
}
int madvise(void* start, size_t size, int advice) noexcept {
  return fails(groupAdvise) ? failed(-1) : int(syscall(SYS_madvise, start, size, advice));
}

void* malloc(size_t size) {
  return fails(groupMalloc) ? failed<void*>(nullptr) : __libc_malloc(size);
}
void* calloc(size_t count, size_t size) {
  return fails(groupMalloc) ? failed<void*>(nullptr) : __libc_calloc(count, size);
}
void* realloc(void* block, size_t size) {
  return fails(groupMalloc) ? failed<void*>(nullptr) : __libc_realloc(block, size);
}

DIR* opendir(const char* name) {
  using Routine = DIR*(const char*);
  static constinit Routine* real = nullptr;
  return fails(groupOpendir) ? failed<DIR*>(nullptr) : next(real, "opendir")(name);
}
dirent* readdir(DIR* directory) {
  using Routine = dirent*(DIR*);
  static constinit Routine* real = nullptr;
  return fails(groupReaddir) ? failed<dirent*>(nullptr) : next(real, "readdir")(directory);
}
ssize_t getdents64(int directory, void* block, size_t size) {
  return fails(groupReaddir) ? failed(ssize_t{-1}) : syscall(SYS_getdents64, directory, block, size);
}

}  // extern "C"
