// Units in processes of their own.
//
// Where a process can be doubled, a job is a copy of this one, which goes on with its units. Where it can't,
// the program is started again with the same arguments, and the environment tells it which units are its own.
// What a job prints goes into files without a name, which the first process prints when it is the job's turn.

#pragma once

#include "base.h"
#include "platform/text_buffer.h"

// A job as the first process knows it. Handles are those of the system, -1 for none.
struct Job {
  intptr_t process;
  intptr_t out;      // what it prints
  intptr_t err;      // what it writes to the error stream; -1 if that goes where its standard output goes
  intptr_t result;   // what sendJobResult writes
  uint64_t outDone;  // how much of the first two has been printed
  uint64_t errDone;
};

enum JobStart {
  jobStarted,
  jobIsHere,  // this is the job's process: `job` is its own
  jobRefused  // the system has no room for one more
};

// How many processors this process may use, and how many jobs may run at a time.
int processorCount();
int runningJobLimit();

// Starts the job of `count` units from the number `firstUnit` on. The console's buffer must be empty.
JobStart startJob(Job& job, uint32_t firstUnit, uint32_t count);

// True in a process that was started for units, which it then tells; what it has of the job goes to `job`.
bool wasStartedForUnits(Job& job, uint32_t& firstUnit, uint32_t& count);

// Forgets what such a process has printed until now: the first one prints it.
void dropPrintedText();

// How much the job has printed so far; from the job, with the console's buffer empty.
void findPrintedLength(uint64_t& outLength, uint64_t& errLength);

// Writes what the first process is to know; from the job. False on failure.
bool sendJobResult(const Job& job, const TextBuffer& result);

// Waits until a job of this process ends and gives its `process`; -1 if there is none. `status` is its exit
// status, or less than 0 the number of the signal that ended it.
intptr_t waitForJob(int& status);

// Prints what the job has printed up to the two lengths. False if a part can't be read; what the console
// loses is told by flushConsole.
bool printJob(Job& job, uint64_t outLength, uint64_t errLength);

// Reads what the job has sent into `result`. False if a part is lost.
bool readJobResult(const Job& job, TextBuffer& result);

// Gives up what the first process holds of a job that has ended, or a job holds of another.
void closeJob(Job& job);

// Ends all jobs that run and waits for them, so that nothing half is left. Safe in a signal handler.
void stopJobs();
