// app/quit_signals.h: SIGINT, SIGTERM and SIGHUP as a request to quit the
// installer. The handler only records the signal and writes one byte to a
// pipe; the interface watches the pipe's read end from its run loop and acts
// on the main thread (a cancel during a copy, a close at any other time).
//
// The app folder may use core, kit, launcher and install; never AppKit.
#ifndef KITSETUP_APP_QUIT_SIGNALS_H
#define KITSETUP_APP_QUIT_SIGNALS_H

namespace kitsetup {

// Catches the three signals; returns the pipe's read end (non-blocking,
// closed on exec), or -1 when the pipe or a handler could not be set up.
// Later calls return the same descriptor.
int InstallQuitSignals();

// Writes a byte to the pipe without a signal: a run loop that watches it
// wakes up (and TakeQuitSignal then returns 0). Nothing before
// InstallQuitSignals.
void WakeQuitWatcher();

// The last signal caught since the previous call, 0 when none; empties the
// pipe.
int TakeQuitSignal();

}  // namespace kitsetup

#endif
