// install/channel_lock_mac.cpp: macOS accepts sem_init but does not support
// unnamed semaphores (the call fails and the semaphore stays unusable), so
// the lock is a dispatch semaphore created with a count of 1: wait takes the
// count, signal gives it back, the same binary-semaphore-as-mutex behaviour.
// Like the Linux lock it is never destroyed: the create call's reference is
// kept for the life of the process (releasing a dispatch semaphore while its
// count is below the initial one traps), and a wait with
// DISPATCH_TIME_FOREVER has no interrupted case to retry.
#include "install/channel_lock.h"

namespace kitsetup {

void ChannelLockInit(ChannelLock* lock) { lock->semaphore = dispatch_semaphore_create(1); }

void ChannelLockWait(ChannelLock* lock) {
  dispatch_semaphore_wait(lock->semaphore, DISPATCH_TIME_FOREVER);
}

void ChannelLockPost(ChannelLock* lock) { dispatch_semaphore_signal(lock->semaphore); }

}  // namespace kitsetup
