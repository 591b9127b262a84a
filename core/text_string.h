// core/text_string.h: the one text type of kitsetup (UTF-16) and its 8-bit twin.
//
// Storage kinds. A string is a 32-bit tag followed by 24 bytes of storage:
//  - inline: tag 0 .. kInlineUnits-1 is the length; the storage holds the
//    units and a zero unit right after them (so 11 UTF-16 units or 23 bytes
//    at most);
//  - heap: tag == kInlineUnits; the storage holds three 64-bit words:
//    `block` (a HeapBlock: 64-bit reference count, the units, a zero unit),
//    `end` (the terminating zero unit inside the block) and `capacity` (units
//    the block holds in front of its terminator, the count word included).
// Heap blocks are shared between copies and copied before a write
// (copy-on-write); `detach` is the only place where that copy is made. The
// reference count is atomic, so copies may be dropped on another thread.
//
// The core folder is the foundation: it may use libc and the C++ library only.
#ifndef KITSETUP_CORE_TEXT_STRING_H
#define KITSETUP_CORE_TEXT_STRING_H

#include <cstddef>
#include <cstdint>

namespace kitsetup {

template <typename Unit>
class SmallString {
 public:
  using unit_type = Unit;
  // Units of inline storage, the terminator included; also the heap tag.
  static constexpr uint32_t kInlineUnits = 24 / sizeof(Unit);
  static constexpr uint32_t kHeapTag = kInlineUnits;
  // Units that the block's 64-bit reference count takes up.
  static constexpr uint64_t kCountUnits = 8 / sizeof(Unit);
  static constexpr size_t npos = static_cast<size_t>(-1);

  SmallString() noexcept;
  SmallString(const Unit* zero_terminated);  // counted up to the first zero unit
  SmallString(const Unit* s, size_t n);
  SmallString(const SmallString& other) noexcept;
  SmallString(SmallString&& other) noexcept;
  SmallString& operator=(const SmallString& other) noexcept;
  SmallString& operator=(SmallString&& other) noexcept;
  ~SmallString();

  // Copies n units from s, which may lie inside this string. Terminates the
  // process if the detach step cannot allocate (no half-moved string is left).
  SmallString& assign(const Unit* s, size_t n) noexcept;

  size_t length() const noexcept;
  size_t size() const noexcept { return length(); }
  bool empty() const noexcept { return length() == 0; }
  const Unit* c_str() const noexcept;
  const Unit* data() const noexcept { return c_str(); }
  Unit operator[](size_t i) const noexcept { return c_str()[i]; }
  Unit back() const noexcept { return c_str()[length() - 1]; }
  // Writable access: detaches a shared block first.
  Unit* mutable_data();

  // New units are not cleared. Throws std::length_error past the allocator's
  // maximum ("allocator<T>::allocate(size_t n) 'n' exceeds maximum supported size").
  void resize(size_t n, bool geometric = false);
  void clear() { resize(0); }

  // Appends n units read from s; s may alias this string's own text.
  SmallString& append(const Unit* s, size_t n) noexcept;
  SmallString& append(const Unit* zero_terminated) noexcept;
  SmallString& append(const SmallString& other) noexcept;
  // Appends min(length(other) - pos, count) units of other from pos; count
  // npos means to the end. Throws std::out_of_range("basic_string") when
  // pos > length(other).
  SmallString& append(const SmallString& other, size_t pos, size_t count);
  SmallString& push_back(Unit u) noexcept { return append(&u, 1); }
  // Inserts [first, last) before position; at the end this is an append.
  SmallString& insert(size_t position, const Unit* first, const Unit* last) noexcept;

  // Replaces every occurrence of from with to; returns how many were
  // replaced. An empty `from`, or one longer than the string, replaces nothing.
  size_t replace_all(const SmallString& from, const SmallString& to);

  size_t find(const SmallString& what, size_t pos = 0) const noexcept;
  size_t find(Unit u, size_t pos = 0) const noexcept;
  size_t rfind(Unit u, size_t pos = npos) const noexcept;
  SmallString substr(size_t pos, size_t count = npos) const;
  bool ends_with(Unit u) const noexcept { return !empty() && back() == u; }
  bool contains(const SmallString& what) const noexcept { return find(what) != npos; }

  bool operator==(const SmallString& other) const noexcept;
  bool operator!=(const SmallString& other) const noexcept { return !(*this == other); }
  bool operator<(const SmallString& other) const noexcept;  // unit-wise, for ordered maps

  // Layout introspection, for tests and assertions.
  uint32_t tag() const noexcept { return tag_; }
  bool is_inline() const noexcept { return tag_ < kHeapTag; }
  uint64_t capacity() const noexcept;      // heap: units incl. the count word; inline: kInlineUnits
  uint64_t use_count() const noexcept;     // heap: the block's count; inline: 0

 private:
  struct HeapBlock;  // { std::atomic<uint64_t> count; Unit units[]; }
  struct HeapWords {
    HeapBlock* block;
    Unit* end;
    uint64_t capacity;
  };

  void detach();
  void grow_heap(uint64_t units, bool geometric);
  void release() noexcept;

  uint32_t tag_;
  union {
    Unit inline_[kInlineUnits];
    HeapWords heap_;
  };

  template <typename U>
  friend struct SmallStringLayout;
};

using TextString = SmallString<char16_t>;
using ByteString = SmallString<char>;

extern template class SmallString<char16_t>;
extern template class SmallString<char>;

TextString operator+(const TextString& a, const TextString& b);
TextString operator+(const TextString& a, const char16_t* zero_terminated);
ByteString operator+(const ByteString& a, const ByteString& b);
ByteString operator+(const ByteString& a, const char* zero_terminated);

// The text of a 32-bit value in radix 2..36, digits 0-9 then a-z. A minus
// sign only for a negative value in radix 10; other radices read it unsigned.
TextString from_int(int32_t value, int radix);

}  // namespace kitsetup

#endif  // KITSETUP_CORE_TEXT_STRING_H
