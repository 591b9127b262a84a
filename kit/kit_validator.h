// kit/kit_validator.h: the checks that keep a hostile or damaged kit from
// reaching the install worker. The parser refuses records that do not fit the
// unpacked kit; this module judges what the records say: entry names and
// description files that could escape the template directory, reach the
// shell, name another file than they say, or meet another entry's, and data
// ranges that lie outside the unpacked kit. It also holds the limits that
// inflation and the parser respect. Every refusal is code 13.
#ifndef KITSETUP_KIT_KIT_VALIDATOR_H
#define KITSETUP_KIT_KIT_VALIDATOR_H

#include <cstdint>
#include <string>

#include "core/text_string.h"
#include "kit/distribution_kit.h"

namespace kitsetup {

// What the tables of one kit may make the loader hold in memory. Refused
// from the counts and string sizes before anything is allocated for them.
// A kit describes itself in a few languages: 4096 records and 4 MiB of their
// text (all four strings of every record, as UTF-16) leave room to spare.
constexpr uint32_t kMaxDescriptionRecords = 4096;
constexpr uint64_t kMaxDescriptionTextBytes = uint64_t{4} << 20;
// A template directory of a million files, with names of 32 units on
// average, is far beyond any real kit; in memory an entry takes about twice
// its record's bytes at most.
constexpr uint32_t kMaxEntryRecords = uint32_t{1} << 20;
constexpr uint64_t kMaxEntryNameBytes = uint64_t{64} << 20;
// An entry name or description file longer than this is no path any file
// system takes (PATH_MAX is 4096 bytes on Linux, 1024 on macOS).
constexpr size_t kMaxPathUnits = 4096;

// No entry can address data beyond 4 GiB (32-bit offsets), so a staging file
// larger than that is a bomb, not a kit.
constexpr uint64_t kMaxUnpackedKitBytes = uint64_t{1} << 32;
// Inflation stops when the temporary directory's file system would be left
// with less than this much free space.
constexpr uint64_t kMinFreeTempBytes = uint64_t{64} << 20;

struct InflateLimits {
  uint64_t maxUnpackedBytes = kMaxUnpackedKitBytes;
  uint64_t minFreeBytes = kMinFreeTempBytes;
};

// The limits in force (the constants above unless changed). Changing them is
// for tests, fuzzers and benchmarks; it is not thread-safe.
InflateLimits CurrentInflateLimits();
void SetInflateLimits(const InflateLimits& limits);

// Why `path` may not be a description file, or nullptr when it may (an
// empty one means no file). Refused: a '"', '`' or '$', any character
// below U+0020, a ".." component once "\" is read as "/", more than
// kMaxPathUnits units, and a character that does not survive the conversion
// to the locale's bytes and back (it would name another file).
const char* DescriptionFileProblem(const TextString& path);

// The same for an entry name, which must also name one file: refused as
// well when it is empty, only separators, ends in a separator, or has a "."
// component. A leading "\" is fine: names are appended to a directory that
// already ends in a separator.
const char* EntryNameProblem(const TextString& name);

// Checks every description file, every entry name and every entry's data
// range against `unpacked_size`, then that no two entries write one file
// ("a\b", "a/b", "a\\b" and "\a\b" are one name) and that no entry is
// a file where another needs a folder ("a" and "a\b"); the latter two
// sort the names once, O(n log n). 0, or 13 with `problem` (when given)
// naming the record and the check it failed.
uint32_t ValidateKit(const DistributionKit& kit, uint64_t unpacked_size, KitProblem* problem);

// A name as it may be shown in one line of a message: non-ASCII and control
// characters as \uXXXX, quoted, cut after 80 units.
std::string QuotedForMessage(const TextString& text);

}  // namespace kitsetup

#endif
