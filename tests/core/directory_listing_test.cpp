// The directory listing on real trees: exact paths as existence tests, and
// wildcard patterns listing entries, as the install job's tree walks use them.
#include "core/directory_listing.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <map>

#include "support/test_support.h"

namespace kitsetup {
namespace {

using testsupport::ScratchDir;
using testsupport::Text;
using testsupport::Utf8;
using testsupport::WriteFile;
namespace fs = std::filesystem;

// name -> directory flag of every entry reported for the pattern.
std::map<std::string, uint32_t> Listed(const std::string& pattern) {
  std::map<std::string, uint32_t> found;
  DirectoryListing listing;
  for (bool more = ListFirst(listing, Text(pattern)); more; more = ListNext(listing)) {
    found[Utf8(ListName(listing))] = ListIsDirectory(listing);
  }
  EXPECT_EQ(Utf8(ListName(listing)), "");  // closed once exhausted
  EXPECT_EQ(ListIsDirectory(listing), 0u);
  return found;
}

class Listing : public ::testing::Test {
 protected:
  void SetUp() override {
    WriteFile(dir_.At("a.txt"), "a");
    WriteFile(dir_.At(".hidden"), "h");
    fs::create_directory(dir_.At("sub"));
    WriteFile(dir_.At("sub/inner"), "i");
  }
  ScratchDir dir_;
};

TEST_F(Listing, ExactPathIsAnExistenceTest) {
  DirectoryListing listing;
  ASSERT_TRUE(ListFirst(listing, Text(dir_.At("a.txt"))));
  EXPECT_EQ(Utf8(ListName(listing)), "a.txt");
  EXPECT_EQ(ListIsDirectory(listing), 0u);
  ASSERT_TRUE(ListFirst(listing, Text(dir_.At("sub"))));  // reuse closes the old stream
  EXPECT_EQ(ListIsDirectory(listing) & 16, 16u);
  ListClose(listing);
  EXPECT_EQ(Utf8(ListName(listing)), "");

  EXPECT_TRUE(PathExists(Text(dir_.At("sub/inner"))));
  EXPECT_FALSE(PathExists(Text(dir_.At("missing"))));
  EXPECT_FALSE(PathExists(Text(dir_.At("missing/a.txt"))));
  EXPECT_TRUE(PathExists(Text("/tmp")));  // an entry of the root directory
}

TEST_F(Listing, WildcardListsEveryMatchingEntry) {
  const std::map<std::string, uint32_t> all = {{".hidden", 0}, {"a.txt", 0}, {"sub", 16}};
  EXPECT_EQ(Listed(dir_.At("*")), all);
  EXPECT_EQ(Listed(dir_.path() + "//*"), all);
  EXPECT_EQ(Listed(dir_.At("*.txt")), (std::map<std::string, uint32_t>{{"a.txt", 0}}));
  EXPECT_EQ(Listed(dir_.At("su?")), (std::map<std::string, uint32_t>{{"sub", 16}}));
  EXPECT_EQ(Listed(dir_.At("sub/*")), (std::map<std::string, uint32_t>{{"inner", 0}}));

  fs::create_directory(dir_.At("empty"));
  EXPECT_TRUE(Listed(dir_.At("empty/*")).empty());
  EXPECT_TRUE(Listed(dir_.At("missing/*")).empty());
  EXPECT_TRUE(Listed(dir_.At("*.none")).empty());
}

TEST_F(Listing, WildcardReportsSymlinksAsLinksAndKeepsGoingPastDanglingOnes) {
  fs::create_directory_symlink(dir_.At("sub"), dir_.At("to-sub"));
  fs::create_symlink(dir_.At("nowhere"), dir_.At("dangling"));
  const auto found = Listed(dir_.At("*"));
  EXPECT_EQ(found.size(), 5u);
  EXPECT_EQ(found.at("to-sub"), 0u);  // never walked into by the tree walks
  EXPECT_EQ(found.at("dangling"), 0u);
  EXPECT_EQ(found.at("sub"), 16u);
  // An exact path still follows the link.
  DirectoryListing listing;
  ASSERT_TRUE(ListFirst(listing, Text(dir_.At("to-sub"))));
  EXPECT_EQ(ListIsDirectory(listing), 16u);
}

TEST_F(Listing, PathWithoutSlashIsBothDirectoryAndPattern) {
  fs::create_directory(dir_.At("sub/sub"));
  const std::string old = fs::current_path();
  ASSERT_EQ(chdir(dir_.path().c_str()), 0);
  const bool nested = PathExists(Text("sub"));  // "sub" holds an entry named "sub"
  const bool plain = PathExists(Text("a.txt"));  // not a directory: nothing to open
  ASSERT_EQ(chdir(old.c_str()), 0);
  EXPECT_TRUE(nested);
  EXPECT_FALSE(plain);
}

}  // namespace
}  // namespace kitsetup
