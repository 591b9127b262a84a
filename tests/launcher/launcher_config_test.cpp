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

  WriteFile(CurrentFile(), "ConfigurationTemplatesLocation=/x/tmplts\r\nConfigurationTemplatesLocation=/y/\r\n");
  EXPECT_EQ(Templates(0), (Values{u"/x/tmplts\r\\", u"/y/\r\\"}));
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
  ConfigList list = ReadList(At("shapes.cfg"));
  ASSERT_EQ(list.size(), 6u);
  EXPECT_EQ(U16(list[0].key), u"A");
  EXPECT_EQ(U16s(list[0].values), (Values{u"1=2", u"3"}));
  EXPECT_EQ(U16(list[1].key), u"X");
  EXPECT_EQ(U16s(list[1].values), (Values{u""}));
  EXPECT_EQ(U16(list[2].key), u"B");
  EXPECT_EQ(U16s(list[2].values), (Values{u""}));
  EXPECT_EQ(U16(list[3].key), u"");
  EXPECT_EQ(U16s(list[3].values), (Values{u"v"}));
  EXPECT_EQ(U16(list[4].key), u" C ");
  EXPECT_EQ(U16s(list[4].values), (Values{u" d "}));
  EXPECT_EQ(U16(list[5].key), u"Tail");
  EXPECT_EQ(U16s(list[5].values), (Values{u"end"}));
}

TEST_F(LauncherConfigRead, Utf16FileFromAWindowsLauncher) {
  WriteFile(CurrentFile(), ReadFile(KITSETUP_SOURCE_DIR "/tests/data/launcher/windows_launcher_utf16.cfg"));
  EXPECT_EQ(Templates(0), (Values{u"C:/Users/Пётр/AppData/Roaming/Vesk/miv8/tmplts\r\\",
                                  u"D:/Шаблоны\r\\"}));

  // An odd last byte is not a unit and is dropped.
  WriteFile(At("odd.cfg"), Utf16LeWithMark(u"A=1\r\nB=Ж") + "\x41");
  ConfigList list = ReadList(At("odd.cfg"));
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(U16s(list[0].values), (Values{u"1\r"}));
  EXPECT_EQ(U16s(list[1].values), (Values{u"Ж"}));

  // Without the mark the units are read as bytes, and a chunk's text ends
  // at its first zero byte: only the key "A" is left.
  WriteFile(At("nomark.cfg"), Utf16LeWithMark(u"A=1\nB=2\n").substr(2));
  list = ReadList(At("nomark.cfg"));
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(U16(list[0].key), u"A");
  EXPECT_EQ(U16s(list[0].values), (Values{u""}));
}

TEST_F(LauncherConfigRead, KeysAndValuesAroundTheScanBuffer) {
  // Keys and values longer than the 2048-unit scan buffer are kept whole.
  for (size_t n : {2047u, 2048u, 2049u, 4096u, 5000u}) {
    SCOPED_TRACE(n);
    std::u16string key(n, u'k');
    std::u16string value(n, u'д');
    WriteFile(At("long16.cfg"), Utf16LeWithMark(u"K=" + value + u"\n" + key + u"=v\nL=" + value));
    ConfigList list = ReadList(At("long16.cfg"));
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(U16s(list[0].values), (Values{value}));
    EXPECT_EQ(U16(list[1].key), key);
    EXPECT_EQ(U16s(list[2].values), (Values{value}));

    WriteFile(At("long8.cfg"), "K=" + std::string(n, 'v') + "\n" + std::string(n, 'k') + "=v\n");
    list = ReadList(At("long8.cfg"));
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(U16s(list[0].values), (Values{std::u16string(n, u'v')}));
    EXPECT_EQ(U16(list[1].key), key);
  }
}

// Each 1024-byte chunk is converted by itself. A two-byte letter whose bytes
// fall into two chunks makes both unreadable, and the read ends there: lines
// finished in earlier chunks are kept, the line in progress is dropped.
TEST_F(LauncherConfigRead, MultibyteCharacterCutByAChunk) {
  // The cut at 1024: the first chunk already fails, so nothing is read.
  WriteFile(At("cut1024.cfg"), "A=" + std::string(1021, 'x') + "\xC3\xA9\nB=2\n");
  EXPECT_TRUE(ReadList(At("cut1024.cfg")).empty());

  // The cut at 2048: the first chunk's finished line survives.
  const std::string head = "A=first\nB=";
  WriteFile(At("cut2048.cfg"), head + std::string(2047 - head.size(), 'x') + "\xC3\xA9\nC=after\n");
  ConfigList cut = ReadList(At("cut2048.cfg"));
  ASSERT_EQ(cut.size(), 1u);
  EXPECT_EQ(U16(cut[0].key), u"A");
  EXPECT_EQ(U16s(cut[0].values), (Values{u"first"}));

  // One byte later the letter lies inside the third chunk and all is read.
  WriteFile(At("whole.cfg"), head + std::string(2048 - head.size(), 'x') + "\xC3\xA9\nC=after\n");
  ConfigList whole = ReadList(At("whole.cfg"));
  ASSERT_EQ(whole.size(), 3u);
  EXPECT_EQ(whole[1].values[0].back(), u'é');
  EXPECT_EQ(U16s(whole[2].values), (Values{u"after"}));
}

TEST_F(LauncherConfigRead, BrokenAndMissingFilesLeaveTheListAsItWas) {
  // Invalid UTF-8 in the second chunk: the first chunk's lines stay.
  std::string first = "A=1\nB=" + std::string(1024 - 7, 'y') + "\n";
  ASSERT_EQ(first.size(), 1024u);
  WriteFile(At("invalid.cfg"), first + "C=\xFF\nD=4\n");
  ConfigList list = ReadList(At("invalid.cfg"));
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(U16(list[1].key), u"B");

  // A large file of bytes that are never valid: no giant allocation, nothing read.
  WriteFile(At("garbage.cfg"), std::string(300000, '\xFF'));
  EXPECT_TRUE(ReadList(At("garbage.cfg")).empty());

  ConfigList kept;
  kitsetup::add_value(kept, Text("K"), Text("v"));
  kitsetup::read_config_file(Text(At("missing.cfg")), kept);
  fs::create_directories(At("adir.cfg"));
  kitsetup::read_config_file(Text(At("adir.cfg")), kept);
  ASSERT_EQ(kept.size(), 1u);
  EXPECT_EQ(U16s(kept[0].values), (Values{u"v"}));
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
  ASSERT_TRUE(kitsetup::save_template_locations(Dirs({u"/t/", u"/u"}), 0));
  EXPECT_EQ(ReadFile(CurrentFile()), "ConfigurationTemplatesLocation=/t/\nConfigurationTemplatesLocation=/u\\\n");
  ASSERT_TRUE(kitsetup::save_template_locations(Dirs({u"/t/"}), 1));
  EXPECT_EQ(ReadFile(OlderFile()), "ConfigurationTemplatesLocation=/t/\n");
  // Nothing to store and no file yet: an empty file is left.
  fs::remove_all(At(".Vesk"));
  ASSERT_TRUE(kitsetup::save_template_locations({}, 0));
  EXPECT_EQ(ReadFile(CurrentFile()), "");
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
