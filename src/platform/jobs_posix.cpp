// Jobs as copies of the process.

#include "platform/jobs.h"

#include <errno.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "platform/faults.h"
#include "platform/faults_posix.h"
#include "platform/files.h"
#include "platform/host_open.h"

constexpr int runningLimit = 256;

// The processes that run; the handler of a break may look at any time.
static constinit volatile pid_t running[runningLimit] = {};

// How long a break waits for a job to remove its output.
constexpr int stopAttempts = 200;
constexpr long stopPause = 10'000'000;  // nanoseconds

int processorCount() {
  cpu_set_t set;
  if (sched_getaffinity(0, sizeof set, &set) != 0) return 1;
  const int count = CPU_COUNT(&set);
  return count < 1 ? 1 : count;
}

int runningJobLimit() {
  return runningLimit;
}

static void closeOwn(intptr_t& handle) {
  if (handle >= 0) close(int(handle));
  handle = -1;
}

void closeJob(Job& job) {
  closeOwn(job.out);
  closeOwn(job.err);
  closeOwn(job.result);
}

static int makeNameless() {
  return memfd_create("job", MFD_CLOEXEC);
}

// Makes the files of a job. False if there is no room.
static bool openJob(Job& job) {
  job = {-1, makeNameless(), -1, makeNameless(), 0, 0};
  if (!standardStreamsAreOne()) {
    job.err = makeNameless();
    if (job.err < 0) closeOwn(job.out);
  }
  if (job.out >= 0 && job.result >= 0) return true;
  closeJob(job);
  return false;
}

// The first steps of the job's process. It has nothing to do with its siblings.
static void becomeJob(Job& job, pid_t parent) {
  for (volatile pid_t& process : running) process = 0;
  obeyStopSignal();
  prctl(PR_SET_PDEATHSIG, stopSignal);
  if (getppid() != parent) endProcessNow(1);
  captureStandardStreams(int(job.out), int(job.err >= 0 ? job.err : job.out));
  closeOwn(job.out);
  closeOwn(job.err);
}

JobStart startJob(Job& job, uint32_t, uint32_t) {
  if (!openJob(job)) return jobRefused;
  const pid_t parent = getpid();
  volatile pid_t* place = running;
  while (place != running + runningLimit && *place != 0) ++place;
  // A break must find every job that there is.
  holdBreaks();
  const pid_t process = place == running + runningLimit ? -1 : fork();
  if (process == 0) {
    becomeJob(job, parent);
    releaseBreaks();
    return jobIsHere;
  }
  if (process > 0) *place = process;
  releaseBreaks();
  job.process = process;
  if (process > 0) return jobStarted;
  closeJob(job);
  return jobRefused;
}

bool wasStartedForUnits(Job&, uint32_t&, uint32_t&) {
  return false;
}

void dropPrintedText() {}

bool sendJobResult(const Job& job, const TextBuffer& result) {
  return writeFile(int(job.result), result.data, result.length);
}

intptr_t waitForJob(int& status) {
  for (;;) {
    siginfo_t info{};
    if (waitid(P_ALL, 0, &info, WEXITED | WNOWAIT) != 0) {
      if (errno == EINTR) continue;
      return -1;
    }
    // Its number may belong to another process as soon as this one is gone.
    holdBreaks();
    bool own = false;
    for (volatile pid_t& process : running) {
      if (process != info.si_pid) continue;
      process = 0;
      own = true;
    }
    waitpid(info.si_pid, nullptr, 0);
    releaseBreaks();
    // Another may come from the program that this process was before.
    if (!own) continue;
    status = info.si_code == CLD_EXITED ? info.si_status : -info.si_status;
    return info.si_pid;
  }
}

// Hands the bytes of a nameless file from `done` up to `limit` to `take`. False if they can't be read or
// aren't taken.
template <typename Take>
static bool readNameless(intptr_t handle, uint64_t& done, uint64_t limit, Take take) {
  if (!seekFile(int(handle), done)) return false;
  char block[16384];
  while (done < limit) {
    const int64_t count =
        readFile(int(handle), block, limit - done < sizeof block ? limit - done : sizeof block);
    if (count <= 0) return count == 0;
    done += uint64_t(count);
    if (!take(block, size_t(count))) return false;
  }
  return true;
}

// A failed write is told at the end of the run, as usual.
static bool printPart(const char* text, size_t length) {
  (void)writeConsole(text, length);
  return true;
}

bool printJob(Job& job, uint64_t outLength, uint64_t errLength) {
  const bool printed = readNameless(job.out, job.outDone, outLength, printPart);
  return (job.err < 0 || readNameless(job.err, job.errDone, errLength, writeErrorStream)) && printed;
}

bool readJobResult(const Job& job, TextBuffer& result) {
  uint64_t done = 0;
  return readNameless(job.result, done, UINT64_MAX,
                      [&](const char* bytes, size_t size) { return appendBytes(result, bytes, size); });
}

void findPrintedLength(uint64_t& outLength, uint64_t& errLength) {
  outLength = uint64_t(sizeOfFile(STDOUT_FILENO));
  errLength = uint64_t(sizeOfFile(STDERR_FILENO));
}

void stopJobs() {
  for (const volatile pid_t& process : running)
    if (process != 0) kill(process, stopSignal);
  int attempts = stopAttempts;
  for (volatile pid_t& process : running) {
    while (process != 0) {
      const pid_t ended = waitpid(process, nullptr, WNOHANG);
      if (ended == process || (ended < 0 && errno != EINTR)) {
        process = 0;
      } else if (attempts-- > 0) {
        const struct timespec pause { 0, stopPause };
        nanosleep(&pause, nullptr);
      } else {
        kill(process, SIGKILL);
        attempts = stopAttempts;
      }
    }
  }
}
