// install/channel_lock_linux.cpp: an unnamed POSIX semaphore, used as a mutex.
#include <cerrno>

#include "install/channel_lock.h"

namespace kitsetup {

void ChannelLockInit(ChannelLock* lock) { sem_init(&lock->semaphore, 0, 1); }

void ChannelLockWait(ChannelLock* lock) {
  // A signal (kittool catches SIGINT) may interrupt the wait: wait again.
  while (sem_wait(&lock->semaphore) != 0 && errno == EINTR) {
  }
}

void ChannelLockPost(ChannelLock* lock) { sem_post(&lock->semaphore); }

}  // namespace kitsetup
