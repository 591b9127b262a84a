// The install job on real kits and real directories: what a fresh install,
// an upgrade and an empty kit leave behind, and what they post.
#include "install/install_fixture.h"

namespace kitsetup::testing {
namespace {

const time_t kT0 = 1600000000;  // 2020-09-13

std::string Binary(size_t size) {
  std::string data(size, '\0');
  uint32_t x = 12345;
  for (size_t i = 0; i < size; ++i) {
    x = x * 1103515245 + 12345;
    data[i] = static_cast<char>(x >> 24);
  }
  return data;
}

std::string Finish() { return Utf8(LookupMessage("IDS_INSTALL_FINISH")); }

class InstallJobTest : public InstallFixture, public ::testing::WithParamInterface<bool> {
 protected:
  void SetUp() override {
    InstallFixture::SetUp();
    SetFastPathsEnabled(GetParam());
  }

  // Every entry's post in kit order, then the finish post.
  void ExpectPostsInOrder() {
    const size_t count = kit_.entries.size();
    ASSERT_EQ(count + 1, posts_.size());
    for (size_t i = 0; i < count; ++i) {
      std::string name = Utf8(kit_.entries[i].name);
      for (char& c : name)
        if (c == '\\') c = '/';
      EXPECT_EQ(0u, posts_[i].code);
      EXPECT_EQ(templ_ + "/" + name, posts_[i].text);
      EXPECT_EQ(static_cast<int32_t>(i * 100 / count), posts_[i].percent);
      EXPECT_LT(posts_[i].percent, 100);
    }
    EXPECT_EQ(0u, posts_.back().code);
    EXPECT_EQ(Finish(), posts_.back().text);
    EXPECT_EQ(100, posts_.back().percent);
  }
};

TEST_P(InstallJobTest, FreshInstallWritesEveryFileByteExactWithItsTime) {
  std::map<std::string, std::pair<std::string, time_t>> files = {
      {"a.txt", {"hello\n", kT0}},
      {"empty.txt", {"", kT0 + 1}},
      {"docs/readme.txt", {std::string(3000, 'r'), kT0 + 2}},
      // Larger than the 1 MiB copy buffer: the copy loop turns three times.
      {"deep/x/y/z.bin", {Binary(2 * 1048576 + 4321), kT0 + 3}},
      {"deep/x/other.txt", {"other", kT0 + 4}},
  };
  for (auto& [rel, file] : files) Source(rel, file.first, file.second);
  PackAndLoad();

  ASSERT_EQ(0u, Install());

  for (auto& [rel, file] : files) {
    EXPECT_EQ(file.first, ReadFile(templ_ + "/" + rel)) << rel;
    EXPECT_EQ(file.second, MTime(templ_ + "/" + rel)) << rel;
  }
  ExpectPostsInOrder();
  ExpectTempHoldsOnlyStaging();
}

TEST_P(InstallJobTest, UpgradeReplacesOlderFilesAndKeepsSameOrNewerOnes) {
  Source("old.txt", "new content", kT0 + 100);
  Source("fresh/f.txt", "fresh", kT0);
  Source("newer.txt", "kit, older", kT0);
  Source("z_same.txt", "kit, same time", kT0);
  PackAndLoad();
  ASSERT_EQ("z_same.txt", Utf8(kit_.entries.back().name));
  // The old file is longer than its replacement: its tail must go.
  WriteFile(templ_ + "/old.txt", "old content that is longer", kT0);
  WriteFile(templ_ + "/newer.txt", "local, newer", kT0 + 500);
  WriteFile(templ_ + "/z_same.txt", "local, same time", kT0);
  // A cancel asked while the last (kept) file is posted is never looked at:
  // kept files are not followed by the cancel test.
  cancel_at_ = 1;
  cancel_target_ = templ_ + "/z_same.txt";

  ASSERT_EQ(0u, Install());

  EXPECT_EQ("new content", ReadFile(templ_ + "/old.txt"));
  EXPECT_EQ(kT0 + 100, MTime(templ_ + "/old.txt"));
  EXPECT_EQ("fresh", ReadFile(templ_ + "/fresh/f.txt"));
  EXPECT_EQ("local, newer", ReadFile(templ_ + "/newer.txt"));
  EXPECT_EQ(kT0 + 500, MTime(templ_ + "/newer.txt"));
  EXPECT_EQ("local, same time", ReadFile(templ_ + "/z_same.txt"));
  EXPECT_EQ(kT0, MTime(templ_ + "/z_same.txt"));
  ExpectPostsInOrder();
  ExpectTempHoldsOnlyStaging();
}

TEST_P(InstallJobTest, EmptyKitPostsOnlyTheFinish) {
  PackAndLoad();
  ASSERT_TRUE(kit_.entries.empty());

  ASSERT_EQ(0u, Install());

  ASSERT_EQ(1u, posts_.size());
  EXPECT_EQ(Finish(), posts_[0].text);
  EXPECT_EQ(100, posts_[0].percent);
  ExpectTempHoldsOnlyStaging();
}

TEST_P(InstallJobTest, BackupDirectoryTakesTheFirstFreeNumber) {
  Source("a.txt", "a", kT0);
  PackAndLoad();
  MakeDirs(temp_ + "/r4stp0");
  MakeDirs(temp_ + "/r4stp1");
  WriteFile(temp_ + "/r4stp1/keep.txt", "someone else's", kT0);

  InstallJob job;
  ASSERT_EQ(0u, Install(&job));

  ASSERT_EQ(1u, job.transactions.size());
  EXPECT_EQ(temp_ + "/r4stp2/", Utf8(job.transactions[0].backupDirectory));
  EXPECT_EQ(templ_ + "/", Utf8(job.transactions[0].rootDirectory));
  // The used numbers are left alone; the run's own backup is gone.
  EXPECT_EQ("someone else's", ReadFile(temp_ + "/r4stp1/keep.txt"));
  std::vector<std::string> left = ListNames(temp_);
  EXPECT_EQ(3u, left.size());
  EXPECT_EQ(0, std::count(left.begin(), left.end(), "r4stp2"));
}

// A second run over an installed tree copies nothing and changes nothing.
TEST_P(InstallJobTest, RepeatedRunFindsEverythingCurrent) {
  Source("a.txt", "a", kT0);
  Source("b/c.txt", "c", kT0);
  PackAndLoad();
  ASSERT_EQ(0u, Install());
  Snapshot after_first = TakeSnapshot(templ_);

  ASSERT_EQ(0u, Install());

  EXPECT_EQ(after_first, TakeSnapshot(templ_));
  ExpectPostsInOrder();
  ExpectTempHoldsOnlyStaging();
}

INSTANTIATE_TEST_SUITE_P(Paths, InstallJobTest, ::testing::Values(true, false),
                         [](const ::testing::TestParamInfo<bool>& info) {
                           return info.param ? "FastPaths" : "ShellCommands";
                         });

}  // namespace
}  // namespace kitsetup::testing
