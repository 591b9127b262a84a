// The pre-install checks on real files: a scratch home and temporary
// directory, real kits beside a made-up executable path, and (where the
// machine allows mounting) small file systems for the free-space test.
#include "app/pre_install.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "app_test_support.h"
#include "core/messages.h"
#include "kit/file_handle.h"

namespace kitsetup {
namespace {

using kitsetup_test::CaptureStderr;
using kitsetup_test::ReadFile;
using kitsetup_test::RunInChild;
using kitsetup_test::ScratchDir;
using kitsetup_test::Text;
using kitsetup_test::ToStd;
using kitsetup_test::WriteKit;
using kitsetup_test::WriteFile;

TEST(TemplateProposalCleaning, UrlsFileSchemeAndLineBreaks) {
  const struct {
    const char16_t* in;
    const char16_t* out;
  } cases[] = {
      {u"/Users/u/tmplts/", u"/Users/u/tmplts/"},
      {u"file:///Users/u/tmplts", u"/Users/u/tmplts"},
      {u"/a/https://b/", u""},
      {u"http://x/", u""},
      {u"/srv/ftp://mirror/", u""},
      {u"file://http://x", u""},  // a URL empties it before file:// is looked at
      {u"HTTP://x/", u"HTTP://x/"},  // the tests are case-sensitive
      {u"file://a/file://b", u"a/file://b"},  // first occurrence only
      {u"/a\r\n/b\n\r", u"/a/b"},
      {u"fi\nle:///x", u"file:///x"},  // line breaks go after the scheme test
      {u"", u""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(ToStd(TextString(c.in)));
    EXPECT_EQ(CleanTemplateProposal(TextString(c.in)), TextString(c.out));
  }
}

TEST(FreeSpaceArithmetic, ThreeTimesTheKitIn32Bits) {
  EXPECT_EQ(SpaceNeededForKit(100), 300u);
  EXPECT_TRUE(HasRoomForKit(100, 300));
  EXPECT_FALSE(HasRoomForKit(100, 299));
  EXPECT_TRUE(HasRoomForKit(0, 0));
  // Over about 1.4 GB the need wraps around and the check gets lenient.
  EXPECT_EQ(SpaceNeededForKit(1500000000u), 205032704u);
  EXPECT_TRUE(HasRoomForKit(1500000000u, 210000000u));
  EXPECT_EQ(SpaceNeededForKit(1431655765u), 4294967295u);
  EXPECT_EQ(SpaceNeededForKit(1431655766u), 2u);
  // Free space beyond 32 bits is seen as 4294967295.
  EXPECT_EQ(ClampFreeBytes(5000000000ull / 4096, 4096), 4294967295u);
  EXPECT_EQ(ClampFreeBytes(1048575, 4096), 4294963200u);
  EXPECT_EQ(ClampFreeBytes(1048576, 4096), 4294967295u);
  EXPECT_EQ(ClampFreeBytes(1ull << 62, 1ull << 10), 4294967295u);  // product overflows 64 bits
  EXPECT_EQ(ClampFreeBytes(0, 4096), 0u);
  EXPECT_EQ(ClampFreeBytes(123, 0), 0u);
}

// HOME and TMPDIR point into a scratch directory for each test.
class PreInstall : public ::testing::Test {
 protected:
  void SetUp() override {
    Save("HOME", savedHome_);
    Save("TMPDIR", savedTmp_);
    home_ = scratch_ / "home";
    tmp_ = scratch_ / "tmp";
    mkdir(home_.c_str(), 0755);
    mkdir(tmp_.c_str(), 0755);
    setenv("HOME", home_.c_str(), 1);
    setenv("TMPDIR", (tmp_ + "/").c_str(), 1);
    SetCurrentLanguage(3);
  }
  void TearDown() override {
    for (const std::string& m : mounts_) std::system(("umount '" + m + "'").c_str());
    Restore("HOME", savedHome_);
    Restore("TMPDIR", savedTmp_);
  }
  static void Save(const char* name, std::string& into) {
    const char* v = std::getenv(name);
    into = v != nullptr ? std::string(v) : std::string("\1");
  }
  static void Restore(const char* name, const std::string& value) {
    if (value == "\1") {
      unsetenv(name);
    } else {
      setenv(name, value.c_str(), 1);
    }
  }

  // A small file system at `dir`; false when this machine does not allow it.
  bool MountTmpfs(const std::string& dir, const char* size) {
    mkdir(dir.c_str(), 0755);
    const std::string cmd =
        "mount -t tmpfs -o size=" + std::string(size) + " tmpfs '" + dir + "' 2>/dev/null";
    if (std::system(cmd.c_str()) != 0) return false;
    mounts_.push_back(dir);
    return true;
  }

  std::string KitDir() const { return scratch_ / "Kits"; }
  ByteString Executable() const {
    return ByteString((KitDir() + "/Setup.app/Contents/MacOS/Setup").c_str());
  }
  std::string KitPath() const { return KitDir() + "/mivo.efd"; }

  void WriteGoodKit() {
    ASSERT_EQ(WriteKit(KitPath(), u"Ledger", u"Acme", u"\\conf\\a.txt", "payload"), 0u);
  }

  bool Prepare(InstallerState& state) {
    log_ = CaptureStderr([&] { result_ = PrepareInstall(state, Recorder(), Executable()); });
    return result_;
  }
  ShowMessageFn Recorder() {
    return [this](const TextString& text, uint32_t type) {
      shown_.push_back({ToStd(text), type});
      return kAnswerOk;
    };
  }
  // The one message that was shown must be `key` with the error type.
  void ExpectShownOnce(const char* key) {
    ASSERT_EQ(shown_.size(), 1u);
    EXPECT_FALSE(shown_[0].text.empty());
    EXPECT_EQ(shown_[0].text, ToStd(LookupMessage(key)));
    EXPECT_EQ(shown_[0].type, 0x1000001u);
  }
  static void ReleaseKit(InstallerState& state) {
    if (state.m_kit.dataHandle != kNoHandle) CloseFileHandle(state.m_kit.dataHandle);
    state.m_kit.dataHandle = kNoHandle;
  }

  struct Shown {
    std::string text;
    uint32_t type;
  };
  ScratchDir scratch_;
  std::string home_, tmp_, savedHome_, savedTmp_;
  std::vector<std::string> mounts_;
  std::vector<Shown> shown_;
  std::string log_;
  bool result_ = false;
};

TEST_F(PreInstall, FileSizeAndFreeSpaceQueries) {
  uint32_t size = 7;
  EXPECT_EQ(QueryFileSize(Text(KitPath()), nullptr), 1);
  EXPECT_EQ(QueryFileSize(Text(KitPath()), &size), 1);
  WriteFile(KitPath(), std::string(1234, 'k'));
  EXPECT_EQ(QueryFileSize(Text(KitPath()), &size), 0);
  EXPECT_EQ(size, 1234u);
  // Only the low 32 bits of a 4 GiB + 5 file (sparse: no disk used).
  ASSERT_EQ(truncate(KitPath().c_str(), (1ll << 32) + 5), 0);
  EXPECT_EQ(QueryFileSize(Text(KitPath()), &size), 0);
  EXPECT_EQ(size, 5u);

  EXPECT_EQ(QueryTempFreeSpace(nullptr), 87);
  uint32_t freeBytes = 0;
  EXPECT_EQ(QueryTempFreeSpace(&freeBytes), 0);
  EXPECT_GT(freeBytes, 0u);
  if (MountTmpfs(scratch_ / "small", "1m")) {
    setenv("TMPDIR", (scratch_ / "small/").c_str(), 1);
    EXPECT_EQ(QueryTempFreeSpace(&freeBytes), 0);
    EXPECT_EQ(freeBytes, 1048576u);  // the TMPDIR file system, not the root one
  }
}

TEST_F(PreInstall, MissingKitOrUnknownOwnPathIsNoSource) {
  InstallerState state;
  EXPECT_FALSE(Prepare(state));
  ExpectShownOnce("IDS_ERROR_NOSOURCE");
  EXPECT_TRUE(state.m_kitPath.empty());
  EXPECT_TRUE(state.m_templateDir.empty());  // nothing after the first failure
  EXPECT_EQ(log_, "kitsetup: kit " + KitPath() + "\n");

  shown_.clear();
  InstallerState unknown;
  log_ = CaptureStderr([&] { EXPECT_FALSE(PrepareInstall(unknown, Recorder(), ByteString())); });
  ExpectShownOnce("IDS_ERROR_NOSOURCE");

  // A directory named like the kit is found by the existence test and is
  // then judged by the loader.
  shown_.clear();
  mkdir(KitDir().c_str(), 0755);
  mkdir(KitPath().c_str(), 0755);
  InstallerState dir;
  EXPECT_FALSE(Prepare(dir));
  ExpectShownOnce("IDS_ERROR_DAMAGEDSOURCE");
}

TEST_F(PreInstall, DamagedKitIsRefusedAndLeavesNothingBehind) {
  WriteFile(KitPath(), "this is not a deflate stream at all, just text");
  InstallerState state;
  EXPECT_FALSE(Prepare(state));
  ExpectShownOnce("IDS_ERROR_DAMAGEDSOURCE");
  EXPECT_EQ(ToStd(state.m_kitPath), KitPath());
  EXPECT_TRUE(state.m_kit.entries.empty());
  EXPECT_EQ(state.m_kit.dataHandle, kNoHandle);
  // The template was proposed before the kit was read: the default one.
  EXPECT_EQ(ToStd(state.m_templateDir), home_ + "/.mivo/Vesk/miv8/tmplts/");
  EXPECT_EQ(log_, "kitsetup: kit " + KitPath() + "\nkitsetup: template " + home_ +
                      "/.mivo/Vesk/miv8/tmplts/\n");
  EXPECT_EQ(std::system(("test -z \"$(ls -A '" + tmp_ + "')\"").c_str()), 0)
      << "staging file left in " << tmp_;

  // An empty kit passes the size check and is judged by the loader too.
  shown_.clear();
  WriteFile(KitPath(), "");
  InstallerState empty;
  EXPECT_FALSE(Prepare(empty));
  ExpectShownOnce("IDS_ERROR_DAMAGEDSOURCE");
}

TEST_F(PreInstall, GoodKitLoadsWithTheConfiguredTemplateDirectory) {
  WriteGoodKit();
  const std::string ro = scratch_ / "missing-dir";
  const std::string rw = scratch_ / "templates";
  mkdir(rw.c_str(), 0755);
  WriteFile(home_ + "/.Vesk/veskstart/veskstart.cfg",
            "ConfigurationTemplatesLocation=" + ro + "\nConfigurationTemplatesLocation=" + rw +
                "/\n");
  InstallerState state;
  ASSERT_TRUE(Prepare(state)) << (shown_.empty() ? "" : shown_[0].text);
  EXPECT_TRUE(shown_.empty());
  EXPECT_EQ(ToStd(state.m_kitPath), KitPath());
  EXPECT_EQ(ToStd(state.m_templateDir), rw + "/");  // the first writable candidate
  ASSERT_EQ(state.m_dirList.size(), 2u);
  EXPECT_EQ(state.m_flagA, 0);
  EXPECT_EQ(state.m_flagB, 0);
  ASSERT_EQ(state.m_kit.entries.size(), 1u);
  EXPECT_EQ(state.m_kit.entries[0].dataSize, 7u);
  ASSERT_EQ(state.m_kit.descriptions.size(), 1u);
  EXPECT_EQ(state.m_kit.descriptions[0].productName, TextString(u"Ledger"));
  EXPECT_EQ(log_, "kitsetup: kit " + KitPath() + "\nkitsetup: template " + rw + "/\n");
  ReleaseKit(state);
}

TEST_F(PreInstall, LegacyOnlyConfigurationSetsBothFlags) {
  WriteGoodKit();
  const std::string rw = scratch_ / "legacy-templates";
  mkdir(rw.c_str(), 0755);
  WriteFile(home_ + "/.Vesk/veskstartt/veskstart.cfg",
            "ConfigurationTemplatesLocation=" + rw + "/\n");
  InstallerState state;
  ASSERT_TRUE(Prepare(state));
  EXPECT_EQ(state.m_flagA, 1);
  EXPECT_EQ(state.m_flagB, 1);
  EXPECT_EQ(ToStd(state.m_templateDir), rw + "/");
  ReleaseKit(state);
}

TEST_F(PreInstall, FileSchemeProposalIsCleaned) {
  // "file:///abs/dir/" is, as a relative path, ./file:/abs/dir/; make it
  // exist below a working directory so the probe passes, then check that
  // the proposal loses its scheme.
  WriteGoodKit();
  const std::string target = scratch_ / "tpl";
  WriteFile(home_ + "/.Vesk/veskstart/veskstart.cfg",
            "ConfigurationTemplatesLocation=file://" + target + "/\n");
  const std::string work = scratch_ / "work";
  ASSERT_EQ(std::system(("mkdir -p '" + work + "/file:" + target + "'").c_str()), 0);
  const std::string got = RunInChild([&] {
    if (chdir(work.c_str()) != 0) return std::string("chdir failed");
    InstallerState state;
    const bool ok = PrepareInstall(state, Recorder(), Executable());
    ReleaseKit(state);
    return std::string(ok ? "ok " : "failed ") + ToStd(state.m_templateDir);
  });
  EXPECT_EQ(got, "ok " + target + "/");
}

TEST_F(PreInstall, UseCwdFindsTheKitInTheWorkingDirectory) {
  WriteGoodKit();
  const std::string got = RunInChild([&] {
    if (chdir(KitDir().c_str()) != 0) return std::string("chdir failed");
    InstallerState state;
    state.m_useCwd = 1;
    const bool ok = PrepareInstall(state, Recorder());  // own executable path is ignored
    ReleaseKit(state);
    return std::string(ok ? "ok " : "failed ") + ToStd(state.m_kitPath);
  });
  EXPECT_EQ(got, "ok " + KitPath());
}

TEST_F(PreInstall, TooLittleTemporarySpaceIsNoSpace) {
  if (!MountTmpfs(scratch_ / "small", "1m")) GTEST_SKIP() << "cannot mount a small file system here";
  setenv("TMPDIR", (scratch_ / "small/").c_str(), 1);
  // 400,000 random bytes need 1,200,000 free: more than the 1 MiB there.
  std::mt19937 random(7);
  std::string noise(400000, '\0');
  for (char& c : noise) c = static_cast<char>(random());
  WriteFile(KitPath(), noise);
  InstallerState state;
  EXPECT_FALSE(Prepare(state));
  ExpectShownOnce("IDS_ERROR_NOSPACE");  // refused before the loader saw it
  EXPECT_EQ(ToStd(state.m_kitPath), KitPath());

  // 349,000 bytes need 1,047,000: the check passes and the loader judges.
  shown_.clear();
  noise.resize(349000);
  WriteFile(KitPath(), noise);
  InstallerState fits;
  EXPECT_FALSE(Prepare(fits));
  ExpectShownOnce("IDS_ERROR_DAMAGEDSOURCE");
}

TEST_F(PreInstall, HugeKitWrapsPastTheSpaceCheck) {
  if (!MountTmpfs(scratch_ / "mid", "256m")) GTEST_SKIP() << "cannot mount a small file system here";
  setenv("TMPDIR", (scratch_ / "mid/").c_str(), 1);
  // A sparse 1,500,000,000-byte kit: 3 x size wraps to 205,032,704, which
  // the 256 MiB file system holds, so only the loader refuses it.
  WriteFile(KitPath(), "");
  ASSERT_EQ(truncate(KitPath().c_str(), 1500000000ll), 0);
  InstallerState state;
  EXPECT_FALSE(Prepare(state));
  ExpectShownOnce("IDS_ERROR_DAMAGEDSOURCE");

  // 1,400,000,000 bytes do not wrap: 4,200,000,000 needed.
  shown_.clear();
  ASSERT_EQ(truncate(KitPath().c_str(), 1400000000ll), 0);
  InstallerState big;
  EXPECT_FALSE(Prepare(big));
  ExpectShownOnce("IDS_ERROR_NOSPACE");
}

}  // namespace
}  // namespace kitsetup
