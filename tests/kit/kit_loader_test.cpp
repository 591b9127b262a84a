// Loading real compressed kits: the staging file's fate on success and refusal.
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "core/error_codes.h"
#include "kit/distribution_kit.h"
#include "kit/file_handle.h"
#include "kit/kit_test_support.h"

namespace {

using testsupport::Text;
using testsupport::Utf8;

class KitLoaderTest : public ::testing::Test {
 protected:
  void TearDown() override {
    if (kit_.dataHandle != kitsetup::kNoHandle) kitsetup::CloseFileHandle(kit_.dataHandle);
    kitsetup::SetInflateLimits(kitsetup::InflateLimits());
    kitsetup::SetInflateStopFlag(nullptr);
  }
  std::string Compressed(const std::string& unpacked, int level = 6) {
    std::string path = files_.At("kit" + std::to_string(++count_) + ".efd");
    EXPECT_EQ(kitsetup::WriteDeflated(path, unpacked.data(), unpacked.size(), level), 0u);
    return path;
  }
  uint32_t Load(const std::string& kit_path) {
    kit_.descriptions.clear();
    return kitsetup::LoadKit(kit_, Text(kit_path), &problem_);
  }
  // Closes a loaded kit and removes its staging file.
  void Unload() {
    kitsetup::CloseFileHandle(kit_.dataHandle);
    kit_.dataHandle = kitsetup::kNoHandle;
    unlink(Utf8(kit_.stagingPath).c_str());
  }
  // After a refusal nothing may be left behind.
  void ExpectCleanFailure() {
    EXPECT_TRUE(kit_.entries.empty());
    EXPECT_EQ(kit_.dataHandle, kitsetup::kNoHandle);
    EXPECT_TRUE(testsupport::ListNames(tmp_.path()).empty());
    EXPECT_FALSE(problem_.what.empty());
  }

  testsupport::ScratchDir tmp_;
  testsupport::ScopedEnv tmpdir_{"TMPDIR", tmp_.path().c_str()};
  testsupport::ScratchDir files_;
  kitsetup::DistributionKit kit_;
  kitsetup::KitProblem problem_;
  int count_ = 0;
};

TEST_F(KitLoaderTest, ASoundKitLoadsIntoTmpdirAndABrokenOneLeavesNothing) {
  const std::string unpacked = kittest::SoundKit();
  ASSERT_EQ(Load(Compressed(unpacked, 9)), 0u) << problem_.what;
  ASSERT_EQ(kit_.entries.size(), 3u);
  EXPECT_EQ(kit_.descriptions.size(), 2u);
  EXPECT_EQ(kit_.unpackedSize, unpacked.size());
  EXPECT_EQ(testsupport::ListNames(tmp_.path()).size(), 1u);
  EXPECT_EQ(Utf8(kit_.stagingPath).rfind(tmp_.path() + "/edf", 0), 0u);
  EXPECT_EQ(testsupport::ReadFile(Utf8(kit_.stagingPath)), unpacked);
  Unload();

  std::string full = testsupport::ReadFile(Compressed(unpacked));
  const std::string cut = files_.At("cut.efd");
  testsupport::WriteFile(cut, full.substr(0, full.size() / 2));
  // A truncated stream is judged by what arrived: the large entry no longer fits.
  EXPECT_EQ(Load(cut), kitsetup::kErrInvalidData);
  EXPECT_NE(problem_.what.find("entry record 2"), std::string::npos) << problem_.what;
  ExpectCleanFailure();

  // Trailing padding that no entry uses may be lost without harm.
  std::string padded = unpacked + std::string(200000, 'p');
  std::string whole = testsupport::ReadFile(Compressed(padded, 0));
  testsupport::WriteFile(cut, whole.substr(0, whole.size() - 100000));
  ASSERT_EQ(Load(cut), 0u) << problem_.what;
  EXPECT_LT(kit_.unpackedSize, padded.size());
  EXPECT_EQ(kit_.entries.size(), 3u);
  Unload();

  // Corruption in the second stored block: the output written so far goes.
  std::string stored = testsupport::ReadFile(Compressed(unpacked, 0));
  size_t first_len = static_cast<unsigned char>(stored[1]) | (static_cast<unsigned char>(stored[2]) << 8);
  ASSERT_LT(5 + first_len + 4, stored.size());
  stored[5 + first_len + 3] ^= 0x01;  // NLEN no longer complements LEN
  testsupport::WriteFile(cut, stored);
  EXPECT_EQ(Load(cut), 13u);
  ExpectCleanFailure();

  EXPECT_EQ(Load(files_.At("missing.efd")), kitsetup::kErrNotFound);
  ExpectCleanFailure();
  EXPECT_FALSE(problem_.inStaging);
}

TEST_F(KitLoaderTest, InflationStopsAtItsLimitsAndOnRequest) {
  const std::string unpacked = kittest::SoundKit();
  const std::string path = Compressed(unpacked);
  kitsetup::InflateLimits limits;
  limits.maxUnpackedBytes = unpacked.size() - 1;
  kitsetup::SetInflateLimits(limits);
  EXPECT_EQ(Load(path), 13u);
  EXPECT_NE(problem_.what.find("more than"), std::string::npos) << problem_.what;
  ExpectCleanFailure();

  limits.maxUnpackedBytes = unpacked.size();
  kitsetup::SetInflateLimits(limits);
  EXPECT_EQ(Load(path), 0u) << problem_.what;
  Unload();

  // More free space than any disk has: the kit would leave too little.
  limits = kitsetup::InflateLimits();
  limits.minFreeBytes = uint64_t{1} << 62;
  kitsetup::SetInflateLimits(limits);
  EXPECT_EQ(Load(path), 13u);
  EXPECT_NE(problem_.what.find("free"), std::string::npos) << problem_.what;
  ExpectCleanFailure();

  kitsetup::SetInflateLimits(kitsetup::InflateLimits());
  volatile std::sig_atomic_t stop = 1;
  kitsetup::SetInflateStopFlag(&stop);
  EXPECT_EQ(Load(path), kitsetup::kErrCancelled);
  ExpectCleanFailure();
}

}  // namespace
