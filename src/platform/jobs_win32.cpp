// Jobs as further runs of the program, told by the environment which unit is theirs.

#include "platform/jobs.h"

#include <windows.h>

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "platform/files.h"
#include "platform/system_win32.h"

// As many as one call can wait for.
constexpr int runningLimit = MAXIMUM_WAIT_OBJECTS - 4;
static constinit HANDLE running[runningLimit] = {};
static constinit int runningCount = 0;

// All processes that are started; they end with this one, however it ends.
static constinit HANDLE family = nullptr;

// "first unit:how many:handle of the result".
static constexpr char unitVariable[] = "VSP32_UNITS";

// How long a break waits for the jobs, which have it too and remove their outputs.
constexpr DWORD stopPatience = 400;

int processorCount() {
  SYSTEM_INFO info;
  GetSystemInfo(&info);
  return info.dwNumberOfProcessors < 1 ? 1 : int(info.dwNumberOfProcessors);
}

int runningJobLimit() {
  return runningLimit;
}

static HANDLE asSystem(intptr_t handle) {
  return reinterpret_cast<HANDLE>(handle);
}

static void closeOwn(intptr_t& handle) {
  if (handle != -1) CloseHandle(asSystem(handle));
  handle = -1;
}

void closeJob(Job& job) {
  closeOwn(job.out);
  closeOwn(job.err);
  closeOwn(job.result);
}

// A file that goes with its last handle, which the next process inherits; -1 on failure.
static intptr_t makeTemporaryFile() {
  char directory[MAX_PATH + 1];
  char name[MAX_PATH];
  if (GetTempPathA(sizeof directory, directory) == 0 || GetTempFileNameA(directory, "vsp", 0, name) == 0)
    return -1;
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  const HANDLE handle = CreateFileA(name, GENERIC_READ | GENERIC_WRITE, shareAll, &inherited, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
  return handle == INVALID_HANDLE_VALUE ? -1 : reinterpret_cast<intptr_t>(handle);
}

// True if text for one of the two streams comes out among that of the other.
static bool standardStreamsAreOne() {
  const HANDLE out = GetStdHandle(STD_OUTPUT_HANDLE);
  const HANDLE err = GetStdHandle(STD_ERROR_HANDLE);
  if (out == err || (consoleIsTerminal() && errorStreamIsTerminal())) return true;
  const FileIdentity identity = identityOf(out);
  return !(identity == noFile) && identity == identityOf(err);
}

static bool openJob(Job& job) {
  job = {-1, makeTemporaryFile(), -1, makeTemporaryFile(), 0, 0};
  if (!standardStreamsAreOne()) {
    job.err = makeTemporaryFile();
    if (job.err == -1) closeOwn(job.out);
  }
  if (job.out != -1 && job.result != -1) return true;
  closeJob(job);
  return false;
}

// Puts units and result handle into the environment of the process to be started.
static void setUnitVariable(uint32_t firstUnit, uint32_t count, intptr_t result) {
  char text[64];
  char* const limit = text + sizeof text - 1;
  char* end = std::to_chars(text, limit, firstUnit).ptr;
  *end++ = ':';
  end = std::to_chars(end, limit, count).ptr;
  *end++ = ':';
  *std::to_chars(end, limit, int64_t{result}).ptr = 0;
  SetEnvironmentVariableA(unitVariable, text);
}

// Makes the group of processes that end with this one.
static void openFamily() {
  if (family != nullptr) return;
  family = CreateJobObjectA(nullptr, nullptr);
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  if (family != nullptr)
    SetInformationJobObject(family, JobObjectExtendedLimitInformation, &limits, sizeof limits);
}

JobStart startJob(Job& job, uint32_t firstUnit, uint32_t count) {
  char program[programPathSize];
  if (runningCount == runningLimit || !programPath(program, sizeof program) || !openJob(job))
    return jobRefused;
  openFamily();
  setUnitVariable(firstUnit, count, job.result);
  STARTUPINFOA start{};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
  start.hStdOutput = asSystem(job.out);
  start.hStdError = asSystem(job.err == -1 ? job.out : job.err);
  PROCESS_INFORMATION process{};
  const bool started = CreateProcessA(program, GetCommandLineA(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                                      &start, &process) != 0;
  SetEnvironmentVariableA(unitVariable, nullptr);
  // The next process is to have its own files only.
  for (const intptr_t handle : {job.out, job.err, job.result})
    if (handle != -1) SetHandleInformation(asSystem(handle), HANDLE_FLAG_INHERIT, 0);
  if (!started) {
    closeJob(job);
    return jobRefused;
  }
  CloseHandle(process.hThread);
  if (family != nullptr) AssignProcessToJobObject(family, process.hProcess);
  running[runningCount++] = process.hProcess;
  job.process = reinterpret_cast<intptr_t>(process.hProcess);
  return jobStarted;
}

bool wasStartedForUnits(Job& job, uint32_t& firstUnit, uint32_t& count) {
  const char* const text = std::getenv(unitVariable);
  if (text == nullptr) return false;
  const char* const end = text + std::strlen(text);
  const std::from_chars_result first = std::from_chars(text, end, firstUnit);
  if (first.ec != std::errc() || *first.ptr != ':') return false;
  const std::from_chars_result second = std::from_chars(first.ptr + 1, end, count);
  int64_t handle = -1;
  if (second.ec != std::errc() || *second.ptr != ':' ||
      std::from_chars(second.ptr + 1, end, handle).ec != std::errc())
    return false;
  job = {-1, -1, -1, intptr_t(handle), 0, 0};
  return true;
}

void dropPrintedText() {
  flushConsole();
  for (const DWORD number : {STD_OUTPUT_HANDLE, STD_ERROR_HANDLE}) {
    const HANDLE handle = GetStdHandle(number);
    if (SetFilePointer(handle, 0, nullptr, FILE_BEGIN) == 0) SetEndOfFile(handle);
  }
}

bool sendJobResult(const Job& job, const TextBuffer& result) {
  return writeSystemHandle(asSystem(job.result), result.data, result.length);
}

intptr_t waitForJob(int& status) {
  if (runningCount == 0) return -1;
  const DWORD index = WaitForMultipleObjects(DWORD(runningCount), running, FALSE, INFINITE) - WAIT_OBJECT_0;
  if (index >= DWORD(runningCount)) return -1;
  const HANDLE process = running[index];
  running[index] = running[--runningCount];
  DWORD code = 0;
  GetExitCodeProcess(process, &code);
  status = int(code);
  CloseHandle(process);
  return reinterpret_cast<intptr_t>(process);
}

// Hands the bytes of a temporary file from `done` up to `limit` to `take`. False if they can't be read or
// aren't taken.
template <typename Take>
static bool readTemporary(intptr_t handle, uint64_t& done, uint64_t limit, Take take) {
  LARGE_INTEGER place;
  place.QuadPart = int64_t(done);
  if (!SetFilePointerEx(asSystem(handle), place, nullptr, FILE_BEGIN)) return false;
  char block[16384];
  while (done < limit) {
    const uint64_t wanted = limit - done < sizeof block ? limit - done : sizeof block;
    DWORD count = 0;
    if (!ReadFile(asSystem(handle), block, DWORD(wanted), &count, nullptr)) return false;
    if (count == 0) return true;
    done += count;
    if (!take(block, size_t{count})) return false;
  }
  return true;
}

// A failed write is told at the end of the run, as usual.
static bool printPart(const char* text, size_t length) {
  (void)writeConsole(text, length);
  return true;
}

bool printJob(Job& job, uint64_t outLength, uint64_t errLength) {
  const bool printed = readTemporary(job.out, job.outDone, outLength, printPart);
  return (job.err == -1 || readTemporary(job.err, job.errDone, errLength, writeErrorStream)) && printed;
}

bool readJobResult(const Job& job, TextBuffer& result) {
  uint64_t done = 0;
  return readTemporary(job.result, done, UINT64_MAX,
                       [&](const char* bytes, size_t size) { return appendBytes(result, bytes, size); });
}

static uint64_t sizeOfStream(DWORD number) {
  LARGE_INTEGER size;
  return GetFileSizeEx(GetStdHandle(number), &size) ? uint64_t(size.QuadPart) : 0;
}

void findPrintedLength(uint64_t& outLength, uint64_t& errLength) {
  outLength = sizeOfStream(STD_OUTPUT_HANDLE);
  errLength = sizeOfStream(STD_ERROR_HANDLE);
}

void stopJobs() {
  if (runningCount == 0) return;
  WaitForMultipleObjects(DWORD(runningCount), running, TRUE, stopPatience);
  for (int i = 0; i < runningCount; ++i) TerminateProcess(running[i], 1);
}
