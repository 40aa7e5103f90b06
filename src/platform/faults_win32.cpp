// The break signal, hardware faults and stack overflow.
//
// Faults go the way of structured exceptions, along the chain of handlers that
// begins at fs:0. A stack guard is a link of that chain in the frame of
// runWithStackGuard: it takes the stack overflow alone, puts the guard page back
// and continues after the guarded call. What no link takes comes to the filter at
// the end of the chain, which is ours: it dismisses the notices that are no
// faults, and hands everything else to the program's filter.
//
// The run-time's longjmp, which a fatal error uses, unwinds the chain itself: a
// guard that it passes is told so, and is no link any more.
//
// A break arrives in a thread that the system makes for it. The main thread is
// stopped first, and nothing is called then that could wait for it: no heap, no
// run-time.

#include "platform/faults.h"

#include <malloc.h>
#include <windows.h>

#include "platform/files.h"
#include "platform/system_win32.h"

using FaultFilter = void(const FaultRecord& record);
using BreakHandler = void();

constexpr int faultDepthLimit = 8;
constexpr ULONG filterStackRoom = 0x10000;  // left for a filter when the stack is used up outside any guard

static constinit FaultFilter* faultFilter = nullptr;
static constinit BreakHandler* breakHandler = nullptr;
static constinit int faultDepth = 0;  // faults being handled: one in a filter is the second
static constinit LPTOP_LEVEL_EXCEPTION_FILTER formerFilter = nullptr;
static constinit bool filterInstalled = false;
static constinit HANDLE mainThread = nullptr;
static constinit int heldBreaks = 0;  // holds of the main thread that are not released

// True for the notices that debugging run-times raise as exceptions.
static bool isNotice(DWORD code) {
  return (code & 0xFFFF0000) == 0xC0010000;
}

// The start of the module that holds this program's code.
static uintptr_t programBase() {
  MEMORY_BASIC_INFORMATION block;
  if (VirtualQuery(reinterpret_cast<const void*>(&programBase), &block, sizeof block) == 0) return 0;
  return reinterpret_cast<uintptr_t>(block.AllocationBase);
}

// Hands a fault to the program's filter.
static void tellFilter(const EXCEPTION_RECORD* fault) {
  if (faultFilter == nullptr || faultDepth >= faultDepthLimit) return;
  ++faultDepth;
  faultFilter(FaultRecord{reinterpret_cast<uintptr_t>(fault->ExceptionAddress), programBase()});
  --faultDepth;
}

static EXCEPTION_REGISTRATION_RECORD* firstLink() {
  EXCEPTION_REGISTRATION_RECORD* link;
  asm volatile("movl %%fs:0, %0" : "=r"(link));
  return link;
}

static void setFirstLink(EXCEPTION_REGISTRATION_RECORD* link) {
  asm volatile("movl %0, %%fs:0" : : "r"(link) : "memory");
}

// Flags of an exception that only tells a link that it is being removed.
constexpr DWORD unwindingFlags = 6;

// The handler of the link that stands while the filter runs: a fault of the
// filter is one for the filter too. The system would end the process. Like all
// that the system calls, it may find any alignment of the stack.
[[gnu::force_align_arg_pointer]] static EXCEPTION_DISPOSITION __cdecl onFilterFault(EXCEPTION_RECORD* fault,
                                                                                    void*, CONTEXT*, void*) {
  if ((fault->ExceptionFlags & unwindingFlags) != 0) return ExceptionContinueSearch;
  if (isNotice(fault->ExceptionCode)) return ExceptionContinueExecution;
  tellFilter(fault);
  return ExceptionContinueSearch;
}

// The end of the chain.
[[gnu::force_align_arg_pointer]] static LONG WINAPI onFault(EXCEPTION_POINTERS* fault) {
  if (isNotice(fault->ExceptionRecord->ExceptionCode)) return EXCEPTION_CONTINUE_EXECUTION;
  EXCEPTION_REGISTRATION_RECORD link;
  link.Next = firstLink();
  link.Handler = reinterpret_cast<PEXCEPTION_ROUTINE>(onFilterFault);
  setFirstLink(&link);
  tellFilter(fault->ExceptionRecord);
  setFirstLink(link.Next);
  return EXCEPTION_CONTINUE_SEARCH;
}

void installFaultFilter(void (*filter)(const FaultRecord& record)) {
  faultDepth = 0;
  faultFilter = filter;
  if (filterInstalled) return;
  filterInstalled = true;
  formerFilter = SetUnhandledExceptionFilter(onFault);
  ULONG room = filterStackRoom;
  SetThreadStackGuarantee(&room);
}

void removeFaultFilter() {
  faultFilter = nullptr;
  if (!filterInstalled) return;
  filterInstalled = false;
  SetUnhandledExceptionFilter(formerFilter);
}

// --- Stack overflow ---

// A link of the chain, with what is needed to go on after the guarded call.
struct StackGuard {
  EXCEPTION_REGISTRATION_RECORD link;
  void* context[5];  // of __builtin_setjmp
  int heldBreaks;    // as many holds are left when it catches
};

static constinit StackGuard* overflowedGuard = nullptr;

// Where the thread goes on after an overflow, with the stack of the guard's frame
// to work on: the frames that overflowed are gone.
[[noreturn, gnu::force_align_arg_pointer]] static void leaveOverflowedStack() {
  _resetstkoflw();
  __builtin_longjmp(overflowedGuard->context, 1);
}

// The handler of a guard's link.
[[gnu::force_align_arg_pointer]] static EXCEPTION_DISPOSITION __cdecl onGuardedFault(EXCEPTION_RECORD* fault,
                                                                                     void* link,
                                                                                     CONTEXT* registers,
                                                                                     void*) {
  if ((fault->ExceptionFlags & unwindingFlags) != 0) return ExceptionContinueSearch;
  if (fault->ExceptionCode != DWORD(EXCEPTION_STACK_OVERFLOW)) return ExceptionContinueSearch;
  // The link is the first field of its guard. The frames between the guard and
  // the fault may have linked themselves too: they go with their stack.
  constexpr uintptr_t frameRoom = 0x400;  // keeps clear of what the guard's frame has below the guard
  overflowedGuard = static_cast<StackGuard*>(link);
  setFirstLink(&overflowedGuard->link);
  registers->Esp = DWORD(reinterpret_cast<uintptr_t>(link) - frameRoom);
  registers->Eip = DWORD(reinterpret_cast<uintptr_t>(&leaveOverflowedStack));
  return ExceptionContinueExecution;
}

// Runs the guarded call in a frame of its own, so that nothing of the landing
// place lives in a register.
[[gnu::noinline]] static bool runGuarded(StackGuard& guard, void (*body)(void*), void* argument) {
  if (__builtin_setjmp(guard.context) != 0) return false;
  body(argument);
  return true;
}

[[gnu::noinline]] bool runWithStackGuard(void (*body)(void*), void* argument) {
  StackGuard guard;
  guard.link.Next = firstLink();
  guard.link.Handler = reinterpret_cast<PEXCEPTION_ROUTINE>(onGuardedFault);
  guard.heldBreaks = heldBreaks;
  setFirstLink(&guard.link);
  const bool returned = runGuarded(guard, body, argument);
  setFirstLink(guard.link.Next);
  while (heldBreaks > guard.heldBreaks) releaseBreaks();
  return returned;
}

// --- The break signal ---
//
// The lock is held by the main thread where a break must wait, and by a break from
// then on. The counters belong to the main thread.

static SRWLOCK breakLock = SRWLOCK_INIT;
static constinit volatile LONG breakWaiting = 0;
static constinit int breakStatus = 0;

// How long a break lets the main thread wait for a device or a reader, and how long
// it may take itself, in milliseconds.
constexpr DWORD breakPatience = 500;

void holdBreaks() {
  if (heldBreaks++ == 0) AcquireSRWLockExclusive(&breakLock);
}

void releaseBreaks() {
  if (--heldBreaks != 0) return;
  ReleaseSRWLockExclusive(&breakLock);
  // The break's own thread ends the process.
  while (breakWaiting != 0) Sleep(INFINITE);
}

bool breakWaits() {
  return breakWaiting != 0;
}

// Ends the process should a break hang, as on a pipe that nobody reads.
[[gnu::force_align_arg_pointer]] static DWORD WINAPI endHangingBreak(void*) {
  Sleep(2 * breakPatience);
  endProcessNow(breakStatus);
}

// Runs in a thread of its own on each of the console's signals.
[[gnu::force_align_arg_pointer]] static BOOL WINAPI onBreak(DWORD) {
  InterlockedExchange(&breakWaiting, 1);
  for (DWORD waited = 0; !TryAcquireSRWLockExclusive(&breakLock); waited += 10) {
    Sleep(10);
    if (waited >= breakPatience) CancelSynchronousIo(mainThread);
  }
  CreateThread(nullptr, 0, endHangingBreak, nullptr, 0, nullptr);
  // A thread that is asked for its state has stopped by the time of the answer.
  CONTEXT state{};
  state.ContextFlags = CONTEXT_CONTROL;
  if (SuspendThread(mainThread) != DWORD(-1)) GetThreadContext(mainThread, &state);
  breakHandler();
  endProcessNow(breakStatus);
}

void installBreakHandler(void (*handler)(), int status) {
  breakHandler = handler;
  breakStatus = status;
  if (mainThread != nullptr) return;
  const HANDLE process = GetCurrentProcess();
  DuplicateHandle(process, GetCurrentThread(), process, &mainThread, 0, FALSE, DUPLICATE_SAME_ACCESS);
  SetConsoleCtrlHandler(onBreak, TRUE);
}
