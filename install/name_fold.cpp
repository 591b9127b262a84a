// install/name_fold.cpp: canonical decomposition and case folding over the
// Basic Multilingual Plane, from a generated table (Hangul syllables are
// decomposed by rule; characters above U+FFFF never reach a plan, the kit
// loader refuses them).
#include "install/name_fold.h"

#include <algorithm>
#include <cstdint>

namespace kitsetup {
namespace {

struct FoldRow {
  char16_t code;
  uint8_t length;
  char16_t units[4];
};
struct ClassRow {
  char16_t code;
  uint8_t combiningClass;
};

#include "install/name_fold_table.inc"

template <typename Row, size_t N>
const Row* Find(const Row (&rows)[N], char16_t code) {
  const Row* end = rows + N;
  const Row* it = std::lower_bound(rows, end, code, [](const Row& r, char16_t c) { return r.code < c; });
  return it != end && it->code == code ? it : nullptr;
}

uint8_t CombiningClass(char16_t unit) {
  const ClassRow* row = Find(kCombiningClasses, unit);
  return row ? row->combiningClass : 0;
}

void Decompose(char16_t unit, std::u16string& out) {
  // Hangul syllables: L V (T), by the standard's arithmetic.
  const char16_t kSBase = 0xAC00, kLBase = 0x1100, kVBase = 0x1161, kTBase = 0x11A7;
  if (unit >= kSBase && unit <= 0xD7A3) {
    const int s = unit - kSBase;
    out.push_back(char16_t(kLBase + s / (21 * 28)));
    out.push_back(char16_t(kVBase + (s % (21 * 28)) / 28));
    if (s % 28) out.push_back(char16_t(kTBase + s % 28));
    return;
  }
  if (const FoldRow* row = Find(kDecompositions, unit))
    out.append(row->units, row->length);
  else
    out.push_back(unit);
}

// Marks of a run of non-starters go into combining-class order, so that two
// spellings that differ only in mark order get one key.
void ReorderMarks(std::u16string& text) {
  for (size_t i = 0; i < text.size();) {
    if (CombiningClass(text[i]) == 0) {
      ++i;
      continue;
    }
    size_t end = i;
    while (end < text.size() && CombiningClass(text[end]) != 0) ++end;
    std::stable_sort(text.begin() + i, text.begin() + end,
                     [](char16_t a, char16_t b) { return CombiningClass(a) < CombiningClass(b); });
    i = end;
  }
}

}  // namespace

std::u16string FoldName(const TextString& name, NameFolding folding) {
  std::u16string out(name.c_str(), name.length());
  if (!folding.foldsCase && !folding.foldsNormalisation) return out;
  std::u16string decomposed;
  for (char16_t unit : out) Decompose(unit, decomposed);
  if (folding.foldsCase) {
    std::u16string folded;
    for (char16_t unit : decomposed) {
      if (const FoldRow* row = Find(kCaseFoldings, unit))
        folded.append(row->units, row->length);
      else
        folded.push_back(unit);
    }
    decomposed.swap(folded);
  }
  ReorderMarks(decomposed);
  return decomposed;
}

}  // namespace kitsetup
