#include "app/quit_signals.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <initializer_list>

namespace kitsetup {
namespace {

int g_pipe[2] = {-1, -1};
volatile sig_atomic_t g_signal = 0;

void OnSignal(int number) {
  const int saved = errno;
  g_signal = number;
  const char byte = 1;
  // A full pipe already holds a wake-up: losing this byte loses nothing.
  (void)!write(g_pipe[1], &byte, 1);
  errno = saved;
}

bool MakePipe() {
  if (pipe(g_pipe) != 0) return false;
  for (int fd : g_pipe) {
    fcntl(fd, F_SETFD, FD_CLOEXEC);  // the shell commands never see it
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
  }
  return true;
}

}  // namespace

int InstallQuitSignals() {
  if (g_pipe[0] >= 0) return g_pipe[0];
  if (!MakePipe()) return -1;
  struct sigaction action {};
  action.sa_handler = OnSignal;
  sigfillset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  for (int number : {SIGINT, SIGTERM, SIGHUP}) {
    if (sigaction(number, &action, nullptr) != 0) return -1;
  }
  return g_pipe[0];
}

void WakeQuitWatcher() {
  const char byte = 0;
  if (g_pipe[1] >= 0) (void)!write(g_pipe[1], &byte, 1);
}

int TakeQuitSignal() {
  if (g_pipe[0] < 0) return 0;
  char buffer[64];
  while (read(g_pipe[0], buffer, sizeof buffer) > 0) {
  }
  const int number = g_signal;
  g_signal = 0;
  return number;
}

}  // namespace kitsetup
