// Outputs that are whole or not there.
//
// The text goes into a new file, ".vsp32-<process>-<number>.tmp" next to the output,
// or in the directory for temporary files where that can't be.
// At the end it takes the output's name; a file that has the name is replaced by a
// call that keeps its rights and attributes. Where that is refused, as for a file
// that another program has open, and for a file with more than one name, the text
// is copied into it. Devices, pipes and the file of standard output get the text as
// it comes.
//
// While the text is being written, the new file and the one that has the name are
// held open. Through these handles a break removes both without names and without
// the heap, whatever the main thread was doing when it was stopped. The right to
// delete is held on the new file alone: with it, the other could not be read by
// most programs.

#include "platform/output_file.h"

#include <windows.h>

#include <charconv>
#include <cstring>
#include <initializer_list>

#include "platform/faults.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "platform/system_win32.h"

// What createFile made last.
struct CreatedFile {
  bool pending;      // there is an output to be finished or removed
  HANDLE temporary;  // second handle of the new file, null if it has been closed
  HANDLE former;     // the file that has the name, null if there is none or it has been closed
  FileIdentity formerIdentity;
  bool formerHasLinks;  // it has more than one name
  char name[MAX_PATH];
  char temporaryName[MAX_PATH];
};
static constinit CreatedFile created = {};

constexpr DWORD readAndWrite = GENERIC_READ | GENERIC_WRITE;

static void closeSystemHandle(HANDLE& handle) {
  if (handle != nullptr) CloseHandle(handle);
  handle = nullptr;
}

static HANDLE openExisting(DWORD access) {
  return CreateFileA(created.name, access, shareAll, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// Makes a file of a new name in the directory that the first `start` bytes of
// `directory` name, with two handles to it.
static int makeTemporaryIn(const char* directory, size_t start) {
  constexpr char prefix[] = ".vsp32-";
  constexpr char suffix[] = ".tmp";
  constexpr size_t digits = 10;  // enough for a process and for a number
  constexpr unsigned attempts = 10000;
  if (start + sizeof prefix + 2 * digits + sizeof suffix > sizeof created.temporaryName) return openBroken;
  std::memcpy(created.temporaryName, directory, start);
  char* text = created.temporaryName + start;
  std::memcpy(text, prefix, sizeof prefix - 1);
  text += sizeof prefix - 1;
  text = std::to_chars(text, text + digits, GetCurrentProcessId()).ptr;
  *text++ = '-';
  HANDLE handle = INVALID_HANDLE_VALUE;
  for (unsigned number = 0; number < attempts && handle == INVALID_HANDLE_VALUE; ++number) {
    std::memcpy(std::to_chars(text, text + digits, number).ptr, suffix, sizeof suffix);
    handle = CreateFileA(created.temporaryName, readAndWrite | DELETE, shareAll, nullptr, CREATE_NEW,
                         FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE && GetLastError() != ERROR_FILE_EXISTS) return lastOpenFailure();
  }
  if (handle == INVALID_HANDLE_VALUE) return openFailed;
  const HANDLE process = GetCurrentProcess();
  if (!DuplicateHandle(process, handle, process, &created.temporary, 0, FALSE, DUPLICATE_SAME_ACCESS)) {
    created.temporary = nullptr;
    CloseHandle(handle);
    DeleteFileA(created.temporaryName);
    return openTooManyFiles;
  }
  created.pending = true;
  return takeIn(handle);
}

// Makes it in the directory of the output, or where the system keeps such files: one
// may write to a file in a directory that allows no new one, and a name may be too
// long for another of its kind.
static int makeTemporary() {
  const int handle = makeTemporaryIn(created.name, splitPath(created.name).nameStart);
  if (handle != openBroken) return handle;
  char directory[MAX_PATH + 1];
  const DWORD length = GetTempPathA(sizeof directory, directory);
  return length != 0 && length < sizeof directory ? makeTemporaryIn(directory, length) : handle;
}

// Looks at the file that has the name. Returns a handle where the text can go right
// there, openFailed where a new file is needed, and another OpenFailure where there
// can be no output.
static int lookAtFormer() {
  const HANDLE former = openExisting(readAndWrite);
  if (former == INVALID_HANDLE_VALUE)
    return GetLastError() == ERROR_FILE_NOT_FOUND        ? int{openFailed}
           : GetLastError() == ERROR_TOO_MANY_OPEN_FILES ? int{openTooManyFiles}
                                                         : int{openBroken};
  if (GetFileType(former) != FILE_TYPE_DISK) return takeIn(former);
  const FileIdentity identity = identityOf(former);
  if (wasRead(identity)) {
    CloseHandle(former);
    return openBroken;
  }
  for (const DWORD number : {STD_OUTPUT_HANDLE, STD_ERROR_HANDLE}) {
    const HANDLE stream = GetStdHandle(number);
    if (stream == nullptr || stream == INVALID_HANDLE_VALUE || !(identityOf(stream) == identity)) continue;
    CloseHandle(former);
    // What was printed before comes first.
    flushConsole();
    HANDLE copy;
    const HANDLE process = GetCurrentProcess();
    if (!DuplicateHandle(process, stream, process, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS))
      return openTooManyFiles;
    return takeIn(copy);
  }
  BY_HANDLE_FILE_INFORMATION status;
  created.formerHasLinks = GetFileInformationByHandle(former, &status) && status.nNumberOfLinks > 1;
  created.formerIdentity = identity;
  created.former = former;
  return openFailed;
}

static int createAndRemember(const char* path) {
  closeSystemHandle(created.temporary);
  closeSystemHandle(created.former);
  created = {};
  const size_t length = std::strlen(path);
  if (length == 0 || length >= sizeof created.name) return openFailed;
  std::memcpy(created.name, path, length + 1);
  if (!entryIsFree()) return openTooManyFiles;
  int handle = lookAtFormer();
  if (handle != openFailed) return handle;
  handle = makeTemporary();
  if (handle < 0) closeSystemHandle(created.former);
  watchFile(created.formerIdentity);
  return handle;
}

int createFile(const char* path) {
  // A break must not find half of what is remembered.
  holdBreaks();
  const int handle = createAndRemember(path);
  releaseBreaks();
  return handle;
}

const char* createdHostName() {
  static constinit char spelled[hostPathSize] = {};
  return spellForHost(created.name, spelled) ? spelled : created.name;
}

// True if the file that has the name now is one that the unit has read.
static bool nameWasRead() {
  if (watchedFileWasRead()) return true;
  // Another process may have made the file since.
  if (!anyReadSinceWatch()) return false;
  const FileIdentity present = identityOfName(created.name);
  return !(present == noFile) && !(present == created.formerIdentity) && wasRead(present);
}

// Copies the new file into the one that has the name, and removes the new one.
static FinishResult copyIntoFormer() {
  const HANDLE source = CreateFileA(created.temporaryName, GENERIC_READ, shareAll, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
  if (source == INVALID_HANDLE_VALUE) return finishNotWritten;
  const HANDLE target = CreateFileA(created.name, GENERIC_WRITE, shareAll, nullptr, TRUNCATE_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
  FinishResult result = target == INVALID_HANDLE_VALUE ? finishRefused : finishDone;
  while (result == finishDone) {
    char block[16384];
    DWORD count = 0;
    if (!ReadFile(source, block, sizeof block, &count, nullptr) || !writeSystemHandle(target, block, count))
      result = finishNotWritten;
    if (count == 0) break;
  }
  if (target != INVALID_HANDLE_VALUE && !CloseHandle(target)) result = finishNotWritten;
  CloseHandle(source);
  if (result == finishDone) DeleteFileA(created.temporaryName);
  return result;
}

// Gives the new file the name of the output.
static FinishResult putInPlace() {
  if (created.formerIdentity == noFile)
    return MoveFileExA(created.temporaryName, created.name, MOVEFILE_REPLACE_EXISTING | MOVEFILE_COPY_ALLOWED)
               ? finishDone
               : finishRefused;
  if (!created.formerHasLinks && ReplaceFileA(created.name, created.temporaryName, nullptr,
                                              REPLACEFILE_IGNORE_MERGE_ERRORS, nullptr, nullptr))
    return finishDone;
  return copyIntoFormer();
}

FinishResult finishCreatedFile(int handle) {
  const bool closed = closeFile(handle);
  if (!created.pending) return closed ? finishDone : finishNotWritten;
  if (!closed) return finishNotWritten;
  if (nameWasRead()) return finishRefused;
  holdBreaks();
  closeSystemHandle(created.temporary);
  closeSystemHandle(created.former);
  const FinishResult result = putInPlace();
  if (result == finishDone) created.pending = false;
  releaseBreaks();
  return result;
}

// Deletes an open file, whose handle has the right to it.
static bool deleteOpenFile(HANDLE handle) {
  FILE_DISPOSITION_INFO deletion{TRUE};
  return SetFileInformationByHandle(handle, FileDispositionInfo, &deletion, sizeof deletion) != 0;
}

// Deletes the file that has the name; if it can't be deleted, it is emptied.
static void deleteFormer() {
  const HANDLE again = ReOpenFile(created.former, DELETE, shareAll, 0);
  const bool deleted = again != INVALID_HANDLE_VALUE && deleteOpenFile(again);
  if (again != INVALID_HANDLE_VALUE) CloseHandle(again);
  if (deleted) return;
  SetFilePointer(created.former, 0, nullptr, FILE_BEGIN);
  SetEndOfFile(created.former);
}

void removeCreatedFile() {
  if (!created.pending) return;
  if (created.temporary != nullptr)
    deleteOpenFile(created.temporary);
  else
    DeleteFileA(created.temporaryName);
  if (!watchedFileWasRead() && !(created.formerIdentity == noFile)) {
    if (created.former != nullptr)
      deleteFormer();
    else
      DeleteFileA(created.name);
  }
  closeSystemHandle(created.temporary);
  closeSystemHandle(created.former);
  created.pending = false;
}
