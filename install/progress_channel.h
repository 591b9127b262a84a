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

struct ProgressChannel {
  ChannelLock lock;                    // a binary semaphore used as a mutex
  DistributionKit* request = nullptr;  // not owned
  TextString directory;
  uint32_t cancel = 0;
  uint32_t code = 0;
  TextString text;
  int32_t percent = 0;
};

// Count 1, both strings empty.
void InitChannel(ProgressChannel* channel);

// cancel, code, percent = 0; request = kit; directory gets a trailing "/"
// unless it is empty or already ends in "\" or "/".
void StartRequest(ProgressChannel* channel, DistributionKit* kit, const TextString& directory);
void ReadRequest(ProgressChannel* channel, DistributionKit** kit, TextString* directory);
void SetCancel(ProgressChannel* channel, uint32_t value);
bool IsCancelled(ProgressChannel* channel);
void PostProgress(ProgressChannel* channel, uint32_t code, const TextString& text, int32_t percent);
void ReadProgress(ProgressChannel* channel, uint32_t* code, TextString* text, int32_t* percent);

}  // namespace kitsetup

#endif
