// Reading and writing real launcher files in a temporary home.
#include "launcher/launcher_config.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "launcher/temp_home.h"

namespace kitsetup_test {
namespace {

using kitsetup::ConfigList;
using kitsetup::LauncherConfig;
using kitsetup::TextString;

using Values = std::vector<std::u16string>;

ConfigList ReadList(const std::string& path) {
  ConfigList list;
  kitsetup::read_config_file(Text(path), list);
  return list;
}

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
  kitsetup::read_template_locations(out, legacy_dir);
  return U16s(out);
}

std::vector<TextString> Dirs(const Values& values) {
  std::vector<TextString> out;
  for (const auto& v : values) out.push_back(Text(v));
  return out;
}

// The exit status of a shell command; -1 when it did not exit.
int Shell(const std::string& command) {
  const int status = std::system(command.c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool IsDirectory(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

using LauncherConfigRead = TempHome;

TEST_F(LauncherConfigRead, Utf8LinesWithLfAndCrLfEnds) {
  WriteFile(CurrentFile(),
        "ConfigurationTemplatesLocation=/a/b\n"
        "configurationtemplateslocation=/A/B\n"  // same key, same value: one value
        "ConfigurationTemplatesLocation=/c/d/\r\n"
        "ConfigurationTemplatesLocation=C:\\T\n"
        "ConfigurationTemplatesLocation=c:/t\n"      // equal to C:\T once normalised
        "ConfigurationTemplatesLocation=/e/f\\\n");  // its backslash becomes "/": nothing appended
  EXPECT_EQ(Templates(0), (Values{u"/a/b\\", u"/c/d/\r\\", u"C:/T\\", u"/e/f/"}));
}

TEST_F(LauncherConfigRead, LineShapes) {
  WriteFile(At("shapes.cfg"),
        "A=1=2\n"
        "X\n"
        "\n\n"
        "=\n"        // empty key and value: skipped
        "B=\n"
        "=v\n"
        "a=3\n"      // joins A, whose spelling stays
        "A=1=2\n"    // repeated value: dropped
        " C = d \n"  // nothing is trimmed
        "Tail=end");  // no final line feed
  EXPECT_EQ(Dump(ReadList(At("shapes.cfg"))), "A=1=2|3;X=;B=;=v; C = d ;Tail=end");
}

TEST_F(LauncherConfigRead, Utf16FileFromAWindowsLauncher) {
  WriteFile(CurrentFile(), ReadFile(KITSETUP_SOURCE_DIR "/tests/data/launcher/windows_launcher_utf16.cfg"));
  EXPECT_EQ(Templates(0), (Values{u"C:/Users/Пётр/AppData/Roaming/Vesk/miv8/tmplts\r\\",
                                  u"D:/Шаблоны\r\\"}));

  // Without the mark the units are read as bytes, and a chunk's text ends
  // at its first zero byte: only the key "A" is left.
  WriteFile(At("nomark.cfg"), Utf16LeWithMark(u"A=1\nB=2\n").substr(2));
  EXPECT_EQ(Dump(ReadList(At("nomark.cfg"))), "A=");
}

TEST_F(LauncherConfigRead, KeysAndValuesAroundTheScanBuffer) {
  // Keys and values longer than the 2048-unit scan buffer are kept whole.
  for (size_t n : {2047u, 2048u, 2049u, 5000u}) {
    const std::string key(n, 'k'), value(n, 'v');
    const std::u16string key16(n, u'k'), value16(n, u'д');
    WriteFile(At("long16.cfg"), Utf16LeWithMark(u"K=" + value16 + u"\n" + key16 + u"=v\nL=" + value16));
    const std::string utf8 = testsupport::Utf8(Text(value16));
    EXPECT_EQ(Dump(ReadList(At("long16.cfg"))), "K=" + utf8 + ";" + key + "=v;L=" + utf8) << n;
    WriteFile(At("long8.cfg"), "K=" + value + "\n" + key + "=v\n");
    EXPECT_EQ(Dump(ReadList(At("long8.cfg"))), "K=" + value + ";" + key + "=v") << n;
  }
}

// The user's file as the launcher keeps it: 19 lines, 1,339 bytes and more,
// with Cyrillic paths. Byte 1024 falls into a run of two- and three-byte
// letters ("жქ", five bytes), and `shift` (0 to 4) more bytes in the first
// line cut that run at each of its five positions.
std::string UserFile(size_t shift) {
  std::string out = "DefaultVersion=8" + std::string(shift, '0') + "\n";
  for (int i = 0; i < 6; ++i) out += "CommonInfoBases=/Users/пётр/Базы/Торговля " + std::to_string(i) + "/bases.list\n";
  for (int i = 0; i < 6; ++i) out += "ConfigurationTemplatesLocation=/Users/пётр/Шаблоны/Торговля " + std::to_string(i) + "/\n";
  out += "InstalledLocation=/Applications/";
  for (int i = 0; i < 40; ++i) out += "жქ";
  return out + "\nDistributiveLocation=/Volumes/Дистрибутив\nCommonCfgLocation=/Users/пётр/Общие\n"
               "InstallComponents=EDITOR=1 CLIENT=1\nHideDialog=0\nLastPage=каталог\n";
}

// The file after a write-back of `dir`: its template lines replaced, every
// other line where it was.
std::string WrittenBack(const std::string& before, const std::string& dir) {
  std::string out;
  bool placed = false;
  for (size_t at = 0, end; at < before.size(); at = end + 1) {
    end = before.find('\n', at);
    const std::string line = before.substr(at, end - at);
    if (line.rfind("ConfigurationTemplatesLocation=", 0) != 0) {
      out += line + "\n";
    } else if (!placed) {
      out += "ConfigurationTemplatesLocation=" + dir + "\n";
      placed = true;
    }
  }
  return out;
}

// The reader over generated files, each read and then written back in a
// child under a watchdog (an endless read would hang the suite otherwise):
// what is read, and whether the file is whole so that the write-back keeps
// every line, or is left byte for byte as it was.
TEST_F(LauncherConfigRead, ChunkBoundariesBrokenFilesAndTheSizeBound) {
  struct Case {
    std::string name;
    std::string bytes;      // the file, or the target of a link when `link`
    bool link;
    bool whole;
    std::string read;       // Dump of the list; "" to skip the comparison
  };
  std::vector<Case> cases;
  // Two- and three-byte letters cut at every position of both boundaries.
  for (size_t shift = 0; shift < 5; ++shift) cases.push_back({"cut+" + std::to_string(shift), UserFile(shift), false, true, ""});
  cases.push_back({"past the bound", "A=" + std::string(kitsetup::kMaxConfigFileBytes, 'x') + "\n", false, false, ""});
  cases.push_back({"invalid byte", "A=1\nB=\xFF\nC=3\n", false, false, "A=1"});
  cases.push_back({"invalid in the second chunk", "A=" + std::string(1500, 'a') + "\n\xC3\x28\n", false, false,
                   "A=" + std::string(1500, 'a')});
  cases.push_back({"ends inside a letter", "A=1\nB=\xD0", false, false, "A=1"});
  cases.push_back({"zero byte", std::string("A=1\0B\nC=2\n", 10), false, false, "A=1"});
  cases.push_back({"beyond U+FFFF", "A=\xF0\x9F\x93\x81\n", false, false, ""});
  cases.push_back({"link to /dev/zero", "/dev/zero", true, false, ""});
  cases.push_back({"link to /dev/full", "/dev/full", true, false, ""});
  cases.push_back({"missing", "", false, true, ""});

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
      const bool whole = kitsetup::read_config_file(Text(CurrentFile()), list);
      const uint32_t saved = kitsetup::save_template_locations(Dirs({u"/новый/"}), 0);
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
      EXPECT_TRUE(ReadFile(CurrentFile()) == WrittenBack(c.bytes, "/новый/"));
    }
  }

  // A directory where the file should be is not read whole either, and a
  // list filled before keeps what it had.
  ConfigList kept;
  kitsetup::add_value(kept, Text("K"), Text("v"));
  fs::create_directories(At("adir.cfg"));
  EXPECT_FALSE(kitsetup::read_config_file(Text(At("adir.cfg")), kept));
  EXPECT_TRUE(kitsetup::read_config_file(Text(At("missing.cfg")), kept));
  EXPECT_EQ(Dump(kept), "K=v");
}

TEST_F(LauncherConfigRead, WhichFilesAndInWhatOrder) {
  EXPECT_EQ(U16(kitsetup::common_config_path(0)), U16(home_ + "/.mivo//.Vesk/veskstart/veskstart.cfg"));
  EXPECT_EQ(U16(kitsetup::user_config_path(1)), U16(home_ + "/.Vesk/veskstartt/veskstart.cfg"));

  EXPECT_EQ(Templates(0), Values{});
  WriteFile(CurrentFile(), "ConfigurationTemplatesLocation=/u/\n");
  WriteFile(CommonFile(), "ConfigurationTemplatesLocation=/c/\nConfigurationTemplatesLocation=/U/\n");
  WriteFile(OlderFile(), "ConfigurationTemplatesLocation=/old/\n");
  EXPECT_EQ(Templates(0), (Values{u"/u/", u"/c/"}));
  // The older pair: its own file first, then the current file as the common one.
  EXPECT_EQ(Templates(1), (Values{u"/old/", u"/u/"}));

  // Without include_all the common list comes first, and its spelling wins.
  LauncherConfig config;
  config.legacy_dir = 0;
  kitsetup::load(config);
  auto key = Text("CONFIGURATIONTEMPLATESLOCATION");
  EXPECT_EQ(U16s(kitsetup::get_values(config, key, 0)), (Values{u"/c/", u"/U/"}));
  EXPECT_EQ(U16s(kitsetup::get_values(config, key, 1)), (Values{u"/u/", u"/c/"}));
}

using LauncherConfigSave = TempHome;

TEST_F(LauncherConfigSave, ReplacesTheTemplateLinesAndKeepsTheRest) {
  const std::string before =
      "DefaultVersion=8\n"
      "ConfigurationTemplatesLocation=/old/\n"
      "InstalledLocation=/opt/v\n"
      "configurationTemplatesLocation=/old2/\n"
      "X\n"
      "\n"
      "CommonInfoBases=a\r\n"
      "CommonInfoBases=b\n";
  WriteFile(CurrentFile(), before);
  WriteFile(CommonFile(), "ConfigurationTemplatesLocation=/common/\nOther=1\n");
  ASSERT_EQ(kitsetup::save_template_locations(Dirs({u"/new", u"/n2/", u"/NEW\\", u"C:\\T"}), 0), 0u);
  EXPECT_EQ(ReadFile(CurrentFile()),
            "DefaultVersion=8\n"
            "ConfigurationTemplatesLocation=/new\\\n"
            "ConfigurationTemplatesLocation=/n2/\n"
            "ConfigurationTemplatesLocation=C:\\T\\\n"
            "InstalledLocation=/opt/v\n"
            "X=\n"
            "CommonInfoBases=a\r\n"
            "CommonInfoBases=b\n");
  EXPECT_EQ(ReadFile(CommonFile()), "ConfigurationTemplatesLocation=/common/\nOther=1\n");

  // An empty list takes the template lines out and leaves the others.
  ASSERT_EQ(kitsetup::save_template_locations({}, 0), 0u);
  EXPECT_EQ(ReadFile(CurrentFile()),
            "DefaultVersion=8\nInstalledLocation=/opt/v\nX=\nCommonInfoBases=a\r\nCommonInfoBases=b\n");
}

TEST_F(LauncherConfigSave, Utf16FileIsRewrittenAsLocaleText) {
  WriteFile(CurrentFile(), Utf16LeWithMark(u"DefaultVersion=8\r\nConfigurationTemplatesLocation=D:\\Шаблоны\r\n"));
  ASSERT_EQ(kitsetup::save_template_locations(Dirs({u"/домой/t/"}), 0), 0u);
  EXPECT_EQ(ReadFile(CurrentFile()), "DefaultVersion=8\r\nConfigurationTemplatesLocation=/домой/t/\n");
  EXPECT_EQ(Templates(0), (Values{u"/домой/t/"}));
}

TEST_F(LauncherConfigSave, CreatesMissingFileAndDirectories) {
  ASSERT_EQ(kitsetup::save_template_locations(Dirs({u"/t/", u"/u"}), 1), 0u);
  EXPECT_EQ(ReadFile(OlderFile()), "ConfigurationTemplatesLocation=/t/\nConfigurationTemplatesLocation=/u\\\n");
  // Nothing to store and no file yet: an empty file is left.
  ASSERT_EQ(kitsetup::save_template_locations({}, 0), 0u);
  EXPECT_TRUE(fs::exists(CurrentFile()) && ReadFile(CurrentFile()).empty());
}

TEST_F(LauncherConfigSave, UnwritableTargetRetriesOnceAndStaysQuiet) {
  // Tests may run as root, for whom permissions do not stop a write: block
  // the launcher directory with a plain file instead.
  WriteFile(At(".Vesk"), "not a directory");
  EXPECT_EQ(kitsetup::save_template_locations(Dirs({u"/t/"}), 0), 1013u);
  EXPECT_EQ(ReadFile(At(".Vesk")), "not a directory");
  // The retry made the launcher's directories under the platform home, named
  // as the launcher itself names them.
  EXPECT_TRUE(IsDirectory(At(".mivo/\\Vesk")));
  EXPECT_TRUE(IsDirectory(At(".mivo/\\Vesk.Vesk/veskstart")));

  // A directory where the file should be cannot be read: it is left alone.
  fs::remove(At(".Vesk"));
  fs::create_directories(OlderFile());
  EXPECT_EQ(kitsetup::save_template_locations(Dirs({u"/t/"}), 1), 13u);
  EXPECT_TRUE(IsDirectory(OlderFile()));
}

// The launcher's folder on a 64 KiB file system filled to the last byte: the
// write-back fails, takes its retry, fails again, and the old file stays
// whole. Setup stays silent about it; kittool says so and exits with 1.
TEST_F(LauncherConfigSave, FullDiskLeavesTheOldFileWholeAndKittoolReportsIt) {
  const std::string dir = At(".Vesk/veskstart");
  fs::create_directories(dir);
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
  EXPECT_EQ(kitsetup::save_template_locations(Dirs({u"/t/"}), 0), 1013u);
  EXPECT_TRUE(ReadFile(CurrentFile()) == before);

  WriteFile(At("kit/a.txt"), "a");
  const std::string kittool = KITSETUP_BINARY_DIR "/kittool";
  ASSERT_EQ(Shell("'" + kittool + "' pack '" + At("kit") + "' '" + At("k.efd") + "' >/dev/null"), 0);
  EXPECT_EQ(Shell("'" + kittool + "' install --quiet --register '" + At("k.efd") + "' '" + At("t") +
                                  "' 2>'" + At("err.txt") + "'"),
            1);
  EXPECT_NE(ReadFile(At("err.txt")).find(CurrentFile() + ": not registered: writing it failed; the file is unchanged, "
                                                         "the installation itself succeeded (error 1013: "),
            std::string::npos)
      << ReadFile(At("err.txt"));
  EXPECT_TRUE(ReadFile(CurrentFile()) == before);
  EXPECT_EQ(ReadFile(At("t/a.txt")), "a") << "the installation itself stands";
  EXPECT_EQ(testsupport::ListNames(dir), (std::vector<std::string>{"fill", "veskstart.cfg"})) << "no new file left";
}

// kittool install --register, from the working directory with a relative
// "t/" and then with the absolute "/.../t": one entry, absolute, first.
TEST_F(LauncherConfigSave, KittoolRegistersTheAbsoluteDirectoryOnce) {
  WriteFile(CurrentFile(), "ConfigurationTemplatesLocation=/elsewhere/\n");
  WriteFile(At("kit/a.txt"), "a");
  const std::string kittool = KITSETUP_BINARY_DIR "/kittool";
  ASSERT_EQ(Shell("'" + kittool + "' pack '" + At("kit") + "' '" + At("k.efd") + "' >/dev/null"), 0);
  for (const std::string& typed : {std::string("./t/"), At("t"), At("t") + "//"}) {
    ASSERT_EQ(Shell("cd '" + At("") + "' && '" + kittool + "' install --quiet --register k.efd '" + typed + "'"), 0)
        << typed;
    EXPECT_EQ(Templates(0), (Values{testsupport::U16(At("t")) + u"/", u"/elsewhere/"})) << typed;
  }
}

}  // namespace
}  // namespace kitsetup_test
