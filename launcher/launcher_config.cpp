#include "launcher/launcher_config.h"

#include <strings.h>

#include <algorithm>
#include <memory>

#include "core/directory_listing.h"
#include "core/encoding.h"
#include "core/file_system.h"
#include "core/home.h"
#include "core/shell.h"
#include "launcher/config_encoding.h"

namespace kitsetup {

const char16_t* const kConfigKeys[kConfigKeyCount] = {
    u"DefaultVersion",    u"CommonInfoBases",   u"InstalledLocation",
    u"DistributiveLocation", u"CommonCfgLocation", u"InstallComponents",
    u"ConfigurationTemplatesLocation",
};

namespace {

constexpr const char16_t* kLauncherDir = u".Vesk/veskstart";
constexpr const char16_t* kLegacyLauncherDir = u".Vesk/veskstartt";
constexpr const char16_t* kConfigFileName = u"veskstart.cfg";

// The byte path converts one chunk at a time, into at most this many units.
constexpr size_t kByteChunk = 1024;
constexpr size_t kByteChunkUnits = 4096;

// What the writer throws inside this file, and catches before returning.
enum WriteFailure : int { kCannotOpen = 1, kWriteFailed = 2 };

struct FileCloser {
  void operator()(FILE* f) const { fclose(f); }
};
using FilePtr = std::unique_ptr<FILE, FileCloser>;

const char16_t* launcher_dir(uint32_t legacy_dir) {
  return legacy_dir ? kLegacyLauncherDir : kLauncherDir;
}

TextString templates_key() { return TextString(kConfigKeys[kTemplatesLocationKey]); }

// compare_nocase against many candidates: the needle is converted once.
class NoCaseNeedle {
 public:
  explicit NoCaseNeedle(const TextString& text) : bytes_(ToLocaleBytes(text)) {}
  bool Matches(const TextString& other) const {
    return strcasecmp(ToLocaleBytes(other).c_str(), bytes_.c_str()) == 0;
  }

 private:
  ByteString bytes_;
};

const ConfigEntry* find_entry(const ConfigList& list, const TextString& key) {
  NoCaseNeedle needle(key);
  for (const ConfigEntry& entry : list) {
    if (needle.Matches(entry.key)) return &entry;
  }
  return nullptr;
}

bool contains_nocase(const std::vector<TextString>& values, const TextString& value) {
  NoCaseNeedle needle(value);
  return std::any_of(values.begin(), values.end(),
                     [&](const TextString& v) { return needle.Matches(v); });
}

// The last two steps of normalising a directory list, shared by reading and
// saving: a "\" (not a "/") goes after any value without a separator at its
// end, then values equal to an earlier one are dropped.
void terminate_and_dedupe(std::vector<TextString>& values) {
  for (TextString& v : values) {
    if (!v.ends_with(u'\\') && !v.ends_with(u'/')) v.push_back(u'\\');
  }
  std::vector<TextString> kept;
  kept.reserve(values.size());
  for (TextString& v : values) {
    if (!contains_nocase(kept, v)) kept.push_back(std::move(v));
  }
  values.swap(kept);
}

// The line scanner: KEY until the first "=", then VALUE until LF. Text is
// collected in a fixed buffer and handed on whenever it fills, so keys and
// values of any length are kept whole and the buffer never overflows.
class LineScanner {
 public:
  explicit LineScanner(ConfigList& list) : list_(list) {}

  void Feed(const char16_t* units, size_t count) {
    for (size_t i = 0; i < count; ++i) {
      char16_t u = units[i];
      if (u == u'\n') {
        HandOn();
        EndLine();
      } else if (u == u'=' && state_ == kKey) {
        HandOn();
        state_ = kValue;
      } else {
        buffer_[used_++] = u;
        if (used_ == kConfigScanBufferUnits) HandOn();
      }
    }
  }

  void FinishFile() {
    HandOn();
    EndLine();
  }

 private:
  enum State { kKey, kValue };

  void HandOn() {
    (state_ == kKey ? key_ : value_).append(buffer_, used_);
    used_ = 0;
  }

  void EndLine() {
    if (!key_.empty() || !value_.empty()) add_value(list_, key_, value_);
    key_.clear();
    value_.clear();
    state_ = kKey;
  }

  ConfigList& list_;
  State state_ = kKey;
  size_t used_ = 0;
  char16_t buffer_[kConfigScanBufferUnits];
  TextString key_;
  TextString value_;
};

// UTF-16LE in reads of up to kConfigScanBufferUnits units; an odd last byte
// is not a unit and is dropped.
void read_utf16(FILE* f, LineScanner& scanner) {
  unsigned char raw[kConfigScanBufferUnits * 2];
  char16_t units[kConfigScanBufferUnits];
  size_t got;
  while ((got = fread(raw, 2, kConfigScanBufferUnits, f)) > 0) {
    DecodeUtf16Le(raw, got, units);
    scanner.Feed(units, got);
  }
}

// Locale bytes, each 1024-byte chunk converted by itself: a multibyte
// character cut by a chunk boundary makes both chunks invalid. A chunk that
// does not convert ends the read (false); what was scanned before stays.
// mbstowcs stops at a zero byte, so a chunk that begins with one adds nothing.
bool read_locale_bytes(FILE* f, LineScanner& scanner) {
  char chunk[kByteChunk];
  char16_t units[kByteChunkUnits];
  size_t got;
  while ((got = fread(chunk, 1, kByteChunk, f)) > 0) {
    int count = locale_to_units(chunk, got, units, kByteChunkUnits);
    if (count <= 0) {
      if (chunk[0] != '\0') return false;
      continue;
    }
    scanner.Feed(units, std::min(static_cast<size_t>(count), kByteChunkUnits));
  }
  return true;
}

void write_list(const TextString& path, const ConfigList& list) {
  FilePtr f(fopen(ToLocaleBytes(path).c_str(), "wt"));
  if (!f) throw static_cast<int>(kCannotOpen);
  for (const ConfigEntry& entry : list) {
    ByteString key = ToLocaleBytes(entry.key);
    for (const TextString& value : entry.values) {
      if (fprintf(f.get(), "%s=%s", key.c_str(), ToLocaleBytes(value).c_str()) < 0) {
        throw static_cast<int>(kWriteFailed);  // the FilePtr closes the file
      }
      fputc('\n', f.get());
    }
  }
}

TextString parent_directory(const TextString& path) {
  size_t slash = path.rfind(u'/');
  size_t backslash = path.rfind(u'\\');
  size_t cut = slash == TextString::npos ? backslash
             : backslash == TextString::npos ? slash
             : std::max(slash, backslash);
  return cut == TextString::npos ? TextString() : path.substr(0, cut);
}

// Writes config.user to its file. Throws kCannotOpen or kWriteFailed.
void write_user(const LauncherConfig& config) {
  TextString path = user_config_path(config.legacy_dir);
  if (!PathExists(path)) MakeDirectories(parent_directory(path));
  // The launcher may have left a UTF-16 file; it is rewritten in the locale's
  // bytes all the same, which the launcher reads too.
  (void)ConfigFileStartsAsUtf16(path);
  write_list(path, config.user);
}

// The one retry after a failed write: make the launcher's directories under
// the platform home, spelt as the launcher itself makes them, and write again.
void retry_write_user(const LauncherConfig& config) {
  TextString base = platform_home() + u"\\Vesk";
  MakeDirectories(base);
  MakeDirectories(base + launcher_dir(config.legacy_dir));
  write_user(config);
}

void set_templates(ConfigList& list, const std::vector<TextString>& values) {
  TextString key = templates_key();
  NoCaseNeedle needle(key);
  auto it = std::find_if(list.begin(), list.end(),
                         [&](const ConfigEntry& e) { return needle.Matches(e.key); });
  if (it == list.end()) {
    if (!values.empty()) list.push_back(ConfigEntry{key, values});
  } else if (values.empty()) {
    list.erase(it);
  } else {
    it->values = values;
  }
}

}  // namespace

TextString common_config_path(uint32_t legacy_dir) {
  TextString base = legacy_dir ? ExpandHome() : platform_home();
  return base + u"/" + kLauncherDir + u"/" + kConfigFileName;
}

TextString user_config_path(uint32_t legacy_dir) {
  return ExpandHome() + u"/" + launcher_dir(legacy_dir) + u"/" + kConfigFileName;
}

void read_config_file(const TextString& path, ConfigList& list) {
  try {
    FilePtr f(fopen_text(path, TextString(u"rt, ccs=UNICODE")));
    if (!f) {
      // The second open names UTF-8 for a libc that wants it; whatever it
      // yields counts as an empty file and is closed at once.
      FILE* fallback = fopen(ToLocaleBytes(path).c_str(), "rt, ccs=UTF-8");
      if (fallback != nullptr) fclose(fallback);
      return;
    }
    LineScanner scanner(list);
    bool whole = true;
    if (DetectConfigTextKind(f.get()) == ConfigTextKind::kUtf16) {
      read_utf16(f.get(), scanner);
    } else {
      whole = read_locale_bytes(f.get(), scanner);
    }
    // A file that broke off leaves its unfinished last line out.
    if (whole) scanner.FinishFile();
  } catch (...) {
    // Reading never fails loudly; the list keeps what was added.
  }
}

void load(LauncherConfig& config) {
  read_config_file(common_config_path(config.legacy_dir), config.common);
  read_config_file(user_config_path(config.legacy_dir), config.user);
}

bool add_value(ConfigList& list, const TextString& key, const TextString& value) {
  NoCaseNeedle key_needle(key);
  NoCaseNeedle value_needle(value);
  ConfigEntry* last = nullptr;
  for (ConfigEntry& entry : list) {
    if (!key_needle.Matches(entry.key)) continue;
    for (const TextString& v : entry.values) {
      if (value_needle.Matches(v)) return false;
    }
    last = &entry;
  }
  if (last != nullptr) {
    last->values.push_back(value);
  } else {
    list.push_back(ConfigEntry{key, {value}});
  }
  return true;
}

std::vector<TextString> get_values(const LauncherConfig& config, const TextString& key,
                                   uint32_t include_all) {
  const ConfigList* const all_first[] = {&config.user, &config.common, &config.extra, &config.user};
  const ConfigList* const extra_first[] = {&config.extra, &config.common, &config.user, &config.user};
  std::vector<TextString> values;
  for (const ConfigList* list : include_all ? all_first : extra_first) {
    const ConfigEntry* entry = find_entry(*list, key);
    if (entry == nullptr) continue;
    for (const TextString& v : entry->values) {
      if (!contains_nocase(values, v)) values.push_back(v);
    }
  }
  const TextString backslash(u"\\");
  const TextString slash(u"/");
  for (TextString& v : values) v.replace_all(backslash, slash);
  terminate_and_dedupe(values);
  return values;
}

bool set_values_and_save(LauncherConfig& config, const std::vector<TextString>& values) {
  try {
    load(config);
    std::vector<TextString> normalised = values;
    terminate_and_dedupe(normalised);
    set_templates(config.user, normalised);
    try {
      write_user(config);
      return true;
    } catch (int) {
      retry_write_user(config);
      return true;
    }
  } catch (...) {
    // A failed retry is not reported: the installation has succeeded anyway.
    return false;
  }
}

void read_template_locations(std::vector<TextString>& out, uint32_t legacy_dir) {
  try {
    LauncherConfig config;
    config.legacy_dir = legacy_dir;
    load(config);
    out = get_values(config, templates_key(), 1);
  } catch (...) {
    out.clear();
  }
}

bool save_template_locations(const std::vector<TextString>& list, uint32_t legacy_dir) {
  LauncherConfig config;
  config.legacy_dir = legacy_dir;
  return set_values_and_save(config, list);
}

}  // namespace kitsetup
