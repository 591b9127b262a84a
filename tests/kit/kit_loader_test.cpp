// Loading kits end to end: real compressed files, a private TMPDIR, the
// staging file's fate on success and on every kind of refusal.
#include <gtest/gtest.h>
#include <zlib.h>

#include <csignal>
#include <string>

#include "core/encoding.h"
#include "core/error_codes.h"
#include "kit/distribution_kit.h"
#include "kit/file_handle.h"
#include "kit/kit_test_support.h"
#include "kit/kit_validator.h"
#include "kit/kit_writer.h"

namespace {

using kitsetup::DistributionKit;
using kitsetup::KitProblem;
using kitsetup::TextString;
using kittest::Bytes;
using kittest::DescriptionRecord;
using kittest::EntryRecord;
using testsupport::Text;

using testsupport::Utf8;

// Text-like filler: words from a small vocabulary, so that deflate makes
// dynamic blocks and the data spans several 32 KiB chunks.
std::string TextLike(size_t size, unsigned seed) {
  static const char* const kWords[] = {"template ", "config ", "value=", "42\n", "<item>", "</item>\n",
                                       "report ", "ledger ", "account ", "; comment\n"};
  std::string out;
  while (out.size() < size) {
    seed = seed * 1103515245u + 12345u;
    out += kWords[(seed >> 16) % 10];
  }
  out.resize(size);
  return out;
}

// A sound unpacked kit with two descriptions and three entries, the last
// one large.
std::string SoundKit(const std::u16string& first_name = u"Docs\\readme.htm",
                     const std::u16string& desc_file = u"Docs\\readme.htm", uint32_t last_size = 0) {
  std::string big = TextLike(100000, 7);
  if (last_size == 0) last_size = static_cast<uint32_t>(big.size());
  Bytes k;
  k.u32(1).u32(2).raw(DescriptionRecord(u"en", u"Product", u"Vendor", desc_file));
  k.raw(DescriptionRecord(u"ru", u"Продукт", u"Поставщик", u""));
  k.u32(3).raw(EntryRecord(first_name, 132000000000000000ull, 0, 5));
  k.raw(EntryRecord(u"conf\\main.cfg", 132000000010000000ull, 5, 6));
  k.raw(EntryRecord(u"data\\big.txt", 132000000020000000ull, 11, last_size));
  k.raw("helloworld!").raw(big);
  return k.b;
}

class KitLoaderTest : public ::testing::Test {
 protected:
  void TearDown() override {
    if (kit_.dataHandle != kitsetup::kNoHandle) kitsetup::CloseFileHandle(kit_.dataHandle);
    kitsetup::SetInflateLimits(kitsetup::InflateLimits());
    kitsetup::SetInflateStopFlag(nullptr);
  }
  std::string Compressed(const std::string& unpacked, int level = 6, int strategy = Z_DEFAULT_STRATEGY) {
    std::string path = files_.At(("kit" + std::to_string(++count_)) + ".efd");
    EXPECT_EQ(kitsetup::WriteDeflated(path, unpacked.data(), unpacked.size(), level, strategy), 0u);
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
    EXPECT_TRUE(tmp_.StagingFiles().empty());
    EXPECT_FALSE(problem_.what.empty());
  }

  kittest::ScopedTmpdir tmp_;
  testsupport::ScratchDir files_;
  DistributionKit kit_;
  KitProblem problem_;
  int count_ = 0;
};

// The type of the first block: bits 1-2 of the stream's first byte.
int FirstBlockType(const std::string& kit_path) {
  std::string bytes = testsupport::ReadFile(kit_path);
  return bytes.empty() ? -1 : (static_cast<unsigned char>(bytes[0]) >> 1) & 3;
}

TEST_F(KitLoaderTest, StoredFixedAndDynamicStreamsLoadTheSameKit) {
  const std::string unpacked = SoundKit();
  struct Variant {
    int level, strategy, block_type;
  };
  const Variant variants[] = {{0, Z_DEFAULT_STRATEGY, 0}, {1, Z_FIXED, 1}, {9, Z_FIXED, 1},
                              {1, Z_DEFAULT_STRATEGY, 2}, {6, Z_DEFAULT_STRATEGY, 2}, {9, Z_DEFAULT_STRATEGY, 2},
                              {6, Z_HUFFMAN_ONLY, 2}};
  for (const Variant& v : variants) {
    SCOPED_TRACE("level " + std::to_string(v.level) + " strategy " + std::to_string(v.strategy));
    std::string path = Compressed(unpacked, v.level, v.strategy);
    EXPECT_EQ(FirstBlockType(path), v.block_type);
    ASSERT_EQ(Load(path), 0u) << problem_.what;
    ASSERT_EQ(kit_.entries.size(), 3u);
    EXPECT_EQ(kit_.descriptions.size(), 2u);
    EXPECT_EQ(kit_.unpackedSize, unpacked.size());
    // The staging file is the unpacked kit, and an entry's bytes are where
    // its absolute offset says.
    EXPECT_EQ(testsupport::ReadFile(Utf8(kit_.stagingPath)), unpacked);
    const kitsetup::KitEntry& e = kit_.entries[1];
    char buf[6];
    uint32_t got = 0;
    kitsetup::SeekFileHandle(kit_.dataHandle, static_cast<int32_t>(e.dataOffset), nullptr, kitsetup::kSeekBegin);
    ASSERT_EQ(kitsetup::ReadFileHandle(kit_.dataHandle, buf, 6, &got, nullptr), 0u);
    EXPECT_EQ(std::string(buf, got), "world!");
    // A successful load leaves its staging file, open, in TMPDIR.
    ASSERT_EQ(tmp_.StagingFiles().size(), 1u);
    EXPECT_EQ(Utf8(kit_.stagingPath), tmp_.path() + "/" + tmp_.StagingFiles()[0]);
    Unload();
  }
}

// Description tables beyond the bounds: one record too many, one unit too
// much text.
std::string DescriptionBomb(bool by_count) {
  Bytes k;
  if (by_count) {
    k.u32(1).u32(kitsetup::kMaxDescriptionRecords + 1);
    for (uint32_t i = 0; i <= kitsetup::kMaxDescriptionRecords; ++i) k.raw(DescriptionRecord(u"", u"", u"", u""));
  } else {
    const std::u16string text(kitsetup::kMaxDescriptionTextBytes / 2 + 1, u'x');
    k.u32(1).u32(1).raw(DescriptionRecord(u"en", text, u"", u""));
  }
  return k.u32(0).b;
}

// Each kit differs from a sound one in one respect. Names are judged in the
// locale of the run that would install them (C.UTF-8 unless said).
TEST_F(KitLoaderTest, HostileKitsAreRefusedBeforeAnythingIsInstalled) {
  const std::string sound = SoundKit();
  struct Case {
    const char* label;
    std::string unpacked;
    const char* expected;
    const char* locale = "C.UTF-8";
  };
  const Case cases[] = {
      {"lone surrogate", SoundKit(u"Docs\\a\xD800.htm"), "does not convert to the locale's bytes and back"},
      {"character above U+FFFF", SoundKit(u"\xD83D\xDE00.txt"), "entry record 0: name \"\\uD83D\\uDE00.txt\""},
      {"non-ASCII in the C locale", SoundKit(u"Файл.txt"), "does not convert", "C"},
      {"only a separator", SoundKit(u"\\"), "is only separators"},
      {"trailing separator", SoundKit(u"Templates\\"), "ends in a separator"},
      {"dot component", SoundKit(u"conf\\."), "has a \".\" component"},
      {"duplicate with slashes", SoundKit(u"conf/main.cfg"),
       "entry record 1: name \"conf\\main.cfg\" names the same file as entry record 0 (\"conf/main.cfg\")"},
      {"duplicate with doubled and leading separators", SoundKit(u"\\conf\\\\main.cfg"), "names the same file"},
      {"file where a folder is needed", SoundKit(u"conf"),
       "entry record 1: name \"conf\\main.cfg\" needs a folder where entry record 0 (\"conf\") is a file"},
      {"file inside another file", SoundKit(u"data\\big.txt\\x"),
       "entry record 2: name \"data\\big.txt\" is a file where entry record 0"},
      {"description records by count", DescriptionBomb(true), "description table: 4097 records, more than the 4096"},
      {"description records by text", DescriptionBomb(false), "past 4194304 bytes, more than a kit may hold"},
      {"entry records by count", Bytes().u32(1).u32(0).u32(kitsetup::kMaxEntryRecords + 1).b,
       "entry table: 1048577 records"},
      {"empty name", SoundKit(u""), "entry record 0: name \"\" is empty"},
      {"parent component", SoundKit(u"Docs\\..\\..\\escape"), "has a \"..\" component"},
      {"parent component with slashes", SoundKit(u"a/../../b"), "has a \"..\" component"},
      {"dollar", SoundKit(u"$(reboot)"), "shell interprets"},
      {"control character", SoundKit(u"a\rb"), "control character"},
      {"description file with parent component", SoundKit(u"ok", u"..\\..\\etc\\passwd"),
       "description record 0: description file"},
      {"data past the end", SoundKit(u"ok", u"", 100001), "entry record 2"},
      {"kit shorter than its table", sound.substr(0, 120), "reaches past"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    testsupport::ScopedEnv locale("LC_ALL", c.locale);
    EXPECT_EQ(Load(Compressed(c.unpacked)), kitsetup::kErrInvalidData);
    EXPECT_NE(problem_.what.find(c.expected), std::string::npos) << problem_.what;
    ExpectCleanFailure();
  }
  // A leading separator is fine: names are appended to a directory.
  EXPECT_EQ(Load(Compressed(SoundKit(u"\\Docs\\readme.htm"))), 0u) << problem_.what;
  Unload();
  testsupport::ScopedEnv locale("LC_ALL", "C.UTF-8");
  EXPECT_EQ(Load(Compressed(SoundKit(u"Файл.txt"))), 0u) << problem_.what;
}

TEST_F(KitLoaderTest, TruncatedStreamInflatesToLessAndIsJudgedByWhatArrived) {
  const std::string unpacked = SoundKit();
  std::string full = testsupport::ReadFile(Compressed(unpacked));
  std::string cut_path = files_.At("cut.efd");
  testsupport::WriteFile(cut_path, full.substr(0, full.size() / 2));
  std::string staging = files_.At("staging");
  testsupport::WriteFile(staging, "");
  EXPECT_EQ(kitsetup::InflateKitToFile(Text(cut_path), Text(staging)), 0u);
  std::string partial = testsupport::ReadFile(staging);
  EXPECT_LT(partial.size(), unpacked.size());
  EXPECT_EQ(partial, unpacked.substr(0, partial.size()));
  // The large entry no longer fits: refused.
  EXPECT_EQ(Load(cut_path), kitsetup::kErrInvalidData);
  EXPECT_NE(problem_.what.find("entry record 2"), std::string::npos) << problem_.what;
  ExpectCleanFailure();

  // Trailing padding that no entry uses may be lost without harm.
  std::string padded = unpacked + std::string(200000, 'p');
  std::string whole = testsupport::ReadFile(Compressed(padded, 0));
  testsupport::WriteFile(cut_path, whole.substr(0, whole.size() - 100000));
  ASSERT_EQ(Load(cut_path), 0u) << problem_.what;
  EXPECT_LT(kit_.unpackedSize, padded.size());
  EXPECT_EQ(kit_.entries.size(), 3u);
}

TEST_F(KitLoaderTest, CorruptEmptyAndMissingKits) {
  // Block type 3 does not exist.
  std::string corrupt = files_.At("corrupt.efd");
  testsupport::WriteFile(corrupt, std::string("\x07\x00\x00\x00", 4) + "garbage");
  std::string staging = files_.At("staging");
  testsupport::WriteFile(staging, "");
  EXPECT_EQ(kitsetup::InflateKitToFile(Text(corrupt), Text(staging)), 13u);
  EXPECT_EQ(Load(corrupt), 13u);
  EXPECT_NE(problem_.what.find("corrupt"), std::string::npos) << problem_.what;
  ExpectCleanFailure();

  // Corruption after a good start (the second stored block's length check
  // fails): some output was written, then removed.
  std::string stored = testsupport::ReadFile(Compressed(SoundKit(), 0));
  size_t first_len = static_cast<unsigned char>(stored[1]) | (static_cast<unsigned char>(stored[2]) << 8);
  ASSERT_LT(5 + first_len + 4, stored.size());
  stored[5 + first_len + 3] ^= 0x01;  // NLEN no longer complements LEN
  testsupport::WriteFile(corrupt, stored);
  EXPECT_EQ(Load(corrupt), 13u);
  ExpectCleanFailure();

  // An empty file inflates to nothing, and nothing is not a kit.
  std::string empty = files_.At("empty.efd");
  testsupport::WriteFile(empty, "");
  EXPECT_EQ(kitsetup::InflateKitToFile(Text(empty), Text(staging)), 0u);
  EXPECT_EQ(Load(empty), 13u);
  ExpectCleanFailure();

  EXPECT_EQ(Load(files_.At("missing.efd")), kitsetup::kErrNotFound);
  ExpectCleanFailure();
  EXPECT_FALSE(problem_.inStaging);
}

TEST_F(KitLoaderTest, InflationStopsAtItsLimits) {
  const std::string unpacked = SoundKit();
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
}

TEST_F(KitLoaderTest, AStopRequestEndsInflationAndRemovesTheStagingFile) {
  volatile std::sig_atomic_t stop = 1;
  kitsetup::SetInflateStopFlag(&stop);
  EXPECT_EQ(Load(Compressed(SoundKit())), kitsetup::kErrCancelled);
  ExpectCleanFailure();
}

}  // namespace
