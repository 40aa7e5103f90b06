// Units in processes of their own.
//
// The first process goes through the arguments as it always does, but hands the units out; what they print it
// prints itself, in their order, when it is their turn. A process takes one unit at the start of a run and a
// few later on: to start one costs more than to translate a small file. Should it break, the units after the
// one that broke it are handed out again.
//
// Two processes never run together if one writes the file that the other writes or reads as its source. (That
// one includes what another writes can't be known before.)

#include "driver/jobs.h"

#include <charconv>
#include <cstring>
#include <string_view>

#include "diag/fatal.h"
#include "diag/position.h"
#include "diag/report.h"
#include "driver/open_output.h"
#include "driver/report_files.h"
#include "memory/memory.h"
#include "options/long_options.h"
#include "output/output.h"
#include "platform/files.h"
#include "platform/jobs.h"
#include "platform/paths.h"
#include "platform/read_files.h"
#include "record/files.h"

// A unit that has been handed out and not yet been printed; its names are offsets in those of its batch.
struct PendingUnit {
  size_t path;    // of the source
  size_t output;  // noOutput for the console
  bool standardInput;
};
constexpr size_t noOutput = SIZE_MAX;

constexpr uint32_t batchLimit = 32;

// The units of one process.
struct Batch {
  Job job;
  int status;          // of the process, as waitForJob gives it
  bool ended;          // the process has
  uint32_t firstUnit;  // number of the first unit
  uint32_t count;      // of the units
  PendingUnit units[batchLimit];
  // Outside the memory of units, which goes with the first that runs here.
  TextBuffer names;

  const char* pathOf(uint32_t i) const { return names.data + units[i].path; }
  const char* outputOf(uint32_t i) const {
    return units[i].output == noOutput ? nullptr : names.data + units[i].output;
  }
};

// The batches in their order, in a ring: those that have ended wait for their turn. One that is being
// gathered stands after them.
constexpr uint32_t pendingLimit = 256;
static constinit Batch batches[pendingLimit] = {};
static constinit uint32_t firstPending = 0;
static constinit uint32_t pendingCount = 0;
static constinit uint32_t pendingRoom = 0;  // how many there may be

static constinit UnitRoutine unitRoutine = nullptr;
static constinit int jobCount = 1;      // how many processes may run; 1: units run in this one
static constinit int runningCount = 0;  // how many do
static constinit bool anyFailed = false;

// In a process that was started for units: which, none in every other process.
static constinit uint32_t ownFirst = 0;
static constinit uint32_t ownCount = 0;
static constinit Job ownJob = {};

static Batch& batchAt(uint32_t index) {
  return batches[(firstPending + index) % pendingLimit];
}

// The batch that is being gathered.
static Batch& gathered() {
  return batchAt(pendingCount);
}

void resetJobs(UnitRoutine routine) {
  unitRoutine = routine;
  firstPending = pendingCount = 0;
  if (jobCount > 1) {
    gathered().count = 0;
    emptyBuffer(gathered().names);
  }
  jobCount = 1;
  runningCount = 0;
  anyFailed = false;
  if (!wasStartedForUnits(ownJob, ownFirst, ownCount)) ownCount = 0;
}

void beginJobs(bool stopsEarly) {
  // For each process one batch that waits for its turn, and some for units of different length.
  constexpr uint32_t spare = 16;
  jobCount = longOptions.jobs == jobsNotGiven || stopsEarly ? 1 : longOptions.jobs;
  if (jobCount == 0) jobCount = processorCount();
  if (jobCount > runningJobLimit()) jobCount = runningJobLimit();
  const uint32_t wanted = 2 * uint32_t(jobCount) + spare;
  pendingRoom = wanted < pendingLimit ? wanted : pendingLimit - 1;
}

bool isJobProcess() {
  return ownCount != 0;
}

// --- What a process tells of each unit ---
//
// The head, then each report's part with its length, then the files that the unit has read.

struct ResultHead {
  uint64_t length;  // of all that belongs to the unit, the head included
  uint64_t outEnd;  // where its text ends in what the process has printed, and in its error stream
  uint64_t errEnd;
  bool fatal;  // it has made reporting silent, and it stays so until the next unit
  bool succeeded;
};

struct ReportHead {
  uint64_t length;
  bool failed;
};

template <typename Record>
static void appendRecord(TextBuffer& buffer, const Record& record) {
  char bytes[sizeof record];
  std::memcpy(bytes, &record, sizeof record);
  appendBytes(buffer, bytes, sizeof record);
}

// Takes a record off the front of a text. False if there is not so much left.
template <typename Record>
static bool takeRecord(std::string_view& text, Record& record) {
  if (text.size() < sizeof record) return false;
  std::memcpy(&record, text.data(), sizeof record);
  text.remove_prefix(sizeof record);
  return true;
}

static constinit TextBuffer resultText = {};

static void appendFile(FileIdentity file) {
  appendRecord(resultText, file);
}

constexpr int lostStatus = 2;  // of a process that could not tell what it has done

// Tells the first process how a unit has ended.
static void sendResult(bool succeeded) {
  ResultHead head = {0, 0, 0, fatalSeen, succeeded};
  if (!flushConsole()) endProcessNow(lostStatus);
  resultText.length = 0;
  findPrintedLength(head.outEnd, head.errEnd);
  appendRecord(resultText, head);
  for (size_t i = 0; const ReportFile* const report = reportFile(i); ++i) {
    appendRecord(resultText, ReportHead{report->text.length, report->text.failed});
    appendBytes(resultText, report->text.data, report->text.length);
  }
  listUnitFiles(appendFile);
  if (resultText.failed) endProcessNow(lostStatus);
  head.length = resultText.length;
  std::memcpy(resultText.data, &head, sizeof head);
  if (!sendJobResult(ownJob, resultText)) endProcessNow(lostStatus);
}

// Takes over what a process tells of a unit, after its head.
static void takeResult(const ResultHead& head, std::string_view text) {
  for (size_t i = 0; const ReportFile* const report = reportFile(i); ++i) {
    ReportHead part;
    if (!takeRecord(text, part)) return;
    appendBytes(report->text, text.data(), size_t(part.length));
    if (part.failed) report->text.failed = true;
    text.remove_prefix(size_t(part.length));
  }
  for (FileIdentity file; takeRecord(text, file);) noteRead(file);
  fatalSeen = head.fatal;
  if (!head.succeeded) anyFailed = true;
}

// --- A process of units ---

// A unit that is to be translated.
struct UnitCall {
  const char* path;
  bool standardInput;
  bool succeeded;
};

static void callRoutine(void* argument) {
  UnitCall& call = *static_cast<UnitCall*>(argument);
  call.succeeded = unitRoutine(call.path, call.standardInput);
}

// Runs one unit of this process.
static void runOwnUnit(const char* path, bool standardInput) {
  UnitCall call{path, standardInput, false};
  for (size_t i = 0; const ReportFile* const report = reportFile(i); ++i) emptyBuffer(report->text);
  // The levels that are armed belong to the run.
  forgetLevels();
  if (!runProtected(callRoutine, &call)) abandonOutput();
  sendResult(call.succeeded);
}

// Runs the units of a batch in this process, which is a copy of the first one, and ends it.
[[noreturn]] static void runOwnBatch(const Batch& batch) {
  ownJob = batch.job;
  ownFirst = batch.firstUnit;
  ownCount = batch.count;
  for (uint32_t i = 0; i < pendingCount; ++i)
    if (&batchAt(i) != &batch) closeJob(batchAt(i).job);
  for (uint32_t i = 0; i < batch.count; ++i) {
    unitNumber = batch.firstUnit + i;
    runOwnUnit(batch.pathOf(i), batch.units[i].standardInput);
  }
  endProcessNow(0);
}

// --- The first process ---

static void runHere(const char* path, bool standardInput) {
  if (!unitRoutine(path, standardInput)) anyFailed = true;
}

// Runs the units of a batch in this process, all before them being done.
static void runBatchHere(const Batch& batch) {
  const uint32_t current = unitNumber;
  for (uint32_t i = 0; i < batch.count; ++i) {
    unitNumber = batch.firstUnit + i;
    runHere(batch.pathOf(i), batch.units[i].standardInput);
  }
  unitNumber = current;
}

// Starts the process of a batch. False if the system has no room for one.
static bool startBatch(Batch& batch) {
  (void)flushConsole();
  switch (startJob(batch.job, batch.firstUnit, batch.count)) {
    case jobStarted: break;
    case jobIsHere: runOwnBatch(batch);
    case jobRefused: return false;
  }
  batch.ended = false;
  ++runningCount;
  return true;
}

// Waits until one process more has ended.
static void waitForProcess() {
  int status = lostStatus;
  const intptr_t process = waitForJob(status);
  for (uint32_t i = 0; i < pendingCount; ++i) {
    Batch& batch = batchAt(i);
    // Without any process there is nothing that could end.
    if (batch.ended || (process != -1 && batch.job.process != process)) continue;
    batch.ended = true;
    batch.status = status;
    --runningCount;
  }
}

// Reports what has become of a unit's process.
static void reportBroken(const char* path, const char* what) {
  anyFailed = true;
  resetCounters();
  currentFileName = path;
  reportFatal(msgInternalError, what);
  currentFileName = nullptr;
}

// The process of a batch has ended in the midst of this unit, or can't tell what it has done.
static void reportEnd(const char* path, int status) {
  constexpr int filterStatus = 1;  // a fault, which has been reported
  anyFailed = true;
  if (status == filterStatus) return;
  char text[64];
  const char* const piece = status < 0 ? "(killed by signal " : "(ended with status ";
  const size_t length = std::strlen(piece);
  std::memcpy(text, piece, length);
  char* end = std::to_chars(text + length, text + sizeof text - 2, status < 0 ? -status : status).ptr;
  *end++ = ')';
  *end = 0;
  reportBroken(path, text);
}

// Prints what the process of a batch has told. Gives how many units are done with: fewer than there are if
// one of them has broken it.
static uint32_t printBatch(Batch& batch) {
  emptyBuffer(resultText);
  (void)readJobResult(batch.job, resultText);
  std::string_view text(resultText.data, resultText.length);
  uint32_t done = 0;
  for (ResultHead head; done != batch.count && takeRecord(text, head); ++done) {
    const size_t rest = size_t(head.length) - sizeof head;
    if (head.length < sizeof head || rest > text.size()) break;
    if (!printJob(batch.job, head.outEnd, head.errEnd))
      reportBroken(batch.pathOf(done), "(its messages are lost)");
    takeResult(head, {text.data(), rest});
    text.remove_prefix(rest);
  }
  if (done == batch.count) return done;
  (void)printJob(batch.job, UINT64_MAX, UINT64_MAX);
  reportEnd(batch.pathOf(done), batch.status);
  return done + 1;
}

// Prints the first batch, whose process has ended, and forgets it. What a broken process has not come to is
// run now.
static void collectFirst() {
  Batch& batch = batchAt(0);
  for (;;) {
    const uint32_t done = printBatch(batch);
    closeJob(batch.job);
    batch.count -= done;
    batch.firstUnit += done;
    std::memmove(batch.units, batch.units + done, batch.count * sizeof batch.units[0]);
    if (batch.count == 0) break;
    // There is room when another has ended; without others there will be none.
    while (!startBatch(batch) && runningCount != 0) waitForProcess();
    if (batch.ended) {
      runBatchHere(batch);
      break;
    }
    while (!batch.ended) waitForProcess();
  }
  // Outputs have been made that this process doesn't know of.
  forgetDirectories();
  emptyBuffer(batch.names);
  firstPending = (firstPending + 1) % pendingLimit;
  --pendingCount;
}

// Waits until one process more has ended, and prints the units whose turn it is. The gathered batch keeps its
// slot.
static void waitForOne() {
  waitForProcess();
  while (pendingCount != 0 && batchAt(0).ended) collectFirst();
}

// Starts the process of the gathered units.
static void startGathered() {
  Batch& batch = gathered();
  if (batch.count == 0) return;
  while (runningCount == jobCount || pendingCount == pendingRoom) waitForOne();
  if (startBatch(batch)) {
    ++pendingCount;
  } else {
    while (pendingCount != 0) waitForOne();
    runBatchHere(batch);
    emptyBuffer(batch.names);
  }
  gathered().count = 0;
}

bool finishJobs() {
  // Without processes the batches are not even looked at: a run of one small file is mostly pages touched
  // first.
  if (jobCount > 1) {
    startGathered();
    while (pendingCount != 0) waitForOne();
    emptyBuffer(resultText);
  }
  return !anyFailed;
}

// True if a process that has been started writes the file of this name.
static bool isBeingWritten(const char* outputName) {
  if (outputName == nullptr) return false;
  for (uint32_t i = 0; i < pendingCount; ++i) {
    const Batch& batch = batchAt(i);
    for (uint32_t j = 0; j < batch.count; ++j)
      if (batch.outputOf(j) != nullptr && sameFileName(batch.outputOf(j), outputName)) return true;
  }
  return false;
}

static size_t addName(Batch& batch, const char* name) {
  const size_t offset = batch.names.length;
  if (!appendBytes(batch.names, name, std::strlen(name) + 1)) failOutOfMemory();
  return offset;
}

// Adds a unit to those that are gathered, and starts their process when there are enough.
static void gatherUnit(uint32_t number, const char* path, bool standardInput) {
  // What has been done says how many there may be: at the end of a short run no process is to be idle.
  constexpr uint32_t rounds = 4;
  char* const outputName = plannedOutput(path);
  if (isBeingWritten(outputName)) {
    startGathered();
    while (isBeingWritten(outputName)) waitForOne();
  }
  Batch& batch = gathered();
  if (batch.count == 0) batch.firstUnit = number;
  PendingUnit& unit = batch.units[batch.count];
  unit = {addName(batch, path), noOutput, standardInput};
  if (outputName != nullptr) unit.output = addName(batch, outputName);
  memFree(outputName);
  ++batch.count;
  const uint32_t wanted = 1 + number / (rounds * uint32_t(jobCount));
  if (batch.count == batchLimit || batch.count >= wanted) startGathered();
}

void runUnit(uint32_t number, const char* path, bool standardInput) {
  if (ownCount != 0) {
    if (number < ownFirst) return;
    if (number == ownFirst) dropPrintedText();
    runOwnUnit(path, standardInput);
    if (number == ownFirst + ownCount - 1) endProcessNow(0);
  } else if (jobCount > 1) {
    gatherUnit(number, path, standardInput);
  } else {
    runHere(path, standardInput);
  }
}
