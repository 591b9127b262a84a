// install/install_plan.h: the whole run decided before its first change.
// The plan resolves every target once, sorts each kit entry into add,
// replace or keep, lists the directories the run will make, and refuses a
// run that could not end well: a path that the locale cannot carry, a kind
// conflict with what exists, two entries that would be one file on the
// volume, or too little free space. A refused plan changes nothing.
//
// The plan is a plain value: the job follows it, and tools print it.
#ifndef KITSETUP_INSTALL_INSTALL_PLAN_H
#define KITSETUP_INSTALL_INSTALL_PLAN_H

#include <cstdint>
#include <string>
#include <vector>

#include "core/text_string.h"

namespace kitsetup {

struct DistributionKit;

enum class PlanAction : uint8_t { kAdd, kReplace, kKeep };

struct PlannedEntry {
  TextString target;  // template directory + name, "/" separators
  PlanAction action = PlanAction::kAdd;
  uint32_t size = 0;  // bytes the entry writes
};

struct InstallPlan {
  TextString directory;                    // the template directory, ending in "/"
  std::vector<PlannedEntry> entries;       // one per kit entry, in kit order
  std::vector<TextString> newDirectories;  // the highest missing level of each chain, in order
  size_t adds = 0, replaces = 0, keeps = 0;
  uint64_t bytesToWrite = 0;  // data of the added and replaced entries
  uint64_t bytesNeeded = 0;   // the same in whole blocks, with the margin
  uint64_t bytesFree = 0;     // free on the template directory's volume (0: not known)

  // A refused plan: the code the run ends with, what was found and where.
  uint32_t refusal = 0;
  std::string reason;
  TextString refusedPath;
};

// Plans installing `kit` into `directory` (ending in "/"). Returns 0, or the
// refusal also stored in plan.refusal:
//   13  the template directory, or a target, does not survive the conversion
//       to locale bytes and back unchanged;
//   87  the template directory is empty, or a path could not be examined;
//    3  an existing non-directory stands where a directory is needed;
//  183  an existing directory stands where the kit has a file, or two
//       entries name one file on this volume (also a file that is another
//       entry's directory);
// 1013  the volume has less free space (or fewer free inodes) than the run
//       needs.
uint32_t MakeInstallPlan(const DistributionKit& kit, const TextString& directory, InstallPlan& plan);

// True when a file whose modification time is `seconds` is kept over an
// entry of `entry_time` (the date rule: as new or newer).
bool KeptByDate(int64_t seconds, uint64_t entry_time);

// The plan as text (UTF-8): one line per entry ("add", "replace", "keep" and
// the target), each new directory, and a summary; or the refusal.
std::string DescribePlan(const InstallPlan& plan);

}  // namespace kitsetup

#endif
