// Reading and writing real launcher files in a temporary home, and choosing
// and recording the template directory through them.
#include "launcher/launcher_config.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "launcher/template_dirs.h"
#include "support/test_support.h"

namespace kitsetup {
namespace {

namespace fs = std::filesystem;
using testsupport::ReadFile;
using testsupport::Text;
using testsupport::U16;
using testsupport::U16s;
using testsupport::WriteFile;
using Values = std::vector<std::u16string>;

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
    out += (out.empty() ? "" : ";") + testsupport::Utf8(entry.key) + "=";
    for (size_t i = 0; i < entry.values.size(); ++i) out += (i ? "|" : "") + testsupport::Utf8(entry.values[i]);
  }
  return out;
}

Values Templates(uint32_t legacy_dir) {
  std::vector<TextString> out;
  read_template_locations(out, legacy_dir);
  return U16s(out);
}

std::vector<TextString> Dirs(const Values& values) {
  std::vector<TextString> out;
  for (const auto& v : values) out.push_back(Text(v));
  return out;
}

int Shell(const std::string& command) {
  const int status = std::system(command.c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string Line(const std::string& dir) { return "ConfigurationTemplatesLocation=" + dir + "\n"; }

// The byte-order mark and little-endian units, as a Windows-side launcher
// writes its file.
std::string Utf16LeWithMark(const std::u16string& text) {
  std::string bytes = "\xFF\xFE";
  for (char16_t u : text) bytes += {static_cast<char>(u & 0xFF), static_cast<char>(u >> 8)};
  return bytes;
}

// A user's file with Cyrillic paths. Bytes 1024 and 2048 fall into a run of
// two- and three-byte letters ("жქ", five bytes), and `shift` (0 to 4) more
// bytes in the second line cut that run at each of its five positions.
std::string UserFile(size_t shift) {
  std::string out = Line("/Users/пётр/Шаблоны/") + "DefaultVersion=8" + std::string(shift, '0') +
                    "\nInstalledLocation=/Applications/";
  for (int i = 0; i < 400; ++i) out += "жქ";
  return out + "\nLastPage=каталог\n";
}

TEST_F(LauncherFiles, ReadsLineShapesLongLinesAndBothEncodings) {
  std::vector<std::pair<std::string, std::string>> cases = {
      // An empty key with an empty value is skipped; a key joins its twin in
      // another case, whose spelling stays; a repeated value is dropped;
      // nothing is trimmed; the last line needs no line feed.
      {"A=1=2\nX\n\n\n=\nB=\n=v\na=3\nA=1=2\n C = d \nTail=end", "A=1=2|3;X=;B=;=v; C = d ;Tail=end"},
      // Without the mark the units are read as bytes, and a chunk's text ends
      // at its first zero byte: only the key "A" is left.
      {Utf16LeWithMark(u"A=1\nB=2\n").substr(2), "A="}};
  // Keys and values longer than the 2048-unit scan buffer are kept whole.
  for (size_t n : {2047u, 2048u, 2049u, 5000u}) {
    const std::string key(n, 'k'), value(n, 'v');
    const std::u16string wide(n, u'д');
    const std::string utf8 = testsupport::Utf8(Text(wide));
    cases.push_back({Utf16LeWithMark(u"K=" + wide + u"\n" + U16(key) + u"=v\nL=" + wide),
                     "K=" + utf8 + ";" + key + "=v;L=" + utf8});
    cases.push_back({"K=" + value + "\n" + key + "=v\n", "K=" + value + ";" + key + "=v"});
  }
  for (size_t i = 0; i < cases.size(); ++i) {
    WriteFile(At("case.cfg"), cases[i].first);
    ConfigList list;
    read_config_file(Text(At("case.cfg")), list);
    EXPECT_EQ(Dump(list), cases[i].second) << i;
  }
}

TEST_F(LauncherFiles, TemplateLocationsFromWhichFilesInWhatOrder) {
  EXPECT_EQ(Templates(0), Values{});

  WriteFile(CurrentFile(), Line("/a/b") + Line("/A/B") + "ConfigurationTemplatesLocation=/c/d/\r\n" +
                               Line("C:\\T") + Line("c:/t") + Line("/e/f\\"));
  // "\" becomes "/" and one is appended where no separator ends a value;
  // values equal once normalised (and in another case) are dropped.
  EXPECT_EQ(Templates(0), (Values{u"/a/b\\", u"/c/d/\r\\", u"C:/T\\", u"/e/f/"}));
  WriteFile(CurrentFile(), ReadFile(KITSETUP_SOURCE_DIR "/tests/data/launcher/windows_launcher_utf16.cfg"));
  EXPECT_EQ(Templates(0), (Values{u"C:/Users/Пётр/AppData/Roaming/Vesk/miv8/tmplts\r\\", u"D:/Шаблоны\r\\"}));

  WriteFile(CurrentFile(), Line("/u/"));
  WriteFile(CommonFile(), Line("/c/") + Line("/U/"));
  WriteFile(OlderFile(), Line("/old/"));
  EXPECT_EQ(Templates(0), (Values{u"/u/", u"/c/"}));
  // The older pair: its own file first, then the current file as the common one.
  EXPECT_EQ(Templates(1), (Values{u"/old/", u"/u/"}));
}

// The reader over generated files, each read and then written back in a
// child under a watchdog (an endless read would hang the suite otherwise):
// what is read, and whether the file is whole so that the write-back keeps
// every line, or is left byte for byte as it was.
TEST_F(LauncherFiles, ChunkBoundariesBrokenFilesAndTheSizeBound) {
  struct Case {
    std::string name;
    std::string bytes;  // the file, or the target of a link when `link`
    bool link;
    bool whole;
    std::string read;  // Dump of the list; "" to skip the comparison
  };
  std::vector<Case> cases = {
      {"past the bound", "A=" + std::string(kMaxConfigFileBytes, 'x') + "\n", false, false, ""},
      {"invalid byte", "A=1\nB=\xFF\nC=3\n", false, false, "A=1"},
      {"invalid in the second chunk", "A=" + std::string(1500, 'a') + "\n\xC3\x28\n", false, false,
       "A=" + std::string(1500, 'a')},
      {"ends inside a letter", "A=1\nB=\xD0", false, false, "A=1"},
      {"zero byte", std::string("A=1\0B\nC=2\n", 10), false, false, "A=1"},
      {"beyond U+FFFF", "A=\xF0\x9F\x93\x81\n", false, false, ""},
      {"link to /dev/zero", "/dev/zero", true, false, ""},
      {"link to /dev/full", "/dev/full", true, false, ""},
      {"missing", "", false, true, ""}};
  for (size_t shift = 0; shift < 5; ++shift) {
    cases.push_back({"cut+" + std::to_string(shift), UserFile(shift), false, true, ""});
  }

  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    fs::remove_all(At(".Vesk"));
    fs::create_directories(At(".Vesk/veskstart"));
    if (c.link) {
      fs::create_symlink(c.bytes, CurrentFile());
    } else if (c.name != "missing") {
      WriteFile(CurrentFile(), c.bytes);
    }
    const std::string got = testsupport::RunInChild([&] {
      alarm(120);  // the watchdog: a read that never ends kills the child
      ConfigList list;
      const bool whole = read_config_file(Text(CurrentFile()), list);
      const uint32_t saved = save_template_locations(Dirs({u"/новый/"}), 0);
      return std::to_string(whole) + " " + std::to_string(saved) + " " + Dump(list);
    });
    const std::string result = c.whole ? "1 0 " : "0 13 ";
    ASSERT_EQ(got.substr(0, result.size()), result) << got.substr(0, 200);
    if (!c.read.empty()) {
      EXPECT_EQ(got.substr(result.size()), c.read);
    }
    if (c.link) {
      EXPECT_TRUE(fs::is_symlink(CurrentFile()));
    } else if (!c.whole) {
      EXPECT_TRUE(ReadFile(CurrentFile()) == c.bytes) << "a file not read whole is left as it was";
    } else if (c.name != "missing") {
      EXPECT_TRUE(ReadFile(CurrentFile()) == Line("/новый/") + c.bytes.substr(c.bytes.find('\n') + 1));
    }
  }

  // A directory where the file should be is not read whole either, and a
  // list filled before keeps what it had.
  ConfigList kept;
  add_value(kept, Text("K"), Text("v"));
  fs::create_directories(At("adir.cfg"));
  EXPECT_FALSE(read_config_file(Text(At("adir.cfg")), kept));
  EXPECT_TRUE(read_config_file(Text(At("missing.cfg")), kept));
  EXPECT_EQ(Dump(kept), "K=v");
}

TEST_F(LauncherFiles, WriteBackReplacesTheTemplateLinesAndKeepsTheRest) {
  WriteFile(CurrentFile(), "DefaultVersion=8\n" + Line("/old/") + "InstalledLocation=/opt/v\n" +
                               "configurationTemplatesLocation=/old2/\nX\n\nCommonInfoBases=a\r\nCommonInfoBases=b\n");
  WriteFile(CommonFile(), Line("/common/") + "Other=1\n");
  ASSERT_EQ(save_template_locations(Dirs({u"/new", u"/n2/", u"/NEW\\", u"C:\\T"}), 0), 0u);
  const std::string rest = "InstalledLocation=/opt/v\nX=\nCommonInfoBases=a\r\nCommonInfoBases=b\n";
  EXPECT_EQ(ReadFile(CurrentFile()), "DefaultVersion=8\n" + Line("/new\\") + Line("/n2/") + Line("C:\\T\\") + rest);
  EXPECT_EQ(ReadFile(CommonFile()), Line("/common/") + "Other=1\n");
  // An empty list takes the template lines out and leaves the others.
  ASSERT_EQ(save_template_locations({}, 0), 0u);
  EXPECT_EQ(ReadFile(CurrentFile()), "DefaultVersion=8\n" + rest);

  // A UTF-16 file is written back as locale text.
  WriteFile(CurrentFile(), Utf16LeWithMark(u"DefaultVersion=8\r\nConfigurationTemplatesLocation=D:\\Шаблоны\r\n"));
  ASSERT_EQ(save_template_locations(Dirs({u"/домой/t/"}), 0), 0u);
  EXPECT_EQ(ReadFile(CurrentFile()), "DefaultVersion=8\r\n" + Line("/домой/t/"));

  // A missing file is made with its directories.
  ASSERT_EQ(save_template_locations(Dirs({u"/t/", u"/u"}), 1), 0u);
  EXPECT_EQ(ReadFile(OlderFile()), Line("/t/") + Line("/u\\"));

  // Tests may run as root, for whom permissions do not stop a write: block
  // the launcher directory with a plain file instead. The write fails, and
  // the retry makes the launcher's directories under the platform home, named
  // as the launcher itself names them.
  fs::remove_all(At(".Vesk"));
  WriteFile(At(".Vesk"), "not a directory");
  EXPECT_EQ(save_template_locations(Dirs({u"/t/"}), 0), 1013u);
  EXPECT_EQ(ReadFile(At(".Vesk")), "not a directory");
  EXPECT_TRUE(fs::is_directory(At(".mivo/\\Vesk.Vesk/veskstart")));
}

// kittool install --register from the working directory, with a relative
// "./t/" and the absolute forms: one entry, absolute, first. Then the
// launcher's folder on a 64 KiB file system filled to the last byte: the
// write-back fails, takes its retry, fails again, and the old file stays
// whole. Setup stays silent about it; kittool says so and exits with 1.
TEST_F(LauncherFiles, KittoolRegistersOnceAndAFullDiskLeavesTheOldFileWhole) {
  WriteFile(CurrentFile(), Line("/elsewhere/"));
  WriteFile(At("kit/a.txt"), "a");
  const std::string kittool = KITSETUP_BINARY_DIR "/kittool";
  ASSERT_EQ(Shell("'" + kittool + "' pack '" + At("kit") + "' '" + At("k.efd") + "' >/dev/null"), 0);
  for (const std::string& typed : {std::string("./t/"), At("t"), At("t") + "//"}) {
    ASSERT_EQ(Shell("cd '" + home_ + "' && '" + kittool + "' install --quiet --register k.efd '" + typed + "'"), 0)
        << typed;
    EXPECT_EQ(Templates(0), (Values{U16(At("t")) + u"/", u"/elsewhere/"})) << typed;
  }

  const std::string dir = At(".Vesk/veskstart");
  if (Shell("mount -t tmpfs -o size=64k tmpfs '" + dir + "' 2>/dev/null") != 0) {
    GTEST_SKIP() << "cannot mount a small file system here (needs root)";
  }
  struct Unmount {
    std::string dir;
    ~Unmount() { Shell("umount '" + dir + "'"); }
  } unmount{dir};
  const std::string before = UserFile(3);
  WriteFile(CurrentFile(), before);
  {
    std::ofstream fill(dir + "/fill", std::ios::binary);
    const std::string block(512, 'f');
    while (fill.write(block.data(), block.size()) && fill.flush()) {
    }
  }
  EXPECT_EQ(save_template_locations(Dirs({u"/t/"}), 0), 1013u);
  EXPECT_TRUE(ReadFile(CurrentFile()) == before);
  EXPECT_EQ(Shell("'" + kittool + "' install --quiet --register '" + At("k.efd") + "' '" + At("t2") + "' 2>'" +
                  At("err.txt") + "'"),
            1);
  EXPECT_NE(ReadFile(At("err.txt")).find(CurrentFile() + ": not registered: writing it failed; the file is unchanged, "
                                                         "the installation itself succeeded (error 1013: "),
            std::string::npos)
      << ReadFile(At("err.txt"));
  EXPECT_TRUE(ReadFile(CurrentFile()) == before);
  EXPECT_EQ(ReadFile(At("t2/a.txt")), "a") << "the installation itself stands";
  EXPECT_EQ(testsupport::ListNames(dir), (std::vector<std::string>{"fill", "veskstart.cfg"})) << "no new file left";
}

// For each arrangement of launcher files: the directory offered, the two
// flags, and what recording the installed directory writes to each file
// ("" for a file that must not exist afterwards).
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
    p.dirList.push_back(Text("stale"));
    ProposeTemplateDirectory(p);
    EXPECT_EQ(U16(p.templateDir), U16(c.offered));
    EXPECT_TRUE(fs::is_empty(At("ok"))) << "the writability probe is left behind";
    EXPECT_EQ(p.flagA, c.flagA);
    EXPECT_EQ(p.flagB, c.flagB);

    Values expected_saved, saved;
    if (!c.current_after.empty()) expected_saved.push_back(U16(CurrentFile()));
    if (!c.older_after.empty()) expected_saved.push_back(U16(OlderFile()));
    for (const auto& file : RecordInstalledDirectory(p.dirList, Text(c.installed), p.flagA, p.flagB)) {
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
}  // namespace kitsetup
