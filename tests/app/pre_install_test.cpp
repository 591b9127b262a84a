// The pre-install checks on real files and a real small volume, and where
// the kit is looked for.
#include "app/pre_install.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "app/kit_location.h"
#include "core/messages.h"
#include "kit/kit_writer.h"
#include "support/test_support.h"

namespace kitsetup {
namespace {

using namespace testsupport;

// A legacy-form kit (one description, loaded as "en") holding one file.
uint32_t WriteKit(const std::string& path, const char16_t* name, const std::string& content) {
  KitBuilder builder;
  builder.SetLegacy(true);
  KitDescription description;
  description.productName = u"Ledger";
  description.vendorName = u"Acme";
  builder.AddDescription(description);
  builder.AddEntry(name, content, 133000000000000000ULL);
  MakeDirs(path.substr(0, path.rfind('/')));
  return builder.WriteTo(path);
}

TEST(KitLocation, BesideTheLastBundleBesideABareExecutableOrInTheWorkingDirectory) {
  const char* cases[][2] = {
      {"/Apps/Kit/Setup.app/Contents/MacOS/Setup", "/Apps/Kit/mivo.efd"},
      {"/opt/x/setup", "/opt/x/mivo.efd"},
      {"/A/O.app/Contents/MacOS/I.app/Contents/MacOS/S", "/A/O.app/Contents/MacOS/mivo.efd"},
      {"/k/S.app/Contents/MacO/S", "/k/S.app/Contents/MacO/mivo.efd"},  // a near miss is a directory
      // Without a "/" before the point found, the whole path is kept.
      {"S.app/Contents/MacOS/S", "S.app/Contents/MacOS/S/mivo.efd"},
      {"", ""},  // own path unknown: no kit path at all
  };
  for (const auto& c : cases) EXPECT_EQ(Utf8(LocateKitFile(false, c[0], "/ignored")), c[1]) << c[0];
  EXPECT_EQ(Utf8(LocateKitFile(true, cases[0][0], "/srv/kits")), "/srv/kits/mivo.efd");
  EXPECT_EQ(Utf8(LocateKitFile(true, cases[0][0], "")), "");
  EXPECT_EQ(ExecutablePath().c_str(), std::string(KITSETUP_BINARY_DIR "/tests/app/app_tests"));
  EXPECT_EQ(Utf8(LocateKitFile(false)), KITSETUP_BINARY_DIR "/tests/app/mivo.efd");
}

TEST(TemplateProposalCleaning, UrlsFileSchemeAndLineBreaks) {
  const char16_t* cases[][2] = {
      {u"file:///Users/u/tmplts", u"/Users/u/tmplts"},
      {u"/a/https://b/", u""},
      {u"/srv/ftp://mirror/", u""},
      {u"HTTP://x/", u"HTTP://x/"},  // case-sensitive
      {u"file://a/file://b", u"a/file://b"},  // first occurrence only
      {u"/a\r\n/b\n\r", u"/a/b"},
      {u"fi\nle:///x", u"file:///x"},  // line breaks go after the scheme
  };
  for (const auto& c : cases) EXPECT_EQ(CleanTemplateProposal(c[0]), TextString(c[1])) << Utf8(c[0]);
}

TEST(FreeSpaceArithmetic, ThreeTimesTheKitIn32Bits) {
  EXPECT_TRUE(HasRoomForKit(100, 300));
  EXPECT_FALSE(HasRoomForKit(100, 299));
  EXPECT_EQ(SpaceNeededForKit(1500000000u), 205032704u);  // wraps
  EXPECT_EQ(SpaceNeededForKit(1431655766u), 2u);
  EXPECT_EQ(ClampFreeBytes(5000000000ull / 4096, 4096), 4294967295u);  // 5 GB free
  EXPECT_EQ(ClampFreeBytes(1ull << 62, 1ull << 10), 4294967295u);  // 64-bit overflow
  EXPECT_EQ(ClampFreeBytes(123, 0), 0u);
}

// HOME and TMPDIR in a scratch directory; the kit beside a bundle there.
class PreInstall : public ::testing::Test {
 protected:
  void SetUp() override {
    MakeDirs(home_);
    MakeDirs(dir_.At("tmp"));
    SetCurrentLanguage(3);
  }

  // "<result>|<messages shown>|<event log>"; each message as "<type>:<text>".
  std::string Prepare(InstallerState& state, const char* exe = "/Kits/Setup.app/Contents/MacOS/Setup") {
    std::string shown;
    const ShowMessageFn show = [&](const TextString& text, uint32_t type) {
      shown += std::to_string(type) + ":" + Utf8(text) + ";";
      return kAnswerOk;
    };
    const ByteString path = *exe ? ByteString((dir_.path() + exe).c_str()) : ByteString();
    bool ok = false;
    const std::string log = CaptureStderr([&] { ok = PrepareInstall(state, show, path); });
    return (ok ? "true|" : "false|") + shown + "|" + log;
  }
  static std::string Failed(const char* key, const std::string& log) {
    return "false|" + std::to_string(0x1000001) + ":" + Utf8(LookupMessage(key)) + ";|" + log;
  }
  std::string KitLine() const { return "kitsetup: kit " + kit_ + "\n"; }
  std::string TemplateLine(const std::string& dir) const { return "kitsetup: template " + dir + "\n"; }

  ScratchDir dir_;
  std::string home_ = dir_.At("home"), kit_ = dir_.At("Kits/mivo.efd");
  std::string defaultTemplates_ = home_ + "/.mivo/Vesk/miv8/tmplts/";
  ScopedEnv home_env_{"HOME", home_.c_str()}, tmpdir_env_{"TMPDIR", dir_.At("tmp/").c_str()};
};

TEST_F(PreInstall, EachFailureIsShownOnceAndStopsTheChecks) {
  uint32_t size = 7;
  InstallerState missing, unknown, damaged, empty;
  EXPECT_EQ(Prepare(missing), Failed("IDS_ERROR_NOSOURCE", KitLine()));
  EXPECT_TRUE(missing.m_kitPath.empty());
  EXPECT_EQ(Prepare(unknown, ""), Failed("IDS_ERROR_NOSOURCE", "kitsetup: kit \n"));

  WriteFile(kit_, "this is not a deflate stream at all, just text");
  EXPECT_EQ(Prepare(damaged), Failed("IDS_ERROR_DAMAGEDSOURCE", KitLine() + TemplateLine(defaultTemplates_)));
  EXPECT_EQ(Utf8(damaged.m_kitPath), kit_);
  EXPECT_EQ(damaged.m_kit.dataHandle, kNoHandle);
  EXPECT_TRUE(ListNames(dir_.At("tmp")).empty()) << "staging file left";
  // An empty kit passes the size check and is judged by the loader.
  WriteFile(kit_, "");
  EXPECT_EQ(Prepare(empty), Failed("IDS_ERROR_DAMAGEDSOURCE", KitLine() + TemplateLine(defaultTemplates_)));
  ASSERT_EQ(truncate(kit_.c_str(), (1ll << 32) + 5), 0);  // sparse
  EXPECT_EQ(QueryFileSize(Text(kit_), &size), 0);
  EXPECT_EQ(size, 5u);  // the low 32 bits
}

TEST_F(PreInstall, GoodKitWithConfiguredTemplatesHereOrInTheWorkingDirectory) {
  ASSERT_EQ(WriteKit(kit_, u"\\conf\\a.txt", "payload"), 0u);
  const std::string rw = dir_.At("templates");
  mkdir(rw.c_str(), 0755);
  WriteFile(home_ + "/.Vesk/veskstart/veskstart.cfg", "ConfigurationTemplatesLocation=" + dir_.At("gone/") +
                                                          "\nConfigurationTemplatesLocation=" + rw + "/\n");
  InstallerState state;
  EXPECT_EQ(Prepare(state), "true||" + KitLine() + TemplateLine(rw + "/"));  // first writable one
  EXPECT_EQ(state.m_dirList.size(), 2u);
  EXPECT_EQ(state.m_flagA + state.m_flagB, 0);
  ASSERT_EQ(state.m_kit.entries.size(), 1u);
  EXPECT_EQ(state.m_kit.entries[0].dataSize, 7u);
  EXPECT_EQ(state.m_kit.descriptions.at(0).productName, TextString(u"Ledger"));
  CloseFileHandle(state.m_kit.dataHandle);
  // "usecwd": the kit in the working directory.
  EXPECT_EQ(RunInChild([&] {
              if (chdir((dir_.At("Kits")).c_str()) != 0) return std::string("chdir failed");
              InstallerState cwd;
              cwd.m_useCwd = 1;
              const bool ok = PrepareInstall(cwd, nullptr);  // own executable path ignored
              return std::string(ok ? "ok " : "failed ") + Utf8(cwd.m_kitPath);
            }),
            "ok " + kit_);
}

TEST_F(PreInstall, SpaceCheckOnASmallFileSystemAndItsWrapAround) {
  SmallVolume volume(dir_.At("mnt"), "256m");
  if (!volume.mounted()) GTEST_SKIP() << "cannot mount a small file system here";
  setenv("TMPDIR", (dir_.At("mnt/")).c_str(), 1);
  WriteFile(kit_, "");
  // 1,400,000,000 bytes (sparse) need 4,200,000,000: refused before loading.
  ASSERT_EQ(truncate(kit_.c_str(), 1400000000ll), 0);
  InstallerState big, wrapped;
  EXPECT_EQ(Prepare(big), Failed("IDS_ERROR_NOSPACE", KitLine() + TemplateLine(defaultTemplates_)));
  // 1,500,000,000 bytes wrap to 205,032,704, which fits: the loader refuses it.
  ASSERT_EQ(truncate(kit_.c_str(), 1500000000ll), 0);
  EXPECT_EQ(Prepare(wrapped), Failed("IDS_ERROR_DAMAGEDSOURCE", KitLine() + TemplateLine(defaultTemplates_)));
}

}  // namespace
}  // namespace kitsetup
