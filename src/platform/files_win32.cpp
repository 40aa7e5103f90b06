// Files of Windows. Names go to the system as they are spelled.
//
// Handles of the system are kept in a table of our own, and its index is what
// callers get: 0 to 199, with a limit that lies far below that of the system. So
// a file too many is noticed here, before anything else in the process lacks a
// handle.

#include "platform/files.h"

#include <windows.h>

#include <cstring>

#include "platform/paths.h"
#include "platform/system_win32.h"

constexpr int handleLimit = 200;

// A file that callers have open.
struct SystemFile {
  HANDLE handle;  // null in a free entry
  // Bytes still to be read of an ordinary file. When the last of them has come,
  // asking once more would be a system call for nothing.
  int64_t bytesLeft;
};
static constinit SystemFile systemFiles[handleLimit] = {};

int takeIn(HANDLE handle) {
  for (int i = 0; i < handleLimit; ++i) {
    if (systemFiles[i].handle != nullptr) continue;
    systemFiles[i] = SystemFile{handle, 0};
    return i;
  }
  return -1;
}

bool entryIsFree() {
  for (const SystemFile& file : systemFiles)
    if (file.handle == nullptr) return true;
  return false;
}

// The entry of a handle that is open, or null.
static SystemFile* findFile(int handle) {
  if (handle < 0 || handle >= handleLimit || systemFiles[handle].handle == nullptr) return nullptr;
  return &systemFiles[handle];
}

HANDLE systemHandle(int handle) {
  const SystemFile* const file = findFile(handle);
  return file == nullptr ? nullptr : file->handle;
}

// True for the errors that say that a name leads to nothing.
static bool isMissing(DWORD error) {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_INVALID_NAME ||
         error == ERROR_BAD_PATHNAME || error == ERROR_INVALID_DRIVE || error == ERROR_DIRECTORY ||
         error == ERROR_FILENAME_EXCED_RANGE || error == ERROR_BUFFER_OVERFLOW ||
         error == ERROR_INVALID_PARAMETER || error == ERROR_BAD_NETPATH || error == ERROR_BAD_NET_NAME ||
         error == ERROR_NOT_READY || error == ERROR_UNRECOGNIZED_VOLUME;
}

static bool isMemoryError(DWORD error) {
  return error == ERROR_NOT_ENOUGH_MEMORY || error == ERROR_OUTOFMEMORY;
}

int lastOpenFailure() {
  const DWORD error = GetLastError();
  if (error == ERROR_TOO_MANY_OPEN_FILES) return openTooManyFiles;
  if (isMemoryError(error)) return openNoMemory;
  return isMissing(error) ? openFailed : openBroken;
}

static bool isOrdinary(HANDLE handle) {
  return GetFileType(handle) == FILE_TYPE_DISK;
}

// What the system says of an open ordinary file; false for anything else.
static bool findStatus(HANDLE handle, BY_HANDLE_FILE_INFORMATION& status) {
  return isOrdinary(handle) && GetFileInformationByHandle(handle, &status) != 0;
}

// The hash of the path by which the system knows an open file; 0 if it has none.
static uint64_t hashOfPath(HANDLE handle) {
  char path[4096];
  const DWORD length = GetFinalPathNameByHandleA(handle, path, sizeof path, 0);
  if (length == 0 || length >= sizeof path) return 0;
  uint64_t hash = 0xCBF29CE484222325;
  for (DWORD i = 0; i < length; ++i) hash = (hash ^ foldCase(Byte(path[i]))) * 0x100000001B3;
  return hash;
}

// What tells an open file from others: its number, or its path where the file system
// numbers no files.
static FileIdentity identityIn(HANDLE handle, const BY_HANDLE_FILE_INFORMATION& status) {
  const uint64_t number = uint64_t{status.nFileIndexHigh} << 32 | status.nFileIndexLow;
  return FileIdentity{status.dwVolumeSerialNumber, number != 0 ? number : hashOfPath(handle)};
}

FileIdentity identityOf(HANDLE handle) {
  BY_HANDLE_FILE_INFORMATION status;
  return findStatus(handle, status) ? identityIn(handle, status) : noFile;
}

FileIdentity identityOfName(const char* name) {
  const HANDLE handle =
      CreateFileA(name, 0, shareAll, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return noFile;
  const FileIdentity identity = identityOf(handle);
  CloseHandle(handle);
  return identity;
}

// Opens `path` for reading, with what it is in `identity`.
static int openPath(const char* path, FileIdentity& identity) {
  if (!entryIsFree()) return openTooManyFiles;
  const HANDLE handle = CreateFileA(path, GENERIC_READ, shareAll, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    // The system doesn't open directories like files, and calls that a lack of rights.
    const int failure = lastOpenFailure();
    return failure == openBroken && kindOfPath(path) == pathIsDirectory ? openFailed : failure;
  }
  const int entry = takeIn(handle);
  BY_HANDLE_FILE_INFORMATION status;
  if (findStatus(handle, status)) {
    identity = identityIn(handle, status);
    systemFiles[entry].bytesLeft = int64_t(uint64_t{status.nFileSizeHigh} << 32 | status.nFileSizeLow);
  }
  return entry;
}

// The last file opened, as it was spelled.
static constinit char openedName[MAX_PATH] = {};

int openForReading(const char* path) {
  FileIdentity identity = noFile;
  const int handle = openPath(path, identity);
  if (handle >= 0 && !(identity == noFile)) noteRead(identity);
  if (handle >= 0) std::strncpy(openedName, path, sizeof openedName - 1);
  return handle;
}

const char* openedHostName() {
  static constinit char spelled[hostPathSize] = {};
  return spellForHost(openedName, spelled) ? spelled : openedName;
}

int openStandardInput() {
  if (!entryIsFree()) return openTooManyFiles;
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  const HANDLE process = GetCurrentProcess();
  HANDLE copy;
  if (!DuplicateHandle(process, input, process, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS)) return openBroken;
  const FileIdentity identity = identityOf(copy);
  if (!(identity == noFile)) noteRead(identity);
  return takeIn(copy);
}

int openSettings(const char* path) {
  FileIdentity identity = noFile;
  const int handle = openPath(path, identity);
  if (handle >= 0 && !(identity == noFile)) noteReadForRun(identity);
  return handle;
}

// The system finds a name in any case by itself.
void forgetDirectories() {}

int64_t readFile(int handle, void* buffer, size_t size) {
  SystemFile* const file = findFile(handle);
  if (file == nullptr) return -1;
  Byte* const bytes = static_cast<Byte*>(buffer);
  size_t done = 0;
  while (done < size) {
    constexpr size_t largestRead = 0x40000000;
    const size_t part = size - done < largestRead ? size - done : largestRead;
    DWORD count = 0;
    if (!ReadFile(file->handle, bytes + done, DWORD(part), &count, nullptr)) {
      // The writer of a pipe has gone: that is the end. Else a part of the bytes
      // would look like the end of the file.
      if (GetLastError() == ERROR_BROKEN_PIPE) break;
      return -1;
    }
    if (count == 0) break;
    done += count;
    if (file->bytesLeft != 0) {
      file->bytesLeft = int64_t{count} < file->bytesLeft ? file->bytesLeft - int64_t{count} : 0;
      if (file->bytesLeft == 0) break;
    }
  }
  return int64_t(done);
}

bool writeFile(int handle, const void* data, size_t size) {
  const SystemFile* const file = findFile(handle);
  return file != nullptr && writeSystemHandle(file->handle, data, size);
}

bool seekFile(int handle, uint64_t offset) {
  SystemFile* const file = findFile(handle);
  if (file == nullptr || offset > uint64_t{INT64_MAX}) return false;
  file->bytesLeft = 0;
  LARGE_INTEGER target;
  target.QuadPart = int64_t(offset);
  return SetFilePointerEx(file->handle, target, nullptr, FILE_BEGIN) != 0;
}

int64_t sizeOfFile(int handle) {
  const SystemFile* const file = findFile(handle);
  LARGE_INTEGER size;
  if (file == nullptr || !isOrdinary(file->handle) || !GetFileSizeEx(file->handle, &size)) return -1;
  return size.QuadPart;
}

bool closeFile(int handle) {
  SystemFile* const file = findFile(handle);
  if (file == nullptr) return true;
  const HANDLE open = file->handle;
  file->handle = nullptr;
  return CloseHandle(open) != 0;
}

PathKind kindOfPath(const char* path) {
  const DWORD attributes = GetFileAttributesA(path);
  if (attributes != INVALID_FILE_ATTRIBUTES)
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? pathIsDirectory : pathIsFile;
  const DWORD error = GetLastError();
  if (isMissing(error)) return pathMissing;
  if (isMemoryError(error)) return pathNoMemory;
  return error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION ? pathIsFile : pathUnknown;
}

bool spellForHost(const char* path, char* name) {
  size_t i = 0;
  while (path[i] != 0) {
    const size_t size = pathCharLength(path + i);
    if (i + size >= hostPathSize) return false;
    name[i] = path[i] == '\\' ? '/' : path[i];
    if (size == 2) name[i + 1] = path[i + 1];
    i += size;
  }
  name[i] = 0;
  return true;
}

bool slashBeginsPaths() {
  return false;
}
