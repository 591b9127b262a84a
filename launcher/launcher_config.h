// launcher/launcher_config.h: the platform launcher's configuration files
// ("veskstart.cfg"), their in-memory model, the reader and the writer.
//
// The launcher folder knows where the launcher keeps its settings and which
// template directories they name. It uses core/ only (strings, encodings,
// home, file-system operations) and never shows anything to the user:
// reading a missing or broken file gives an empty list, and a failed write is
// swallowed, because by then the installation itself has already succeeded.
// The user's settings are never lost on the way: a file that could not be
// read to its end is not written back, and a write goes to a new file that
// replaces the old one only once it is complete on disk.
//
// File format: one "key=value" per line, split at the first "="; lines end at
// LF only (a CR stays part of the text); a repeated key collects several
// values; an empty line is skipped. The file is read as UTF-16LE when it
// starts with a byte-order mark, otherwise as the locale's bytes, and it is
// always written in the locale's bytes, without a mark.
#ifndef KITSETUP_LAUNCHER_LAUNCHER_CONFIG_H
#define KITSETUP_LAUNCHER_LAUNCHER_CONFIG_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/text_string.h"

namespace kitsetup {

// One key and its values, in file order.
struct ConfigEntry {
  TextString key;
  std::vector<TextString> values;
};

// Keys are unique under compare_nocase, and so are a key's values.
using ConfigList = std::vector<ConfigEntry>;

struct LauncherConfig {
  ConfigList user;    // the launcher's own file; the only list written back
  ConfigList common;  // the second file read
  ConfigList extra;   // consulted by lookups, never filled
  uint32_t legacy_dir = 0;  // 1 selects the ".Vesk/veskstartt" pair of files
};

// The known keys, in the launcher's own order. Only
// kConfigKeys[kTemplatesLocationKey] is read or written here; the others are
// kept with their values and written back unchanged.
constexpr size_t kConfigKeyCount = 7;
extern const char16_t* const kConfigKeys[kConfigKeyCount];
constexpr size_t kTemplatesLocationKey = 6;  // "ConfigurationTemplatesLocation"

// Units the reader collects before handing them on to a key or a value; a
// full buffer is handed on and reused, so long keys and values are kept
// whole. UTF-16 files are also read in pieces of this many units.
constexpr size_t kConfigScanBufferUnits = 2048;

// The byte reader converts chunks of this many bytes, joining a character
// that a chunk boundary cuts.
constexpr size_t kConfigByteChunk = 1024;

// A launcher file is a few lines; reading stops after this many bytes, so a
// link to an endless device ends quickly, and such a file is not read whole.
constexpr uint64_t kMaxConfigFileBytes = 16u << 20;

// Where the files lie (plain concatenation on ExpandHome()):
//   common, legacy 0: Home + "/.mivo//.Vesk/veskstart/veskstart.cfg"
//   common, legacy 1: Home + "/.Vesk/veskstart/veskstart.cfg"
//   user,   legacy 0: Home + "/.Vesk/veskstart/veskstart.cfg"
//   user,   legacy 1: Home + "/.Vesk/veskstartt/veskstart.cfg"
// The doubled "/" and the doubled "t" are the launcher's own names.
TextString common_config_path(uint32_t legacy_dir);
TextString user_config_path(uint32_t legacy_dir);

// Reads one file and adds its lines to `list` with add_value. Never fails
// loudly: a missing or unreadable file leaves `list` as it was, and a file
// that breaks off (bytes not valid in the locale, a read error) leaves the
// lines finished before the break. Returns whether the file was read whole,
// so that writing `list` back would lose nothing: true for a missing file;
// false for one that is there but cannot be opened, breaks off, is longer
// than kMaxConfigFileBytes, holds a zero byte or a character the text type
// cannot keep.
bool read_config_file(const TextString& path, ConfigList& list);

// Fills config.common, then config.user, from the files legacy_dir selects.
// Returns whether the user file was read whole (see read_config_file).
bool load(LauncherConfig& config);

// Adds `value` to the last entry whose key equals `key` (case-insensitively),
// or appends a new entry. False, and nothing added, when that key already
// holds the value (case-insensitively).
bool add_value(ConfigList& list, const TextString& key, const TextString& value);

// The values of `key` from user, common, extra, user (include_all != 0) or
// extra, common, user, user (include_all == 0), first spelling kept; then
// every "\" becomes "/", a "\" is appended to a value that ends in neither
// "\" nor "/", and values equal to an earlier one are dropped.
std::vector<TextString> get_values(const LauncherConfig& config, const TextString& key,
                                   uint32_t include_all);

// Loads the files again, stores `values` (a "\" appended where no separator
// ends one, duplicates dropped; backslashes are kept) as the values of
// ConfigurationTemplatesLocation in config.user, and writes config.user back,
// retrying once after making directories. An empty `values` removes the key.
// No failure escapes. Returns 0 when the file was written; 13 when the user
// file was not read whole and is left as it was; 1013 when writing failed
// twice (the old file, if any, is whole).
uint32_t set_values_and_save(LauncherConfig& config, const std::vector<TextString>& values);

// The two entry points of the rest of the system. Each works on a fresh
// LauncherConfig and drops it afterwards; nothing is cached between calls.
// read_template_locations replaces `out` with the normalised template
// directories (empty when there are none or nothing is readable).
void read_template_locations(std::vector<TextString>& out, uint32_t legacy_dir);
// The result of set_values_and_save for the user file of legacy_dir.
uint32_t save_template_locations(const std::vector<TextString>& list, uint32_t legacy_dir);

}  // namespace kitsetup

#endif  // KITSETUP_LAUNCHER_LAUNCHER_CONFIG_H
