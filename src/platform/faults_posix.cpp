// Break signals, hardware faults and stack overflow.
//
// All handlers run on a stack of their own, since the ordinary one may be used
// up. A fault whose address lies close to the stack pointer can only be an
// overflow: the system grows the stack for every other access there. It goes to
// the innermost guard, by a non-local return that takes the place of the frames
// that overflowed. Everything else goes to the fault filter and then to the
// default action of the signal.
//
// A guard may be left by another non-local return, that of a fatal error, which
// this file does not see. The guards therefore stand in an array with the
// address of the frame that owns them: the stack grows down, so a guard whose
// frame lies below a routine that calls us is one that has been left, and goes.

#include "platform/faults_posix.h"

#include <setjmp.h>
#include <signal.h>
#include <ucontext.h>
#include <unistd.h>

#include <atomic>
#include <iterator>

#include "platform/faults.h"

constexpr size_t handlerStackSize = 0x20000;
constexpr uintptr_t overflowReach = 0x100000;  // a frame may be that large
constexpr int guardLimit = 16;
constexpr int faultDepthLimit = 8;

// An armed level of runWithStackGuard.
struct StackGuard {
  sigjmp_buf context;
  uintptr_t frame;  // address of the frame that armed it
  int heldBreaks;   // as many holds are left when it catches
};

using FaultFilter = void(const FaultRecord& record);
using BreakHandler = void();

constexpr int faultSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL};
constexpr int faultSignalCount = int(std::size(faultSignals));
constexpr int breakSignals[] = {SIGINT, SIGTERM, SIGHUP};

static constinit StackGuard guards[guardLimit] = {};
static constinit int guardCount = 0;
static constinit FaultFilter* faultFilter = nullptr;
static constinit BreakHandler* breakHandler = nullptr;
static constinit int breakStatus = 0;
static constinit volatile sig_atomic_t heldBreaks = 0;    // holds that are not released
static constinit volatile sig_atomic_t breakWaiting = 0;  // a break came meanwhile
static constinit bool handlersInstalled = false;
static constinit volatile sig_atomic_t faultDepth = 0;  // faults being handled: one in a filter is the second

// What was there before, to be put back by removeFaultFilter.
static constinit struct sigaction formerActions[faultSignalCount] = {};
static constinit stack_t formerStack = {};

alignas(16) static constinit char handlerStack[handlerStackSize] = {};

// The linker's name for the start of this program in memory.
extern "C" [[gnu::visibility("hidden")]] const char __ehdr_start[];

// Forgets the guards whose frames lie below `live`, an address in a frame that is alive.
static void dropDeadGuards(uintptr_t live) {
  while (guardCount > 0 && guards[guardCount - 1].frame < live) --guardCount;
}

// True if a fault at `address` means that the stack at `stackPointer` is full.
static bool isStackOverflow(int signal, const siginfo_t* info, uintptr_t stackPointer) {
  // A signal that another process sent has no address.
  if ((signal != SIGSEGV && signal != SIGBUS) || info->si_code <= 0) return false;
  const uintptr_t address = reinterpret_cast<uintptr_t>(info->si_addr);
  const uintptr_t distance = address > stackPointer ? address - stackPointer : stackPointer - address;
  return distance < overflowReach;
}

// Handler of the fault signals.
[[gnu::no_sanitize_address]] static void onFault(int signal, siginfo_t* info, void* context) {
  const greg_t* const registers = static_cast<const ucontext_t*>(context)->uc_mcontext.gregs;
  const uintptr_t stackPointer = uintptr_t(registers[REG_RSP]);
  if (isStackOverflow(signal, info, stackPointer)) {
    dropDeadGuards(stackPointer);
    if (guardCount > 0) siglongjmp(guards[guardCount - 1].context, 1);
  }
  if (faultFilter != nullptr && faultDepth < faultDepthLimit) {
    faultDepth = faultDepth + 1;
    const FaultRecord record{uintptr_t(registers[REG_RIP]), reinterpret_cast<uintptr_t>(__ehdr_start)};
    faultFilter(record);
    faultDepth = faultDepth - 1;
  }
  // The instruction runs again and faults for good; a signal that was sent must be raised again.
  struct sigaction action {};
  action.sa_handler = SIG_DFL;
  sigaction(signal, &action, nullptr);
  if (info->si_code <= 0) raise(signal);
}

// Puts the handlers and their stack in place.
static void installHandlers() {
  if (handlersInstalled) return;
  handlersInstalled = true;
  stack_t stack{};
  stack.ss_sp = handlerStack;
  stack.ss_size = handlerStackSize;
  sigaltstack(&stack, &formerStack);
  struct sigaction action {};
  action.sa_sigaction = onFault;
  // Left by a non-local return that restores no mask, a handler must not block
  // its own signal; and a filter's own fault must reach us too.
  action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
  sigemptyset(&action.sa_mask);
  for (int i = 0; i < faultSignalCount; ++i) sigaction(faultSignals[i], &action, &formerActions[i]);
}

void installFaultFilter(void (*filter)(const FaultRecord& record)) {
  dropDeadGuards(reinterpret_cast<uintptr_t>(__builtin_frame_address(0)));
  faultDepth = 0;
  faultFilter = filter;
  installHandlers();
}

void removeFaultFilter() {
  dropDeadGuards(reinterpret_cast<uintptr_t>(__builtin_frame_address(0)));
  faultFilter = nullptr;
  if (!handlersInstalled || guardCount > 0) return;
  handlersInstalled = false;
  for (int i = 0; i < faultSignalCount; ++i) sigaction(faultSignals[i], &formerActions[i], nullptr);
  // The sanitizer's run-time unmaps the stack that it finds at the end: that must be its own.
  sigaltstack(&formerStack, nullptr);
}

[[gnu::noinline]] bool runWithStackGuard(void (*body)(void*), void* argument) {
  const uintptr_t frame = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
  // A guard at this very address had this frame's place before us.
  dropDeadGuards(frame + 1);
  installHandlers();
  if (guardCount == guardLimit) {
    // An outer guard then catches for this one as well.
    body(argument);
    return true;
  }
  StackGuard& guard = guards[guardCount];
  guard.frame = frame;
  guard.heldBreaks = heldBreaks;
  if (sigsetjmp(guard.context, 0) != 0) {
    --guardCount;
    while (heldBreaks > guard.heldBreaks) releaseBreaks();
    return false;
  }
  ++guardCount;
  body(argument);
  dropDeadGuards(frame);
  --guardCount;
  return true;
}

// Ends the process after a break. The sanitizer's run-time would want memory before
// a call that doesn't return, which a signal handler can't give it.
[[gnu::no_sanitize_address]] static void runBreak() {
  breakHandler();
  _exit(breakStatus);
}

// Handler of the break signals.
[[gnu::no_sanitize_address]] static void onBreak(int) {
  if (heldBreaks == 0) runBreak();
  breakWaiting = 1;
}

void holdBreaks() {
  heldBreaks = heldBreaks + 1;
  std::atomic_signal_fence(std::memory_order_acq_rel);
}

void releaseBreaks() {
  std::atomic_signal_fence(std::memory_order_acq_rel);
  heldBreaks = heldBreaks - 1;
  // From here on a break runs by itself; what came before is asked for.
  if (heldBreaks != 0 || breakWaiting == 0) return;
  heldBreaks = 1;
  runBreak();
}

bool breakWaits() {
  return breakWaiting != 0;
}

void installBreakHandler(void (*handler)(), int status) {
  breakHandler = handler;
  breakStatus = status;
  struct sigaction action {};
  action.sa_handler = onBreak;
  action.sa_flags = SA_ONSTACK;
  sigemptyset(&action.sa_mask);
  for (const int signal : breakSignals) sigaddset(&action.sa_mask, signal);
  // One that is ignored from the start is not for this run: it is to survive its
  // terminal, or was started in the background.
  for (const int signal : breakSignals) {
    struct sigaction present {};
    if (sigaction(signal, nullptr, &present) == 0 && present.sa_handler != SIG_IGN)
      sigaction(signal, &action, nullptr);
  }
  // A reader that went away is a write that fails, not a death.
  signal(SIGPIPE, SIG_IGN);
  // So is a file that has reached the size that it may have.
  signal(SIGXFSZ, SIG_IGN);
}

void obeyStopSignal() {
  struct sigaction action {};
  action.sa_handler = onBreak;
  action.sa_flags = SA_ONSTACK;
  sigemptyset(&action.sa_mask);
  for (const int signal : breakSignals) sigaddset(&action.sa_mask, signal);
  sigaction(stopSignal, &action, nullptr);
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, stopSignal);
  sigprocmask(SIG_UNBLOCK, &set, nullptr);
}
