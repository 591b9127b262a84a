// tools/kittool/interrupts.h: kittool's one answer to SIGINT, SIGTERM,
// SIGHUP and SIGPIPE, for every command. main installs it before anything
// else; the handler only records the signal. Whoever is working then looks:
// the kit's inflation between output chunks (it stops and its staging file
// goes), an install's main loop (the job is cancelled and rolls back), the
// listing between lines. The command then ends with 128 + the signal number.
#ifndef KITSETUP_TOOLS_KITTOOL_INTERRUPTS_H
#define KITSETUP_TOOLS_KITTOOL_INTERRUPTS_H

#include <signal.h>

#include <csignal>

namespace kittool {

// Records the four signals from now on (SA_RESTART, so no call fails with
// EINTR), and lets the kit's inflation see them.
void CatchInterrupts();

// The first signal recorded, 0 when none came.
int Interrupted();

// The flag itself, for work that polls it (the kit writer).
const volatile std::sig_atomic_t* InterruptFlag();

// 128 + the recorded signal (130 SIGINT, 129 SIGHUP, 141 SIGPIPE, 143 SIGTERM).
int InterruptedExit();

// The four signals, for blocking them in a thread that must not see them.
void InterruptSignals(sigset_t* set);

}  // namespace kittool

#endif
