// tests/kit/kit_test_support.h: hand-made kit bytes (not the writer's, on
// purpose) and the table of hostile kits.
#ifndef KITSETUP_TESTS_KIT_KIT_TEST_SUPPORT_H
#define KITSETUP_TESTS_KIT_KIT_TEST_SUPPORT_H

#include <cstdint>
#include <string>
#include <vector>

#include "kit/kit_validator.h"
#include "kit/kit_writer.h"
#include "support/test_support.h"

namespace kittest {

// Little-endian pieces of an unpacked kit.
struct Bytes {
  std::string b;
  Bytes& u32(uint32_t v) {
    for (int i = 0; i < 4; ++i) b.push_back(static_cast<char>(v >> (8 * i)));
    return *this;
  }
  Bytes& str(const std::u16string& s) {
    u32(static_cast<uint32_t>(s.size()));
    for (char16_t c : s) b += {static_cast<char>(c & 0xFF), static_cast<char>(c >> 8)};
    return *this;
  }
  Bytes& raw(const std::string& s) {
    b += s;
    return *this;
  }
  Bytes& zeros(size_t n) { return raw(std::string(n, '\0')); }
};

// One description record, and one entry record; `spare` bytes of padding at
// the record's end.
inline std::string DescriptionRecord(const std::u16string& lang, const std::u16string& product,
                                     const std::u16string& vendor, const std::u16string& file, size_t spare = 0) {
  const std::string body = Bytes().str(lang).str(product).str(vendor).str(file).zeros(spare).b;
  return Bytes().u32(static_cast<uint32_t>(body.size() + 4)).raw(body).b;
}
inline std::string EntryRecord(const std::u16string& name, uint64_t time, uint32_t offset, uint32_t size,
                               size_t spare = 0) {
  Bytes body;
  body.str(name).u32(uint32_t(time)).u32(uint32_t(time >> 32)).u32(offset).u32(size).zeros(spare);
  return Bytes().u32(static_cast<uint32_t>(body.b.size() + 4)).raw(body.b).b;
}

// A sound unpacked kit: two descriptions, three entries, the last one 100000
// bytes of text-like filler spanning several 32 KiB chunks.
inline std::string SoundKit(const std::u16string& first_name = u"Docs\\readme.htm",
                            const std::u16string& desc_file = u"Docs\\readme.htm") {
  static const char* const kWords[] = {"template ", "config ", "value=", "42\n", "<item>", "</item>\n"};
  std::string big;
  for (unsigned seed = 7; big.size() < 100000;) big += kWords[((seed = seed * 1103515245u + 12345u) >> 16) % 6];
  big.resize(100000);
  Bytes k;
  k.u32(1).u32(2).raw(DescriptionRecord(u"en", u"Product", u"Vendor", desc_file));
  k.raw(DescriptionRecord(u"ru", u"Продукт", u"Поставщик", u""));
  k.u32(3).raw(EntryRecord(first_name, 132000000000000000ull, 0, 5));
  k.raw(EntryRecord(u"conf\\main.cfg", 132000000010000000ull, 5, 6));
  k.raw(EntryRecord(u"data\\big.txt", 132000000020000000ull, 11, 100000));
  return k.raw("helloworld!").raw(big).b;
}

// A kit refused with 13 before anything is installed, `says` being part of
// the reason; names are judged in the run's locale.
struct HostileKit {
  const char* label;
  std::string bytes;  // the unpacked kit, or with `stream` the kit file itself
  const char* says;
  const char* locale = "C.UTF-8";
  bool stream = false;
};

inline std::vector<HostileKit> HostileKits() {
  const std::string desc = DescriptionRecord(u"en", u"P", u"V", u"");
  const std::string header = Bytes().u32(1).u32(1).b;  // one description record follows
  std::vector<HostileKit> kits = {
      {"empty kit file", "", "header: the description format", "C.UTF-8", true},
      {"block type 3", std::string("\x07\x00\x00\x00garbage", 11), "corrupt", "C.UTF-8", true},
      {"header cut", "\x01\x00", "header: the description format"},
      {"no description count", Bytes().u32(1).b, "description table: its count"},
      {"no entry count", Bytes().u32(1).u32(0).b, "entry table: its count"},
      {"entry count larger than the table", Bytes().u32(1).u32(0).u32(2).raw(EntryRecord(u"a", 0, 0, 0)).b,
       "entry record 1: the unpacked kit"},
      {"record size 3", Bytes().u32(1).u32(0).u32(1).u32(3).zeros(40).b, "entry record 0: record size 3 is below 4"},
      {"hostile record size", header + Bytes().u32(0xFFFFFFF0u).zeros(64).b, "4294967280 bytes"},
      {"record one byte past the end", header + desc.substr(0, desc.size() - 1), "reaches past the end"},
      {"kit shorter than its table", SoundKit().substr(0, 120), "reaches past"},
      {"string count past its record", header + Bytes().u32(6).zeros(40).b,
       "the count of its language reaches past its record"},
      {"string past its record", header + Bytes().u32(16).u32(1000).zeros(72).b,
       "its language (1000 units) reaches past its record"},
      {"string count near 2^31", header + Bytes().u32(24).str(u"en").u32(0x80000000u).zeros(72).b,
       "its product name (2147483648 units) reaches past its record"},
      {"entry fields past its record", Bytes().u32(1).u32(0).u32(1).u32(20).str(u"ab").zeros(72).b,
       "write time, offset and size reach past its record"},
      {"legacy string past the end", Bytes().u32(0).str(u"P").u32(50).str(u"x").b,
       "legacy description: its vendor name (50 units) reaches past the end of the unpacked kit"},
      {"description records by text",
       header + DescriptionRecord(u"en", std::u16string(kitsetup::kMaxDescriptionTextBytes / 2 + 1, u'x'), u"", u"") +
           Bytes().u32(0).b,
       "past 4194304 bytes, more than a kit may hold"},
      {"entry records by count", Bytes().u32(1).u32(0).u32(kitsetup::kMaxEntryRecords + 1).b,
       "entry table: 1048577 records"},
      {"parent component", SoundKit(u"Docs\\..\\..\\escape"), "has a \"..\" component"},
      {"dollar", SoundKit(u"$(reboot)"), "shell interprets"},
      {"description file with parent component", SoundKit(u"ok", u"..\\..\\etc\\passwd"),
       "description record 0: description file"},
      {"lone surrogate", SoundKit(u"Docs\\a\xD800.htm"), "does not convert to the locale's bytes and back"},
      {"non-ASCII in the C locale", SoundKit(u"Файл.txt"), "does not convert", "C"},
      {"duplicate with slashes", SoundKit(u"conf/main.cfg"),
       "entry record 1: name \"conf\\main.cfg\" names the same file as entry record 0 (\"conf/main.cfg\")"},
      {"file where a folder is needed", SoundKit(u"conf"),
       "entry record 1: name \"conf\\main.cfg\" needs a folder where entry record 0 (\"conf\") is a file"},
  };
  Bytes bomb;  // one description record more than a kit may have
  bomb.u32(1).u32(kitsetup::kMaxDescriptionRecords + 1);
  for (uint32_t i = 0; i <= kitsetup::kMaxDescriptionRecords; ++i) bomb.raw(DescriptionRecord(u"", u"", u"", u""));
  kits.push_back({"description records by count", bomb.u32(0).b, "description table: 4097 records, more than the 4096"});
  return kits;
}

}  // namespace kittest

#endif
