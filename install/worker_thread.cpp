// install/worker_thread.cpp: starting, running and ending the worker.
#include "install/worker_thread.h"

#include <utility>

#include "install/install_job.h"
#include "install/progress_channel.h"

namespace kitsetup {
namespace {

uint32_t RunOnce(WorkerThread* worker) {
  worker->running = true;
  uint32_t code;
  {
    InstallJob job;
    job.finishPauseMs = worker->finishPauseMs;
    job.rollbackProgress = worker->rollbackProgress;
    job.rollbackContext = worker->rollbackContext;
    code = RunInstallJob(job, worker->channel);
    if (worker->plan) *worker->plan = std::move(job.plan);
  }
  worker->lastResult = code;
  worker->runs.fetch_add(1);
  worker->running = false;
  return code;
}

}  // namespace

void StartWorker(WorkerThread* worker, ProgressChannel* channel) {
  worker->stop = 0;
  worker->channel = channel;
  worker->createResult = -1;
  worker->finished = false;
  worker->joined = false;
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) == 0) {
    worker->createResult = pthread_create(&worker->thread, &attributes,
                                          worker->singleRun ? WorkerRunOnce : WorkerMain, worker);
    pthread_attr_destroy(&attributes);
  }
}

void RequestStop(WorkerThread* worker) { worker->stop = 1; }

void FinishWorker(WorkerThread* worker) {
  RequestStop(worker);
  if (worker->createResult != 0 || worker->joined) return;
  // Stop is already set, so no new run begins; a run under way is told to
  // cancel, stops after its current file and rolls back.
  if (!worker->finished) SetCancel(worker->channel, 1);
  pthread_join(worker->thread, nullptr);
  worker->joined = true;
}

void* WorkerMain(void* arg) {
  WorkerThread* worker = static_cast<WorkerThread*>(arg);
  // One run, whatever its end: after a failure or a cancel a repetition
  // could hide it, and after a success it would copy nothing while walking
  // the whole kit again.
  if (!worker->stop) RunOnce(worker);
  worker->finished = true;
  return nullptr;
}

void* WorkerRunOnce(void* arg) {
  WorkerThread* worker = static_cast<WorkerThread*>(arg);
  if (!worker->stop) RunOnce(worker);
  worker->finished = true;
  return nullptr;
}

}  // namespace kitsetup
