// The directory listing on a real tree: exact paths as existence tests, and
// wildcard patterns listing entries, as the install job's tree walks use them.
#include "core/directory_listing.h"

#include <gtest/gtest.h>

#include <map>
#include <utility>
#include <vector>

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

  // An exact path is an existence test (and follows a link, below); a
  // wildcard lists the matching entries.
  const Found all = {{".hidden", 0}, {"a.txt", 0}, {"empty", 16}, {"sub", 16}};
  for (const auto& [pattern, want] : std::vector<std::pair<std::string, Found>>{
           {"a.txt", {{"a.txt", 0}}}, {"sub", {{"sub", 16}}}, {"*", all}, {"/*", all}, {"*.txt", {{"a.txt", 0}}},
           {"su?", {{"sub", 16}}}, {"sub/*", {{"inner", 0}}}, {"empty/*", {}}, {"missing/*", {}}, {"*.none", {}}}) {
    EXPECT_EQ(Listed(dir.At(pattern)), want) << pattern;
  }
  EXPECT_TRUE(PathExists(Text(dir.At("sub/inner"))));
  EXPECT_FALSE(PathExists(Text(dir.At("missing"))));
  EXPECT_FALSE(PathExists(Text(dir.At("missing/a.txt"))));
  EXPECT_TRUE(PathExists(Text("/tmp")));  // an entry of the root directory

  // A wildcard reports links as links (never walked into by the tree walks)
  // and goes on past dangling ones.
  fs::create_directory_symlink(dir.At("sub"), dir.At("to-sub"));
  fs::create_symlink(dir.At("nowhere"), dir.At("dangling"));
  Found with_links = all;
  with_links.insert({{"to-sub", 0}, {"dangling", 0}});
  EXPECT_EQ(Listed(dir.At("*")), with_links);
  EXPECT_EQ(Listed(dir.At("to-sub")), (Found{{"to-sub", 16}}));
}

}  // namespace
}  // namespace kitsetup
