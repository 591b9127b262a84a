// The unpacked kit's parser and the checks on what it read, on kits written
// byte by byte into real files.
#include "kit/kit_parser.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

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

// Everything parsed, as one line of text: "format|lang,product,vendor,file;...|name@offset+size/time;...".
std::string Parsed(const DistributionKit& kit) {
  using testsupport::Utf8;
  std::string out = std::to_string(kit.descriptionFormat) + "|";
  for (const auto& d : kit.descriptions)
    out += Utf8(d.language) + "," + Utf8(d.productName) + "," + Utf8(d.vendorName) + "," + Utf8(d.descriptionFile) + ";";
  out += "|";
  for (const auto& e : kit.entries)
    out += Utf8(e.name) + "@" + std::to_string(e.dataOffset) + "+" + std::to_string(e.dataSize) + "/" +
           std::to_string(e.writeTime) + ";";
  return out;
}

class KitParserTest : public ::testing::Test {
 protected:
  // Writes `bytes` as an unpacked kit and parses it into kit_.
  uint32_t Parse(const std::string& bytes) {
    Open(bytes);
    kit_.descriptions.clear();
    problem_ = KitProblem();
    return kitsetup::ParseKit(kit_, &problem_);
  }
  void Open(const std::string& bytes) {
    TearDown();
    testsupport::WriteFile(dir_.At("unpacked"), bytes);
    ASSERT_EQ(kitsetup::OpenFileHandle(Text(dir_.At("unpacked")), kitsetup::kAccessReadWrite, 0,
                                       kitsetup::kDispositionOpenExisting, &kit_.dataHandle),
              0u);
  }
  uint64_t Position() {
    int32_t high = 0;
    uint32_t low = kitsetup::SeekFileHandle(kit_.dataHandle, 0, &high, kitsetup::kSeekCurrent);
    return (uint64_t(uint32_t(high)) << 32) | low;
  }
  void TearDown() override {
    if (kit_.dataHandle != kitsetup::kNoHandle) kitsetup::CloseFileHandle(kit_.dataHandle);
    kit_.dataHandle = kitsetup::kNoHandle;
  }

  testsupport::ScratchDir dir_;
  DistributionKit kit_;
  KitProblem problem_;
};

TEST_F(KitParserTest, LegacyFormIsOneEnglishDescription) {
  Bytes k;
  k.u32(0).str(u"P").str(u"V").str(u"Docs\\readme.htm").u32(0);
  ASSERT_EQ(Parse(k.b), 0u) << problem_.what;
  EXPECT_EQ(Parsed(kit_), "0|en,P,V,Docs\\readme.htm;|");
  // Empty strings carry a zero count and no units.
  ASSERT_EQ(Parse(Bytes().u32(0).u32(0).u32(0).u32(0).u32(0).b), 0u) << problem_.what;
  EXPECT_EQ(Parsed(kit_), "0|en,,,;|");
  EXPECT_EQ(kit_.unpackedSize, 20u);
}

TEST_F(KitParserTest, SpareBytesAtRecordEndsAreSkipped) {
  Bytes k;
  k.u32(1).u32(2).raw(DescriptionRecord(u"en", u"P", u"V", u"", 6)).raw(DescriptionRecord(u"ru", u"П", u"В", u"r"));
  k.u32(2).raw(EntryRecord(u"a", 1, 0, 1, 8)).raw(EntryRecord(u"b\\c", 2, 1, 2));
  ASSERT_EQ(k.b.size(), 140u);
  ASSERT_EQ(Parse(k.b + "xyz"), 0u) << problem_.what;
  EXPECT_EQ(Parsed(kit_), "1|en,P,V,;ru,П,В,r;|a@140+1/1;b\\c@141+2/2;");
  // The handle is left at the start of the data area.
  EXPECT_EQ(Position(), 140u);
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
  const std::string none = Bytes().u32(7).u32(0).u32(0).b;
  const std::string ru_en = Bytes().u32(1).u32(2).raw(DescriptionRecord(u"ru", u"Продукт", u"Поставщик", u"ru.htm"))
                                .raw(DescriptionRecord(u"en", u"Product", u"Vendor", u"en.htm")).u32(0).b;
  const std::string de_en = Bytes().u32(1).u32(2).raw(DescriptionRecord(u"DE", u"Produkt", u"Hersteller", u""))
                                .raw(DescriptionRecord(u"en", u"P", u"V", u"Docs\\readme.htm")).u32(0).b;
  const std::string en = Bytes().u32(1).u32(1).raw(DescriptionRecord(u"en", u"P", u"V", u"")).u32(0).b;
  struct Case {
    const std::string& kit;
    const char16_t *language, *product, *vendor, *file;
  };
  const Case cases[] = {
      {none, u"en", u"", u"", u""},                // a counted table without records
      {ru_en, u"de", u"", u"", u"en.htm"},         // no fallback for the names; the file falls back
      {ru_en, u"RU", u"Продукт", u"Поставщик", u"ru.htm"},  // codes compare without case
      {de_en, u"de", u"Produkt", u"Hersteller", u"Docs\\readme.htm"},  // an empty file falls back
      {en, u"fr", u"", u"", u""},                  // an English record with an empty file answers
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testsupport::Utf8(Text(c.language)));
    ASSERT_EQ(Parse(c.kit), 0u) << problem_.what;
    TextString product(u"x"), vendor(u"y");
    kitsetup::GetKitTexts(kit_, Text(c.language), product, vendor);
    EXPECT_EQ(testsupport::U16(product), c.product);
    EXPECT_EQ(testsupport::U16(vendor), c.vendor);
    EXPECT_EQ(testsupport::U16(kitsetup::GetDescriptionFile(kit_, Text(c.language))), c.file);
  }
  EXPECT_EQ(kit_.descriptionFormat, 1u);
  ASSERT_EQ(Parse(none), 0u);
  EXPECT_EQ(kit_.descriptionFormat, 7u);
  EXPECT_TRUE(kit_.descriptions.empty());
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
    EXPECT_EQ(Parse(c.bytes), 13u);
    EXPECT_NE(problem_.what.find(c.expected), std::string::npos) << problem_.what;
  }
}

TEST(KitValidator, NamesThatCouldEscapeReachTheShellOrNameAFolderAreRefused) {
  using kitsetup::EntryNameProblem;
  testsupport::ScopedEnv locale("LC_ALL", "C.UTF-8");
  for (const char16_t* bad : {u"", u"..", u"..\\x", u"a\\..\\b", u"a/../b", u"a\\..", u"\\..\\etc", u"a\"b",
                              u"a`id`", u"$HOME\\x", u"tab\there", u"\x1f", u"new\nline", u"\\", u"/\\//",
                              u"Templates\\", u"a/", u".", u"a\\.\\b", u"a\\.", u"lone\xD800", u"\xDC00x",
                              u"emoji\xD83D\xDE00"}) {
    EXPECT_NE(EntryNameProblem(Text(bad)), nullptr) << kitsetup::QuotedForMessage(Text(bad));
  }
  for (const char16_t* good : {u"a", u"\\leading\\ok", u"a..b\\c", u"...", u"x\\.hidden", u"with space",
                               u"Файл.txt", u"a\\\\b", u"\xFFFD\x4E2D"}) {
    EXPECT_EQ(EntryNameProblem(Text(good)), nullptr) << kitsetup::QuotedForMessage(Text(good));
  }
  EXPECT_EQ(kitsetup::DescriptionFileProblem(Text(u"")), nullptr);
  EXPECT_NE(kitsetup::DescriptionFileProblem(Text(u"..\\readme")), nullptr);
  EXPECT_NE(kitsetup::DescriptionFileProblem(Text(u"read$me")), nullptr);
}

// Sorting must bring every clash next to its partner: "a-b" sorts between
// "a" and "a/b" byte-wise, and "\a" is "a" below the template directory.
TEST(KitValidator, NoTwoEntriesWriteOneFileOrNeedAFileAsAFolder) {
  struct Case {
    std::vector<std::u16string> names;
    const char* expected;  // nullptr: accepted
  };
  const Case cases[] = {
      {{u"a", u"a-b", u"a.txt", u"a\\b"}, "entry record 3: name \"a\\b\" needs a folder where entry record 0"},
      {{u"x\\a\\b", u"x\\a-b", u"x\\a"}, "entry record 2: name \"x\\a\" is a file where entry record 0"},
      {{u"a\\b", u"c", u"a/b"}, "entry record 2: name \"a/b\" names the same file as entry record 0"},
      {{u"a\\\\b", u"a\\b"}, "names the same file as entry record 0"},
      {{u"a", u"\\a"}, "entry record 1: name \"\\a\" names the same file"},
      {{u"ab", u"a\\b", u"a\\bc", u"a\\b-c", u"b\\a"}, nullptr},
  };
  for (const Case& c : cases) {
    DistributionKit kit;
    for (const std::u16string& name : c.names) kit.entries.push_back({Text(name), 0, 0, 0});
    KitProblem problem;
    const uint32_t code = kitsetup::ValidateKit(kit, 0, &problem);
    SCOPED_TRACE(kitsetup::QuotedForMessage(Text(c.names[0])));
    if (c.expected == nullptr) {
      EXPECT_EQ(code, 0u) << problem.what;
    } else {
      EXPECT_EQ(code, 13u);
      EXPECT_NE(problem.what.find(c.expected), std::string::npos) << problem.what;
    }
  }
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
