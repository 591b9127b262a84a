// The directory listing on a real tree: exact paths as existence tests, and
// wildcard patterns listing entries, as the install job's tree walks use them.
#include "core/directory_listing.h"

#include <gtest/gtest.h>

#include <map>

#include "support/test_support.h"

namespace kitsetup {
namespace {

using testsupport::ScratchDir;
using testsupport::Text;
using testsupport::Utf8;
using testsupport::WriteFile;
namespace fs = std::filesystem;
using Found = std::map<std::string, uint32_t>;

// name -> directory flag of every entry reported for the pattern.
Found Listed(const std::string& pattern) {
  Found found;
  DirectoryListing listing;
  for (bool more = ListFirst(listing, Text(pattern)); more; more = ListNext(listing)) {
    found[Utf8(ListName(listing))] = ListIsDirectory(listing);
  }
  EXPECT_EQ(Utf8(ListName(listing)), "");  // closed once exhausted
  EXPECT_EQ(ListIsDirectory(listing), 0u);
  return found;
}

TEST(Listing, ExactPathsAndWildcardsOnOneTree) {
  ScratchDir dir;
  WriteFile(dir.At("a.txt"), "a");
  WriteFile(dir.At(".hidden"), "h");
  WriteFile(dir.At("sub/inner"), "i");
  fs::create_directory(dir.At("empty"));

  // An exact path is an existence test.
  DirectoryListing listing;
  ASSERT_TRUE(ListFirst(listing, Text(dir.At("a.txt"))));
  EXPECT_EQ(Utf8(ListName(listing)), "a.txt");
  EXPECT_EQ(ListIsDirectory(listing), 0u);
  ASSERT_TRUE(ListFirst(listing, Text(dir.At("sub"))));  // reuse closes the old stream
  EXPECT_EQ(ListIsDirectory(listing), 16u);
  ListClose(listing);
  EXPECT_EQ(Utf8(ListName(listing)), "");
  EXPECT_TRUE(PathExists(Text(dir.At("sub/inner"))));
  EXPECT_FALSE(PathExists(Text(dir.At("missing"))));
  EXPECT_FALSE(PathExists(Text(dir.At("missing/a.txt"))));
  EXPECT_TRUE(PathExists(Text("/tmp")));  // an entry of the root directory

  const Found all = {{".hidden", 0}, {"a.txt", 0}, {"empty", 16}, {"sub", 16}};
  EXPECT_EQ(Listed(dir.At("*")), all);
  EXPECT_EQ(Listed(dir.path() + "//*"), all);
  EXPECT_EQ(Listed(dir.At("*.txt")), (Found{{"a.txt", 0}}));
  EXPECT_EQ(Listed(dir.At("su?")), (Found{{"sub", 16}}));
  EXPECT_EQ(Listed(dir.At("sub/*")), (Found{{"inner", 0}}));
  EXPECT_TRUE(Listed(dir.At("empty/*")).empty());
  EXPECT_TRUE(Listed(dir.At("missing/*")).empty());
  EXPECT_TRUE(Listed(dir.At("*.none")).empty());

  // A wildcard reports links as links (never walked into by the tree walks)
  // and goes on past dangling ones; an exact path follows the link.
  fs::create_directory_symlink(dir.At("sub"), dir.At("to-sub"));
  fs::create_symlink(dir.At("nowhere"), dir.At("dangling"));
  EXPECT_EQ(Listed(dir.At("*")).size(), 6u);
  EXPECT_EQ(Listed(dir.At("*")).at("to-sub"), 0u);
  EXPECT_EQ(Listed(dir.At("*")).at("dangling"), 0u);
  ASSERT_TRUE(ListFirst(listing, Text(dir.At("to-sub"))));
  EXPECT_EQ(ListIsDirectory(listing), 16u);
}

}  // namespace
}  // namespace kitsetup
