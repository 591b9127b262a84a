#include "launcher/template_dirs.h"

#include "core/directory_listing.h"
#include "core/error_codes.h"
#include "core/file_system.h"
#include "core/home.h"
#include "launcher/launcher_config.h"

namespace kitsetup {

namespace {
constexpr uint32_t kCurrentLauncher = 0;
constexpr uint32_t kOlderLauncher = 1;
}  // namespace

bool is_dir_writable(const TextString& dir) {
  TextString probe;
  if (CreateTempFile(dir, TextString(u"Vesk"), probe) != kOk) return false;
  RemoveFile(probe);
  return true;
}

TextString default_template_root() {
  return platform_home() + u"Vesk" + u"/" + u"miv" + from_int(kPlatformGeneration, 10) + u"/";
}

void ProposeTemplateDirectory(TemplateProposal& proposal) {
  proposal = TemplateProposal();
  proposal.flagB = PathExists(user_config_path(kOlderLauncher));
  if (PathExists(user_config_path(kCurrentLauncher))) {
    read_template_locations(proposal.dirList, kCurrentLauncher);
  } else if (proposal.flagB) {
    read_template_locations(proposal.dirList, kOlderLauncher);
    proposal.flagA = !proposal.dirList.empty();
  }
  for (const TextString& dir : proposal.dirList) {
    if (is_dir_writable(dir)) {
      proposal.templateDir = dir;
      break;
    }
  }
  if (proposal.templateDir.empty()) {
    proposal.templateDir = default_template_root() + u"tmplts" + u"/";
  }
}

std::vector<LauncherFileResult> RecordInstalledDirectory(std::vector<TextString>& dirList,
                                                         const TextString& templateDir, bool flagA,
                                                         bool flagB) {
  std::vector<LauncherFileResult> saved;
  try {
    TextString installed = templateDir;
    if (installed.ends_with(u'\\') || installed.ends_with(u'/')) {
      installed.resize(installed.length() - 1);
    }
    dirList.insert(dirList.begin(), installed);
    for (uint32_t launcher : {kCurrentLauncher, kOlderLauncher}) {
      if (launcher == kCurrentLauncher ? flagA : !flagB) continue;
      const uint32_t result = save_template_locations(dirList, launcher);
      saved.push_back(LauncherFileResult{user_config_path(launcher), result});
    }
  } catch (...) {
    // Out of memory while recording: the installation stands; nothing to log.
  }
  return saved;
}

}  // namespace kitsetup
