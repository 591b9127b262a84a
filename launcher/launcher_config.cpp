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

// Equality under compare_nocase is strcasecmp of the locale bytes. Every
// conversion brackets setlocale, which costs microseconds, so each text is
// converted once and the byte forms are compared; without that a file of a
// few thousand lines took seconds.
bool same_nocase(const ByteString& a, const ByteString& b) {
  return strcasecmp(a.c_str(), b.c_str()) == 0;
}

// Texts seen so far, in their byte forms.
class NoCaseSet {
 public:
  bool Contains(const ByteString& bytes) const {
    return std::any_of(items_.begin(), items_.end(),
                       [&](const ByteString& item) { return same_nocase(item, bytes); });
  }
  void Add(ByteString bytes) { items_.push_back(std::move(bytes)); }
  // True, and remembered, when no equal text was there.
  bool Insert(const TextString& text) {
    ByteString bytes = ToLocaleBytes(text);
    if (Contains(bytes)) return false;
    Add(std::move(bytes));
    return true;
  }

 private:
  std::vector<ByteString> items_;
};

// A ConfigList with the byte forms of its keys and values beside it, so that
// adding many lines does not convert the whole list again for each one.
class IndexedList {
 public:
  explicit IndexedList(ConfigList& list) : list_(list) {
    for (const ConfigEntry& entry : list_) {
      keys_.push_back(ToLocaleBytes(entry.key));
      values_.emplace_back();
      for (const TextString& v : entry.values) values_.back().Add(ToLocaleBytes(v));
    }
  }

  // The add_value rule: refuse a value the key already holds, else append
  // it to the last entry of that key, else append a new entry.
  bool Add(const TextString& key, const TextString& value) {
    ByteString key_bytes = ToLocaleBytes(key);
    ByteString value_bytes = ToLocaleBytes(value);
    size_t last = kNone;
    for (size_t i = 0; i < keys_.size(); ++i) {
      if (!same_nocase(keys_[i], key_bytes)) continue;
      if (values_[i].Contains(value_bytes)) return false;
      last = i;
    }
    if (last == kNone) {
      list_.push_back(ConfigEntry{key, {}});
      keys_.push_back(std::move(key_bytes));
      values_.emplace_back();
      last = list_.size() - 1;
    }
    list_[last].values.push_back(value);
    values_[last].Add(std::move(value_bytes));
    return true;
  }

 private:
  static constexpr size_t kNone = static_cast<size_t>(-1);
  ConfigList& list_;
  std::vector<ByteString> keys_;
  std::vector<NoCaseSet> values_;
};

const ConfigEntry* find_entry(const ConfigList& list, const TextString& key) {
  ByteString wanted = ToLocaleBytes(key);
  for (const ConfigEntry& entry : list) {
    if (same_nocase(ToLocaleBytes(entry.key), wanted)) return &entry;
  }
  return nullptr;
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
  NoCaseSet seen;
  for (TextString& v : values) {
    if (seen.Insert(v)) kept.push_back(std::move(v));
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
    if (!key_.empty() || !value_.empty()) list_.Add(key_, value_);
    key_.clear();
    value_.clear();
    state_ = kKey;
  }

  IndexedList list_;
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
  ByteString wanted = ToLocaleBytes(key);
  auto it = std::find_if(list.begin(), list.end(),
                         [&](const ConfigEntry& e) { return same_nocase(ToLocaleBytes(e.key), wanted); });
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
  return IndexedList(list).Add(key, value);
}

std::vector<TextString> get_values(const LauncherConfig& config, const TextString& key,
                                   uint32_t include_all) {
  const ConfigList* const all_first[] = {&config.user, &config.common, &config.extra, &config.user};
  const ConfigList* const extra_first[] = {&config.extra, &config.common, &config.user, &config.user};
  std::vector<TextString> values;
  NoCaseSet taken;
  for (const ConfigList* list : include_all ? all_first : extra_first) {
    const ConfigEntry* entry = find_entry(*list, key);
    if (entry == nullptr) continue;
    for (const TextString& v : entry->values) {
      if (taken.Insert(v)) values.push_back(v);
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
