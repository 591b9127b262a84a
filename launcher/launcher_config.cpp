#include "launcher/launcher_config.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <strings.h>
#include <unistd.h>

#include <climits>
#include <cstring>

#include <algorithm>
#include <memory>
#include <string>

#include "core/directory_listing.h"
#include "core/encoding.h"
#include "core/error_codes.h"
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
constexpr size_t kByteChunk = kConfigByteChunk;
constexpr size_t kByteChunkUnits = 4096;
// The most bytes of a character cut by a chunk boundary that are carried
// into the next chunk.
constexpr size_t kMaxCarry = MB_LEN_MAX - 1;

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

// How far one file's read has come.
struct ReadState {
  uint64_t total = 0;      // bytes read so far
  bool whole = true;       // every byte so far became the same text
  bool broke_off = false;  // the read ended before the end of the file
};

// Reads up to `want` bytes; 0 at the end of the file, after a read error or
// once the file has passed kMaxConfigFileBytes (the read then broke off).
size_t read_bounded(FILE* f, void* into, size_t want, ReadState& state) {
  const size_t got = fread(into, 1, want, f);
  state.total += got;
  if ((got < want && ferror(f)) || state.total > kMaxConfigFileBytes) {
    state.whole = false;
    state.broke_off = true;
    return 0;
  }
  return got;
}

// UTF-16LE in reads of up to kConfigScanBufferUnits units; an odd last byte
// is not a unit and is dropped (it cannot hold a setting).
void read_utf16(FILE* f, LineScanner& scanner, ReadState& state) {
  unsigned char raw[kConfigScanBufferUnits * 2];
  char16_t units[kConfigScanBufferUnits];
  size_t got;
  while ((got = read_bounded(f, raw, sizeof raw, state) / 2) > 0) {
    DecodeUtf16Le(raw, got, units);
    scanner.Feed(units, got);
  }
}

// Converts the first `len` bytes of `bytes`, which hold no zero byte. A
// multibyte character cut by the end of the buffer does not convert, so the
// shortest tail whose removal lets the rest convert is left out: its length
// goes to `carry`. Returns the units written, or -1 when no cut makes the
// bytes valid (they are not text in the locale).
int convert_joining(const char* bytes, size_t len, char16_t* units, size_t& carry) {
  carry = 0;
  for (size_t cut = 0; cut <= kMaxCarry && cut < len; ++cut) {
    const int count = locale_to_units(bytes, len - cut, units, kByteChunkUnits);
    if (count > 0) {
      carry = cut;
      return count;
    }
  }
  // A buffer too short to tell (only at the end of the file): all carried.
  if (len <= kMaxCarry) {
    carry = len;
    return 0;
  }
  return -1;
}

// Locale bytes in 1024-byte chunks. A multibyte character that a chunk
// boundary cuts is carried over and joined with its remaining bytes from the
// next chunk. Bytes that are not text end the read: lines finished before
// them are kept and the read breaks off. Within a chunk the text ends at its
// first zero byte, as mbstowcs has it, and a character the conversion does
// not give back byte for byte (one beyond U+FFFF) is changed: the file is
// still scanned to its end, but it is not read whole.
void read_locale_bytes(FILE* f, LineScanner& scanner, ReadState& state) {
  char bytes[kMaxCarry + kByteChunk];
  char16_t units[kByteChunkUnits];
  size_t carry = 0;
  size_t got;
  while ((got = read_bounded(f, bytes + carry, kByteChunk, state)) > 0) {
    size_t len = carry + got;
    carry = 0;
    if (const void* zero = memchr(bytes, '\0', len)) {
      len = static_cast<size_t>(static_cast<const char*>(zero) - bytes);
      state.whole = false;
    }
    if (len == 0) continue;
    const int count = convert_joining(bytes, len, units, carry);
    if (count < 0) break;
    const size_t converted = len - carry;
    const TextString text(units, static_cast<size_t>(count));
    const ByteString back = ToLocaleBytes(text);
    if (back.length() != converted || memcmp(back.c_str(), bytes, converted) != 0) state.whole = false;
    scanner.Feed(units, static_cast<size_t>(count));
    memmove(bytes, bytes + converted, carry);
  }
  // Bytes that are not text, or a file that ends inside a character.
  if (carry > 0 || got > 0) {
    state.whole = false;
    state.broke_off = true;
  }
}

// Where the new file goes: beside the file the path names, following a
// symbolic link, so that a link the user made stays a link.
std::string write_target(const TextString& path) {
  std::string target = ToLocaleBytes(path).c_str();
  if (char* resolved = realpath(target.c_str(), nullptr)) {
    target = resolved;
    free(resolved);
  }
  return target;
}

// Makes the new file beside `target`, never one that is already there,
// with the permissions any new file gets (the umask applies).
int create_beside(const std::string& target, std::string& temp) {
  for (int n = 0; n < 100; ++n) {
    temp = target + ".new" + std::to_string(getpid()) + "-" + std::to_string(n);
    const int fd = open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd >= 0 || errno != EEXIST) return fd;
  }
  return -1;
}

// Writes `list` to a new file beside `path`, flushes and closes it, checking
// every result, and renames it over the old file: a full disk or a crash
// leaves the old file whole. The new file takes the old one's mode (and its
// owner where that is allowed). Throws kCannotOpen when the new file cannot
// be made and kWriteFailed when any later step fails; the new file is then
// removed.
void write_list(const TextString& path, const ConfigList& list) {
  const std::string target = write_target(path);
  std::string temp;
  const int fd = create_beside(target, temp);
  if (fd < 0) throw static_cast<int>(kCannotOpen);
  struct stat old;
  if (stat(target.c_str(), &old) == 0) {
    (void)fchown(fd, old.st_uid, old.st_gid);
    (void)fchmod(fd, old.st_mode & 07777);
  }
  FILE* f = fdopen(fd, "w");
  bool ok = f != nullptr;
  if (!ok) close(fd);
  for (size_t i = 0; ok && i < list.size(); ++i) {
    // A line that does not convert (a UTF-16 file's surrogates, say) cannot
    // be written as it was.
    ByteString key;
    ok = ToLocaleBytesExactly(list[i].key, key);
    for (size_t v = 0; ok && v < list[i].values.size(); ++v) {
      ByteString value;
      ok = ToLocaleBytesExactly(list[i].values[v], value) &&
           fprintf(f, "%s=%s", key.c_str(), value.c_str()) >= 0 && fputc('\n', f) != EOF;
    }
  }
  if (ok) ok = fflush(f) == 0 && fsync(fileno(f)) == 0;
  if (f != nullptr && fclose(f) != 0) ok = false;
  if (ok) ok = rename(temp.c_str(), target.c_str()) == 0;
  if (!ok) {
    unlink(temp.c_str());
    throw static_cast<int>(kWriteFailed);
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

bool read_config_file(const TextString& path, ConfigList& list) {
  try {
    FilePtr f(fopen_text(path, TextString(u"rt, ccs=UNICODE")));
    if (!f) {
      // The second open names UTF-8 for a libc that wants it; whatever it
      // yields counts as an empty file and is closed at once.
      FILE* fallback = fopen(ToLocaleBytes(path).c_str(), "rt, ccs=UTF-8");
      if (fallback != nullptr) fclose(fallback);
      // A file that is there but cannot be opened has settings we never saw.
      return !PathExists(path);
    }
    LineScanner scanner(list);
    ReadState state;
    if (DetectConfigTextKind(f.get()) == ConfigTextKind::kUtf16) {
      read_utf16(f.get(), scanner, state);
    } else {
      read_locale_bytes(f.get(), scanner, state);
    }
    // A file that broke off leaves its unfinished last line out.
    if (!state.broke_off) scanner.FinishFile();
    return state.whole;
  } catch (...) {
    // Reading never fails loudly; the list keeps what was added.
    return false;
  }
}

bool load(LauncherConfig& config) {
  read_config_file(common_config_path(config.legacy_dir), config.common);
  return read_config_file(user_config_path(config.legacy_dir), config.user);
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

uint32_t set_values_and_save(LauncherConfig& config, const std::vector<TextString>& values) {
  try {
    // Writing back a file that was not read whole would drop what was not read.
    if (!load(config)) return kErrInvalidData;
    std::vector<TextString> normalised = values;
    terminate_and_dedupe(normalised);
    set_templates(config.user, normalised);
    try {
      write_user(config);
    } catch (int) {
      retry_write_user(config);
    }
    return kOk;
  } catch (...) {
    // A failed retry is not shown to the user: the installation has
    // succeeded anyway. The old file is still whole.
    return kErrCannotCreate;
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

uint32_t save_template_locations(const std::vector<TextString>& list, uint32_t legacy_dir) {
  LauncherConfig config;
  config.legacy_dir = legacy_dir;
  return set_values_and_save(config, list);
}

}  // namespace kitsetup
