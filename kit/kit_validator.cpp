#include "kit/kit_validator.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>
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

// Appends the name as the file system will see it below the template
// directory: "\" read as "/", leading and repeated separators dropped. Each
// unit is written as two bytes, high byte first, so that byte order is unit
// order, and the separator as the unit 0x0001, which sorts below every unit
// a name may hold (control characters are refused before this runs): in
// sorted order a name is then followed at once by the names inside it ("a",
// "a/b", "a-b", not "a", "a-b", "a/b").
void AppendSortKey(const TextString& name, std::string& out) {
  bool after_separator = true;
  for (size_t i = 0, n = name.length(); i < n; ++i) {
    const char16_t u = IsSeparator(name[i]) ? u'\x01' : name[i];
    if (u == u'\x01' && after_separator) continue;
    out.push_back(static_cast<char>(u >> 8));
    out.push_back(static_cast<char>(u & 0xFF));
    after_separator = u == u'\x01';
  }
}

// Whether every printable ASCII character converts to the locale's bytes
// and back. Then so does any text made of them alone, and a kit of many
// names needs no conversion for most of them.
bool PrintableAsciiSurvives() {
  char16_t units[0x7F - 0x20];
  for (char16_t u = 0x20; u < 0x7F; ++u) units[u - 0x20] = u;
  return LocaleBytesLoss(TextString(units, sizeof units / sizeof units[0])) == TextString::npos;
}

bool SurvivesLocaleBytes(const TextString& text, bool printable_ascii_survives) {
  if (printable_ascii_survives) {
    const char16_t* units = text.data();
    const char16_t* end = units + text.length();
    if (std::all_of(units, end, [](char16_t u) { return u >= 0x20 && u < 0x7F; })) return true;
  }
  return LocaleBytesLoss(text) == TextString::npos;
}

// Checks shared by entry names and description files; `path` is not empty.
const char* PathProblem(const TextString& path, bool printable_ascii_survives) {
  if (const char* why = CharacterProblem(path)) return why;
  if (HasComponent(path, u"..", 2)) return "has a \"..\" component";
  if (path.length() > kMaxPathUnits) return "is longer than the 4096 units a path may have";
  // Last: the one check that may convert the text.
  if (!SurvivesLocaleBytes(path, printable_ascii_survives)) {
    return "holds a character that does not convert to the locale's bytes and back";
  }
  return nullptr;
}

const char* NameProblem(const TextString& name, bool printable_ascii_survives) {
  if (name.empty()) return "is empty";
  if (std::all_of(name.data(), name.data() + name.length(), IsSeparator)) return "is only separators";
  if (IsSeparator(name.back())) return "ends in a separator";
  if (HasComponent(name, u".", 1)) return "has a \".\" component";
  return PathProblem(name, printable_ascii_survives);
}

const char* FileProblem(const TextString& path, bool printable_ascii_survives) {
  return path.empty() ? nullptr : PathProblem(path, printable_ascii_survives);
}

void Report(KitProblem* problem, const std::string& what) {
  if (problem) problem->what = what;
}

std::string EntryLabel(const KitEntry& entry, size_t index) {
  return "entry record " + std::to_string(index) + " (" + QuotedForMessage(entry.name) + ")";
}

// Two entries that write one file, or a file where another entry needs a
// folder. Sorting the keys (all in one buffer) brings both kinds next to
// each other.
uint32_t CheckNamesMeetNowhere(const std::vector<KitEntry>& entries, KitProblem* problem) {
  struct Key {
    size_t offset, length, index;
  };
  std::string buffer;
  std::vector<Key> keys;
  keys.reserve(entries.size());
  for (size_t i = 0; i < entries.size(); ++i) {
    const size_t offset = buffer.size();
    AppendSortKey(entries[i].name, buffer);
    keys.push_back({offset, buffer.size() - offset, i});
  }
  auto view = [&buffer](const Key& key) { return std::string_view(buffer).substr(key.offset, key.length); };
  std::sort(keys.begin(), keys.end(), [&view](const Key& a, const Key& b) {
    const int order = view(a).compare(view(b));
    return order != 0 ? order < 0 : a.index < b.index;
  });
  const std::string_view separator("\0\x01", 2);
  for (size_t k = 0; k + 1 < keys.size(); ++k) {
    const std::string_view shorter = view(keys[k]), longer = view(keys[k + 1]);
    const size_t first = keys[k].index, second = keys[k + 1].index;
    const size_t later = std::max(first, second), earlier = std::min(first, second);
    if (shorter == longer) {
      Report(problem, "entry record " + std::to_string(later) + ": name " +
                          QuotedForMessage(entries[later].name) + " names the same file as " +
                          EntryLabel(entries[earlier], earlier));
      return kErrInvalidData;
    }
    if (longer.substr(0, shorter.size()) == shorter && longer.substr(shorter.size(), 2) == separator) {
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

const char* EntryNameProblem(const TextString& name) { return NameProblem(name, PrintableAsciiSurvives()); }

const char* DescriptionFileProblem(const TextString& path) {
  return FileProblem(path, PrintableAsciiSurvives());
}

uint32_t ValidateKit(const DistributionKit& kit, uint64_t unpacked_size, KitProblem* problem) {
  const bool ascii_survives = PrintableAsciiSurvives();
  for (size_t i = 0; i < kit.descriptions.size(); ++i) {
    const TextString& file = kit.descriptions[i].descriptionFile;
    if (const char* why = FileProblem(file, ascii_survives)) {
      Report(problem, "description record " + std::to_string(i) + ": description file " +
                          QuotedForMessage(file) + " " + why);
      return kErrInvalidData;
    }
  }
  for (size_t i = 0; i < kit.entries.size(); ++i) {
    const KitEntry& entry = kit.entries[i];
    if (const char* why = NameProblem(entry.name, ascii_survives)) {
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
