// install/progress_channel.h: the one record shared by the interface thread
// and the install worker. The interface writes the request and reads
// progress; the worker reads the request and posts progress. Every operation
// takes the lock for one whole copy in or out and does nothing on a null
// channel; strings are copied, never shared by reference.
//
// The install folder may use core and kit.
#ifndef KITSETUP_INSTALL_PROGRESS_CHANNEL_H
#define KITSETUP_INSTALL_PROGRESS_CHANNEL_H

#include <cstdint>

#include "core/text_string.h"
#include "install/channel_lock.h"

namespace kitsetup {

struct DistributionKit;

// Sees every post, in order, on the posting thread while the lock is held.
// For tests and tools that must not miss a post between two reads; it must
// not call back into the channel.
using ProgressObserver = void (*)(void* context, uint32_t code, const TextString& text,
                                  int32_t percent);

struct ProgressChannel {
  ChannelLock lock;                    // a binary semaphore used as a mutex
  DistributionKit* request = nullptr;  // not owned
  TextString directory;
  uint32_t cancel = 0;
  uint32_t committing = 0;  // the job is past its last chance to roll back
  uint32_t code = 0;
  TextString text;
  int32_t percent = 0;
  ProgressObserver observer = nullptr;  // none unless a test or tool sets one
  void* observerContext = nullptr;
};

// Count 1, both strings empty.
void InitChannel(ProgressChannel* channel);

// cancel, committing, code, percent = 0; request = kit; directory gets a
// trailing "/" unless it is empty or already ends in "\" or "/".
void StartRequest(ProgressChannel* channel, DistributionKit* kit, const TextString& directory);
void ReadRequest(ProgressChannel* channel, DistributionKit** kit, TextString* directory);
// False, and nothing set, once the job has begun to commit: the run then
// ends as a success, and whoever asked must report it so, not as cancelled.
bool SetCancel(ProgressChannel* channel, uint32_t value);
bool IsCancelled(ProgressChannel* channel);
// The job's point of no return: false when a cancel came first (the job
// rolls back), else from now on every cancel is refused.
bool BeginCommit(ProgressChannel* channel);
void PostProgress(ProgressChannel* channel, uint32_t code, const TextString& text, int32_t percent);
void ReadProgress(ProgressChannel* channel, uint32_t* code, TextString* text, int32_t* percent);
void SetProgressObserver(ProgressChannel* channel, ProgressObserver observer, void* context);

}  // namespace kitsetup

#endif
