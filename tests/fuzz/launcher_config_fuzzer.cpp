// Arbitrary bytes as a launcher configuration file, through the real reader.
// The first input byte picks the encoding: odd puts the UTF-16LE mark in
// front of the remaining bytes, even writes them as they are (so inputs that
// begin with FF FE themselves reach the UTF-16 path too).
#include <stdlib.h>
#include <strings.h>

#include <cstdint>
#include <string>
#include <vector>

#include "core/encoding.h"
#include "fuzz/fuzz_scratch.h"
#include "launcher/launcher_config.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  setenv("LC_ALL", "C.UTF-8", 1);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string bytes = size > 0 && (data[0] & 1) ? "\xFF\xFE" : "";
  if (size > 0) bytes.append(reinterpret_cast<const char*>(data) + 1, size - 1);
  const auto* start = reinterpret_cast<const uint8_t*>(bytes.data());
  const std::string path = fuzzscratch::WriteInput("veskstart.cfg", start, bytes.size());

  kitsetup::ConfigList list;
  kitsetup::read_config_file(testsupport::Text(path), list);

  // What the reader promises: keys unique, and each key's values unique,
  // under the case-insensitive comparison; no entry without a value.
  const auto expect_unique = [](const std::vector<kitsetup::TextString>& texts) {
    for (size_t a = 0; a < texts.size(); ++a) {
      for (size_t b = a + 1; b < texts.size(); ++b) {
        if (strcasecmp(kitsetup::ToLocaleBytes(texts[a]).c_str(), kitsetup::ToLocaleBytes(texts[b]).c_str()) == 0)
          abort();
      }
    }
  };
  std::vector<kitsetup::TextString> keys;
  for (const auto& entry : list) {
    if (entry.values.empty()) abort();
    keys.push_back(entry.key);
    expect_unique(entry.values);
  }
  expect_unique(keys);

  // Normalisation of whatever was read: every value ends in a separator.
  if (!list.empty()) {
    kitsetup::LauncherConfig config;
    config.user = list;
    for (const auto& v : kitsetup::get_values(config, list.front().key, 1)) {
      if (!v.ends_with(u'\\') && !v.ends_with(u'/')) abort();
    }
  }
  return 0;
}
