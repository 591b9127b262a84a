// Tests of TextString / ByteString: a random-operation oracle for
// copy-on-write, self-aliasing edits and lookups, and what it does not reach.
#include "core/text_string.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace kitsetup {
namespace {

template <typename U>
std::basic_string<U> Std(const SmallString<U>& s) { return {s.c_str(), s.length()}; }

TEST(TextString, SharingBoundsAndReplacement) {
  const std::u16string letters(101, u'q');
  TextString t(letters.data(), letters.size());
  EXPECT_EQ(Std(t), letters);
  const TextString copy = t;
  EXPECT_EQ(copy.c_str(), t.c_str());
  EXPECT_EQ(copy.use_count(), 2u);

  const TextString other(u"configuration");
  TextString s(u"x");
  s.append(other, other.length(), 5);
  s.append(other, 9, 100);
  EXPECT_EQ(Std(s), u"xtion");
  TextString path(u"C:\\Templates\\Trade\\x");
  const TextString before = path;
  EXPECT_EQ(path.replace_all(TextString(u"\\"), TextString(u"/")), 3u);
  EXPECT_EQ(Std(path), u"C:/Templates/Trade/x");
  EXPECT_EQ(Std(before), u"C:\\Templates\\Trade\\x");
  TextString a(u"aaaaa");
  EXPECT_EQ(a.replace_all(TextString(u"aa"), TextString(u"b")), 2u);
  EXPECT_EQ(Std(a), u"bba");
  EXPECT_TRUE(ByteString("z") < ByteString("\xc3\xa9"));  // units compare unsigned
}

// Random edits, many of them reading the string's own text (self-aliasing
// assign, append and insert, inline and on the heap, with the source moving
// as the string grows), and lookups, checked against the standard string;
// copies kept along the way must not change.
template <typename Unit>
void RunOracle(uint32_t seed) {
  using S = SmallString<Unit>;
  using Ref = std::basic_string<Unit>;
  std::mt19937 rng(seed);
  auto pick = [&](size_t bound) { return static_cast<size_t>(rng() % (bound + 1)); };
  S s;
  Ref expected;
  std::vector<std::pair<S, Ref>> kept;
  for (int step = 0; step < 4000; ++step) {
    const size_t len = expected.size();
    const size_t pos = pick(len);
    const size_t n = pick(std::min<size_t>(len - pos, 40));
    const Ref piece = expected.substr(pos, n);
    const size_t at = pick(len);
    switch (rng() % 7) {
      case 0: s.assign(s.c_str() + pos, n); expected = piece; break;
      case 1: s.append(s.c_str() + pos, n); expected += piece; break;
      case 2: s.insert(at, s.c_str() + pos, s.c_str() + pos + n); expected.insert(at, piece); break;
      case 3: {
        const size_t size = len > 300 ? pick(20) : pick(len + 30);
        s.resize(size, rng() % 2);
        expected.resize(size);
        for (size_t i = len; i < size; ++i) s.mutable_data()[i] = expected[i] = Unit('0' + i % 10);
        break;
      }
      case 4: kept.emplace_back(s, expected); break;
      case 5:
        if (!kept.empty()) std::tie(s, expected) = kept[pick(kept.size() - 1)];
        break;
      case 6: {  // lookups, with the unit at `at` (or one that is absent)
        const Unit u = at < len ? expected[at] : Unit('x');
        ASSERT_EQ(s.find(u, pos), expected.find(u, pos));
        ASSERT_EQ(s.rfind(u, pos), expected.rfind(u, pos));
        ASSERT_EQ(s.rfind(u), expected.rfind(u));
        if (n > 0) {
          ASSERT_EQ(s.find(S(piece.data(), n), at), expected.find(piece, at));
        }
        ASSERT_EQ(Std(s.substr(pos, n)), piece);
        break;
      }
    }
    ASSERT_EQ(Std(s), expected) << "step " << step;
    ASSERT_EQ(s.c_str()[s.length()], 0);
    ASSERT_EQ(s.is_inline(), expected.size() < S::kInlineUnits);
  }
  for (const auto& k : kept) EXPECT_EQ(Std(k.first), k.second);
}

TEST(TextStringOracle, RandomEditsMatchStandardStrings) {
  for (uint32_t seed : {1u, 7u, 2024u}) {
    RunOracle<char16_t>(seed);
    RunOracle<char>(seed);
  }
}

}  // namespace
}  // namespace kitsetup
