// SHA-256 against sha256sum, the system's own tool, over sizes around the
// 64-byte block and its 56-byte padding boundary, fed in random pieces.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "core/sha256.h"
#include "core/shell.h"
#include "support/test_support.h"

namespace {

TEST(Sha256Test, MatchesSha256sumAcrossBlockBoundaries) {
  testsupport::ScratchDir dir;
  std::mt19937 random(15);
  for (size_t size : {0, 1, 3, 55, 56, 57, 63, 64, 65, 119, 120, 128, 1000, 300001}) {
    std::string bytes(size, '\0');
    for (char& c : bytes) c = static_cast<char>(random());
    const std::string path = dir.At("data" + std::to_string(size));
    testsupport::WriteFile(path, bytes);
    const std::string expected =
        testsupport::Utf8(kitsetup::read_command_output(testsupport::Text("sha256sum '" + path + "'"))).substr(0, 64);
    ASSERT_EQ(expected.size(), 64u);

    kitsetup::Sha256 pieces;
    for (size_t at = 0; at < size;) {
      size_t take = std::min<size_t>(size - at, random() % 150);
      pieces.Update(bytes.data() + at, take);
      at += take;
    }
    EXPECT_EQ(pieces.HexDigest(), expected) << size;
    EXPECT_EQ(kitsetup::Sha256OfFile(path), expected) << size;
  }
  int os_error = 0;
  EXPECT_EQ(kitsetup::Sha256OfFile(dir.At("missing"), &os_error), "");
  EXPECT_EQ(os_error, ENOENT);
}

}  // namespace
