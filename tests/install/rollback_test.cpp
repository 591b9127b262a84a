// A failed or cancelled run leaves the template directory exactly as it was:
// replaced files back byte for byte with their times, created directories
// and files gone, everything that existed before still there. Faults are
// made to surface for real (tests run as root, so permissions stop nothing):
// a plain file standing where a directory must be made, and a target open
// failed through the file layer's test seam.
#include "install/install_fixture.h"

namespace kitsetup::testing {
namespace {

const time_t kT0 = 1600000000;

// The target whose open for writing fails, and the code it fails with.
std::string g_failing_target;
uint32_t OpenFault(const TextString& path, uint32_t access, uint32_t) {
  return (access & kAccessWrite) && Utf8(path) == g_failing_target ? 87u : 0u;
}

enum class Fault { kOpenFails, kCancel, kParentIsAFile };

struct Case {
  Fault fault;
  int k;  // the entry that fails, or after which the run is cancelled
  bool fast;
};

std::string CaseName(const ::testing::TestParamInfo<Case>& info) {
  const char* kinds[] = {"OpenFails", "Cancel", "ParentIsAFile"};
  return std::string(kinds[int(info.param.fault)]) + "AtEntry" + std::to_string(info.param.k) +
         (info.param.fast ? "FastPaths" : "ShellCommands");
}

class RollbackTest : public InstallFixture, public ::testing::WithParamInterface<Case> {
 protected:
  // An upgrade over a template directory that the user has worked in: the
  // kit replaces two files, adds files to existing folders, and brings new
  // folders several levels deep.
  void BuildScenario() {
    Source("a_new/deep/er/one.txt", "one", kT0 + 100);
    Source("b_new.txt", "b", kT0 + 100);
    Source("replace1.txt", "replacement 1", kT0 + 100);
    Source("sub/new_in_sub.txt", "new in sub", kT0 + 100);
    Source("sub/replace2.txt", "replacement 2", kT0 + 100);
    Source("sub/z_newdir/two.txt", "two", kT0 + 100);
    Source("zz/last.txt", "last", kT0 + 100);
    WriteFile(templ_ + "/replace1.txt", "the user's old version, longer than the new one", kT0);
    WriteFile(templ_ + "/sub/replace2.txt", "old 2", kT0 + 1);
    WriteFile(templ_ + "/sub/mine.txt", "the user's own", kT0 + 2);
    WriteFile(templ_ + "/keep/local.txt", "local", kT0 + 3);
    if (GetParam().fault == Fault::kParentIsAFile) {
      // "q" is a plain file, so "q/inner" can never be made.
      std::string names[] = {"a0", "m0", "zz0"};
      std::string blocked = names[GetParam().k];
      Source(blocked + "/inner/f.txt", "blocked", kT0 + 100);
      WriteFile(templ_ + "/" + blocked, "a plain file in the way", kT0 + 4);
    }
    PackAndLoad();
  }

  size_t IndexOf(const std::string& prefix) {
    for (size_t i = 0; i < kit_.entries.size(); ++i)
      if (Target(i).rfind(templ_ + "/" + prefix, 0) == 0) return i;
    ADD_FAILURE() << "no entry " << prefix;
    return 0;
  }

  std::string Target(size_t i) {
    std::string name = Utf8(kit_.entries[i].name);
    for (char& c : name)
      if (c == '\\') c = '/';
    return templ_ + "/" + name;
  }
};

TEST_P(RollbackTest, LeavesTheTemplateDirectoryAsItWas) {
  const Case c = GetParam();
  SetFastPathsEnabled(c.fast);
  BuildScenario();
  const size_t n = kit_.entries.size();
  size_t k = c.k;
  if (c.fault == Fault::kParentIsAFile) {
    const char* names[] = {"a0/", "m0/", "zz0/"};
    k = IndexOf(names[c.k]);
  }
  ASSERT_LT(k, n);
  const Snapshot before = TakeSnapshot(templ_);
  const Snapshot temp_before = TakeSnapshot(temp_);
  if (c.fault == Fault::kOpenFails) {
    g_failing_target = Target(k);
    SetOpenFaultHook(&OpenFault);
  } else if (c.fault == Fault::kCancel) {
    cancel_at_ = static_cast<int>(k);
    cancel_target_ = Target(k);
  }

  const uint32_t code = Install();
  SetOpenFaultHook(nullptr);

  const int32_t percent = static_cast<int32_t>(k * 100 / n);
  ASSERT_FALSE(posts_.empty());
  if (c.fault == Fault::kCancel) {
    EXPECT_EQ(1223u, code);
    // No error text is posted for a cancel: the last post is the file itself.
    EXPECT_EQ(0u, posts_.back().code);
    EXPECT_EQ(Target(k), posts_.back().text);
  } else {
    EXPECT_EQ(c.fault == Fault::kOpenFails ? 87u : 3u, code);
    EXPECT_EQ(code, posts_.back().code);
    EXPECT_EQ(Utf8(LookupMessage("IDS_INSTALL_ERROR")), posts_.back().text);
  }
  EXPECT_EQ(percent, posts_.back().percent);
  // One post per entry up to k, then the error (none for a cancel).
  EXPECT_EQ(c.fault == Fault::kCancel ? k + 1 : k + 2, posts_.size());

  EXPECT_EQ(before, TakeSnapshot(templ_));
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
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Faults, RollbackTest, ::testing::ValuesIn(Cases()), CaseName);

// The template directory itself did not exist: a failed run removes it with
// every level it made, but not the parent that was there.
TEST_F(InstallFixture, FailedRunRemovesTheTemplateDirectoryItMade) {
  Source("x/y.txt", "y", kT0);
  Source("z.txt", "z", kT0);
  PackAndLoad();
  templ_ = root_ + "/outer/inner/templates";
  MakeDirs(root_ + "/outer");
  g_failing_target = templ_ + "/z.txt";
  SetOpenFaultHook(&OpenFault);

  EXPECT_EQ(87u, Install());

  SetOpenFaultHook(nullptr);
  EXPECT_EQ(std::vector<std::string>{}, ListNames(root_ + "/outer"));
  ExpectTempHoldsOnlyStaging();
}

}  // namespace
}  // namespace kitsetup::testing
