// install/channel_lock.h: the channel's lock, a binary semaphore used as a
// mutex. Linux has unnamed POSIX semaphores (sem_init); macOS does not
// support them (sem_init fails there), so it uses a dispatch semaphore, which
// has the same counting semantics.
#ifndef KITSETUP_INSTALL_CHANNEL_LOCK_H
#define KITSETUP_INSTALL_CHANNEL_LOCK_H

#if defined(__APPLE__)
#include <dispatch/dispatch.h>
#else
#include <semaphore.h>
#endif

namespace kitsetup {

struct ChannelLock {
#if defined(__APPLE__)
  dispatch_semaphore_t semaphore = nullptr;
#else
  sem_t semaphore;
#endif
};

void ChannelLockInit(ChannelLock* lock);  // count 1; never destroyed
void ChannelLockWait(ChannelLock* lock);
void ChannelLockPost(ChannelLock* lock);

}  // namespace kitsetup

#endif
