// The parser and its checks on kits written byte by byte; hostile whole kits
// are in kit_test_support.h, run through verify and install.
#include "kit/kit_parser.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/error_codes.h"
#include "kit/file_handle.h"
#include "kit/kit_test_support.h"
#include "kit/kit_validator.h"

namespace {

using kitsetup::DistributionKit;
using kitsetup::KitProblem;
using kittest::Bytes;
using kittest::DescriptionRecord;
using kittest::EntryRecord;
using testsupport::Text;
using testsupport::Utf8;

class KitParserTest : public ::testing::Test {
 protected:
  // Writes `bytes` as an unpacked kit and parses it into kit_.
  uint32_t Parse(const std::string& bytes) {
    TearDown();
    testsupport::WriteFile(dir_.At("unpacked"), bytes);
    EXPECT_EQ(kitsetup::OpenFileHandle(Text(dir_.At("unpacked")), kitsetup::kAccessReadWrite, 0,
                                       kitsetup::kDispositionOpenExisting, &kit_.dataHandle),
              0u);
    kit_.descriptions.clear();
    problem_ = KitProblem();
    return kitsetup::ParseKit(kit_, &problem_);
  }
  // Everything parsed, as "format|lang,product,vendor,file;...|name@offset+size/time;...".
  std::string Parsed() const {
    std::string out = std::to_string(kit_.descriptionFormat) + "|";
    for (const auto& d : kit_.descriptions)
      out += Utf8(d.language) + "," + Utf8(d.productName) + "," + Utf8(d.vendorName) + "," + Utf8(d.descriptionFile) + ";";
    out += "|";
    for (const auto& e : kit_.entries)
      out += Utf8(e.name) + "@" + std::to_string(e.dataOffset) + "+" + std::to_string(e.dataSize) + "/" +
             std::to_string(e.writeTime) + ";";
    return out;
  }
  void TearDown() override {
    if (kit_.dataHandle != kitsetup::kNoHandle) kitsetup::CloseFileHandle(kit_.dataHandle);
    kit_.dataHandle = kitsetup::kNoHandle;
  }

  testsupport::ScratchDir dir_;
  DistributionKit kit_;
  KitProblem problem_;
};

TEST_F(KitParserTest, TablesOfEveryFormParse) {
  Bytes spare;  // spare bytes at record ends are skipped; the table ends at 140
  spare.u32(1).u32(2).raw(DescriptionRecord(u"en", u"P", u"V", u"", 6)).raw(DescriptionRecord(u"ru", u"П", u"В", u"r"));
  spare.u32(2).raw(EntryRecord(u"a", 1, 0, 1, 8)).raw(EntryRecord(u"b\\c", 2, 1, 2));
  Bytes padded;  // two entry records padded so that the table ends at byte 300
  padded.u32(1).u32(0).u32(2).raw(EntryRecord(u"a", 0, 0, 10, 118)).raw(EntryRecord(u"b", 0, 1000, 10, 118));
  // Offsets are relative to the end of the table and wrap at 32 bits.
  const std::string wrap = Bytes().u32(1).u32(0).u32(1).raw(EntryRecord(u"a", 0, 0xFFFFFFF0u, 0)).b;
  const struct {
    std::string bytes;
    std::string parsed;
    uint64_t data_start;
  } cases[] = {
      {Bytes().u32(0).str(u"P").str(u"V").str(u"Docs\\readme.htm").u32(0).b, "0|en,P,V,Docs\\readme.htm;|", 54},
      {Bytes().u32(0).u32(0).u32(0).u32(0).u32(0).b, "0|en,,,;|", 20},  // empty strings: a count of 0
      {Bytes().u32(7).u32(0).u32(0).b, "7||", 12},  // a counted table without records
      {spare.b + "xyz", "1|en,P,V,;ru,П,В,r;|a@140+1/1;b\\c@141+2/2;", 140},
      {padded.b + std::string(1400, '\0'), "1||a@300+10/0;b@1300+10/0;", 300},
      {wrap, "1||a@" + std::to_string(wrap.size() - 16) + "+0/0;", wrap.size()},
  };
  for (const auto& c : cases) {
    ASSERT_EQ(Parse(c.bytes), 0u) << problem_.what;
    EXPECT_EQ(Parsed(), c.parsed);
    EXPECT_EQ(kit_.unpackedSize, c.bytes.size());
    // The handle is left at the start of the data area.
    int32_t high = 0;
    const uint32_t low = kitsetup::SeekFileHandle(kit_.dataHandle, 0, &high, kitsetup::kSeekCurrent);
    EXPECT_EQ((uint64_t(uint32_t(high)) << 32) | low, c.data_start) << c.parsed;
  }
}

TEST_F(KitParserTest, LanguageLookupsDifferInTheirFallback) {
  const std::string none = Bytes().u32(7).u32(0).u32(0).b;
  const std::string ru_en = Bytes().u32(1).u32(2).raw(DescriptionRecord(u"ru", u"Продукт", u"Поставщик", u"ru.htm"))
                                .raw(DescriptionRecord(u"en", u"Product", u"Vendor", u"en.htm")).u32(0).b;
  const std::string de_en = Bytes().u32(1).u32(2).raw(DescriptionRecord(u"DE", u"Produkt", u"Hersteller", u""))
                                .raw(DescriptionRecord(u"en", u"P", u"V", u"Docs\\readme.htm")).u32(0).b;
  const std::string en = Bytes().u32(1).u32(1).raw(DescriptionRecord(u"en", u"P", u"V", u"")).u32(0).b;
  const struct {
    const std::string& kit;
    const char16_t *language, *product, *vendor, *file;
  } cases[] = {
      {none, u"en", u"", u"", u""},                                    // a counted table without records
      {ru_en, u"de", u"", u"", u"en.htm"},                             // no fallback for the names; the file falls back
      {ru_en, u"RU", u"Продукт", u"Поставщик", u"ru.htm"},             // codes compare without case
      {de_en, u"de", u"Produkt", u"Hersteller", u"Docs\\readme.htm"},  // an empty file falls back
      {en, u"fr", u"", u"", u""},                                      // an English record with an empty file answers
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(Utf8(Text(c.language)));
    ASSERT_EQ(Parse(c.kit), 0u) << problem_.what;
    kitsetup::TextString product(u"x"), vendor(u"y");
    kitsetup::GetKitTexts(kit_, Text(c.language), product, vendor);
    EXPECT_EQ(testsupport::U16(product), c.product);
    EXPECT_EQ(testsupport::U16(vendor), c.vendor);
    EXPECT_EQ(testsupport::U16(kitsetup::GetDescriptionFile(kit_, Text(c.language))), c.file);
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

// No clash, no data past the kit (computed without wrapping). Sorting must
// bring every clash next to its partner: "a-b" sorts between "a" and "a/b".
TEST(KitValidator, EntriesMustNotClashOrReachPastTheKit) {
  struct Case {
    std::vector<std::u16string> names;
    const char* expected;  // nullptr: accepted
    uint32_t offset = 0, size = 0;
  };
  const Case cases[] = {
      {{u"a", u"a-b", u"a.txt", u"a\\b"}, "entry record 3: name \"a\\b\" needs a folder where entry record 0"},
      {{u"x\\a\\b", u"x\\a-b", u"x\\a"}, "entry record 2: name \"x\\a\" is a file where entry record 0"},
      {{u"a\\b", u"c", u"a/b"}, "entry record 2: name \"a/b\" names the same file as entry record 0"},
      {{u"a\\\\b", u"a\\b"}, "names the same file as entry record 0"},
      {{u"a", u"\\a"}, "entry record 1: name \"\\a\" names the same file"},
      {{u"ab", u"a\\b", u"a\\bc", u"a\\b-c", u"b\\a"}, nullptr},
      {{u"a"}, nullptr, 90, 10},
      {{u"a"}, nullptr, 100, 0},
      {{u"a"}, "entry record 0", 91, 10},
      {{u"a"}, "entry record 0", 0xFFFFFFFFu, 2},
  };
  for (const Case& c : cases) {
    DistributionKit kit;
    for (const std::u16string& name : c.names) kit.entries.push_back({Text(name), 0, c.offset, c.size});
    KitProblem problem;
    const uint32_t code = kitsetup::ValidateKit(kit, 100, &problem);
    SCOPED_TRACE(kitsetup::QuotedForMessage(Text(c.names[0])) + " " + std::to_string(c.offset));
    EXPECT_EQ(code, c.expected ? 13u : 0u) << problem.what;
    EXPECT_NE(problem.what.find(c.expected ? c.expected : ""), std::string::npos) << problem.what;
  }
  DistributionKit kit;
  kit.descriptions.push_back({Text(u"en"), Text(u"P"), Text(u"V"), Text(u"`reboot`")});
  KitProblem problem;
  EXPECT_EQ(kitsetup::ValidateKit(kit, 100, &problem), 13u);
  EXPECT_NE(problem.what.find("description record 0"), std::string::npos) << problem.what;
}

}  // namespace
