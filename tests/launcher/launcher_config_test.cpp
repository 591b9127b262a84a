// Real launcher files in a temporary home: read, written, and choosing the template directory.
#include "launcher/launcher_config.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <tuple>

#include "launcher/template_dirs.h"
#include "support/test_support.h"

namespace kitsetup {
namespace {

namespace fs = std::filesystem;
using testsupport::ReadFile;
using testsupport::RunShell;
using testsupport::Text;
using testsupport::Utf8;
using testsupport::WriteFile;

// A throw-away home: HOME points at it (ExpandHome reads HOME), under C.UTF-8.
class LauncherFiles : public ::testing::Test {
 protected:
  std::string At(const std::string& relative) const { return home_ + "/" + relative; }
  std::string CurrentFile() const { return At(".Vesk/veskstart/veskstart.cfg"); }
  std::string OlderFile() const { return At(".Vesk/veskstartt/veskstart.cfg"); }
  std::string CommonFile() const { return At(".mivo/.Vesk/veskstart/veskstart.cfg"); }

  testsupport::ScratchDir dir_;
  const std::string home_ = dir_.path();
  testsupport::ScopedEnv home_env_{"HOME", home_.c_str()};
  testsupport::ScopedEnv locale_{"LC_ALL", "C.UTF-8"};
};

// "key=value|value;key=value;..." of a list, for comparing it whole.
std::string Dump(const ConfigList& list) {
  std::string out;
  for (const auto& entry : list) {
    out += (out.empty() ? "" : ";") + Utf8(entry.key) + "=";
    for (size_t i = 0; i < entry.values.size(); ++i) out += (i ? "|" : "") + Utf8(entry.values[i]);
  }
  return out;
}

std::string Templates(uint32_t legacy_dir) {
  std::vector<TextString> list;
  read_template_locations(list, legacy_dir);
  std::string out;
  for (const auto& dir : list) out += Utf8(dir) + "|";
  return out;
}

std::string Line(const std::string& dir) { return "ConfigurationTemplatesLocation=" + dir + "\n"; }

// As a Windows launcher writes.
std::string Utf16LeWithMark(const std::u16string& text) {
  std::string bytes = "\xFF\xFE";
  for (char16_t u : text) bytes += {static_cast<char>(u & 0xFF), static_cast<char>(u >> 8)};
  return bytes;
}

// A user's file with Cyrillic paths whose 1024-byte chunk boundaries fall
// inside "жქ" (five bytes), at each position as `shift` goes from 0 to 4.
std::string UserFile(size_t shift) {
  std::string out = Line("/Users/пётр/Шаблоны/") + "DefaultVersion=8" + std::string(shift, '0') +
                    "\nInstalledLocation=/Applications/";
  for (int i = 0; i < 400; ++i) out += "жქ";
  return out + "\nLastPage=каталог\n";
}

TEST_F(LauncherFiles, ReadsLineShapesLongLinesBothEncodingsAndTheTemplateFilesInOrder) {
  std::vector<std::pair<std::string, std::string>> cases = {
      // "=" is skipped; keys join without case; repeated values go; no trimming.
      {"A=1=2\nX\n\n\n=\nB=\n=v\na=3\nA=1=2\n C = d \nTail=end", "A=1=2|3;X=;B=;=v; C = d ;Tail=end"},
      // Without the mark the units are bytes, cut at the first zero.
      {Utf16LeWithMark(u"A=1\nB=2\n").substr(2), "A="}};
  // Keys and values longer than the 2048-unit scan buffer are kept whole.
  for (size_t n : {2047u, 2048u, 2049u, 5000u}) {
    const std::u16string wide(n, u'д'), text = u"K=" + wide + u"\n" + std::u16string(n, u'k') + u"=v\nL=" + wide;
    const std::string want = "K=" + Utf8(Text(wide)) + ";" + std::string(n, 'k') + "=v;L=" + Utf8(Text(wide));
    cases.push_back({Utf16LeWithMark(text), want});
    cases.push_back({Utf8(Text(text)), want});
  }
  for (size_t i = 0; i < cases.size(); ++i) {
    WriteFile(At("case.cfg"), cases[i].first);
    ConfigList list;
    read_config_file(Text(At("case.cfg")), list);
    EXPECT_EQ(Dump(list), cases[i].second) << i;
  }

  // The template directories, from which files in what order.
  WriteFile(CurrentFile(), Line("/a/b") + Line("/A/B") + "ConfigurationTemplatesLocation=/c/d/\r\n" +
                               Line("C:\\T") + Line("c:/t") + Line("/e/f\\"));
  // Separators normalised and appended; equal values once normalised dropped.
  EXPECT_EQ(Templates(0), "/a/b\\|/c/d/\r\\|C:/T\\|/e/f/|");
  WriteFile(CurrentFile(), ReadFile(KITSETUP_SOURCE_DIR "/tests/data/launcher/windows_launcher_utf16.cfg"));
  EXPECT_EQ(Templates(0), "C:/Users/Пётр/AppData/Roaming/Vesk/miv8/tmplts\r\\|D:/Шаблоны\r\\|");

  WriteFile(CurrentFile(), Line("/u/"));
  WriteFile(CommonFile(), Line("/c/") + Line("/U/"));
  WriteFile(OlderFile(), Line("/old/"));
  EXPECT_EQ(Templates(0), "/u/|/c/|");
  EXPECT_EQ(Templates(1), "/old/|/u/|");
}

// Per case: the file ("" none, "/" a directory, "/dev/zero" a link to it),
// whether it reads whole (then written back, else left as it was), what is read.
TEST_F(LauncherFiles, ChunkBoundariesBrokenFilesAndTheSizeBound) {
  std::vector<std::tuple<std::string, std::string, bool, std::string>> cases = {
      {"past the bound", "A=" + std::string(kMaxConfigFileBytes, 'x') + "\n", false, ""},
      {"invalid byte", "A=1\nB=\xFF\nC=3\n", false, "K=v;A=1"},
      {"bad in chunk two", "A=" + std::string(1500, 'a') + "\n\xC3\x28\n", false, "K=v;A=" + std::string(1500, 'a')},
      {"ends inside a letter", "A=1\nB=\xD0", false, "K=v;A=1"},
      {"zero byte", std::string("A=1\0B\nC=2\n", 10), false, "K=v;A=1"},
      {"beyond U+FFFF", "A=\xF0\x9F\x93\x81\n", false, ""},
      {"link to /dev/zero", "/dev/zero", false, ""},
      {"directory", "/", false, "K=v"},
      {"missing", "", true, "K=v"}};
  for (size_t cut = 0; cut < 5; ++cut) cases.push_back({"cut+" + std::to_string(cut), UserFile(cut), true, ""});

  for (const auto& [name, bytes, whole, read] : cases) {
    SCOPED_TRACE(name);
    fs::remove_all(At(".Vesk"));
    fs::create_directories(At(".Vesk/veskstart"));
    if (bytes == "/") {
      fs::create_directory(CurrentFile());
    } else if (bytes[0] == '/') {
      fs::create_symlink(bytes, CurrentFile());
    } else if (!bytes.empty()) {
      WriteFile(CurrentFile(), bytes);
    }
    const std::string got = testsupport::RunInChild([&] {
      alarm(120);  // the watchdog: a read that never ends kills the child
      ConfigList list;
      add_value(list, Text("K"), Text("v"));
      const bool read_whole = read_config_file(Text(CurrentFile()), list);
      const uint32_t saved = save_template_locations({Text(u"/новый/")}, 0);
      return std::to_string(read_whole) + " " + std::to_string(saved) + " " + Dump(list);
    });
    const std::string result = whole ? "1 0 " : "0 13 ";
    ASSERT_EQ(got.substr(0, result.size()), result) << got.substr(0, 200);
    EXPECT_TRUE(read.empty() || got.substr(result.size()) == read) << got.substr(result.size(), 200);
    if (bytes[0] == '/') {
      EXPECT_EQ(fs::symlink_status(CurrentFile()).type(), bytes == "/" ? fs::file_type::directory
                                                                        : fs::file_type::symlink);
    } else {
      EXPECT_TRUE(ReadFile(CurrentFile()) == (whole ? Line("/новый/") + bytes.substr(bytes.find('\n') + 1) : bytes));
    }
  }
}

TEST_F(LauncherFiles, WriteBackReplacesTheTemplateLinesAndKeepsTheRest) {
  WriteFile(CurrentFile(), "DefaultVersion=8\n" + Line("/old/") + "InstalledLocation=/opt/v\n" +
                               "configurationTemplatesLocation=/old2/\nX\n\nCommonInfoBases=a\r\nCommonInfoBases=b\n");
  WriteFile(CommonFile(), Line("/common/") + "Other=1\n");
  ASSERT_EQ(save_template_locations({Text(u"/new"), Text(u"/n2/"), Text(u"/NEW\\"), Text(u"C:\\T")}, 0), 0u);
  const std::string rest = "InstalledLocation=/opt/v\nX=\nCommonInfoBases=a\r\nCommonInfoBases=b\n";
  EXPECT_EQ(ReadFile(CurrentFile()), "DefaultVersion=8\n" + Line("/new\\") + Line("/n2/") + Line("C:\\T\\") + rest);
  EXPECT_EQ(ReadFile(CommonFile()), Line("/common/") + "Other=1\n");
  ASSERT_EQ(save_template_locations({}, 0), 0u);
  EXPECT_EQ(ReadFile(CurrentFile()), "DefaultVersion=8\n" + rest);

  WriteFile(CurrentFile(), Utf16LeWithMark(u"DefaultVersion=8\r\nConfigurationTemplatesLocation=D:\\Шаблоны\r\n"));
  ASSERT_EQ(save_template_locations({Text(u"/домой/t/")}, 0), 0u);
  EXPECT_EQ(ReadFile(CurrentFile()), "DefaultVersion=8\r\n" + Line("/домой/t/"));

  ASSERT_EQ(save_template_locations({Text(u"/t/"), Text(u"/u")}, 1), 0u);
  EXPECT_EQ(ReadFile(OlderFile()), Line("/t/") + Line("/u\\"));

  // A plain file blocks the launcher directory: the retry writes under the platform home.
  fs::remove_all(At(".Vesk"));
  WriteFile(At(".Vesk"), "not a directory");
  EXPECT_EQ(save_template_locations({Text(u"/t/")}, 0), 1013u);
  EXPECT_EQ(ReadFile(At(".Vesk")), "not a directory");
  EXPECT_TRUE(fs::is_directory(At(".mivo/\\Vesk.Vesk/veskstart")));
}

// --register records one absolute entry whatever the form typed; on a full
// volume the old file stays whole and kittool says so and exits with 1.
TEST_F(LauncherFiles, KittoolRegistersOnceAndAFullDiskLeavesTheOldFileWhole) {
  WriteFile(CurrentFile(), Line("/elsewhere/"));
  WriteFile(At("kit/a.txt"), "a");
  const std::string kittool = KITSETUP_BINARY_DIR "/kittool";
  ASSERT_EQ(RunShell("'" + kittool + "' pack '" + At("kit") + "' '" + At("k.efd") + "' >/dev/null"), 0);
  for (const std::string& typed : {std::string("./t/"), At("t"), At("t") + "//"}) {
    ASSERT_EQ(RunShell("cd '" + home_ + "' && '" + kittool + "' install --quiet --register k.efd '" + typed + "'"), 0)
        << typed;
    EXPECT_EQ(Templates(0), At("t") + "/|/elsewhere/|") << typed;
  }

  const std::string dir = At(".Vesk/veskstart");
  testsupport::SmallVolume volume(dir, "64k");
  if (!volume.mounted()) GTEST_SKIP() << "cannot mount a small file system here (needs root)";
  WriteFile(CurrentFile(), UserFile(3));
  volume.Fill();
  EXPECT_EQ(RunShell("'" + kittool + "' install --quiet --register '" + At("k.efd") + "' '" + At("t2") + "' 2>'" +
                  At("err.txt") + "'"),
            1);
  const std::string err = ReadFile(At("err.txt"));
  EXPECT_NE(err.find(CurrentFile() + ": not registered: writing it failed; the file is unchanged, "
                                     "the installation itself succeeded (error 1013: "),
            std::string::npos) << err;
  EXPECT_TRUE(ReadFile(CurrentFile()) == UserFile(3));
  EXPECT_EQ(ReadFile(At("t2/a.txt")), "a") << "the installation itself stands";
  EXPECT_EQ(testsupport::ListNames(dir), (std::vector<std::string>{"filler", "veskstart.cfg"})) << "no new file left";
}

// Per arrangement of launcher files: the directory offered, the flags, and
// what recording the installed directory writes ("" for no file).
TEST_F(LauncherFiles, TemplateDirectoryProposalFlagsAndTheFilesWrittenAfterwards) {
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
    p.dirList = {Text("stale")};  // a list the proposal replaces
    ProposeTemplateDirectory(p);
    EXPECT_EQ(std::make_tuple(Utf8(p.templateDir), p.flagA, p.flagB), std::make_tuple(c.offered, c.flagA, c.flagB));
    EXPECT_TRUE(fs::is_empty(At("ok"))) << "the writability probe is left behind";

    std::string saved;
    for (const auto& file : RecordInstalledDirectory(p.dirList, Text(c.installed), p.flagA, p.flagB)) {
      saved += Utf8(file.path) + " " + std::to_string(file.result) + "\n";
    }
    EXPECT_EQ(saved, (c.current_after.empty() ? "" : CurrentFile() + " 0\n") +
                         (c.older_after.empty() ? "" : OlderFile() + " 0\n"));
    EXPECT_EQ(ReadFile(CurrentFile()), c.current_after);
    EXPECT_EQ(ReadFile(OlderFile()), c.older_after);
  }
}

}  // namespace
}  // namespace kitsetup
