// Tests of TextString / ByteString: storage kinds, growth bands,
// copy-on-write, self-aliasing edits and a random-operation oracle.
#include "core/text_string.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace kitsetup {
namespace {

std::u16string Units(const TextString& s) { return std::u16string(s.c_str(), s.length()); }
std::string Bytes(const ByteString& s) { return std::string(s.c_str(), s.length()); }

TextString Repeat(char16_t first, size_t n) {
  std::u16string text;
  for (size_t i = 0; i < n; ++i) text.push_back(static_cast<char16_t>(first + i % 26));
  return TextString(text.data(), text.size());
}

TEST(TextStringLayout, InlineUpToElevenUnitsHeapFromTwelve) {
  for (size_t n = 0; n <= 30; ++n) {
    TextString s = Repeat(u'a', n);
    SCOPED_TRACE(n);
    EXPECT_EQ(s.length(), n);
    EXPECT_EQ(s.c_str()[n], 0);
    EXPECT_EQ(s.is_inline(), n < 12);
    EXPECT_EQ(s.tag(), n < 12 ? n : 12u);
    EXPECT_EQ(s.use_count(), n < 12 ? 0u : 1u);
  }
  for (size_t n = 0; n <= 40; ++n) {
    std::string text(n, 'x');
    ByteString b(text.data(), n);
    SCOPED_TRACE(n);
    EXPECT_EQ(b.is_inline(), n < 24);
    EXPECT_EQ(b.tag(), n < 24 ? n : 24u);
    EXPECT_EQ(Bytes(b), text);
  }
}

TEST(TextStringLayout, ElevenUnitsPlusOneMovesToHeapOnTheEightByteBand) {
  TextString s = Repeat(u'a', 11);
  ASSERT_TRUE(s.is_inline());
  s.push_back(u'!');
  EXPECT_EQ(s.tag(), 12u);
  EXPECT_EQ(Units(s), Units(Repeat(u'a', 11)) + u"!");
  // Block of 11 + 4 units grown geometrically: max(22, 16) = 22 units = 44 bytes -> 48.
  EXPECT_EQ(s.capacity(), 24u);
  EXPECT_EQ(s.capacity() * 2 % 8, 0u);
}

TEST(TextStringLayout, ShrinkingHeapStringMovesBackInline) {
  TextString s = Repeat(u'k', 20);
  TextString keep = s;
  s.resize(5);
  EXPECT_TRUE(s.is_inline());
  EXPECT_EQ(s.tag(), 5u);
  EXPECT_EQ(Units(s), u"klmno");
  EXPECT_EQ(keep.use_count(), 1u);
  EXPECT_EQ(Units(keep), Units(Repeat(u'k', 20)));
  TextString t = Repeat(u'k', 20);
  t.resize(0);
  EXPECT_EQ(t.tag(), 0u);
  EXPECT_EQ(t.c_str()[0], 0);
  ByteString b(std::string(30, 'z').c_str());
  b.resize(23);
  EXPECT_EQ(b.tag(), 23u);
  EXPECT_EQ(Bytes(b), std::string(23, 'z'));
}

// Sizes in bytes of the whole block (count word included) and the capacity
// they must round to, at every band edge.
TEST(TextStringGrowth, BlockSizesRoundByBand) {
  const std::pair<uint64_t, uint64_t> bands[] = {
      {32, 32},       {33, 40},       {255, 256},     {256, 256},     {257, 272},
      {511, 512},     {512, 512},     {513, 544},     {1022, 1024},   {1023, 1024},
      {1024, 1024},   {1025, 1088},   {2047, 2048},   {2048, 2048},   {2049, 2176},
      {4095, 4096},   {4096, 4096},   {4097, 4352},   {8191, 8192},   {8192, 8192},
      {8193, 8704},   {16383, 16384}, {16384, 16384}, {16385, 16385}, {40001, 40001}};
  for (const auto& band : bands) {
    SCOPED_TRACE(band.first);
    ByteString b;
    b.resize(band.first - 8);  // eight bytes of count word
    EXPECT_EQ(b.capacity(), band.second);
    EXPECT_EQ(b.length(), band.first - 8);
    EXPECT_EQ(b.c_str()[b.length()], 0);
    if (band.first % 2 == 0) {
      TextString t;
      t.resize(band.first / 2 - 4);
      EXPECT_EQ(t.capacity() * 2, band.second);
    }
  }
}

TEST(TextStringGrowth, GeometricGrowthAndReuseOfCapacity) {
  TextString s;
  s.resize(100);  // 208 bytes, already on the band
  ASSERT_EQ(s.capacity(), 104u);
  const char16_t* block = s.c_str();
  s.resize(90);  // fits: same block, end moved
  EXPECT_EQ(s.c_str(), block);
  EXPECT_EQ(s.capacity(), 104u);
  EXPECT_EQ(s.c_str()[90], 0);
  s.resize(101, true);  // max(104 + 52, 105) = 156 units = 312 bytes -> 320
  EXPECT_EQ(s.capacity(), 160u);
  s.resize(161, false);  // 165 units = 330 bytes -> 336
  EXPECT_EQ(s.capacity(), 168u);
}

TEST(TextStringGrowth, BeyondTheAllocatorThrowsLengthError) {
  const char* expected = "allocator<T>::allocate(size_t n) 'n' exceeds maximum supported size";
  TextString s = Repeat(u'a', 30);
  try {
    s.resize(TextString::npos);
    FAIL() << "no exception";
  } catch (const std::length_error& e) {
    EXPECT_STREQ(e.what(), expected);
  }
  EXPECT_EQ(Units(s), Units(Repeat(u'a', 30)));
  ByteString b("short");
  EXPECT_THROW(b.resize(SIZE_MAX - 3), std::length_error);
  EXPECT_EQ(Bytes(b), "short");
}

TEST(TextStringCopyOnWrite, CopiesShareUntilWritten) {
  const TextString original = Repeat(u'A', 40);
  TextString copy = original;
  EXPECT_EQ(original.use_count(), 2u);
  EXPECT_EQ(copy.c_str(), original.c_str());
  copy.append(u"tail");
  EXPECT_EQ(Units(original), Units(Repeat(u'A', 40)));
  EXPECT_EQ(original.use_count(), 1u);
  EXPECT_EQ(copy.use_count(), 1u);
  EXPECT_EQ(Units(copy), Units(Repeat(u'A', 40)) + u"tail");

  TextString second = original;
  char16_t* writable = second.mutable_data();  // detach: an exact copy
  EXPECT_NE(writable, original.c_str());
  EXPECT_EQ(second.capacity(), 44u);
  writable[0] = u'#';
  EXPECT_EQ(original[0], u'A');
  EXPECT_EQ(second[0], u'#');
}

TEST(TextStringCopyOnWrite, AssignmentMoveAndDestructionKeepCounts) {
  TextString a = Repeat(u'a', 30);
  {
    TextString b = a;
    TextString c;
    c = b;
    EXPECT_EQ(a.use_count(), 3u);
    c = c;
    EXPECT_EQ(a.use_count(), 3u);
    TextString d = std::move(c);
    EXPECT_TRUE(c.empty());
    EXPECT_EQ(a.use_count(), 3u);
    d = Repeat(u'z', 3);
    EXPECT_EQ(a.use_count(), 2u);
  }
  EXPECT_EQ(a.use_count(), 1u);
  TextString e = a;
  e = TextString(u"short");  // dropping a share for inline text
  EXPECT_EQ(a.use_count(), 1u);
}

TEST(TextStringAliasing, AssignAppendInsertFromOwnText) {
  TextString s(u"0123456789abcdefghij");
  s.assign(s.c_str() + 5, 10);  // overlapping, shorter: copied in then shortened
  EXPECT_EQ(Units(s), u"56789abcde");
  EXPECT_TRUE(s.is_inline());

  TextString h(u"0123456789abcdefghijklmnop");
  TextString shared = h;
  h.assign(h.c_str() + 2, 14);  // shared block: the copy must not change
  EXPECT_EQ(Units(h), u"23456789abcdef");
  EXPECT_EQ(Units(shared), u"0123456789abcdefghijklmnop");

  TextString grow(u"abcdefghij");
  grow.append(grow.c_str(), grow.length());  // inline source, heap result
  EXPECT_EQ(Units(grow), u"abcdefghijabcdefghij");
  grow.append(grow.c_str() + 15, 5);  // heap source that moves when growing
  EXPECT_EQ(Units(grow), u"abcdefghijabcdefghijfghij");
  grow.append(grow, 20, TextString::npos);
  EXPECT_EQ(Units(grow), u"abcdefghijabcdefghijfghijfghij");

  TextString ins(u"0123456789ABCDEF");
  ins.insert(4, ins.c_str() + 2, ins.c_str() + 8);  // range straddles the gap
  EXPECT_EQ(Units(ins), u"0123234567456789ABCDEF");
  ins.insert(ins.length(), ins.c_str(), ins.c_str() + 2);
  EXPECT_EQ(Units(ins), u"0123234567456789ABCDEF01");
  ins.insert(0, u"x", u"x" + 1);
  EXPECT_EQ(Units(ins), u"x0123234567456789ABCDEF01");
}

TEST(TextStringAppend, RangeOfAnotherString) {
  const TextString other(u"configuration");
  TextString s(u"x");
  s.append(other, other.length(), 5);
  EXPECT_EQ(Units(s), u"x");
  s.append(other, 6, 3);
  EXPECT_EQ(Units(s), u"xura");
  s.append(other, 9, 100);
  EXPECT_EQ(Units(s), u"xuration");
  try {
    s.append(other, other.length() + 1, 1);
    FAIL() << "no exception";
  } catch (const std::out_of_range& e) {
    EXPECT_STREQ(e.what(), "basic_string");
  }
  EXPECT_EQ(Units(s), u"xuration");
  EXPECT_THROW(other.substr(14), std::out_of_range);
}

TEST(TextStringAppend, ConcatenationFindAndCompare) {
  const TextString dir(u"/Users/a");
  EXPECT_EQ(Units(dir + u"/" + u".mivo" + u"/"), u"/Users/a/.mivo/");
  EXPECT_EQ(Units(dir + TextString(u"/x")), u"/Users/a/x");
  EXPECT_EQ(Bytes(ByteString("mkdir -p \"") + ByteString("d") + "\""), "mkdir -p \"d\"");
  EXPECT_EQ(Units(TextString() + u""), u"");
  EXPECT_EQ(dir.find(TextString(u"a")), 7u);
  EXPECT_EQ(dir.find(u'/', 1), 6u);
  EXPECT_EQ(dir.rfind(u'/'), 6u);
  EXPECT_EQ(dir.find(TextString(u"zz")), TextString::npos);
  EXPECT_EQ(Units(dir.substr(1, 5)), u"Users");
  EXPECT_TRUE(TextString(u"ab") < TextString(u"abc"));
  EXPECT_TRUE(TextString(u"z") < TextString(u"\u0436"));  // units compare unsigned
  EXPECT_TRUE(ByteString("z") < ByteString("\xc3\xa9"));
  EXPECT_FALSE(TextString(u"ab") == TextString(u"abc"));
}

TEST(TextStringReplaceAll, CountsAndEdges) {
  TextString path(u"C:\\Templates\\1C\\x");
  TextString shared = path;
  EXPECT_EQ(path.replace_all(TextString(u"\\"), TextString(u"/")), 3u);
  EXPECT_EQ(Units(path), u"C:/Templates/1C/x");
  EXPECT_EQ(Units(shared), u"C:\\Templates\\1C\\x");

  TextString a(u"aaaaa");
  EXPECT_EQ(a.replace_all(TextString(u"aa"), TextString(u"b")), 2u);  // left to right
  EXPECT_EQ(Units(a), u"bba");
  EXPECT_EQ(a.replace_all(TextString(), TextString(u"x")), 0u);
  EXPECT_EQ(a.replace_all(TextString(u"bbaa"), TextString(u"x")), 0u);
  EXPECT_EQ(a.replace_all(a, TextString(u"whole string now on the heap")), 1u);
  EXPECT_EQ(Units(a), u"whole string now on the heap");
  EXPECT_EQ(a.replace_all(TextString(u" "), TextString()), 5u);
  EXPECT_EQ(Units(a), u"wholestringnowontheheap");
}

TEST(TextStringFromInt, RadicesAndSigns) {
  EXPECT_EQ(Units(from_int(0, 10)), u"0");
  EXPECT_EQ(Units(from_int(255, 2)), u"11111111");
  EXPECT_EQ(Units(from_int(-1, 2)), u"11111111111111111111111111111111");
  EXPECT_EQ(Units(from_int(8, 8)), u"10");
  EXPECT_EQ(Units(from_int(-8, 8)), u"37777777770");
  EXPECT_EQ(Units(from_int(-42, 10)), u"-42");
  EXPECT_EQ(Units(from_int(INT32_MIN, 10)), u"-2147483648");
  EXPECT_EQ(Units(from_int(INT32_MAX, 10)), u"2147483647");
  EXPECT_EQ(Units(from_int(-1, 16)), u"ffffffff");
  EXPECT_EQ(Units(from_int(0xbeef, 16)), u"beef");
  EXPECT_EQ(Units(from_int(35, 36)), u"z");
  EXPECT_EQ(Units(from_int(-1, 36)), u"1z141z3");
  EXPECT_TRUE(from_int(5, 1).empty());
  EXPECT_TRUE(from_int(5, 37).empty());
}

// Random edits checked against the standard string; copies made along the way
// must keep their own text whatever happens to the string they came from.
template <typename Unit>
void RunOracle(uint32_t seed) {
  using S = SmallString<Unit>;
  using Std = std::basic_string<Unit>;
  std::mt19937 rng(seed);
  auto pick = [&](size_t bound) { return static_cast<size_t>(rng() % (bound + 1)); };
  auto random_text = [&](size_t n) {
    Std text;
    for (size_t i = 0; i < n; ++i) text.push_back(static_cast<Unit>('a' + rng() % 26));
    return text;
  };
  S s;
  Std expected;
  std::vector<std::pair<S, Std>> kept;
  for (int step = 0; step < 4000; ++step) {
    const size_t len = expected.size();
    switch (rng() % 9) {
      case 0: {
        Std text = random_text(pick(40));
        s.assign(text.data(), text.size());
        expected = text;
        break;
      }
      case 1: {
        Std text = random_text(pick(len > 300 ? 3 : 30));
        s.append(text.data(), text.size());
        expected += text;
        break;
      }
      case 2: {  // a piece of its own text
        const size_t pos = pick(len);
        const size_t n = pick(std::min<size_t>(len - pos, 64));
        if (rng() % 2) {
          s.append(s.c_str() + pos, n);
          expected += expected.substr(pos, n);
        } else {
          s.assign(s.c_str() + pos, n);
          expected = expected.substr(pos, n);
        }
        break;
      }
      case 3: {
        const size_t pos = pick(len);
        const size_t from = pick(len);
        const size_t n = pick(std::min<size_t>(len - from, 64));
        const Std piece = expected.substr(from, n);
        s.insert(pos, s.c_str() + from, s.c_str() + from + n);
        expected.insert(pos, piece);
        break;
      }
      case 4: {
        const size_t n = pick(len + 20);
        s.resize(n, rng() % 2);
        Unit* data = s.mutable_data();
        for (size_t i = len; i < n; ++i) data[i] = static_cast<Unit>('0' + i % 10);
        expected.resize(n);
        for (size_t i = len; i < n; ++i) expected[i] = static_cast<Unit>('0' + i % 10);
        break;
      }
      case 5:
        kept.emplace_back(s, expected);
        if (kept.size() > 8) kept.erase(kept.begin());
        break;
      case 6:
        if (!kept.empty()) {
          const auto& k = kept[pick(kept.size() - 1)];
          s = k.first;
          expected = k.second;
        }
        break;
      case 7: {
        const Unit from[] = {static_cast<Unit>('a' + rng() % 26), 0};
        const Std to = random_text(pick(2));
        const size_t count = s.replace_all(S(from), S(to.data(), to.size()));
        size_t oracle_count = 0;
        for (size_t at = expected.find(from[0]); at != Std::npos;
             at = expected.find(from[0], at + to.size())) {
          expected.replace(at, 1, to);
          ++oracle_count;
        }
        EXPECT_EQ(count, oracle_count);
        break;
      }
      case 8:
        if (len > 200) {
          s.clear();
          expected.clear();
        }
        break;
    }
    ASSERT_EQ(Std(s.c_str(), s.length()), expected) << "step " << step;
    ASSERT_EQ(s.c_str()[s.length()], 0);
    ASSERT_EQ(s.is_inline(), expected.size() < S::kInlineUnits);
    if (!s.is_inline()) {
      ASSERT_GE(s.capacity(), expected.size() + S::kCountUnits);
    }
  }
  for (const auto& k : kept) EXPECT_EQ(Std(k.first.c_str(), k.first.length()), k.second);
}

TEST(TextStringOracle, RandomEditsMatchStandardStrings) {
  for (uint32_t seed : {1u, 7u, 2024u}) {
    SCOPED_TRACE(seed);
    RunOracle<char16_t>(seed);
    RunOracle<char>(seed + 100);
  }
}

TEST(TextStringThreadSafety, CopiesOfOneHeapStringDroppedOnTwoThreads) {
  const TextString shared = Repeat(u'a', 500);
  const std::u16string expected = Units(shared);
  auto work = [&shared, &expected](int id) {
    for (int i = 0; i < 20000; ++i) {
      TextString a = shared;
      TextString b;
      b = a;
      if (i % 64 == id) {
        b.append(u"!");  // detach while the other thread changes the count
        if (b.length() != expected.size() + 1) std::abort();
      }
    }
  };
  std::thread first(work, 0);
  std::thread second(work, 1);
  first.join();
  second.join();
  EXPECT_EQ(shared.use_count(), 1u);
  EXPECT_EQ(Units(shared), expected);
}

}  // namespace
}  // namespace kitsetup
