// Writing, to files and to the console, and what else the process has from the
// system: its name, its environment, its end.
//
// Standard output is written as bytes, without the C run-time and its change of
// line ends: the text of -ocon brings CR LF itself, and messages end in a line
// feed as they do on every host. Output is gathered in one buffer; on a console
// each complete line goes out at once, so that the user sees how far a long run is.

#include <windows.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "platform/faults.h"
#include "platform/files.h"
#include "platform/status_line.h"
#include "platform/system_win32.h"

// Arguments reach the program as they are spelled: names with wildcards are searched for by the
// program itself. The run-time reads this variable before main.
extern "C" {
extern int _dowildcard;
int _dowildcard = 0;
}

constexpr size_t consoleRoom = 8192;

static constinit char consoleBuffer[consoleRoom] = {};
static constinit volatile size_t consoleUsed = 0;  // bytes waiting in the buffer
static constinit bool consoleFailed = false;       // a write failed: nothing is tried any more

// Handles have no numbers that a file could take over, so there is nothing to make
// usable. But the system must not ask for a disk in a window while a build waits.
bool openStandardHandles() {
  SetErrorMode(SEM_FAILCRITICALERRORS);
  return true;
}

bool writeSystemHandle(HANDLE handle, const void* data, size_t size) {
  const char* next = static_cast<const char*>(data);
  while (size > 0) {
    // An older console refuses more than 64 KB at once.
    constexpr size_t largestWrite = 0x8000;
    const size_t part = size < largestWrite ? size : largestWrite;
    DWORD count = 0;
    if (!WriteFile(handle, next, DWORD(part), &count, nullptr) || count == 0) return false;
    next += count;
    size -= count;
  }
  return true;
}

bool flushConsole() {
  // A break must not find half of it sent.
  holdBreaks();
  const size_t size = consoleUsed;
  if (size != 0 && !consoleFailed)
    consoleFailed = !writeSystemHandle(GetStdHandle(STD_OUTPUT_HANDLE), consoleBuffer, size);
  consoleUsed = 0;
  releaseBreaks();
  return !consoleFailed;
}

void flushConsoleAtBreak() {
  // The thread that handles the break has set a limit to the time that this may take.
  const size_t size = consoleUsed;
  consoleUsed = 0;
  if (size != 0 && !consoleFailed) writeSystemHandle(GetStdHandle(STD_OUTPUT_HANDLE), consoleBuffer, size);
}

static bool isTerminal(DWORD number) {
  DWORD mode;
  return GetConsoleMode(GetStdHandle(number), &mode) != 0;
}

bool errorStreamIsTerminal() {
  return isTerminal(STD_ERROR_HANDLE);
}

int errorStreamWidth() {
  CONSOLE_SCREEN_BUFFER_INFO info;
  return GetConsoleScreenBufferInfo(GetStdHandle(STD_ERROR_HANDLE), &info) ? info.dwSize.X : 0;
}

bool consoleIsTerminal() {
  static constinit int answer = -1;  // not asked yet
  if (answer < 0) answer = isTerminal(STD_OUTPUT_HANDLE) ? 1 : 0;
  return answer == 1;
}

bool writeConsole(const char* data, size_t size) {
  const bool endsLine = size != 0 && data[size - 1] == '\n';
  while (size > 0 && !consoleFailed) {
    const size_t room = consoleRoom - consoleUsed;
    const size_t part = size < room ? size : room;
    std::memcpy(consoleBuffer + consoleUsed, data, part);
    // The bytes first, then their number.
    std::atomic_signal_fence(std::memory_order_release);
    consoleUsed = consoleUsed + part;
    data += part;
    size -= part;
    if (consoleUsed == consoleRoom) flushConsole();
  }
  if (endsLine && consoleIsTerminal()) flushConsole();
  return !consoleFailed;
}

bool writeErrorStream(const char* data, size_t size) {
  eraseStatusLine();
  // What was written before is to be seen before.
  flushConsole();
  return writeSystemHandle(GetStdHandle(STD_ERROR_HANDLE), data, size);
}

bool programPath(char* buffer, size_t size) {
  const DWORD length = GetModuleFileNameA(nullptr, buffer, DWORD(size));
  return length != 0 && length < size;
}

bool mayLieBesideProgram(const char*) {
  return true;
}

const char* environmentValue(const char* name) {
  return std::getenv(name);
}

void endProcessNow(int status) {
  TerminateProcess(GetCurrentProcess(), UINT(status));
  // The call returns before the process has ended.
  for (;;) Sleep(INFINITE);
}
