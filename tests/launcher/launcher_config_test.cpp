// Reading and writing real launcher files in a temporary home.
#include "launcher/launcher_config.h"

#include <sys/stat.h>

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

// Each 1024-byte chunk is converted by itself. A two-byte letter whose bytes
// fall into two chunks makes both unreadable, and the read ends there: lines
// finished in earlier chunks are kept, the line in progress is dropped. Bytes
// that are never valid cost no giant allocation; a missing file or a
// directory leaves the list as it was.
TEST_F(LauncherConfigRead, BytesTheLocaleCannotConvertAndMissingFiles) {
  const std::string head = "A=first\nB=";
  WriteFile(At("cut2048.cfg"), head + std::string(2047 - head.size(), 'x') + "\xC3\xA9\nC=after\n");
  EXPECT_EQ(Dump(ReadList(At("cut2048.cfg"))), "A=first");
  // One byte later the letter lies inside the third chunk and all is read.
  WriteFile(At("whole.cfg"), head + std::string(2048 - head.size(), 'x') + "\xC3\xA9\nC=after\n");
  EXPECT_EQ(Dump(ReadList(At("whole.cfg"))), "A=first;B=" + std::string(2048 - head.size(), 'x') + "é;C=after");

  WriteFile(At("garbage.cfg"), std::string(300000, '\xFF'));
  EXPECT_TRUE(ReadList(At("garbage.cfg")).empty());

  ConfigList kept;
  kitsetup::add_value(kept, Text("K"), Text("v"));
  kitsetup::read_config_file(Text(At("missing.cfg")), kept);
  fs::create_directories(At("adir.cfg"));
  kitsetup::read_config_file(Text(At("adir.cfg")), kept);
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
      "DefaultVersion=8.3\n"
      "ConfigurationTemplatesLocation=/old/\n"
      "InstalledLocation=/opt/v\n"
      "configurationTemplatesLocation=/old2/\n"
      "X\n"
      "\n"
      "CommonInfoBases=a\r\n"
      "CommonInfoBases=b\n";
  WriteFile(CurrentFile(), before);
  WriteFile(CommonFile(), "ConfigurationTemplatesLocation=/common/\nOther=1\n");
  ASSERT_TRUE(kitsetup::save_template_locations(Dirs({u"/new", u"/n2/", u"/NEW\\", u"C:\\T"}), 0));
  EXPECT_EQ(ReadFile(CurrentFile()),
            "DefaultVersion=8.3\n"
            "ConfigurationTemplatesLocation=/new\\\n"
            "ConfigurationTemplatesLocation=/n2/\n"
            "ConfigurationTemplatesLocation=C:\\T\\\n"
            "InstalledLocation=/opt/v\n"
            "X=\n"
            "CommonInfoBases=a\r\n"
            "CommonInfoBases=b\n");
  EXPECT_EQ(ReadFile(CommonFile()), "ConfigurationTemplatesLocation=/common/\nOther=1\n");

  // An empty list takes the template lines out and leaves the others.
  ASSERT_TRUE(kitsetup::save_template_locations({}, 0));
  EXPECT_EQ(ReadFile(CurrentFile()),
            "DefaultVersion=8.3\nInstalledLocation=/opt/v\nX=\nCommonInfoBases=a\r\nCommonInfoBases=b\n");
}

TEST_F(LauncherConfigSave, Utf16FileIsRewrittenAsLocaleText) {
  WriteFile(CurrentFile(), Utf16LeWithMark(u"DefaultVersion=8.3\r\nConfigurationTemplatesLocation=D:\\Шаблоны\r\n"));
  ASSERT_TRUE(kitsetup::save_template_locations(Dirs({u"/домой/t/"}), 0));
  EXPECT_EQ(ReadFile(CurrentFile()), "DefaultVersion=8.3\r\nConfigurationTemplatesLocation=/домой/t/\n");
  EXPECT_EQ(Templates(0), (Values{u"/домой/t/"}));
}

TEST_F(LauncherConfigSave, CreatesMissingFileAndDirectories) {
  ASSERT_TRUE(kitsetup::save_template_locations(Dirs({u"/t/", u"/u"}), 1));
  EXPECT_EQ(ReadFile(OlderFile()), "ConfigurationTemplatesLocation=/t/\nConfigurationTemplatesLocation=/u\\\n");
  // Nothing to store and no file yet: an empty file is left.
  ASSERT_TRUE(kitsetup::save_template_locations({}, 0));
  EXPECT_TRUE(fs::exists(CurrentFile()) && ReadFile(CurrentFile()).empty());
}

TEST_F(LauncherConfigSave, UnwritableTargetRetriesOnceAndStaysQuiet) {
  // Tests may run as root, for whom permissions do not stop a write: block
  // the launcher directory with a plain file instead.
  WriteFile(At(".Vesk"), "not a directory");
  EXPECT_FALSE(kitsetup::save_template_locations(Dirs({u"/t/"}), 0));
  EXPECT_EQ(ReadFile(At(".Vesk")), "not a directory");
  // The retry made the launcher's directories under the platform home, named
  // as the launcher itself names them.
  EXPECT_TRUE(IsDirectory(At(".mivo/\\Vesk")));
  EXPECT_TRUE(IsDirectory(At(".mivo/\\Vesk.Vesk/veskstart")));

  // A directory where the file should be fails the same way.
  fs::remove(At(".Vesk"));
  fs::create_directories(OlderFile());
  EXPECT_FALSE(kitsetup::save_template_locations(Dirs({u"/t/"}), 1));
  EXPECT_TRUE(IsDirectory(At(".mivo/\\Vesk.Vesk/veskstartt")));
  EXPECT_TRUE(IsDirectory(OlderFile()));
}

}  // namespace
}  // namespace kitsetup_test
