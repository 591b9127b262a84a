// Choosing the template directory and recording it after an installation,
// against real launcher files in a temporary home.
#include "launcher/template_dirs.h"

#include "launcher/launcher_config.h"
#include "launcher/temp_home.h"

namespace kitsetup_test {
namespace {

using kitsetup::TemplateProposal;
using kitsetup::TextString;
using Values = std::vector<std::u16string>;

std::string Line(const std::string& dir) { return "ConfigurationTemplatesLocation=" + dir + "\n"; }

using TemplateDirectory = TempHome;

// For each arrangement of launcher files: the directory offered, the two
// flags, and what recording the installed directory writes to each file
// ("" for a file that must not exist afterwards).
TEST_F(TemplateDirectory, ProposalFlagsAndTheFilesWrittenAfterwards) {
  const std::string def = home_ + "/.mivo/Vesk/miv8/tmplts";
  WriteFile(At("plain"), "x");
  for (const char* dir : {"ok", "later", "legacy", "cur"}) fs::create_directories(At(dir));
  const struct {
    std::string current, older, offered;
    bool flagA, flagB;
    std::string installed, current_after, older_after;
  } cases[] = {
      // No files: the default; recorded without its "/", so the save appends a "\".
      {"", "", def + "/", false, false, def + "/", Line(def + "\\"), ""},
      // Unwritable candidates skipped; a directory picked elsewhere goes first.
      {"DefaultVersion=8\n" + Line(At("plain/sub")) + Line(At("missing/")) + Line(At("ok/")) + Line(At("later/")),
       "", At("ok/"), false, false, At("later\\"),
       "DefaultVersion=8\n" + Line(At("later\\")) + Line(At("plain/sub\\")) + Line(At("missing/")) +
           Line(At("ok/")) + Line(At("later/")),
       ""},
      // Only the older launcher's file: offered, and the only one written.
      {"", "InstalledLocation=/opt\n" + Line(At("legacy/")), At("legacy/"), true, true, At("legacy/"), "",
       "InstalledLocation=/opt\n" + Line(At("legacy\\")) + Line(At("legacy/"))},
      // Both files: the current one's list is offered, and both are written.
      {Line(At("cur/")), "Keep=1\n" + Line(At("old/")), At("cur/"), false, true, At("cur/"),
       Line(At("cur\\")) + Line(At("cur/")), "Keep=1\n" + Line(At("cur\\")) + Line(At("cur/"))},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.offered);
    fs::remove_all(At(".Vesk"));
    if (!c.current.empty()) WriteFile(CurrentFile(), c.current);
    if (!c.older.empty()) WriteFile(OlderFile(), c.older);
    TemplateProposal p;
    p.dirList.push_back(Text("stale"));
    kitsetup::ProposeTemplateDirectory(p);
    EXPECT_EQ(U16(p.templateDir), U16(c.offered));
    EXPECT_TRUE(fs::is_empty(At("ok"))) << "the writability probe is left behind";
    EXPECT_EQ(p.flagA, c.flagA);
    EXPECT_EQ(p.flagB, c.flagB);

    Values expected_saved;
    if (!c.current_after.empty()) expected_saved.push_back(U16(CurrentFile()));
    if (!c.older_after.empty()) expected_saved.push_back(U16(OlderFile()));
    Values saved;
    for (const auto& file : kitsetup::RecordInstalledDirectory(p.dirList, Text(c.installed), p.flagA, p.flagB)) {
      EXPECT_EQ(file.result, 0u);
      saved.push_back(U16(file.path));
    }
    EXPECT_EQ(saved, expected_saved);
    EXPECT_EQ(ReadFile(CurrentFile()), c.current_after);
    EXPECT_EQ(fs::exists(CurrentFile()), !c.current_after.empty());
    EXPECT_EQ(ReadFile(OlderFile()), c.older_after);
  }
}

}  // namespace
}  // namespace kitsetup_test
