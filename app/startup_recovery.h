// app/startup_recovery.h: Setup's first duty at start-up, before the
// pre-install checks: a run that a crash, a kill or a power loss cut short
// is rolled back (install/install_recovery.h), and each one is logged as
// "kitsetup: recovered <template directory>", or, when something could not
// be put back, "kitsetup: recovery incomplete <what is left and where>".
#ifndef KITSETUP_APP_STARTUP_RECOVERY_H
#define KITSETUP_APP_STARTUP_RECOVERY_H

namespace kitsetup {

// Also arms the crash points that tests set in the environment
// (core/file_fault.h), so that they count from the process's start.
void RecoverInterruptedRuns();

}  // namespace kitsetup

#endif
