// launcher/template_dirs.h: which template directory the installer offers,
// and how the installed one is recorded in the launcher's configuration.
//
// Two launcher files take part: the current one (".Vesk/veskstart") and the
// one that older launchers keep in ".Vesk/veskstartt". The proposal prefers
// the current file and falls back to the older one; after a successful
// installation the directory is written to the current file unless the
// candidates came from the older file, and to the older file whenever it
// exists, so that whichever launcher the user runs finds the templates.
#ifndef KITSETUP_LAUNCHER_TEMPLATE_DIRS_H
#define KITSETUP_LAUNCHER_TEMPLATE_DIRS_H

#include <cstdint>
#include <vector>

#include "core/text_string.h"

namespace kitsetup {

// The platform generation whose template folder is the default.
constexpr int kPlatformGeneration = 8;

// True when an empty file named "Vesk..." can be made in `dir` (it is
// removed again). A missing directory, or one that refuses the file, is not
// writable. `dir` must end in a separator.
bool is_dir_writable(const TextString& dir);

// platform_home() + "Vesk/miv" + the generation in decimal + "/", e.g.
// /home/u/.mivo/Vesk/miv8/. The default template directory is this root
// followed by "tmplts/".
TextString default_template_root();

// What the pre-install checks work out before the destination page.
struct TemplateProposal {
  std::vector<TextString> dirList;  // candidates from the configuration, normalised
  TextString templateDir;           // the directory offered
  bool flagA = false;  // candidates came from the older launcher's file and were found
  bool flagB = false;  // the older launcher's file exists
};

// Fills `proposal` from the launcher files: flagB from the older file's
// existence; the candidates from the current file when it exists, else from
// the older file (then flagA when any were found); templateDir is the first
// writable candidate (later ones are not probed), else
// default_template_root() + "tmplts/". Never fails: unreadable files give
// no candidates. Any earlier contents of `proposal` are replaced.
void ProposeTemplateDirectory(TemplateProposal& proposal);

// One launcher file that the write-back was to update, and how it went: the
// code of save_template_locations (0 written, 13 left alone because it was
// not read whole, 1013 the write failed and the old file is whole).
struct LauncherFileResult {
  TextString path;
  uint32_t result;
};

// After a successful installation: `templateDir` less one trailing "\" or
// "/" goes to the front of `dirList`, and the list is saved to the current
// launcher file when flagA is clear and to the older one when flagB is set
// (either, both or none). Nothing throws. Returns one result per file it
// was to write, in that order: the event log names the written ones, and
// kittool reports the others.
std::vector<LauncherFileResult> RecordInstalledDirectory(std::vector<TextString>& dirList,
                                                 const TextString& templateDir, bool flagA,
                                                 bool flagB);

}  // namespace kitsetup

#endif  // KITSETUP_LAUNCHER_TEMPLATE_DIRS_H
