// The install job on real kits and real directories, with the fast paths on
// and off: what an upgrade and an empty kit leave behind and post.
#include "install/install_fixture.h"
#include "install/template_lock.h"

namespace kitsetup::testing {
namespace {

class InstallJobTest : public InstallFixture, public ::testing::WithParamInterface<bool> {
 protected:
  void SetUp() override {
    InstallFixture::SetUp();
    SetFastPathsEnabled(GetParam());
  }

  // Every entry's post in kit order, below 100, then the finish post at 100.
  void ExpectPostsInOrder() {
    const size_t count = kit_.entries.size();
    std::vector<std::string> expected;
    for (size_t i = 0; i < count; ++i) expected.push_back(PostLine(0, Target(i), i * 100 / count));
    expected.push_back(PostLine(0, Utf8(LookupMessage("IDS_INSTALL_FINISH")), 100));
    EXPECT_EQ(expected, posts_);
  }
};

// New and older files are written byte for byte with the kit's times; same-
// time and newer ones are left alone. The backup directory takes the first
// free number and is gone afterwards.
TEST_P(InstallJobTest, UpgradeWritesNewAndOlderFilesExactlyAndKeepsSameOrNewerOnes) {
  std::string binary(2 * 1048576 + 4321, '\0');
  uint32_t x = 12345;
  for (char& c : binary) c = static_cast<char>((x = x * 1103515245 + 12345) >> 24);
  Source("a.txt", "hello\n", kT0);
  Source("empty.txt", "", kT0 + 1);
  Source("deep/x/y/z.bin", binary, kT0 + 3);  // larger than the 1 MiB copy buffer: three turns
  Source("deep/x/other.txt", "other", kT0 + 4);
  Source("old.txt", "new content", kT0 + 100);
  Source("newer.txt", "kit, older", kT0);
  Source("z_same.txt", "kit, same time", kT0);
  PackAndLoad();
  ASSERT_EQ("z_same.txt", Utf8(kit_.entries.back().name));
  // The old file is longer than its replacement: its tail must go.
  WriteFile(templ_ + "/old.txt", "old content that is longer", kT0);
  WriteFile(templ_ + "/newer.txt", "local, newer", kT0 + 500);
  WriteFile(templ_ + "/z_same.txt", "local, same time", kT0);
  const Snapshot before = TakeSnapshot(templ_);
  MakeDirs(temp_ + "/r4stp0");
  WriteFile(temp_ + "/r4stp1/keep.txt", "someone else's", kT0);

  InstallJob job;
  ASSERT_EQ(0u, Install(&job));

  Snapshot expected = TakeSnapshot(source_);
  for (const char* kept : {"/newer.txt", "/z_same.txt"}) expected[kept] = before.at(kept);
  EXPECT_EQ(expected, TakeSnapshot(templ_));
  ExpectPostsInOrder();
  ASSERT_EQ(1u, job.transactions.size());
  EXPECT_EQ(temp_ + "/r4stp2/", Utf8(job.transactions[0].backupDirectory));
  EXPECT_EQ("someone else's", ReadFile(temp_ + "/r4stp1/keep.txt"));
  ExpectTempHoldsOnlyStaging({"r4stp0", "r4stp1"});
}

TEST_P(InstallJobTest, EmptyKitPostsOnlyTheFinish) {
  PackAndLoad();
  ASSERT_EQ(0u, Install());
  ExpectPostsInOrder();
  ExpectTempHoldsOnlyStaging();
  EXPECT_FALSE(TemplateDirectoryInUse(Text(templ_))) << "the job's lock goes with the job";
}

INSTANTIATE_TEST_SUITE_P(Paths, InstallJobTest, ::testing::Values(true, false),
                         [](const ::testing::TestParamInfo<bool>& info) {
                           return info.param ? "FastPaths" : "ShellCommands";
                         });

}  // namespace
}  // namespace kitsetup::testing
