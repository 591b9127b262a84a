// The unpacked kit's parser and the checks on what it read, on kits written
// byte by byte into real files.
#include "kit/kit_parser.h"

#include <gtest/gtest.h>

#include <string>

#include "core/error_codes.h"
#include "kit/file_handle.h"
#include "kit/kit_validator.h"
#include "kit/kit_test_support.h"

namespace {

using kitsetup::DistributionKit;
using kitsetup::KitProblem;
using kitsetup::TextString;
using kittest::Bytes;
using kittest::DescriptionRecord;
using kittest::EntryRecord;
using testsupport::Text;

class KitParserTest : public ::testing::Test {
 protected:
  // Writes `bytes` as an unpacked kit and parses it into kit_.
  uint32_t Parse(const std::string& bytes) {
    Open(bytes);
    return kitsetup::ParseKit(kit_, &problem_);
  }
  void Open(const std::string& bytes) {
    if (kit_.dataHandle != kitsetup::kNoHandle) kitsetup::CloseFileHandle(kit_.dataHandle);
    kit_.dataHandle = kitsetup::kNoHandle;
    std::string path = dir_.At("unpacked");
    testsupport::WriteFile(path, bytes);
    TextString text(std::u16string(path.begin(), path.end()).c_str());
    ASSERT_EQ(kitsetup::OpenFileHandle(text, kitsetup::kAccessReadWrite, 0, kitsetup::kDispositionOpenExisting,
                                       &kit_.dataHandle),
              0u);
  }
  uint64_t Position() {
    int32_t high = 0;
    uint32_t low = kitsetup::SeekFileHandle(kit_.dataHandle, 0, &high, kitsetup::kSeekCurrent);
    return (uint64_t(uint32_t(high)) << 32) | low;
  }
  void TearDown() override {
    if (kit_.dataHandle != kitsetup::kNoHandle) kitsetup::CloseFileHandle(kit_.dataHandle);
  }

  testsupport::ScratchDir dir_;
  DistributionKit kit_;
  KitProblem problem_;
};

TEST_F(KitParserTest, LegacyFormIsOneEnglishDescription) {
  Bytes k;
  k.u32(0).str(u"P").str(u"V").str(u"Docs\\readme.htm").u32(0);
  ASSERT_EQ(Parse(k.b), 0u) << problem_.what;
  ASSERT_EQ(kit_.descriptions.size(), 1u);
  EXPECT_TRUE(kit_.descriptions[0].language == Text(u"en"));
  EXPECT_TRUE(kit_.descriptions[0].productName == Text(u"P"));
  EXPECT_TRUE(kit_.descriptions[0].vendorName == Text(u"V"));
  EXPECT_TRUE(kit_.descriptions[0].descriptionFile == Text(u"Docs\\readme.htm"));
  EXPECT_EQ(kit_.descriptionFormat, 0u);
  EXPECT_TRUE(kit_.entries.empty());

  // Empty strings carry a zero count and no units.
  Bytes empty;
  empty.u32(0).u32(0).u32(0).u32(0).u32(0);
  kit_.descriptions.clear();
  ASSERT_EQ(Parse(empty.b), 0u) << problem_.what;
  ASSERT_EQ(kit_.descriptions.size(), 1u);
  EXPECT_TRUE(kit_.descriptions[0].productName.empty());
  EXPECT_EQ(kit_.unpackedSize, 20u);
}

TEST_F(KitParserTest, CountedTableWithoutRecordsHasNoTexts) {
  Bytes k;
  k.u32(7).u32(0).u32(0);
  ASSERT_EQ(Parse(k.b), 0u) << problem_.what;
  EXPECT_EQ(kit_.descriptionFormat, 7u);
  EXPECT_TRUE(kit_.descriptions.empty());
  TextString product(u"x"), vendor(u"y");
  kitsetup::GetKitTexts(kit_, Text(u"en"), product, vendor);
  EXPECT_TRUE(product.empty() && vendor.empty());
  EXPECT_TRUE(kitsetup::GetDescriptionFile(kit_, Text(u"en")).empty());
}

TEST_F(KitParserTest, SpareBytesAtRecordEndsAreSkipped) {
  Bytes k;
  k.u32(1).u32(2).raw(DescriptionRecord(u"en", u"P", u"V", u"", 6)).raw(DescriptionRecord(u"ru", u"П", u"В", u"r"));
  k.u32(2).raw(EntryRecord(u"a", 1, 0, 1, 8)).raw(EntryRecord(u"b\\c", 2, 1, 2));
  size_t table_end = k.b.size();
  k.raw("xyz");
  ASSERT_EQ(Parse(k.b), 0u) << problem_.what;
  ASSERT_EQ(kit_.descriptions.size(), 2u);
  EXPECT_TRUE(kit_.descriptions[1].productName == Text(u"П"));
  EXPECT_TRUE(kit_.descriptions[1].descriptionFile == Text(u"r"));
  ASSERT_EQ(kit_.entries.size(), 2u);
  EXPECT_TRUE(kit_.entries[1].name == Text(u"b\\c"));
  EXPECT_EQ(kit_.entries[1].writeTime, 2u);
  EXPECT_EQ(kit_.entries[0].dataOffset, table_end);
  EXPECT_EQ(kit_.entries[1].dataOffset, table_end + 1);
  EXPECT_EQ(kit_.entries[1].dataSize, 2u);
  // The handle is left at the start of the data area.
  EXPECT_EQ(Position(), table_end);
}

TEST_F(KitParserTest, OffsetsBecomeAbsoluteAndWrapAt32Bits) {
  // Two entry records padded so that the table ends at byte 300.
  Bytes k;
  k.u32(1).u32(0).u32(2);
  k.raw(EntryRecord(u"a", 0, 0, 10, 118)).raw(EntryRecord(u"b", 0, 1000, 10, 118));
  ASSERT_EQ(k.b.size(), 300u);
  k.zeros(1400);
  ASSERT_EQ(Parse(k.b), 0u) << problem_.what;
  EXPECT_EQ(kit_.entries[0].dataOffset, 300u);
  EXPECT_EQ(kit_.entries[1].dataOffset, 1300u);

  Bytes w;
  w.u32(1).u32(0).u32(1).raw(EntryRecord(u"a", 0, 0xFFFFFFF0u, 0));
  uint32_t table = static_cast<uint32_t>(w.b.size());
  ASSERT_EQ(Parse(w.b), 0u) << problem_.what;
  EXPECT_EQ(kit_.entries[0].dataOffset, table - 16);
}

TEST_F(KitParserTest, SingleRecordReadersLeaveTheHandleAtTheNextRecord) {
  std::string first = EntryRecord(u"first", 5, 1, 2, 8);
  std::string desc = DescriptionRecord(u"de", u"Produkt", u"Hersteller", u"liesmich.txt", 3);
  Open(first + desc + "tail");
  kitsetup::KitEntry entry;
  ASSERT_EQ(kitsetup::ReadEntryRecord(kit_.dataHandle, entry), 0u);
  EXPECT_TRUE(entry.name == Text(u"first"));
  EXPECT_EQ(entry.dataOffset, 1u);  // as stored: only ParseKit makes it absolute
  EXPECT_EQ(Position(), first.size());
  kitsetup::KitDescription d;
  ASSERT_EQ(kitsetup::ReadDescriptionRecord(kit_.dataHandle, d), 0u);
  EXPECT_TRUE(d.vendorName == Text(u"Hersteller"));
  EXPECT_EQ(Position(), first.size() + desc.size());
  // Only "tail" is left: too short for a record.
  KitProblem problem;
  EXPECT_EQ(kitsetup::ReadEntryRecord(kit_.dataHandle, entry, &problem), 13u);
  EXPECT_TRUE(entry.name == Text(u"first"));  // untouched on failure
}

TEST_F(KitParserTest, LanguageLookupsDifferInTheirFallback) {
  Bytes k;
  k.u32(1).u32(2).raw(DescriptionRecord(u"ru", u"Продукт", u"Поставщик", u"ru.htm"));
  k.raw(DescriptionRecord(u"en", u"Product", u"Vendor", u"en.htm")).u32(0);
  ASSERT_EQ(Parse(k.b), 0u);
  TextString product, vendor;
  kitsetup::GetKitTexts(kit_, Text(u"de"), product, vendor);
  EXPECT_TRUE(product.empty() && vendor.empty());  // no fallback for the names
  EXPECT_TRUE(kitsetup::GetDescriptionFile(kit_, Text(u"de")) == Text(u"en.htm"));
  kitsetup::GetKitTexts(kit_, Text(u"RU"), product, vendor);
  EXPECT_TRUE(product == Text(u"Продукт"));
  EXPECT_TRUE(kitsetup::GetDescriptionFile(kit_, Text(u"Ru")) == Text(u"ru.htm"));

  Bytes m;
  m.u32(1).u32(2).raw(DescriptionRecord(u"DE", u"Produkt", u"Hersteller", u""));
  m.raw(DescriptionRecord(u"en", u"Product", u"Vendor", u"Docs\\readme.htm")).u32(0);
  kit_.descriptions.clear();
  ASSERT_EQ(Parse(m.b), 0u);
  kitsetup::GetKitTexts(kit_, Text(u"de"), product, vendor);
  EXPECT_TRUE(product == Text(u"Produkt"));
  EXPECT_TRUE(vendor == Text(u"Hersteller"));
  EXPECT_TRUE(kitsetup::GetDescriptionFile(kit_, Text(u"de")) == Text(u"Docs\\readme.htm"));

  // An English record with an empty file is still the answer.
  Bytes e;
  e.u32(1).u32(1).raw(DescriptionRecord(u"en", u"P", u"V", u"")).u32(0);
  kit_.descriptions.clear();
  ASSERT_EQ(Parse(e.b), 0u);
  EXPECT_TRUE(kitsetup::GetDescriptionFile(kit_, Text(u"fr")).empty());
}

// Each kit differs from a sound one in one respect and must be refused
// with 13 before anything else happens; the problem names the check.
TEST_F(KitParserTest, FieldsThatDoNotFitAreRefused) {
  const std::string desc = DescriptionRecord(u"en", u"P", u"V", u"");
  struct Case {
    const char* label;
    std::string bytes;
    const char* expected;
  };
  std::string cut_record = desc.substr(0, desc.size() - 1);
  std::string short_entry = Bytes().u32(20).str(u"ab").zeros(8).b;  // no room for offset and size
  std::string string_past_record = Bytes().u32(16).u32(1000).zeros(8).b;
  std::string huge_units = Bytes().u32(24).str(u"en").u32(0x80000000u).zeros(8).b;
  const Case cases[] = {
      {"empty kit", "", "header: the description format"},
      {"header cut", "\x01\x00", "header: the description format"},
      {"no description count", Bytes().u32(1).b, "description table: its count"},
      {"no entry count", Bytes().u32(1).u32(0).b, "entry table: its count"},
      {"entry count larger than the table", Bytes().u32(1).u32(0).u32(2).raw(EntryRecord(u"a", 0, 0, 0)).b,
       "entry record 1: the unpacked kit"},
      {"record size 0", Bytes().u32(1).u32(1).u32(0).zeros(40).b, "description record 0: record size 0 is below 4"},
      {"record size 3", Bytes().u32(1).u32(0).u32(1).u32(3).zeros(40).b, "entry record 0: record size 3 is below 4"},
      {"hostile record size", Bytes().u32(1).u32(1).u32(0xFFFFFFF0u).zeros(64).b, "reaches past the end"},
      {"record cut at the end", Bytes().u32(1).u32(1).raw(cut_record).b, "reaches past the end"},
      {"string count past its record", Bytes().u32(1).u32(1).u32(6).zeros(40).b,
       "the count of its language reaches past its record"},
      {"string past its record", Bytes().u32(1).u32(1).raw(string_past_record).zeros(64).b,
       "its language (1000 units) reaches past its record"},
      {"string count near 2^31", Bytes().u32(1).u32(1).raw(huge_units).zeros(64).b,
       "its product name (2147483648 units) reaches past its record"},
      {"entry fields past its record", Bytes().u32(1).u32(0).u32(1).raw(short_entry).zeros(64).b,
       "write time, offset and size reach past its record"},
      {"legacy string past the end", Bytes().u32(0).str(u"P").u32(50).str(u"x").b,
       "legacy description: its vendor name (50 units) reaches past the end of the unpacked kit"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    kit_.descriptions.clear();
    problem_ = KitProblem();
    EXPECT_EQ(Parse(c.bytes), 13u);
    EXPECT_NE(problem_.what.find(c.expected), std::string::npos) << problem_.what;
    kitsetup::CloseFileHandle(kit_.dataHandle);
    kit_.dataHandle = kitsetup::kNoHandle;
  }
}

TEST(KitValidator, NamesThatCouldEscapeOrReachTheShellAreRefused) {
  using kitsetup::EntryNameProblem;
  for (const char16_t* bad : {u"", u"..", u"..\\x", u"a\\..\\b", u"a/../b", u"a\\..", u"\\..\\etc", u"a\"b",
                              u"a`id`", u"$HOME\\x", u"tab\there", u"\x1f", u"new\nline"}) {
    EXPECT_NE(EntryNameProblem(Text(bad)), nullptr) << kitsetup::QuotedForMessage(Text(bad));
  }
  for (const char16_t* good : {u"a", u"\\leading\\ok", u"a..b\\c", u"...", u"x\\.hidden", u"with space",
                               u"Файл.txt", u"a\\\\b", u"."}) {
    EXPECT_EQ(EntryNameProblem(Text(good)), nullptr) << kitsetup::QuotedForMessage(Text(good));
  }
  EXPECT_EQ(kitsetup::DescriptionFileProblem(Text(u"")), nullptr);
  EXPECT_NE(kitsetup::DescriptionFileProblem(Text(u"..\\readme")), nullptr);
  EXPECT_NE(kitsetup::DescriptionFileProblem(Text(u"read$me")), nullptr);
}

TEST(KitValidator, DataRangesMustLieInsideTheUnpackedKit) {
  DistributionKit kit;
  kit.entries.push_back({Text(u"a"), 0, 90, 10});
  KitProblem problem;
  EXPECT_EQ(kitsetup::ValidateKit(kit, 100, &problem), 0u);
  EXPECT_EQ(kitsetup::ValidateKit(kit, 99, &problem), 13u);
  EXPECT_NE(problem.what.find("entry record 0"), std::string::npos) << problem.what;
  // The end is computed without wrapping.
  kit.entries[0] = {Text(u"a"), 0, 0xFFFFFFFFu, 2};
  EXPECT_EQ(kitsetup::ValidateKit(kit, 100, &problem), 13u);
  kit.entries[0] = {Text(u"a"), 0, 100, 0};
  EXPECT_EQ(kitsetup::ValidateKit(kit, 100, &problem), 0u);
  kit.descriptions.push_back({Text(u"en"), Text(u"P"), Text(u"V"), Text(u"`reboot`")});
  EXPECT_EQ(kitsetup::ValidateKit(kit, 100, &problem), 13u);
  EXPECT_NE(problem.what.find("description record 0"), std::string::npos) << problem.what;
}

}  // namespace
