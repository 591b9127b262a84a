// install/worker_thread.h: the thread that runs the install job once per
// start, and then ends, whatever the run's outcome. Quitting never leaves a
// run half done:
// FinishWorker asks the job to stop (and to cancel while a run is going on)
// and waits for the thread.
#ifndef KITSETUP_INSTALL_WORKER_THREAD_H
#define KITSETUP_INSTALL_WORKER_THREAD_H

#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "install/template_change.h"

namespace kitsetup {

struct InstallPlan;
struct ProgressChannel;

struct WorkerThread {
  ProgressChannel* channel = nullptr;
  std::atomic<unsigned char> stop{0};  // read by the worker between runs
  pthread_t thread{};
  int32_t createResult = -1;           // -1 until pthread_create was called
  std::atomic<bool> running{false};    // a run of the job is in progress
  std::atomic<bool> finished{false};   // the thread body has returned
  uint32_t finishPauseMs = 1000;       // pause after the finish post
  bool singleRun = false;              // WorkerRunOnce rather than WorkerMain (both run once)
  RollbackProgress rollbackProgress = nullptr;  // handed to the job
  void* rollbackContext = nullptr;
  InstallPlan* plan = nullptr;          // when set, receives the run's plan (a refused one too)
  std::atomic<uint32_t> lastResult{0};  // the code of the last finished run
  std::atomic<uint32_t> runs{0};        // runs finished so far
  bool joined = false;                  // FinishWorker has waited for the thread
};

// stop = 0; starts WorkerMain (or, with singleRun, WorkerRunOnce) on a new
// thread. A failed start is only seen in createResult.
void StartWorker(WorkerThread* worker, ProgressChannel* channel);

// stop = 1: the worker ends after the current run.
void RequestStop(WorkerThread* worker);

// RequestStop, SetCancel on the channel while a run has not finished, then
// waits for the thread. Safe to call when the worker never started, and more
// than once.
void FinishWorker(WorkerThread* worker);

// The thread body: runs the job once unless stop is already set.
void* WorkerMain(void* worker);

// The other thread body: runs the job once; its code is in lastResult.
void* WorkerRunOnce(void* worker);

}  // namespace kitsetup

#endif
