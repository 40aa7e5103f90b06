// Files of Windows. Names go to the system as they are spelled.
//
// Handles of the system are kept in a table of our own, and its index is what
// callers get: 0 to 199, with a limit that lies far below that of the system. So
// a file too many is noticed here, before anything else in the process lacks a
// handle.
//
// The file made last is held open a second time, with the right to delete it.
// Through that handle a break can remove it without a name and without the
// heap, whatever the main thread was doing when it was stopped.

#include "platform/files.h"

#include <windows.h>

#include "platform/system_win32.h"

constexpr int handleLimit = 200;

// A file that callers have open.
struct SystemFile {
  HANDLE handle;  // null in a free entry
  // Bytes still to be read of an ordinary file. When the last of them has come,
  // asking once more would be a system call for nothing.
  int64_t bytesLeft;
  bool isSource;  // it is being read, and these three tell which file it is
  DWORD volume;
  DWORD indexHigh;
  DWORD indexLow;
};
static constinit SystemFile systemFiles[handleLimit] = {};

// The second handle of the file that createFile made last; null when there is
// nothing to delete.
static constinit HANDLE createdFile = nullptr;

constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// The index of a free entry, or -1.
static int findFreeEntry() {
  for (int i = 0; i < handleLimit; ++i)
    if (systemFiles[i].handle == nullptr) return i;
  return -1;
}

static OpenFailure lastFailure() {
  return GetLastError() == ERROR_TOO_MANY_OPEN_FILES ? openTooManyFiles : openFailed;
}

static bool isOrdinary(HANDLE handle) {
  return GetFileType(handle) == FILE_TYPE_DISK;
}

int openForReading(const char* path) {
  const int entry = findFreeEntry();
  if (entry < 0) return openTooManyFiles;
  const HANDLE handle = CreateFileA(path, GENERIC_READ, shareAll, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return lastFailure();
  SystemFile& file = systemFiles[entry];
  file = SystemFile{handle, 0, false, 0, 0, 0};
  BY_HANDLE_FILE_INFORMATION status;
  if (isOrdinary(handle) && GetFileInformationByHandle(handle, &status)) {
    file.bytesLeft = int64_t(uint64_t{status.nFileSizeHigh} << 32 | status.nFileSizeLow);
    file.isSource = true;
    file.volume = status.dwVolumeSerialNumber;
    file.indexHigh = status.nFileIndexHigh;
    file.indexLow = status.nFileIndexLow;
  }
  return entry;
}

void forgetDirectories() {}

// True if the file of `handle` is one that is being read.
static bool isBeingRead(HANDLE handle) {
  BY_HANDLE_FILE_INFORMATION status;
  if (!GetFileInformationByHandle(handle, &status)) return false;
  for (const SystemFile& file : systemFiles)
    if (file.handle != nullptr && file.isSource && file.indexLow == status.nFileIndexLow &&
        file.indexHigh == status.nFileIndexHigh && file.volume == status.dwVolumeSerialNumber)
      return true;
  return false;
}

// Opens or makes `path` for writing, with the right to delete it if it may be had.
static HANDLE openOutput(const char* path) {
  constexpr DWORD access = GENERIC_READ | GENERIC_WRITE;
  HANDLE handle =
      CreateFileA(path, access | DELETE, shareAll, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  // A device has no such right.
  if (handle == INVALID_HANDLE_VALUE && GetLastError() != ERROR_TOO_MANY_OPEN_FILES)
    handle = CreateFileA(path, access, shareAll, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  return handle;
}

// Forgets the second handle.
static void closeCreatedFile() {
  if (createdFile != nullptr) CloseHandle(createdFile);
  createdFile = nullptr;
}

void keepCreatedFile() {
  holdBreaks();
  closeCreatedFile();
  releaseBreaks();
}

void removeCreatedFile() {
  if (createdFile == nullptr) return;
  FILE_DISPOSITION_INFO deletion{TRUE};
  SetFileInformationByHandle(createdFile, FileDispositionInfo, &deletion, sizeof deletion);
  closeCreatedFile();
}

// Makes the file and notes it; the caller holds breaks off.
static int createAndRemember(const char* path) {
  closeCreatedFile();
  const int entry = findFreeEntry();
  if (entry < 0) return openTooManyFiles;
  const HANDLE handle = openOutput(path);
  if (handle == INVALID_HANDLE_VALUE) return lastFailure();
  if (isOrdinary(handle)) {
    if (isBeingRead(handle) || !SetEndOfFile(handle)) {
      CloseHandle(handle);
      return openFailed;
    }
    const HANDLE process = GetCurrentProcess();
    if (!DuplicateHandle(process, handle, process, &createdFile, 0, FALSE, DUPLICATE_SAME_ACCESS))
      createdFile = nullptr;
  }
  systemFiles[entry] = SystemFile{handle, 0, false, 0, 0, 0};
  return entry;
}

int createFile(const char* path) {
  // A break between the file's making and its note would leave an empty file.
  holdBreaks();
  const int entry = createAndRemember(path);
  releaseBreaks();
  return entry;
}

// The entry of a handle that is open, or null.
static SystemFile* findFile(int handle) {
  if (handle < 0 || handle >= handleLimit || systemFiles[handle].handle == nullptr) return nullptr;
  return &systemFiles[handle];
}

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
      // The writer of a pipe has gone: that is the end.
      if (GetLastError() == ERROR_BROKEN_PIPE) break;
      // What came before the failure is delivered; the next call meets it again.
      return done > 0 ? int64_t(done) : -1;
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

void closeFile(int handle) {
  SystemFile* const file = findFile(handle);
  if (file == nullptr) return;
  const HANDLE open = file->handle;
  file->handle = nullptr;
  CloseHandle(open);
}

bool fileExists(const char* path) {
  const DWORD attributes = GetFileAttributesA(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool directoryExists(const char* path) {
  const DWORD attributes = GetFileAttributesA(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}
