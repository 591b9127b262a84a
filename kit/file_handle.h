// kit/file_handle.h: a small handle-based file layer over POSIX, through which
// all kit and copy data flows. Results are the system's codes; the layer keeps
// one process-wide last error (not per thread). Its quirks are relied upon:
// a short read at end of file is success, every write reports success (only
// bytesWritten shows a shortfall), and a failing lseek leaves the last error 0.
//
// The kit folder may use core only.
#ifndef KITSETUP_KIT_FILE_HANDLE_H
#define KITSETUP_KIT_FILE_HANDLE_H

#include <cstdint>

#include "core/text_string.h"

namespace kitsetup {

using FileHandle = int64_t;
constexpr FileHandle kNoHandle = -1;

enum : uint32_t {
  kAccessRead = 0x80000000u,
  kAccessWrite = 0x40000000u,
  kAccessReadWrite = 0xC0000000u,
};
enum : uint32_t {
  kDispositionCreate = 2,          // O_CREAT, no truncation
  kDispositionOpenExisting = 3,
  kDispositionTruncateExisting = 5,
};
enum : uint32_t { kSeekBegin = 0, kSeekCurrent = 1, kSeekEnd = 2 };

// 0, or 2 (ENOENT) / 87; `handle` is untouched on failure.
uint32_t OpenFileHandle(const TextString& path, uint32_t access, uint32_t share,
                        uint32_t disposition, FileHandle* handle);
// Returns the low 32 bits of the new position (0xFFFFFFFF on failure); the
// high bits go through `high` when given.
uint32_t SeekFileHandle(FileHandle handle, int32_t low, int32_t* high, uint32_t origin);
uint32_t ReadFileHandle(FileHandle handle, void* buffer, uint32_t size, uint32_t* bytes_read,
                        void* reserved);
uint32_t WriteFileHandle(FileHandle handle, const void* buffer, uint32_t size,
                         uint32_t* bytes_written, void* reserved);
void CloseFileHandle(FileHandle handle);
uint32_t LastFileError();
uint32_t GetFileHandleTimes(FileHandle handle, uint64_t* creation, uint64_t* access,
                            uint64_t* write);
uint32_t SetFileHandleTime(FileHandle handle, const uint64_t* creation, const uint64_t* access,
                           const uint64_t* write);
uint32_t TruncateFileHandle(FileHandle handle);

int64_t FileTimeToUnixSeconds(uint64_t file_time);
uint64_t UnixSecondsToFileTime(int64_t seconds);

// Test seam: when set, OpenFileHandle asks the hook first; a non-zero answer
// becomes the last error and the result, and nothing is opened.
using OpenFaultHook = uint32_t (*)(const TextString& path, uint32_t access, uint32_t disposition);
void SetOpenFaultHook(OpenFaultHook hook);

}  // namespace kitsetup

#endif
