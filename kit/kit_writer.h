// kit/kit_writer.h: builds kit files, for kittool pack and for tests.
//
// A kit is one raw DEFLATE stream of: the description part (legacy or
// counted table), the entry table, and the entries' bytes back to back in
// table order. The builder does not judge names: tests use it to make
// hostile kits too; kittool pack checks names with kit/kit_validator.h first.
// Entry data is streamed into the compressor entry by entry, so a large tree
// is never held in memory. Paths here are locale bytes, as the system gives
// them.
#ifndef KITSETUP_KIT_KIT_WRITER_H
#define KITSETUP_KIT_KIT_WRITER_H

#include <zlib.h>

#include <csignal>
#include <cstdint>
#include <string>
#include <vector>

#include "core/text_string.h"
#include "kit/distribution_kit.h"

namespace kitsetup {

class KitBuilder {
 public:
  // Legacy form (descriptionFormat 0): exactly one description, stored
  // without its language (it loads as "en").
  void SetLegacy(bool legacy) { legacy_ = legacy; }
  // 0 (stored blocks) to 9; Z_DEFAULT_COMPRESSION is zlib's default (6).
  void SetLevel(int level) { level_ = level; }
  // A zlib strategy: Z_DEFAULT_STRATEGY, Z_FIXED (fixed Huffman blocks), ...
  void SetStrategy(int strategy) { strategy_ = strategy; }
  // When set, WriteTo checks *flag between reads of the source files and
  // gives up with 1223 once it is non-zero (kittool's signal handlers set it).
  void SetStopFlag(const volatile std::sig_atomic_t* flag) { stop_ = flag; }

  void AddDescription(const KitDescription& description) { descriptions_.push_back(description); }
  void AddEntry(const TextString& name, std::string bytes, uint64_t write_time);
  // An entry whose bytes are read from `source_path` when the kit is
  // written; the size is taken now. 0, or 2 / 87 when it cannot be stat'ed,
  // 87 when it is not a regular file or is 4 GiB or larger.
  uint32_t AddFile(const TextString& name, const std::string& source_path, uint64_t write_time);

  size_t entry_count() const { return entries_.size(); }

  // The unpacked kit in memory (files added with AddFile are read now).
  // 0, or as WriteTo.
  uint32_t Unpacked(std::string& out, std::string* error = nullptr) const;

  // Writes the kit to a temporary file beside `kit_path`, flushes it and
  // renames it over `kit_path` only when it is complete, so that a failure
  // or an interruption leaves an existing kit untouched and no temporary
  // file behind. 0; 87 when the builder is inconsistent (legacy without
  // exactly one description, more data than a kit can address) or a source
  // file changed since AddFile; 2 or 87 when a file cannot be read or the kit
  // cannot be written; 1223 when the stop flag was raised. `error`, when
  // given, says what failed, with the OS error.
  uint32_t WriteTo(const std::string& kit_path, std::string* error = nullptr) const;

 private:
  struct Entry {
    TextString name;
    uint64_t writeTime = 0;
    uint64_t size = 0;
    std::string bytes;   // in-memory data, or
    std::string source;  // the file the data comes from
  };
  template <typename Sink>
  uint32_t Emit(Sink& sink, std::string* error) const;
  uint32_t BuildTable(std::string& out, std::string* error) const;

  bool legacy_ = false;
  int level_ = Z_DEFAULT_COMPRESSION;
  int strategy_ = Z_DEFAULT_STRATEGY;
  const volatile std::sig_atomic_t* stop_ = nullptr;
  std::vector<KitDescription> descriptions_;
  std::vector<Entry> entries_;
};

// Deflates `size` bytes as one raw stream (no header, no trailer) into a new
// file at `kit_path`: for tests that write unpacked kits byte by byte. 0, or
// 87 when the file cannot be written.
uint32_t WriteDeflated(const std::string& kit_path, const void* bytes, size_t size,
                       int level = Z_DEFAULT_COMPRESSION, int strategy = Z_DEFAULT_STRATEGY);

// Little-endian pieces of the format, for the builder and for tests.
void AppendU32(std::string& out, uint32_t value);
void AppendU64(std::string& out, uint64_t value);
void AppendCounted(std::string& out, const TextString& text);  // u32 count + UTF-16LE units

}  // namespace kitsetup

#endif
