// core/text_string.cpp: storage management of SmallString (see the design
// comment in text_string.h). Growth, detach and release live here, out of
// line; both unit widths are instantiated explicitly at the end.
#include "core/text_string.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <new>
#include <stdexcept>
#include <type_traits>

namespace kitsetup {

template <typename Unit>
struct SmallString<Unit>::HeapBlock {
  std::atomic<uint64_t> count;
  // The units follow the count directly; see units_of().
};

// The layout is part of the design: the tag doubles as the inline length and
// the heap words sit where the inline units are.
template <typename U>
struct SmallStringLayout {
  using S = SmallString<U>;
  static_assert(std::is_standard_layout<S>::value, "offsets below need a standard layout");
  static_assert(sizeof(S) == 32, "tag, padding and 24 bytes of storage");
  static_assert(sizeof(typename S::HeapWords) == 24, "three 64-bit heap words");
  static_assert(offsetof(S, tag_) == 0, "tag first");
  static_assert(offsetof(S, inline_) == 8, "storage at offset 8");
  static_assert(offsetof(S, heap_) + offsetof(typename S::HeapWords, block) == 8, "block at 8");
  static_assert(offsetof(S, heap_) + offsetof(typename S::HeapWords, end) == 16, "end at 16");
  static_assert(offsetof(S, heap_) + offsetof(typename S::HeapWords, capacity) == 24,
                "capacity at 24");
  static_assert(sizeof(typename S::HeapBlock) == 8, "the count word alone");
  static_assert(S::kInlineUnits * sizeof(U) == 24, "inline units fill the storage");
  static_assert(S::kCountUnits * sizeof(U) == 8, "count units cover 64 bits");
  static constexpr bool kChecked = true;
};
static_assert(SmallStringLayout<char16_t>::kChecked && SmallStringLayout<char>::kChecked, "");

namespace {

const char kTooLong[] = "allocator<T>::allocate(size_t n) 'n' exceeds maximum supported size";

// The allocator's limit, in units.
template <typename Unit>
constexpr uint64_t max_units() {
  return static_cast<uint64_t>(SIZE_MAX) / sizeof(Unit);
}

// Heap block size in bytes rounded up by band. The first two bands end at
// 256 and 512, the later ones one below a power of two.
uint64_t round_block_bytes(uint64_t bytes) {
  uint64_t step;
  if (bytes <= 256) {
    step = 8;
  } else if (bytes <= 512) {
    step = 16;
  } else if (bytes <= 1023) {
    step = 32;
  } else if (bytes <= 2047) {
    step = 64;
  } else if (bytes <= 4095) {
    step = 128;
  } else if (bytes <= 8191) {
    step = 256;
  } else if (bytes <= 16383) {
    step = 512;
  } else {
    return bytes;
  }
  return (bytes + step - 1) / step * step;
}

// Unsigned view of a unit, for ordering (char is signed on some targets).
template <typename Unit>
inline auto unsigned_unit(Unit u) {
  return static_cast<std::make_unsigned_t<Unit>>(u);
}

// Whether p points into [begin, begin + length] (the terminator included).
// Compared as integers: the pointers may belong to unrelated objects.
template <typename Unit>
inline bool points_into(const Unit* p, const Unit* begin, size_t length) {
  auto a = reinterpret_cast<uintptr_t>(p);
  auto b = reinterpret_cast<uintptr_t>(begin);
  return a >= b && a <= b + length * sizeof(Unit);
}

}  // namespace

// --- block helpers ---------------------------------------------------------

template <typename Unit>
static Unit* units_of(void* block) {
  return reinterpret_cast<Unit*>(block) + SmallString<Unit>::kCountUnits;
}

// Memory for `units` units plus the terminator. Throws std::length_error past
// the allocator's maximum and std::bad_alloc when memory runs out.
template <typename Unit>
static void* allocate_units(uint64_t units) {
  if (units >= max_units<Unit>()) throw std::length_error(kTooLong);
  return ::operator new(static_cast<size_t>(units + 1) * sizeof(Unit));
}

// --- construction and assignment -------------------------------------------

template <typename Unit>
SmallString<Unit>::SmallString() noexcept : tag_(0) {
  inline_[0] = 0;
}

template <typename Unit>
SmallString<Unit>::SmallString(const Unit* zero_terminated) : SmallString() {
  if (zero_terminated == nullptr) return;
  size_t n = 0;
  while (zero_terminated[n] != 0) ++n;
  assign(zero_terminated, n);
}

template <typename Unit>
SmallString<Unit>::SmallString(const Unit* s, size_t n) : SmallString() {
  assign(s, n);
}

template <typename Unit>
SmallString<Unit>::SmallString(const SmallString& other) noexcept : tag_(other.tag_) {
  if (other.is_inline()) {
    std::memcpy(inline_, other.inline_, sizeof(inline_));
  } else {
    heap_ = other.heap_;
    heap_.block->count.fetch_add(1, std::memory_order_seq_cst);
  }
}

template <typename Unit>
SmallString<Unit>::SmallString(SmallString&& other) noexcept : tag_(other.tag_) {
  std::memcpy(static_cast<void*>(&heap_), static_cast<const void*>(&other.heap_), sizeof(heap_));
  other.tag_ = 0;
  other.inline_[0] = 0;
}

template <typename Unit>
SmallString<Unit>& SmallString<Unit>::operator=(const SmallString& other) noexcept {
  if (this == &other) return *this;
  // Take the new reference before dropping ours: both may share one block.
  if (!other.is_inline()) other.heap_.block->count.fetch_add(1, std::memory_order_seq_cst);
  release();
  tag_ = other.tag_;
  std::memcpy(static_cast<void*>(&heap_), static_cast<const void*>(&other.heap_), sizeof(heap_));
  return *this;
}

template <typename Unit>
SmallString<Unit>& SmallString<Unit>::operator=(SmallString&& other) noexcept {
  if (this == &other) return *this;
  release();
  tag_ = other.tag_;
  std::memcpy(static_cast<void*>(&heap_), static_cast<const void*>(&other.heap_), sizeof(heap_));
  other.tag_ = 0;
  other.inline_[0] = 0;
  return *this;
}

template <typename Unit>
SmallString<Unit>::~SmallString() {
  release();
}

// Drops this string's reference to its heap block, freeing the block when it
// was the last one. Leaves the words as they are; callers reset the state.
template <typename Unit>
void SmallString<Unit>::release() noexcept {
  if (is_inline()) return;
  if (heap_.block->count.fetch_sub(1, std::memory_order_seq_cst) == 1) {
    ::operator delete(static_cast<void*>(heap_.block));
  }
}

template <typename Unit>
SmallString<Unit>& SmallString<Unit>::assign(const Unit* s, size_t n) noexcept {
  const size_t len = length();
  const Unit* old = c_str();
  const bool aliased = points_into(s, old, len);
  if (len >= n) {
    // Copy first, then shorten: the source may be the very text that the
    // shortening would release.
    const size_t offset = aliased ? static_cast<size_t>(s - old) : 0;
    if (n != 0) {
      Unit* buffer = mutable_data();
      std::memmove(buffer, aliased ? buffer + offset : s, n * sizeof(Unit));
    }
    resize(n);
    return *this;
  }
  if (aliased) {
    // Growing may free the buffer that s points into: copy it out first.
    SmallString copy(s, n);
    *this = std::move(copy);
    return *this;
  }
  resize(n);
  std::memcpy(mutable_data(), s, n * sizeof(Unit));
  return *this;
}

// --- observers ---------------------------------------------------------------

template <typename Unit>
size_t SmallString<Unit>::length() const noexcept {
  if (is_inline()) return tag_;
  return static_cast<size_t>(heap_.end - units_of<Unit>(heap_.block));
}

template <typename Unit>
const Unit* SmallString<Unit>::c_str() const noexcept {
  if (is_inline()) return inline_;
  return units_of<Unit>(heap_.block);
}

template <typename Unit>
Unit* SmallString<Unit>::mutable_data() {
  if (is_inline()) return inline_;
  detach();
  return units_of<Unit>(heap_.block);
}

template <typename Unit>
uint64_t SmallString<Unit>::capacity() const noexcept {
  return is_inline() ? kInlineUnits : heap_.capacity;
}

template <typename Unit>
uint64_t SmallString<Unit>::use_count() const noexcept {
  return is_inline() ? 0 : heap_.block->count.load(std::memory_order_seq_cst);
}

// --- storage changes ---------------------------------------------------------

// The single place where a shared block is copied. The copy is exact (no
// spare capacity) and gets its own count of 1.
template <typename Unit>
void SmallString<Unit>::detach() {
  if (is_inline()) return;
  HeapBlock* old = heap_.block;
  if (old->count.load(std::memory_order_seq_cst) == 1) return;
  const uint64_t copied = static_cast<uint64_t>(heap_.end - reinterpret_cast<Unit*>(old));
  void* fresh = allocate_units<Unit>(copied);
  // The count word is not copied: other threads may be changing it, and the
  // copy starts at 1 anyway.
  std::memcpy(units_of<Unit>(fresh), units_of<Unit>(old), (copied - kCountUnits) * sizeof(Unit));
  reinterpret_cast<Unit*>(fresh)[copied] = 0;
  // The design leaves the old block alone here, even when this decrement
  // takes its count to zero. Zero can only happen when the other holders
  // dropped their copies on another thread after the check above; nobody can
  // reach the block then (the aliasing paths re-derive their pointers from
  // offsets), so freeing it changes nothing visible and keeps the process
  // free of leaks.
  if (old->count.fetch_sub(1, std::memory_order_seq_cst) == 1) {
    ::operator delete(static_cast<void*>(old));
  }
  heap_.block = static_cast<HeapBlock*>(fresh);
  heap_.end = reinterpret_cast<Unit*>(fresh) + copied;
  heap_.capacity = copied;
  new (&heap_.block->count) std::atomic<uint64_t>(1);
}

// Makes the heap block hold at least `units` units (count word included),
// then puts the end and its zero unit at `units`. The block must not be
// shared (callers detach first).
template <typename Unit>
void SmallString<Unit>::grow_heap(uint64_t units, bool geometric) {
  if (heap_.capacity < units) {
    uint64_t wanted = units;
    if (geometric) wanted = std::max(heap_.capacity + heap_.capacity / 2, units);
    if (wanted >= max_units<Unit>()) throw std::length_error(kTooLong);
    const uint64_t capacity = round_block_bytes(wanted * sizeof(Unit)) / sizeof(Unit);
    void* fresh = allocate_units<Unit>(capacity);
    const uint64_t used = static_cast<uint64_t>(heap_.end - reinterpret_cast<Unit*>(heap_.block));
    std::memcpy(fresh, static_cast<void*>(heap_.block), used * sizeof(Unit));
    ::operator delete(static_cast<void*>(heap_.block));
    heap_.block = static_cast<HeapBlock*>(fresh);
    heap_.capacity = capacity;
  }
  heap_.end = reinterpret_cast<Unit*>(heap_.block) + units;
  *heap_.end = 0;
}

template <typename Unit>
void SmallString<Unit>::resize(size_t n, bool geometric) {
  if (n >= max_units<Unit>() - kCountUnits) throw std::length_error(kTooLong);
  const uint64_t units = n + kCountUnits;
  if (is_inline()) {
    if (n < kInlineUnits) {
      tag_ = static_cast<uint32_t>(n);
      inline_[n] = 0;
      return;
    }
    // Move the text into a fresh block of exactly its size, then grow it.
    const size_t len = tag_;
    HeapWords words;
    words.block = static_cast<HeapBlock*>(allocate_units<Unit>(len + kCountUnits));
    new (&words.block->count) std::atomic<uint64_t>(1);
    std::memcpy(units_of<Unit>(words.block), inline_, len * sizeof(Unit));
    words.end = units_of<Unit>(words.block) + len;
    *words.end = 0;
    words.capacity = len + kCountUnits;
    heap_ = words;
    tag_ = kHeapTag;
    try {
      grow_heap(units, geometric);
    } catch (...) {
      // Put the text back inline so that a failed growth changes nothing.
      HeapBlock* block = heap_.block;
      std::memcpy(inline_, units_of<Unit>(block), len * sizeof(Unit));
      inline_[len] = 0;
      tag_ = static_cast<uint32_t>(len);
      ::operator delete(static_cast<void*>(block));
      throw;
    }
    return;
  }
  if (n == 0) {
    release();
    tag_ = 0;
    inline_[0] = 0;
    return;
  }
  if (n < kInlineUnits && n <= length()) {
    HeapWords words = heap_;
    std::memcpy(inline_, units_of<Unit>(words.block), n * sizeof(Unit));
    inline_[n] = 0;
    tag_ = static_cast<uint32_t>(n);
    if (words.block->count.fetch_sub(1, std::memory_order_seq_cst) == 1) {
      ::operator delete(static_cast<void*>(words.block));
    }
    return;
  }
  detach();
  grow_heap(units, geometric);
}

// --- appending and inserting -------------------------------------------------

template <typename Unit>
SmallString<Unit>& SmallString<Unit>::append(const Unit* s, size_t n) noexcept {
  if (n == 0) return *this;
  const size_t len = length();
  const Unit* old = c_str();
  // The source may be our own text; growing moves it, so keep its offset.
  const bool aliased = points_into(s, old, len);
  const size_t offset = aliased ? static_cast<size_t>(s - old) : 0;
  resize(len + n, true);
  Unit* buffer = mutable_data();
  std::memmove(buffer + len, aliased ? buffer + offset : s, n * sizeof(Unit));
  return *this;
}

template <typename Unit>
SmallString<Unit>& SmallString<Unit>::append(const Unit* zero_terminated) noexcept {
  size_t n = 0;
  while (zero_terminated[n] != 0) ++n;
  return append(zero_terminated, n);
}

template <typename Unit>
SmallString<Unit>& SmallString<Unit>::append(const SmallString& other) noexcept {
  return append(other.c_str(), other.length());
}

template <typename Unit>
SmallString<Unit>& SmallString<Unit>::append(const SmallString& other, size_t pos, size_t count) {
  const size_t len = other.length();
  if (pos > len) throw std::out_of_range("basic_string");
  return append(other.c_str() + pos, std::min(len - pos, count));
}

// A position past the end counts as the end.
template <typename Unit>
SmallString<Unit>& SmallString<Unit>::insert(size_t position, const Unit* first,
                                             const Unit* last) noexcept {
  const size_t len = length();
  const size_t n = static_cast<size_t>(last - first);
  if (position >= len) return append(first, n);
  if (n == 0) return *this;
  if (points_into(first, c_str(), len)) {
    // The inserted range may straddle the units about to move: copy it out.
    SmallString copy(first, n);
    return insert(position, copy.c_str(), copy.c_str() + n);
  }
  resize(len + n, true);
  Unit* buffer = mutable_data();
  std::memmove(buffer + position + n, buffer + position, (len - position) * sizeof(Unit));
  std::memcpy(buffer + position, first, n * sizeof(Unit));
  return *this;
}

template <typename Unit>
size_t SmallString<Unit>::replace_all(const SmallString& from, const SmallString& to) {
  const size_t len = length();
  const size_t from_len = from.length();
  if (from_len == 0 || from_len > len) return 0;
  SmallString result;
  size_t replaced = 0;
  size_t start = 0;
  for (size_t hit = find(from, 0); hit != npos; hit = find(from, hit + from_len)) {
    result.append(c_str() + start, hit - start);
    result.append(to.c_str(), to.length());
    start = hit + from_len;
    ++replaced;
  }
  if (replaced == 0) return 0;
  result.append(c_str() + start, len - start);
  *this = std::move(result);
  return replaced;
}

// --- searching and comparing -------------------------------------------------

template <typename Unit>
size_t SmallString<Unit>::find(const SmallString& what, size_t pos) const noexcept {
  const size_t len = length();
  const size_t n = what.length();
  if (pos > len || n > len - pos) return npos;
  const Unit* text = c_str();
  const Unit* needle = what.c_str();
  for (size_t i = pos; i + n <= len; ++i) {
    if (std::memcmp(text + i, needle, n * sizeof(Unit)) == 0) return i;
  }
  return npos;
}

template <typename Unit>
size_t SmallString<Unit>::find(Unit u, size_t pos) const noexcept {
  const size_t len = length();
  const Unit* text = c_str();
  for (size_t i = pos; i < len; ++i) {
    if (text[i] == u) return i;
  }
  return npos;
}

template <typename Unit>
size_t SmallString<Unit>::rfind(Unit u, size_t pos) const noexcept {
  const size_t len = length();
  if (len == 0) return npos;
  const Unit* text = c_str();
  for (size_t i = std::min(pos, len - 1) + 1; i-- > 0;) {
    if (text[i] == u) return i;
  }
  return npos;
}

// Throws std::out_of_range("basic_string") when pos is past the end.
template <typename Unit>
SmallString<Unit> SmallString<Unit>::substr(size_t pos, size_t count) const {
  const size_t len = length();
  if (pos > len) throw std::out_of_range("basic_string");
  return SmallString(c_str() + pos, std::min(len - pos, count));
}

template <typename Unit>
bool SmallString<Unit>::operator==(const SmallString& other) const noexcept {
  const size_t len = length();
  if (len != other.length()) return false;
  return std::memcmp(c_str(), other.c_str(), len * sizeof(Unit)) == 0;
}

template <typename Unit>
bool SmallString<Unit>::operator<(const SmallString& other) const noexcept {
  const size_t a_len = length();
  const size_t b_len = other.length();
  const Unit* a = c_str();
  const Unit* b = other.c_str();
  for (size_t i = 0; i < a_len && i < b_len; ++i) {
    if (a[i] != b[i]) return unsigned_unit(a[i]) < unsigned_unit(b[i]);
  }
  return a_len < b_len;
}

template class SmallString<char16_t>;
template class SmallString<char>;

// --- free functions ----------------------------------------------------------

namespace {

template <typename Unit>
SmallString<Unit> concatenate(const Unit* a, size_t a_len, const Unit* b, size_t b_len) {
  SmallString<Unit> result;
  result.resize(a_len + b_len);
  Unit* out = result.mutable_data();
  if (a_len != 0) std::memcpy(out, a, a_len * sizeof(Unit));
  if (b_len != 0) std::memcpy(out + a_len, b, b_len * sizeof(Unit));
  return result;
}

template <typename Unit>
size_t count_units(const Unit* s) {
  size_t n = 0;
  while (s[n] != 0) ++n;
  return n;
}

}  // namespace

TextString operator+(const TextString& a, const TextString& b) {
  return concatenate(a.c_str(), a.length(), b.c_str(), b.length());
}

TextString operator+(const TextString& a, const char16_t* zero_terminated) {
  return concatenate(a.c_str(), a.length(), zero_terminated, count_units(zero_terminated));
}

ByteString operator+(const ByteString& a, const ByteString& b) {
  return concatenate(a.c_str(), a.length(), b.c_str(), b.length());
}

ByteString operator+(const ByteString& a, const char* zero_terminated) {
  return concatenate(a.c_str(), a.length(), zero_terminated, count_units(zero_terminated));
}

// An unsupported radix gives the empty string.
TextString from_int(int32_t value, int radix) {
  if (radix < 2 || radix > 36) return TextString();
  static const char16_t kDigits[] = u"0123456789abcdefghijklmnopqrstuvwxyz";
  uint32_t magnitude = static_cast<uint32_t>(value);
  const bool negative = radix == 10 && value < 0;
  if (negative) magnitude = 0u - magnitude;
  char16_t buffer[34];  // 32 binary digits, a sign and spare
  size_t at = sizeof(buffer) / sizeof(buffer[0]);
  do {
    buffer[--at] = kDigits[magnitude % static_cast<uint32_t>(radix)];
    magnitude /= static_cast<uint32_t>(radix);
  } while (magnitude != 0);
  if (negative) buffer[--at] = u'-';
  return TextString(buffer + at, sizeof(buffer) / sizeof(buffer[0]) - at);
}

}  // namespace kitsetup
