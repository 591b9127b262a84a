// A failed or cancelled run leaves the template directory exactly as it was:
// replaced files back byte for byte with their times, created directories
// and files gone, everything that existed before still there. Faults are
// made to surface for real (tests run as root, so permissions stop nothing):
// a plain file standing where a directory must be made, and a target open
// failed through the file layer's test seam.
#include "install/install_fixture.h"

namespace kitsetup::testing {
namespace {

// The target whose open for writing fails, and the code it fails with.
std::string g_failing_target;
uint32_t OpenFault(const TextString& path, uint32_t access, uint32_t) {
  return (access & kAccessWrite) && Utf8(path) == g_failing_target ? 87u : 0u;
}

enum class Fault { kOpenFails, kCancel, kParentIsAFile };
const char* const kFaultNames[] = {"OpenFails", "Cancel", "ParentIsAFile"};
// For kParentIsAFile, k picks where the blocked folder sorts among the others.
const char* const kBlocked[] = {"a0", "m0", "zz0"};

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
  if (c.fault == Fault::kParentIsAFile) {
    Source(std::string(kBlocked[c.k]) + "/inner/f.txt", "blocked", kT0 + 100);
    WriteFile(templ_ + "/" + kBlocked[c.k], "a plain file in the way", kT0 + 4);
  }
  PackAndLoad();
  const size_t n = kit_.entries.size();
  size_t k = c.k;
  if (c.fault == Fault::kParentIsAFile) {
    k = 0;
    while (k < n && Target(k).rfind(templ_ + "/" + kBlocked[c.k] + "/", 0) != 0) ++k;
  }
  ASSERT_LT(k, n);
  const Snapshot before = TakeSnapshot(outer);
  const Snapshot temp_before = TakeSnapshot(temp_);
  if (c.fault == Fault::kOpenFails) {
    g_failing_target = Target(k);
    SetOpenFaultHook(&OpenFault);
  } else if (c.fault == Fault::kCancel) {
    cancel_target_ = Target(k);
  }

  const uint32_t code = Install();
  SetOpenFaultHook(nullptr);

  // One post per entry up to k, then the error; a cancel posts no error.
  ASSERT_EQ(c.fault == Fault::kCancel ? k + 1 : k + 2, posts_.size());
  if (c.fault == Fault::kCancel) {
    EXPECT_EQ(1223u, code);
    EXPECT_EQ(0u, posts_.back().code);
    EXPECT_EQ(Target(k), posts_.back().text);
  } else {
    EXPECT_EQ(c.fault == Fault::kOpenFails ? 87u : 3u, code);
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
  for (int k = 0; k < 3; ++k) cases.push_back({Fault::kParentIsAFile, k, true});
  // The shell commands alone, for one case of each kind.
  cases.push_back({Fault::kOpenFails, 4, false});
  cases.push_back({Fault::kCancel, 6, false});
  cases.push_back({Fault::kParentIsAFile, 1, false});
  // A failed run removes the template directory it made with every level,
  // but not the parent that was there.
  cases.push_back({Fault::kOpenFails, 5, true, true});
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Faults, RollbackTest, ::testing::ValuesIn(Cases()), CaseName);

}  // namespace
}  // namespace kitsetup::testing
