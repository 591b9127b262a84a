// kit/kit_entry.h: one entry of a loaded kit seen from outside the installer:
// the relative path it names and its bytes in the staging file, for tools
// that list, hash, compare or extract entries without installing them.
#ifndef KITSETUP_KIT_KIT_ENTRY_H
#define KITSETUP_KIT_KIT_ENTRY_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "core/text_string.h"
#include "kit/distribution_kit.h"

namespace kitsetup {

// The entry's name as a relative path with "/": "\" turned into "/",
// leading and repeated separators dropped ("\Docs\\a.htm" gives "Docs/a.htm").
TextString EntryRelativePath(const TextString& name);

// Feeds the entry's bytes, in order and in pieces of at most
// kit.copyBufferSize, to `sink`, which returns false to stop. Reads the open
// staging file of a loaded kit through the file layer. 0; the layer's code
// when a seek or read fails; 13 when the staging file ends before the entry
// does; 1223 when the sink stopped.
uint32_t ReadEntryData(const DistributionKit& kit, const KitEntry& entry,
                       const std::function<bool(const unsigned char* data, size_t size)>& sink);

// The SHA-256 of the entry's bytes, as 64 hexadecimal digits in `hex`.
// 0, or as ReadEntryData.
uint32_t EntrySha256(const DistributionKit& kit, const KitEntry& entry, std::string& hex);

}  // namespace kitsetup

#endif
