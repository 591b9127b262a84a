// install/install_recovery.h: putting back the template directory of a run
// whose process ended mid-way (killed, crashed, power lost). Each backup
// directory "r4stp<n>" in the temporary directory whose journal nobody holds
// locked is such a run. Without its final record the run is undone from the
// journal (each backup put back over whatever stands at its place, each file
// written where none stood removed, each directory made removed), its
// staging file removed, and its backup directory removed with the journal
// last; with the final record only the removal is finished. Every step
// looks at the disk first, so a recovery that is itself cut short is simply
// run again. A backup directory without a journal is left alone.
#ifndef KITSETUP_INSTALL_INSTALL_RECOVERY_H
#define KITSETUP_INSTALL_INSTALL_RECOVERY_H

#include <string>
#include <vector>

#include "core/text_string.h"

namespace kitsetup {

struct RecoveredRun {
  TextString templateDirectory;  // empty for a run that had not begun its journal
  TextString backupDirectory;
  bool complete = true;  // false: something is left, said in `left`
  std::vector<std::string> left;  // UTF-8 lines: "<file>: kept as <backup>"
};

// Recovers every ended run found in the temporary directory; when `only` is
// not empty, only runs into that template directory. A run into a directory
// that a live run holds is left to that run's end.
std::vector<RecoveredRun> RecoverEndedRuns(const TextString& only = TextString());

}  // namespace kitsetup

#endif
