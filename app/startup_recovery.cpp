// app/startup_recovery.cpp: recovery at start-up, written to the event log.
#include "app/startup_recovery.h"

#include "app/event_log.h"
#include "core/file_fault.h"
#include "install/install_recovery.h"

namespace kitsetup {

void RecoverInterruptedRuns() {
  ArmFileFaultsFromEnvironment();
  for (const RecoveredRun& run : RecoverEndedRuns()) {
    if (run.complete) {
      LogRecovered(run.templateDirectory);
      continue;
    }
    for (const std::string& left : run.left) LogRecoveryIncomplete(left);
  }
}

}  // namespace kitsetup
