#include "kit/kit_validator.h"

#include <cstdio>

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

bool HasDotDotComponent(const TextString& text) {
  const char16_t* units = text.data();
  size_t n = text.length();
  size_t start = 0;
  for (size_t i = 0; i <= n; ++i) {
    if (i == n || IsSeparator(units[i])) {
      if (i - start == 2 && units[start] == u'.' && units[start + 1] == u'.') return true;
      start = i + 1;
    }
  }
  return false;
}

void Report(KitProblem* problem, const std::string& what) {
  if (problem) problem->what = what;
}

}  // namespace

InflateLimits CurrentInflateLimits() { return g_limits; }

void SetInflateLimits(const InflateLimits& limits) { g_limits = limits; }

const char* EntryNameProblem(const TextString& name) {
  if (name.empty()) return "is empty";
  return DescriptionFileProblem(name);
}

const char* DescriptionFileProblem(const TextString& path) {
  if (const char* why = CharacterProblem(path)) return why;
  if (HasDotDotComponent(path)) return "has a \"..\" component";
  return nullptr;
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
      Report(problem, "entry record " + std::to_string(i) + " (" + QuotedForMessage(entry.name) +
                          "): data at offset " + std::to_string(entry.dataOffset) + ", " +
                          std::to_string(entry.dataSize) +
                          " bytes, reaches past the end of the unpacked kit (" +
                          std::to_string(unpacked_size) + " bytes)");
      return kErrInvalidData;
    }
  }
  return kOk;
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
