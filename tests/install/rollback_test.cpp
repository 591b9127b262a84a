// A failed or cancelled run leaves the template directory exactly as it was,
// whatever fails, also on a real full disk.
#include <cerrno>

#include "install/install_fixture.h"

namespace kitsetup::testing {
namespace {

std::string g_failing_target;
uint32_t OpenFault(const TextString& path, uint32_t access, uint32_t) {
  return (access & kAccessWrite) && Utf8(path) == g_failing_target ? 87u : 0u;
}
FileOp g_op;
int g_times = 0;  // how many of the next g_op operations fail
int FailOperation(FileOp op, const char*) {
  if (op != g_op || g_times == 0) return 0;
  --g_times;
  return ENOSPC;
}

// What goes wrong at entry k: its open fails, a cancel, or one file operation
// fails once (after a cancel: a removal during the rollback).
struct Fault {
  const char* name;
  bool cancel, seam;
  FileOp op;
};
const Fault kOpenFails{"OpenFails", false, false, FileOp::kOpen}, kCancel{"Cancel", true, false, FileOp::kOpen},
    kBackupFails{"BackupFails", false, true, FileOp::kMove}, kShortWrite{"ShortWrite", false, true, FileOp::kWrite},
    kTruncateFails{"TruncateFails", false, true, FileOp::kTruncate},
    kCloseFails{"CloseFails", false, true, FileOp::kClose},
    kCancelRemoveFailsOnce{"CancelRemoveFailsOnce", true, true, FileOp::kRemove};

struct Case {
  Fault fault;
  int k;
  bool fast;
  bool fresh = false;  // the template directory and its parent do not exist yet
};

class RollbackTest : public InstallFixture, public ::testing::WithParamInterface<Case> {};

// An upgrade replacing two of the user's files and adding deep folders; the
// template directory sits two levels below "outer", alone in a fresh case.
TEST_P(RollbackTest, LeavesTheTemplateDirectoryAsItWas) {
  const Case c = GetParam();
  SetFastPathsEnabled(c.fast);
  const std::string outer = root_ + "/outer";
  templ_ = outer + "/inner/templates";
  MakeDirs(outer);
  for (const char* rel : {"a_new/deep/er/one.txt", "b_new.txt", "replace1.txt", "sub/new_in_sub.txt",
                          "sub/replace2.txt", "sub/z_newdir/two.txt", "zz/last.txt"})
    Source(rel, std::string("new ") + rel, kT0 + 100);
  if (!c.fresh) {
    WriteFile(templ_ + "/replace1.txt", "the user's old version, longer than the new one", kT0);
    WriteFile(templ_ + "/sub/replace2.txt", "old 2", kT0 + 1);
    WriteFile(templ_ + "/sub/mine.txt", "the user's own", kT0 + 2);
    WriteFile(templ_ + "/keep/local.txt", "local", kT0 + 3);
  }
  PackAndLoad();
  const size_t n = kit_.entries.size(), k = c.k;
  ASSERT_LT(k, n);
  const Snapshot before = TakeSnapshot(outer), temp_before = TakeSnapshot(temp_);
  g_failing_target = Target(k);
  g_op = c.fault.op;
  g_times = 0;
  if (c.fault.seam) SetFileFaultHook(&FailOperation);
  on_post_ = [&](const std::string& text) {
    g_times += text == g_failing_target;
    if (c.fault.cancel && text == g_failing_target) channel_.cancel = 1;  // the lock is held: set directly
  };
  if (!c.fault.cancel && !c.fault.seam) SetOpenFaultHook(&OpenFault);

  const uint32_t code = Install();

  // One post per entry up to k, then the error; a cancel posts no error.
  ASSERT_EQ(c.fault.cancel ? k + 1 : k + 2, posts_.size());
  EXPECT_EQ(c.fault.cancel ? 1223u : 87u, code);
  EXPECT_EQ(c.fault.cancel ? PostLine(0, Target(k), k * 100 / n) : ErrorPost(87, k * 100 / n), posts_.back());
  EXPECT_EQ(before, TakeSnapshot(outer));
  EXPECT_EQ(temp_before, TakeSnapshot(temp_));  // the staging file and nothing else
}

std::vector<Case> Cases() {
  std::vector<Case> cases;
  for (int k = 0; k < 7; ++k) {
    cases.push_back({kOpenFails, k, true});
    cases.push_back({kCancel, k, true});
  }
  // The replaced files are entries 2 and 4.
  for (int k : {2, 4}) cases.push_back({kBackupFails, k, true});
  for (int k : {0, 4, 6}) {
    cases.push_back({kShortWrite, k, true});
    cases.push_back({kCancelRemoveFailsOnce, k, true});
  }
  cases.push_back({kTruncateFails, 2, true});
  cases.push_back({kCloseFails, 5, true});
  // The shell commands alone, for one case of each kind.
  for (const Case& c : {Case{kOpenFails, 4, false}, Case{kCancel, 6, false}, Case{kBackupFails, 4, false},
                        Case{kShortWrite, 3, false}})
    cases.push_back(c);
  // The levels the run made go, the parent that was there stays.
  cases.push_back({kOpenFails, 5, true, true});
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Faults, RollbackTest, ::testing::ValuesIn(Cases()),
                         [](const ::testing::TestParamInfo<Case>& info) {
                           const Case& c = info.param;
                           return std::string(c.fault.name) + "AtEntry" + std::to_string(c.k) +
                                  (c.fast ? "FastPaths" : "ShellCommands") + (c.fresh ? "IntoNewDirectory" : "");
                         });

// The volume fills while the last entry is written (backups on another
// volume). With room to roll back the tree is as before; without, each
// user's file is back whole or whole in the kept backup.
class FullDiskTest : public InstallFixture, public ::testing::WithParamInterface<size_t> {};

TEST_P(FullDiskTest, ShortWriteRollsBackWithoutTruncatingAUsersFile) {
  SmallVolume volume(root_ + "/volume", "4m");
  if (!volume.mounted()) GTEST_SKIP() << "cannot mount a tmpfs here";
  templ_ = root_ + "/volume/templates";
  const size_t kOld = 200 * 1024;
  std::map<std::string, std::string> originals;
  int i = 0;
  for (const char* name : {"a.txt", "b/c.txt", "d.txt"}) {
    originals[name] = std::string(kOld, char('0' + i));
    WriteFile(templ_ + "/" + name, originals[name], kT0);
    Source(name, std::string(GetParam(), char('a' + i++)), kT0 + 100);
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
                           return std::string(info.param >= 200 * 1024 ? "RollbackHasRoom" : "RollbackHasNoRoom");
                         });

}  // namespace
}  // namespace kitsetup::testing
