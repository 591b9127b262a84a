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

bool HasProbeLeft(const std::string& dir) {
  for (const auto& entry : fs::directory_iterator(dir)) {
    if (entry.path().filename().string().rfind("Vesk", 0) == 0) return true;
  }
  return false;
}

using TemplateDirectory = TempHome;

TEST_F(TemplateDirectory, WritabilityProbe) {
  fs::create_directories(At("ok"));
  WriteFile(At("plain"), "x");
  EXPECT_TRUE(kitsetup::is_dir_writable(Text(At("ok/"))));
  EXPECT_FALSE(HasProbeLeft(At("ok")));
  EXPECT_FALSE(kitsetup::is_dir_writable(Text(At("plain/sub/"))));
  EXPECT_FALSE(kitsetup::is_dir_writable(Text(At("missing/"))));
}

TEST_F(TemplateDirectory, NoFilesGiveTheDefaultAndCreateTheCurrentFile) {
  TemplateProposal p;
  p.dirList.push_back(Text("stale"));
  kitsetup::ProposeTemplateDirectory(p);
  const std::string expected = home_ + "/.mivo/Vesk/miv8/tmplts/";
  EXPECT_EQ(U16(p.templateDir), U16(expected));
  EXPECT_EQ(U16(kitsetup::default_template_root() + u"tmplts/"), U16(expected));
  EXPECT_TRUE(p.dirList.empty());
  EXPECT_FALSE(p.flagA);
  EXPECT_FALSE(p.flagB);

  auto saved = kitsetup::RecordInstalledDirectory(p.dirList, p.templateDir, p.flagA, p.flagB);
  EXPECT_EQ(U16s(saved), (Values{U16(CurrentFile())}));
  EXPECT_EQ(U16s(p.dirList), (Values{U16(home_ + "/.mivo/Vesk/miv8/tmplts")}));
  // The trailing "/" was taken off, so the save appends a "\".
  EXPECT_EQ(ReadFile(CurrentFile()), Line(home_ + "/.mivo/Vesk/miv8/tmplts\\"));
  EXPECT_FALSE(fs::exists(OlderFile()));
}

TEST_F(TemplateDirectory, UnwritableCandidatesAreSkipped) {
  WriteFile(At("plain"), "x");
  fs::create_directories(At("ok"));
  fs::create_directories(At("later"));
  WriteFile(CurrentFile(), "DefaultVersion=8\n" + Line(At("plain/sub")) + Line(At("missing/")) +
                           Line(At("ok/")) + Line(At("later/")));
  TemplateProposal p;
  kitsetup::ProposeTemplateDirectory(p);
  EXPECT_EQ(U16(p.templateDir), U16(At("ok/")));
  EXPECT_EQ(p.dirList.size(), 4u);
  EXPECT_FALSE(HasProbeLeft(At("ok")));
  EXPECT_FALSE(p.flagA);
  EXPECT_FALSE(p.flagB);

  // A directory picked elsewhere, with a "\" at its end, goes to the front.
  auto saved = kitsetup::RecordInstalledDirectory(p.dirList, Text(At("later\\")), p.flagA, p.flagB);
  EXPECT_EQ(saved.size(), 1u);
  EXPECT_EQ(ReadFile(CurrentFile()), "DefaultVersion=8\n" + Line(At("later\\")) + Line(At("plain/sub\\")) +
                                     Line(At("missing/")) + Line(At("ok/")) + Line(At("later/")));
}

TEST_F(TemplateDirectory, OnlyTheOlderLauncherFile) {
  fs::create_directories(At("legacy"));
  WriteFile(OlderFile(), "InstalledLocation=/opt\n" + Line(At("legacy/")));
  TemplateProposal p;
  kitsetup::ProposeTemplateDirectory(p);
  EXPECT_EQ(U16(p.templateDir), U16(At("legacy/")));
  EXPECT_TRUE(p.flagA);
  EXPECT_TRUE(p.flagB);

  // After the installation the older file is the one written; the current
  // file is not created.
  auto saved = kitsetup::RecordInstalledDirectory(p.dirList, p.templateDir, p.flagA, p.flagB);
  EXPECT_EQ(U16s(saved), (Values{U16(OlderFile())}));
  EXPECT_FALSE(fs::exists(CurrentFile()));
  EXPECT_EQ(ReadFile(OlderFile()), "InstalledLocation=/opt\n" + Line(At("legacy\\")) + Line(At("legacy/")));

  // An older file without locations offers the default and, after the
  // installation, both files are written.
  WriteFile(OlderFile(), "InstalledLocation=/opt\n");
  kitsetup::ProposeTemplateDirectory(p);
  EXPECT_FALSE(p.flagA);
  EXPECT_TRUE(p.flagB);
  EXPECT_EQ(U16(p.templateDir), U16(home_ + "/.mivo/Vesk/miv8/tmplts/"));
  saved = kitsetup::RecordInstalledDirectory(p.dirList, p.templateDir, p.flagA, p.flagB);
  EXPECT_EQ(U16s(saved), (Values{U16(CurrentFile()), U16(OlderFile())}));
  EXPECT_EQ(ReadFile(CurrentFile()), Line(home_ + "/.mivo/Vesk/miv8/tmplts\\"));
  EXPECT_EQ(ReadFile(OlderFile()), "InstalledLocation=/opt\n" + Line(home_ + "/.mivo/Vesk/miv8/tmplts\\"));
}

TEST_F(TemplateDirectory, BothLauncherFiles) {
  fs::create_directories(At("cur"));
  fs::create_directories(At("old"));
  WriteFile(CurrentFile(), Line(At("cur/")));
  WriteFile(OlderFile(), "Keep=1\n" + Line(At("old/")));
  TemplateProposal p;
  kitsetup::ProposeTemplateDirectory(p);
  EXPECT_EQ(U16(p.templateDir), U16(At("cur/")));
  EXPECT_EQ(U16s(p.dirList), (Values{U16(At("cur/"))}));
  EXPECT_FALSE(p.flagA);
  EXPECT_TRUE(p.flagB);

  auto saved = kitsetup::RecordInstalledDirectory(p.dirList, p.templateDir, p.flagA, p.flagB);
  EXPECT_EQ(U16s(saved), (Values{U16(CurrentFile()), U16(OlderFile())}));
  const std::string lines = Line(At("cur\\")) + Line(At("cur/"));
  EXPECT_EQ(ReadFile(CurrentFile()), lines);
  EXPECT_EQ(ReadFile(OlderFile()), "Keep=1\n" + lines);

  // What was recorded is offered next time, first.
  kitsetup::ProposeTemplateDirectory(p);
  EXPECT_EQ(U16(p.templateDir), U16(At("cur/")));
}

TEST_F(TemplateDirectory, FailedRecordIsQuiet) {
  WriteFile(At(".Vesk"), "not a directory");
  std::vector<TextString> list;
  auto saved = kitsetup::RecordInstalledDirectory(list, Text(At("t/")), false, true);
  EXPECT_TRUE(saved.empty());
  EXPECT_EQ(list.size(), 1u);
}

}  // namespace
}  // namespace kitsetup_test
