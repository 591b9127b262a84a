// install/copy_entry.cpp: copying one entry's bytes out of the staging file.
#include <algorithm>

#include "core/error_codes.h"
#include "install/install_job.h"
#include "kit/distribution_kit.h"
#include "kit/file_handle.h"

namespace kitsetup {

uint32_t CopyEntry(DistributionKit& kit, size_t index, const TextString& target) {
  const KitEntry& entry = kit.entries[index];
  FileHandle out = kNoHandle;
  // Created when missing, not truncated: an old tail is cut off at the end.
  uint32_t code = OpenFileHandle(target, kAccessWrite, 0, kDispositionCreate, &out);
  if (out == kNoHandle) return code != kOk ? code : kErrInvalidParameter;

  // The offset is unsigned; passing the (zero) high half keeps offsets past
  // 2 GiB from being read as negative.
  int32_t high = 0;
  if (SeekFileHandle(kit.dataHandle, static_cast<int32_t>(entry.dataOffset), &high, kSeekBegin) ==
      0xFFFFFFFFu) {
    // A failed lseek leaves the last error at 0, so the entry counts as copied.
    code = LastFileError();
    CloseFileHandle(out);
    return code;
  }

  uint32_t remaining = entry.dataSize;
  while (remaining != 0) {
    uint32_t got = 0;
    // Ask for no more than the entry still needs: a small file must not pull
    // a whole buffer's worth of its neighbours through the kernel. The bytes
    // written are the same, min(bytesRead, remaining).
    const uint32_t want = std::min(kit.copyBufferSize, remaining);
    if (ReadFileHandle(kit.dataHandle, kit.copyBuffer, want, &got, nullptr) != kOk) {
      code = LastFileError();
      CloseFileHandle(out);
      return code;
    }
    // The unpacked kit ended before the entry's data: it is damaged. Without
    // this the loop would never end.
    if (got == 0) {
      CloseFileHandle(out);
      return kErrInvalidData;
    }
    uint32_t take = std::min(got, remaining);
    uint32_t written = 0;
    if (WriteFileHandle(out, kit.copyBuffer, take, &written, nullptr) != kOk) {
      code = LastFileError();
      CloseFileHandle(out);
      return code;
    }
    remaining -= take;
  }

  TruncateFileHandle(out);
  SetFileHandleTime(out, nullptr, nullptr, &entry.writeTime);
  CloseFileHandle(out);
  return kOk;
}

}  // namespace kitsetup
