#include "kit/kit_validator.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "core/encoding.h"
#include "core/error_codes.h"

namespace kitsetup {

namespace {

InflateLimits g_limits;

bool IsSeparator(char16_t u) { return u == u'\\' || u == u'/'; }

// Characters that act inside the double quotes the shell commands put around
// a path, or that no sane file name holds.
const char* CharacterProblem(const TextString& text) {
  const char16_t* units = text.data();
  for (size_t i = 0, n = text.length(); i < n; ++i) {
    char16_t u = units[i];
    if (u < 0x20) return "holds a control character";
    if (u == u'"' || u == u'`' || u == u'$') return "holds a character the shell interprets (\", ` or $)";
  }
  return nullptr;
}

// Whether a component of `text` (separators "\" and "/") equals `dots`.
bool HasComponent(const TextString& text, const char16_t* dots, size_t length) {
  const char16_t* units = text.data();
  size_t n = text.length();
  size_t start = 0;
  for (size_t i = 0; i <= n; ++i) {
    if (i == n || IsSeparator(units[i])) {
      if (i - start == length && std::char_traits<char16_t>::compare(units + start, dots, length) == 0) {
        return true;
      }
      start = i + 1;
    }
  }
  return false;
}

static_assert(kMaxPathUnits == 4096, "the refusal below names the bound");

// Checks shared by entry names and description files; `path` is not empty.
const char* PathProblem(const TextString& path) {
  if (const char* why = CharacterProblem(path)) return why;
  if (HasComponent(path, u"..", 2)) return "has a \"..\" component";
  if (path.length() > kMaxPathUnits) return "is longer than the 4096 units a path may have";
  // Last: the one check that converts the text.
  if (LocaleBytesLoss(path) != TextString::npos) {
    return "holds a character that does not convert to the locale's bytes and back";
  }
  return nullptr;
}

void Report(KitProblem* problem, const std::string& what) {
  if (problem) problem->what = what;
}

std::string EntryLabel(const KitEntry& entry, size_t index) {
  return "entry record " + std::to_string(index) + " (" + QuotedForMessage(entry.name) + ")";
}

// The name as the file system will see it below the template directory:
// "\" read as "/", leading and repeated separators dropped. The separator
// becomes U+0001 (control characters are refused before this runs), so that
// in sorted order a name is followed at once by the names inside it: "a",
// "a/b", "a-b" rather than "a", "a-b", "a/b".
std::u16string SortKey(const TextString& name) {
  std::u16string key;
  key.reserve(name.length());
  bool after_separator = true;
  for (size_t i = 0, n = name.length(); i < n; ++i) {
    if (IsSeparator(name[i])) {
      if (!after_separator) key.push_back(u'\x01');
      after_separator = true;
    } else {
      key.push_back(name[i]);
      after_separator = false;
    }
  }
  return key;
}

// Two entries that write one file, or a file where another entry needs a
// folder. Sorting brings both kinds next to each other.
uint32_t CheckNamesMeetNowhere(const std::vector<KitEntry>& entries, KitProblem* problem) {
  std::vector<std::pair<std::u16string, size_t>> keys;
  keys.reserve(entries.size());
  for (size_t i = 0; i < entries.size(); ++i) keys.emplace_back(SortKey(entries[i].name), i);
  std::sort(keys.begin(), keys.end());
  for (size_t k = 0; k + 1 < keys.size(); ++k) {
    const std::u16string& shorter = keys[k].first;
    const std::u16string& longer = keys[k + 1].first;
    const size_t first = keys[k].second, second = keys[k + 1].second;
    const size_t later = std::max(first, second), earlier = std::min(first, second);
    if (shorter == longer) {
      Report(problem, "entry record " + std::to_string(later) + ": name " +
                          QuotedForMessage(entries[later].name) + " names the same file as " +
                          EntryLabel(entries[earlier], earlier));
      return kErrInvalidData;
    }
    if (longer.size() > shorter.size() && longer[shorter.size()] == u'\x01' &&
        longer.compare(0, shorter.size(), shorter) == 0) {
      const std::string where = later == first ? " is a file where " + EntryLabel(entries[second], second) +
                                                     " needs a folder"
                                               : " needs a folder where " + EntryLabel(entries[first], first) +
                                                     " is a file";
      Report(problem, "entry record " + std::to_string(later) + ": name " +
                          QuotedForMessage(entries[later].name) + where);
      return kErrInvalidData;
    }
  }
  return kOk;
}

}  // namespace

InflateLimits CurrentInflateLimits() { return g_limits; }

void SetInflateLimits(const InflateLimits& limits) { g_limits = limits; }

const char* EntryNameProblem(const TextString& name) {
  if (name.empty()) return "is empty";
  if (SortKey(name).empty()) return "is only separators";
  if (IsSeparator(name.back())) return "ends in a separator";
  if (HasComponent(name, u".", 1)) return "has a \".\" component";
  return PathProblem(name);
}

const char* DescriptionFileProblem(const TextString& path) {
  return path.empty() ? nullptr : PathProblem(path);
}

uint32_t ValidateKit(const DistributionKit& kit, uint64_t unpacked_size, KitProblem* problem) {
  for (size_t i = 0; i < kit.descriptions.size(); ++i) {
    const TextString& file = kit.descriptions[i].descriptionFile;
    if (const char* why = DescriptionFileProblem(file)) {
      Report(problem, "description record " + std::to_string(i) + ": description file " +
                          QuotedForMessage(file) + " " + why);
      return kErrInvalidData;
    }
  }
  for (size_t i = 0; i < kit.entries.size(); ++i) {
    const KitEntry& entry = kit.entries[i];
    if (const char* why = EntryNameProblem(entry.name)) {
      Report(problem, "entry record " + std::to_string(i) + ": name " + QuotedForMessage(entry.name) +
                          " " + why);
      return kErrInvalidData;
    }
    uint64_t end = uint64_t{entry.dataOffset} + entry.dataSize;
    if (end > unpacked_size) {
      Report(problem, EntryLabel(entry, i) + ": data at offset " + std::to_string(entry.dataOffset) + ", " +
                          std::to_string(entry.dataSize) +
                          " bytes, reaches past the end of the unpacked kit (" +
                          std::to_string(unpacked_size) + " bytes)");
      return kErrInvalidData;
    }
  }
  return CheckNamesMeetNowhere(kit.entries, problem);
}

std::string QuotedForMessage(const TextString& text) {
  constexpr size_t kMaxUnits = 80;
  std::string out = "\"";
  const char16_t* units = text.data();
  size_t n = text.length();
  for (size_t i = 0; i < n && i < kMaxUnits; ++i) {
    char16_t u = units[i];
    if (u >= 0x20 && u < 0x7F && u != u'"') {
      out += static_cast<char>(u);
    } else {
      char buf[8];
      std::snprintf(buf, sizeof buf, "\\u%04X", static_cast<unsigned>(u));
      out += buf;
    }
  }
  if (n > kMaxUnits) out += "...";
  out += "\"";
  return out;
}

}  // namespace kitsetup
