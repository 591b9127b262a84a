#include "tools/kittool/interrupts.h"

#include <cstring>

#include "kit/distribution_kit.h"

namespace kittool {
namespace {

volatile std::sig_atomic_t g_signal = 0;

const int kInterruptSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};

// Keeps the first signal: a SIGPIPE from the failed write that follows a
// Ctrl-C must not make it look like a closed pipe.
void OnInterrupt(int signal_number) {
  if (g_signal == 0) g_signal = signal_number;
}

}  // namespace

void CatchInterrupts() {
  struct sigaction action;
  std::memset(&action, 0, sizeof action);
  action.sa_handler = OnInterrupt;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  for (int s : kInterruptSignals) sigaddset(&action.sa_mask, s);
  for (int s : kInterruptSignals) sigaction(s, &action, nullptr);
  kitsetup::SetInflateStopFlag(&g_signal);
}

int Interrupted() { return g_signal; }

const volatile std::sig_atomic_t* InterruptFlag() { return &g_signal; }

int InterruptedExit() { return 128 + static_cast<int>(g_signal); }

void InterruptSignals(sigset_t* set) {
  sigemptyset(set);
  for (int s : kInterruptSignals) sigaddset(set, s);
}

}  // namespace kittool
