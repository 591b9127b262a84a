// install/copy_entry.cpp: copying one entry's bytes out of the staging file.
#include <algorithm>

#include "core/error_codes.h"
#include "install/install_job.h"
#include "kit/distribution_kit.h"
#include "kit/file_handle.h"

namespace kitsetup {
namespace {

// Closes `out` and returns `code`: the copy already failed.
uint32_t Abandon(FileHandle out, uint32_t code) {
  CloseFileHandle(out);
  return code;
}

}  // namespace

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
    // A failed lseek leaves the last error at 0; the entry is not copied all
    // the same, so the run must not count it as done.
    code = LastFileError();
    return Abandon(out, code != kOk ? code : kErrInvalidParameter);
  }

  uint32_t remaining = entry.dataSize;
  while (remaining != 0) {
    uint32_t got = 0;
    // Ask for no more than the entry still needs: a small file must not pull
    // a whole buffer's worth of its neighbours through the kernel. The bytes
    // written are the same, min(bytesRead, remaining).
    const uint32_t want = std::min(kit.copyBufferSize, remaining);
    if (ReadFileHandle(kit.dataHandle, kit.copyBuffer, want, &got, nullptr) != kOk)
      return Abandon(out, LastFileError());
    // The unpacked kit ended before the entry's data: it is damaged. Without
    // this the loop would never end.
    if (got == 0) return Abandon(out, kErrInvalidData);
    uint32_t take = std::min(got, remaining);
    uint32_t written = 0;
    if (WriteFileHandle(out, kit.copyBuffer, take, &written, nullptr) != kOk)
      return Abandon(out, LastFileError());
    // The layer reports every write as done; only bytesWritten tells a full
    // disk (short) or a failed write (all bits set).
    if (written != take) return Abandon(out, kErrInvalidParameter);
    remaining -= take;
  }

  if (TruncateFileHandle(out) != kOk) return Abandon(out, LastFileError());
  SetFileHandleTime(out, nullptr, nullptr, &entry.writeTime);
  // SetFileHandleTime left the last error at 0, and a successful close
  // leaves it so: anything else is a close that failed (data not written).
  CloseFileHandle(out);
  code = LastFileError();
  return code;
}

}  // namespace kitsetup
