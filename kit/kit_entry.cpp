#include "kit/kit_entry.h"

#include <algorithm>

#include "core/error_codes.h"
#include "core/sha256.h"
#include "kit/file_handle.h"

namespace kitsetup {

TextString EntryRelativePath(const TextString& name) {
  TextString path;
  for (size_t i = 0; i < name.length(); ++i) {
    char16_t c = name[i] == u'\\' ? u'/' : name[i];
    if (c == u'/' && (path.empty() || path.back() == u'/')) continue;
    path.push_back(c);
  }
  return path;
}

uint32_t ReadEntryData(const DistributionKit& kit, const KitEntry& entry,
                       const std::function<bool(const unsigned char* data, size_t size)>& sink) {
  // The offset is unsigned: the zero high half keeps offsets past 2 GiB
  // from being read as negative.
  int32_t high = 0;
  if (SeekFileHandle(kit.dataHandle, static_cast<int32_t>(entry.dataOffset), &high, kSeekBegin) == 0xFFFFFFFFu) {
    // A failed lseek leaves the last error at 0.
    return LastFileError() != kOk ? LastFileError() : kErrInvalidParameter;
  }
  uint32_t remaining = entry.dataSize;
  while (remaining != 0) {
    uint32_t got = 0;
    const uint32_t want = std::min(kit.copyBufferSize, remaining);
    if (ReadFileHandle(kit.dataHandle, kit.copyBuffer, want, &got, nullptr) != kOk) return LastFileError();
    if (got == 0) return kErrInvalidData;
    const uint32_t take = std::min(got, remaining);
    if (!sink(kit.copyBuffer, take)) return kErrCancelled;
    remaining -= take;
  }
  return kOk;
}

uint32_t EntrySha256(const DistributionKit& kit, const KitEntry& entry, std::string& hex) {
  Sha256 hash;
  uint32_t code = ReadEntryData(kit, entry, [&hash](const unsigned char* data, size_t size) {
    hash.Update(data, size);
    return true;
  });
  hex = code == kOk ? hash.HexDigest() : std::string();
  return code;
}

}  // namespace kitsetup
