// kit/kit_validator.h: the checks that keep a hostile or damaged kit from
// reaching the install worker. The parser refuses records that do not fit the
// unpacked kit; this module judges what the records say: entry names and
// description files that could escape the template directory or reach the
// shell, and data ranges that lie outside the unpacked kit. It also holds the
// limits that inflation must respect. Every refusal is code 13.
#ifndef KITSETUP_KIT_KIT_VALIDATOR_H
#define KITSETUP_KIT_KIT_VALIDATOR_H

#include <cstdint>
#include <string>

#include "core/text_string.h"
#include "kit/distribution_kit.h"

namespace kitsetup {

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

// Why `name` may not be an entry name, or nullptr when it may. Refused: an
// empty name, a ".." component once "\" is read as "/", a '"', '`' or '$',
// and any character below U+0020. A leading "\" is fine: names are appended
// to a directory that already ends in a separator.
const char* EntryNameProblem(const TextString& name);

// The same for a description file, except that it may be empty (no file).
const char* DescriptionFileProblem(const TextString& path);

// Checks every description file, every entry name and every entry's data
// range against `unpacked_size`. 0, or 13 with `problem` (when given) naming
// the first bad record and the check it failed.
uint32_t ValidateKit(const DistributionKit& kit, uint64_t unpacked_size, KitProblem* problem);

// A name as it may be shown in one line of a message: non-ASCII and control
// characters as \uXXXX, quoted, cut after 80 units.
std::string QuotedForMessage(const TextString& text);

}  // namespace kitsetup

#endif
