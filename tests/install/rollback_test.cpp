// A failed or cancelled run leaves the template directory exactly as it was:
// replaced files back byte for byte with their times, created directories
// and files gone, everything that existed before still there. Faults come
// through the file layer's test seam (tests run as root, so permissions stop
// nothing): a failed open, a failed backup, a short write, a failed truncate
// or close, and a removal that fails once during the rollback itself.
#include "install/install_fixture.h"

namespace kitsetup::testing {
namespace {

// The target whose open for writing fails, and the code it fails with.
std::string g_failing_target;
uint32_t OpenFault(const TextString& path, uint32_t access, uint32_t) {
  return (access & kAccessWrite) && Utf8(path) == g_failing_target ? 87u : 0u;
}

enum class Fault { kOpenFails, kCancel, kBackupFails, kShortWrite, kTruncateFails, kCloseFails, kCancelRemoveFailsOnce };
const char* const kFaultNames[] = {"OpenFails",     "Cancel",     "BackupFails",          "ShortWrite",
                                   "TruncateFails", "CloseFails", "CancelRemoveFailsOnce"};

struct Case {
  Fault fault;
  int k;  // the entry that fails, or after which the run is cancelled
  bool fast;
  bool fresh = false;  // the template directory and its parent do not exist yet
};

std::string CaseName(const ::testing::TestParamInfo<Case>& info) {
  const Case& c = info.param;
  return std::string(kFaultNames[int(c.fault)]) + "AtEntry" + std::to_string(c.k) +
         (c.fast ? "FastPaths" : "ShellCommands") + (c.fresh ? "IntoNewDirectory" : "");
}

class RollbackTest : public InstallFixture, public ::testing::WithParamInterface<Case> {};

// An upgrade over a template directory that the user has worked in: the kit
// replaces two files, adds files to existing folders, and brings new folders
// several levels deep. The template directory sits two levels below "outer",
// which alone exists in a fresh case.
TEST_P(RollbackTest, LeavesTheTemplateDirectoryAsItWas) {
  const Case c = GetParam();
  SetFastPathsEnabled(c.fast);
  const std::string outer = root_ + "/outer";
  templ_ = outer + "/inner/templates";
  MakeDirs(outer);
  Source("a_new/deep/er/one.txt", "one", kT0 + 100);
  Source("b_new.txt", "b", kT0 + 100);
  Source("replace1.txt", "replacement 1", kT0 + 100);
  Source("sub/new_in_sub.txt", "new in sub", kT0 + 100);
  Source("sub/replace2.txt", "replacement 2", kT0 + 100);
  Source("sub/z_newdir/two.txt", "two", kT0 + 100);
  Source("zz/last.txt", "last", kT0 + 100);
  if (!c.fresh) {
    WriteFile(templ_ + "/replace1.txt", "the user's old version, longer than the new one", kT0);
    WriteFile(templ_ + "/sub/replace2.txt", "old 2", kT0 + 1);
    WriteFile(templ_ + "/sub/mine.txt", "the user's own", kT0 + 2);
    WriteFile(templ_ + "/keep/local.txt", "local", kT0 + 3);
  }
  PackAndLoad();
  const size_t n = kit_.entries.size();
  const size_t k = c.k;
  ASSERT_LT(k, n);
  const Snapshot before = TakeSnapshot(outer);
  const Snapshot temp_before = TakeSnapshot(temp_);
  if (c.fault == Fault::kOpenFails) {
    g_failing_target = Target(k);
    SetOpenFaultHook(&OpenFault);
  } else if (c.fault == Fault::kCancel || c.fault == Fault::kCancelRemoveFailsOnce) {
    cancel_target_ = Target(k);
  }
  const FileOp kOps[] = {FileOp::kOpen, FileOp::kOpen,  FileOp::kMove,  FileOp::kWrite,
                         FileOp::kTruncate, FileOp::kClose, FileOp::kRemove};
  if (c.fault != Fault::kOpenFails && c.fault != Fault::kCancel) Inject({kOps[int(c.fault)], Target(k), 1});

  const uint32_t code = Install();
  SetOpenFaultHook(nullptr);
  const bool cancelled = c.fault == Fault::kCancel || c.fault == Fault::kCancelRemoveFailsOnce;

  // One post per entry up to k, then the error; a cancel posts no error.
  ASSERT_EQ(cancelled ? k + 1 : k + 2, posts_.size());
  if (cancelled) {
    EXPECT_EQ(1223u, code);
    EXPECT_EQ(0u, posts_.back().code);
    EXPECT_EQ(Target(k), posts_.back().text);
  } else {
    EXPECT_EQ(87u, code);
    EXPECT_EQ(code, posts_.back().code);
    EXPECT_EQ(Utf8(LookupMessage("IDS_INSTALL_ERROR")), posts_.back().text);
  }
  EXPECT_EQ(static_cast<int32_t>(k * 100 / n), posts_.back().percent);
  EXPECT_EQ(before, TakeSnapshot(outer));
  EXPECT_EQ(temp_before, TakeSnapshot(temp_));
  ExpectTempHoldsOnlyStaging();
}

std::vector<Case> Cases() {
  std::vector<Case> cases;
  for (int k = 0; k < 7; ++k) {
    cases.push_back({Fault::kOpenFails, k, true});
    cases.push_back({Fault::kCancel, k, true});
  }
  // The replaced files are entries 2 and 4.
  for (int k : {2, 4}) cases.push_back({Fault::kBackupFails, k, true});
  for (int k : {0, 4, 6}) {
    cases.push_back({Fault::kShortWrite, k, true});
    cases.push_back({Fault::kCancelRemoveFailsOnce, k, true});
  }
  cases.push_back({Fault::kTruncateFails, 2, true});
  cases.push_back({Fault::kCloseFails, 5, true});
  // The shell commands alone, for one case of each kind.
  cases.push_back({Fault::kOpenFails, 4, false});
  cases.push_back({Fault::kCancel, 6, false});
  cases.push_back({Fault::kBackupFails, 4, false});
  cases.push_back({Fault::kShortWrite, 3, false});
  // A failed run removes the template directory it made with every level,
  // but not the parent that was there.
  cases.push_back({Fault::kOpenFails, 5, true, true});
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Faults, RollbackTest, ::testing::ValuesIn(Cases()), CaseName);

}  // namespace
}  // namespace kitsetup::testing

namespace kitsetup::testing {
namespace {

// A real full disk: the template directory lies on a small tmpfs, the backups
// on another volume (whole copies), and the volume fills up while the last
// entry is written. The write falls short and the run rolls back. When the
// replacements were as large as the originals the rollback has room and the
// tree is as before; when they were smaller it has not, and then no user's
// file is truncated: each is back whole, or whole in the kept backup.
class FullDiskTest : public InstallFixture, public ::testing::WithParamInterface<size_t> {};

TEST_P(FullDiskTest, ShortWriteRollsBackWithoutTruncatingAUsersFile) {
  SmallVolume volume(root_ + "/volume", "4m");
  if (!volume.mounted()) GTEST_SKIP() << "cannot mount a tmpfs here";
  templ_ = root_ + "/volume/templates";
  const size_t kOld = 200 * 1024;
  std::vector<std::string> names = {"a.txt", "b/c.txt", "d.txt"};
  std::map<std::string, std::string> originals;
  for (size_t i = 0; i < names.size(); ++i) {
    originals[names[i]] = std::string(kOld, char('0' + i));
    WriteFile(templ_ + "/" + names[i], originals[names[i]], kT0);
    Source(names[i], std::string(GetParam(), char('a' + i)), kT0 + 100);
  }
  Source("z_new.txt", std::string(kOld, 'z'), kT0 + 100);
  PackAndLoad();
  const Snapshot before = TakeSnapshot(templ_);
  on_post_ = [&](const std::string& text) {
    if (text == templ_ + "/z_new.txt") volume.Fill();
  };

  InstallJob job;
  uint32_t code = 0;
  const std::string err = testsupport::CaptureStderr([&] { code = Install(&job); });
  std::remove((root_ + "/volume/filler").c_str());

  EXPECT_EQ(87u, code);
  const std::string backup = Utf8(job.transactions.back().backupDirectory);
  if (GetParam() >= kOld) {
    EXPECT_EQ(before, TakeSnapshot(templ_));
    EXPECT_EQ("", err);
    ExpectTempHoldsOnlyStaging();
    return;
  }
  EXPECT_TRUE(job.transactions.back().backupKept);
  EXPECT_NE(std::string::npos, err.find(backup)) << err;
  for (const auto& [name, bytes] : originals) {
    const std::string where = MTime(templ_ + "/" + name) != -1 ? templ_ + "/" + name : backup + name;
    EXPECT_EQ(bytes, ReadFile(where)) << where;
    EXPECT_EQ(kT0, MTime(where)) << where;
  }
  EXPECT_EQ(-1, MTime(templ_ + "/z_new.txt"));
}

INSTANTIATE_TEST_SUITE_P(Sizes, FullDiskTest, ::testing::Values(200 * 1024, 20 * 1024),
                         [](const ::testing::TestParamInfo<size_t>& info) {
                           return info.param >= 200 * 1024 ? std::string("RollbackHasRoom") : std::string("RollbackHasNoRoom");
                         });

}  // namespace
}  // namespace kitsetup::testing
