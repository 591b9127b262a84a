#include "kit/kit_parser.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "core/encoding.h"
#include "core/error_codes.h"
#include "kit/kit_validator.h"

namespace kitsetup {

namespace {

constexpr uint32_t kBlockSize = 64 * 1024;
// The smallest entry record that holds its fields: size, name count, write
// time, offset, size.
constexpr uint64_t kMinEntryRecord = 24;
// So the entry table never takes much more memory than the kit's bytes.
static_assert(sizeof(KitEntry) <= 2 * kMinEntryRecord, "an entry in memory outgrows its record");

uint32_t Refuse(KitProblem* problem, const std::string& what) {
  if (problem) problem->what = what;
  return kErrInvalidData;
}

uint32_t ReadErrorCode() {
  uint32_t code = LastFileError();
  return code ? code : kErrInvalidParameter;
}

// A position from the file layer's seek: its failure value (low half all
// ones, high half untouched) is also a valid position just below 4 GiB, so
// that one case is settled by asking the descriptor directly.
bool SeekPosition(FileHandle handle, uint32_t origin, uint64_t& position) {
  int32_t high = 0;
  uint32_t low = SeekFileHandle(handle, 0, &high, origin);
  if (low == 0xFFFFFFFFu && high == 0 && lseek(static_cast<int>(handle), 0, SEEK_CUR) < 0) return false;
  position = (static_cast<uint64_t>(static_cast<uint32_t>(high)) << 32) | low;
  return true;
}

// Where the handle stands and how long its file is, through the file layer.
uint32_t HandleGeometry(FileHandle handle, uint64_t& position, uint64_t& size) {
  if (!SeekPosition(handle, kSeekCurrent, position)) return ReadErrorCode();
  if (!SeekPosition(handle, kSeekEnd, size)) return ReadErrorCode();
  int32_t back_high = static_cast<int32_t>(position >> 32);
  SeekFileHandle(handle, static_cast<int32_t>(static_cast<uint32_t>(position)), &back_high, kSeekBegin);
  return kOk;
}

// Reads the unpacked kit front to back through the file layer in blocks and
// knows how many bytes are left, so that callers check each field before it
// is read and never allocate for bytes the file does not hold. The handle
// runs ahead of position() while bytes are buffered; Sync() puts it back.
class KitReader {
 public:
  KitReader(FileHandle handle, uint64_t position, uint64_t size)
      : handle_(handle), position_(position), size_(size), file_position_(position) {}

  uint64_t position() const { return position_; }
  uint64_t size() const { return size_; }
  uint64_t remaining() const { return position_ < size_ ? size_ - position_ : 0; }

  // 0, the file layer's code, or 13 when the file holds fewer bytes than its
  // size promised (it changed underneath).
  uint32_t Read(void* destination, uint64_t count) {
    unsigned char* out = static_cast<unsigned char*>(destination);
    while (count > 0) {
      if (begin_ == end_) {
        if (count >= kBlockSize) {
          // Long strings go straight to their destination.
          uint32_t chunk = static_cast<uint32_t>(std::min<uint64_t>(count, uint64_t{1} << 30));
          uint32_t got = 0;
          if (uint32_t code = RawRead(out, chunk, got)) return code;
          if (got != chunk) return kErrInvalidData;
          position_ += chunk;
          out += chunk;
          count -= chunk;
          continue;
        }
        if (uint32_t code = Fill()) return code;
      }
      size_t take = static_cast<size_t>(std::min<uint64_t>(count, end_ - begin_));
      std::memcpy(out, buffer_.data() + begin_, take);
      begin_ += take;
      position_ += take;
      out += take;
      count -= take;
    }
    return kOk;
  }

  uint32_t ReadU32(uint32_t& value) {
    unsigned char b[4];
    if (uint32_t code = Read(b, 4)) return code;
    value = b[0] | (uint32_t{b[1]} << 8) | (uint32_t{b[2]} << 16) | (uint32_t{b[3]} << 24);
    return kOk;
  }

  uint32_t ReadU64(uint64_t& value) {
    uint32_t low = 0, high = 0;
    if (uint32_t code = ReadU32(low)) return code;
    if (uint32_t code = ReadU32(high)) return code;
    value = (uint64_t{high} << 32) | low;
    return kOk;
  }

  // `count` UTF-16LE units into `out`; the caller has checked that they fit.
  uint32_t ReadUnits(uint32_t count, TextString& out) {
    out = TextString();
    if (count == 0) return kOk;
    out.resize(count);
    char16_t* units = out.mutable_data();
    if (uint32_t code = Read(units, uint64_t{count} * 2)) return code;
    // In place: unit i occupies the very two bytes it is decoded from.
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(units);
    for (uint32_t i = 0; i < count; ++i) {
      units[i] = static_cast<char16_t>(bytes[2 * i] | (bytes[2 * i + 1] << 8));
    }
    return kOk;
  }

  void Skip(uint64_t count) {
    uint64_t buffered = end_ - begin_;
    if (count <= buffered) {
      begin_ += static_cast<size_t>(count);
    } else {
      begin_ = end_ = 0;  // the next read seeks
    }
    position_ += count;
  }

  // Puts the handle at position(): 0, or the layer's code when the seek fails.
  uint32_t Sync() {
    begin_ = end_ = 0;
    return SeekTo(position_);
  }

 private:
  uint32_t SeekTo(uint64_t target) {
    if (file_position_ == target) return kOk;
    int32_t high = static_cast<int32_t>(target >> 32);
    uint32_t low = SeekFileHandle(handle_, static_cast<int32_t>(static_cast<uint32_t>(target)), &high,
                                  kSeekBegin);
    if (low != static_cast<uint32_t>(target) || static_cast<uint32_t>(high) != (target >> 32)) {
      return ReadErrorCode();
    }
    file_position_ = target;
    return kOk;
  }

  uint32_t RawRead(void* destination, uint32_t count, uint32_t& got) {
    if (uint32_t code = SeekTo(position_ + (end_ - begin_))) return code;
    got = 0;
    if (ReadFileHandle(handle_, destination, count, &got, nullptr) != kOk) return ReadErrorCode();
    file_position_ += got;
    return kOk;
  }

  uint32_t Fill() {
    if (buffer_.empty()) buffer_.resize(kBlockSize);
    uint32_t want = static_cast<uint32_t>(std::min<uint64_t>(kBlockSize, remaining()));
    if (want == 0) return kErrInvalidData;
    uint32_t got = 0;
    begin_ = end_ = 0;
    if (uint32_t code = RawRead(buffer_.data(), want, got)) return code;
    if (got == 0) return kErrInvalidData;
    end_ = got;
    return kOk;
  }

  FileHandle handle_;
  uint64_t position_;       // next byte the parser will see
  uint64_t size_;           // bytes in the file
  uint64_t file_position_;  // where the handle stands
  std::vector<unsigned char> buffer_;
  size_t begin_ = 0, end_ = 0;  // buffered bytes, starting at position_
};

// A u32 field outside any record (format, counts).
uint32_t ReadField(KitReader& reader, const std::string& what, uint32_t& value, KitProblem* problem) {
  if (reader.remaining() < 4) {
    return Refuse(problem, what + ": the unpacked kit (" + std::to_string(reader.size()) +
                               " bytes) ends before it");
  }
  return reader.ReadU32(value);
}

// The bytes that the strings of one table may still take in memory (as
// UTF-16, as in the kit), so a hostile kit is refused before it allocates.
struct TextBudget {
  const char* table;  // "description texts", "entry names"
  uint64_t limit;
  uint64_t left;
};

// A counted string whose units must end by `limit` (its record's end, or the
// kit's end for the legacy description) and fit in `budget`.
uint32_t ReadCounted(KitReader& reader, uint64_t limit, const char* beyond, const std::string& what,
                     const char* field, TextString& out, TextBudget& budget, KitProblem* problem) {
  if (limit - reader.position() < 4) {
    return Refuse(problem, what + ": the count of its " + field + " reaches past " + beyond);
  }
  uint32_t count = 0;
  if (uint32_t code = reader.ReadU32(count)) return code;
  if (uint64_t{count} * 2 > limit - reader.position()) {
    return Refuse(problem, what + ": its " + field + " (" + std::to_string(count) +
                               " units) reaches past " + beyond);
  }
  if (uint64_t{count} * 2 > budget.left) {
    return Refuse(problem, what + ": its " + field + " takes the kit's " + budget.table + " past " +
                               std::to_string(budget.limit) + " bytes, more than a kit may hold");
  }
  budget.left -= uint64_t{count} * 2;
  return reader.ReadUnits(count, out);
}

// The size field of a record; `record_end` receives the offset after it.
uint32_t ReadRecordSize(KitReader& reader, const std::string& what, uint64_t& record_end,
                        KitProblem* problem) {
  uint64_t start = reader.position();
  if (reader.remaining() < 4) {
    return Refuse(problem, what + ": the unpacked kit (" + std::to_string(reader.size()) +
                               " bytes) ends inside its size field");
  }
  uint32_t record_size = 0;
  if (uint32_t code = reader.ReadU32(record_size)) return code;
  if (record_size < 4) {
    return Refuse(problem, what + ": record size " + std::to_string(record_size) + " is below 4");
  }
  if (record_size - 4 > reader.remaining()) {
    return Refuse(problem, what + ": record of " + std::to_string(record_size) + " bytes at offset " +
                               std::to_string(start) + " reaches past the end of the unpacked kit (" +
                               std::to_string(reader.size()) + " bytes)");
  }
  record_end = reader.position() + (record_size - 4);
  return kOk;
}

TextBudget DescriptionBudget() {
  return {"description texts", kMaxDescriptionTextBytes, kMaxDescriptionTextBytes};
}

TextBudget EntryNameBudget() { return {"entry names", kMaxEntryNameBytes, kMaxEntryNameBytes}; }

// The product name, vendor name and description file of a description,
// which end by `limit`.
uint32_t ReadDescriptionTexts(KitReader& reader, uint64_t limit, const char* beyond, const std::string& what,
                              KitDescription& d, TextBudget& budget, KitProblem* problem) {
  const std::pair<const char*, TextString*> fields[] = {
      {"product name", &d.productName}, {"vendor name", &d.vendorName}, {"description file", &d.descriptionFile}};
  for (const auto& [field, out] : fields) {
    if (uint32_t code = ReadCounted(reader, limit, beyond, what, field, *out, budget, problem)) return code;
  }
  return kOk;
}

uint32_t ReadDescription(KitReader& reader, const std::string& what, KitDescription& out, TextBudget& budget,
                         KitProblem* problem) {
  uint64_t end = 0;
  if (uint32_t code = ReadRecordSize(reader, what, end, problem)) return code;
  const char* beyond = "its record";
  KitDescription d;
  if (uint32_t code = ReadCounted(reader, end, beyond, what, "language", d.language, budget, problem)) return code;
  if (uint32_t code = ReadDescriptionTexts(reader, end, beyond, what, d, budget, problem)) return code;
  reader.Skip(end - reader.position());
  out = std::move(d);
  return kOk;
}

uint32_t ReadEntry(KitReader& reader, const std::string& what, KitEntry& out, TextBudget& budget,
                   KitProblem* problem) {
  uint64_t end = 0;
  if (uint32_t code = ReadRecordSize(reader, what, end, problem)) return code;
  KitEntry e;
  if (uint32_t code = ReadCounted(reader, end, "its record", what, "name", e.name, budget, problem)) return code;
  if (end - reader.position() < 16) {
    return Refuse(problem, what + ": its write time, offset and size reach past its record");
  }
  if (uint32_t code = reader.ReadU64(e.writeTime)) return code;
  if (uint32_t code = reader.ReadU32(e.dataOffset)) return code;
  if (uint32_t code = reader.ReadU32(e.dataSize)) return code;
  reader.Skip(end - reader.position());
  out = std::move(e);
  return kOk;
}

template <typename Record, typename ReadFn>
uint32_t ReadOneRecord(FileHandle handle, const char* what, Record& out, TextBudget budget, KitProblem* problem,
                       ReadFn read) {
  uint64_t position = 0, size = 0;
  if (uint32_t code = HandleGeometry(handle, position, size)) return code;
  KitReader reader(handle, position, size);
  if (uint32_t code = read(reader, what, out, budget, problem)) return code;
  return reader.Sync();
}

// A table's record count, refused above `max` before anything is allocated.
uint32_t ReadCount(KitReader& reader, const char* table, uint32_t max, uint32_t& count, KitProblem* problem) {
  if (uint32_t code = ReadField(reader, std::string(table) + ": its count", count, problem)) return code;
  if (count > max) {
    return Refuse(problem, std::string(table) + ": " + std::to_string(count) + " records, more than the " +
                               std::to_string(max) + " a kit may hold");
  }
  return kOk;
}

uint32_t ParseDescriptions(KitReader& reader, DistributionKit& kit, KitProblem* problem) {
  uint32_t format = 0;
  if (uint32_t code = ReadField(reader, "header: the description format", format, problem)) return code;
  kit.descriptionFormat = format;
  TextBudget budget = DescriptionBudget();
  if (format != 0) {
    uint32_t count = 0;
    if (uint32_t code = ReadCount(reader, "description table", kMaxDescriptionRecords, count, problem)) return code;
    for (uint32_t i = 0; i < count; ++i) {
      KitDescription d;
      std::string what = "description record " + std::to_string(i);
      if (uint32_t code = ReadDescription(reader, what, d, budget, problem)) return code;
      kit.descriptions.push_back(std::move(d));
    }
    return kOk;
  }
  KitDescription d;
  d.language = TextString(u"en");
  if (uint32_t code = ReadDescriptionTexts(reader, reader.size(), "the end of the unpacked kit",
                                           "legacy description", d, budget, problem)) {
    return code;
  }
  kit.descriptions.push_back(std::move(d));
  return kOk;
}

uint32_t ParseEntries(KitReader& reader, DistributionKit& kit, KitProblem* problem) {
  kit.entries.clear();
  uint32_t count = 0;
  if (uint32_t code = ReadCount(reader, "entry table", kMaxEntryRecords, count, problem)) return code;
  // A hostile count must not reserve more than the kit could hold.
  kit.entries.reserve(static_cast<size_t>(std::min<uint64_t>(count, reader.remaining() / kMinEntryRecord)));
  TextBudget budget = EntryNameBudget();
  for (uint32_t i = 0; i < count; ++i) {
    KitEntry e;
    if (uint32_t code = ReadEntry(reader, "entry record " + std::to_string(i), e, budget, problem)) return code;
    kit.entries.push_back(std::move(e));
  }
  return kOk;
}

}  // namespace

uint32_t ReadDescriptionRecord(FileHandle handle, KitDescription& out, KitProblem* problem) {
  return ReadOneRecord(handle, "description record", out, DescriptionBudget(), problem, ReadDescription);
}

uint32_t ReadEntryRecord(FileHandle handle, KitEntry& out, KitProblem* problem) {
  return ReadOneRecord(handle, "entry record", out, EntryNameBudget(), problem, ReadEntry);
}

uint32_t ParseKit(DistributionKit& kit, KitProblem* problem) {
  uint64_t position = 0, size = 0;
  if (uint32_t code = HandleGeometry(kit.dataHandle, position, size)) return code;
  kit.unpackedSize = size;
  KitReader reader(kit.dataHandle, position, size);
  if (uint32_t code = ParseDescriptions(reader, kit, problem)) return code;
  if (uint32_t code = ParseEntries(reader, kit, problem)) return code;
  if (uint32_t code = reader.Sync()) return code;
  // Offsets are stored relative to the data area, which starts right after
  // the table; the sum wraps at 32 bits as the format's readers always did.
  uint32_t data_start = static_cast<uint32_t>(reader.position());
  for (KitEntry& e : kit.entries) e.dataOffset += data_start;
  return kOk;
}

}  // namespace kitsetup

namespace kitsetup {

void GetKitTexts(const DistributionKit& kit, const TextString& language_code, TextString& product,
                 TextString& vendor) {
  for (const KitDescription& d : kit.descriptions) {
    if (compare_nocase(d.language, language_code) == 0) {
      product = d.productName;
      vendor = d.vendorName;
      return;
    }
  }
  // No fallback to English here: the welcome page shows its default texts.
  product = TextString();
  vendor = TextString();
}

TextString GetDescriptionFile(const DistributionKit& kit, const TextString& language_code) {
  if (kit.descriptions.empty()) return TextString();
  for (const KitDescription& d : kit.descriptions) {
    if (compare_nocase(d.language, language_code) == 0) {
      if (!d.descriptionFile.empty()) return d.descriptionFile;
      break;
    }
  }
  // The document, unlike the names, falls back to the English record.
  const TextString english(u"en");
  for (const KitDescription& d : kit.descriptions) {
    if (compare_nocase(d.language, english) == 0) return d.descriptionFile;
  }
  return TextString();
}

}  // namespace kitsetup
