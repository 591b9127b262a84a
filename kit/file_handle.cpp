// kit/file_handle.cpp: the handle-based file layer over open/read/write.
//
// The last error is one process-wide value, as the callers expect: they read
// it right after their own call. It is an atomic with relaxed ordering only so
// that two threads touching it are not undefined behaviour; it still gives no
// per-thread guarantee.
#include "kit/file_handle.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include "core/encoding.h"
#include "core/error_codes.h"
#include "core/file_fault.h"

namespace kitsetup {
namespace {

std::atomic<uint32_t> g_last_error{0};
std::atomic<OpenFaultHook> g_open_fault_hook{nullptr};

constexpr uint64_t kUnixEpochAsFileTime = 116444736000000000ull;
constexpr int64_t kSecondsFrom1601To1970 = 11644473600ll;
constexpr uint64_t kTicksPerSecond = 10000000ull;

// Every operation but Close and LastFileError starts from a clean slate.
void ResetError() { g_last_error.store(kOk, std::memory_order_relaxed); }

uint32_t SetError(uint32_t code) {
  g_last_error.store(code, std::memory_order_relaxed);
  return code;
}

// The layer knows only two causes: a missing path, and everything else.
uint32_t SetErrorFromErrno(int error) {
  return SetError(error == ENOENT ? kErrNotFound : kErrInvalidParameter);
}

int Descriptor(FileHandle handle) { return static_cast<int>(handle); }

int OpenFlags(uint32_t access, uint32_t disposition) {
  int flags;
  if (access >= kAccessReadWrite) {
    flags = O_RDWR;
  } else if (access & kAccessWrite) {
    flags = O_WRONLY;
  } else {
    flags = O_RDONLY;
  }
  if (disposition == kDispositionTruncateExisting) flags |= O_TRUNC;
  // Create keeps an existing file's bytes: CopyEntry cuts the old tail only
  // after writing, with TruncateFileHandle.
  if (disposition == kDispositionCreate) flags |= O_CREAT;
  return flags;
}

}  // namespace

void SetOpenFaultHook(OpenFaultHook hook) { g_open_fault_hook.store(hook); }

uint32_t OpenFileHandle(const TextString& path, uint32_t access, uint32_t /*share*/,
                        uint32_t disposition, FileHandle* handle) {
  ResetError();
  if (OpenFaultHook hook = g_open_fault_hook.load()) {
    if (uint32_t injected = hook(path, access, disposition)) return SetError(injected);
  }
  if (handle == nullptr) return SetError(kErrInvalidParameter);
  const ByteString bytes = ToLocaleBytes(path);
  if (access & kAccessWrite) {
    if (const int fault = InjectedFileFault(FileOp::kOpen, bytes.c_str())) return SetErrorFromErrno(fault);
  }
  const int fd = open(bytes.c_str(), OpenFlags(access, disposition), 0660);
  if (fd < 0) return SetErrorFromErrno(errno);
  *handle = fd;
  return kOk;
}

uint32_t SeekFileHandle(FileHandle handle, int32_t low, int32_t* high, uint32_t origin) {
  ResetError();
  if (handle == kNoHandle) {
    SetError(kErrInvalidHandle);
    return 0xFFFFFFFFu;
  }
  // With a high half the low half is an unsigned 32-bit quantity, so every
  // offset below 2^63 can be named; alone it is a signed distance.
  int64_t offset = low;
  if (high != nullptr) {
    offset = static_cast<int64_t>(static_cast<uint32_t>(low)) +
             static_cast<int64_t>(static_cast<uint64_t>(static_cast<int64_t>(*high)) << 32);
  }
  int whence = SEEK_SET;
  if (origin == kSeekCurrent) whence = SEEK_CUR;
  if (origin == kSeekEnd) whence = SEEK_END;
  const off_t position = lseek(Descriptor(handle), static_cast<off_t>(offset), whence);
  // A failing lseek is reported only by the -1; the last error stays 0.
  if (position < 0) return 0xFFFFFFFFu;
  const uint64_t unsigned_position = static_cast<uint64_t>(position);
  if (high != nullptr) *high = static_cast<int32_t>(static_cast<uint32_t>(unsigned_position >> 32));
  return static_cast<uint32_t>(unsigned_position);
}

uint32_t ReadFileHandle(FileHandle handle, void* buffer, uint32_t size, uint32_t* bytes_read,
                        void* reserved) {
  ResetError();
  if (bytes_read == nullptr) {
    return reserved == nullptr ? SetError(kErrInvalidParameter) : kOk;
  }
  *bytes_read = 0;
  char* out = static_cast<char*>(buffer);
  while (*bytes_read < size) {
    const ssize_t n = read(Descriptor(handle), out + *bytes_read, size - *bytes_read);
    if (n < 0) {
      if (errno == EINTR) continue;
      return SetErrorFromErrno(errno);
    }
    if (n == 0) break;  // end of file: a short read is a success
    *bytes_read += static_cast<uint32_t>(n);
  }
  return kOk;
}

uint32_t WriteFileHandle(FileHandle handle, const void* buffer, uint32_t size,
                         uint32_t* bytes_written, void* reserved) {
  ResetError();
  if (bytes_written == nullptr && reserved == nullptr) return SetError(kErrInvalidParameter);
  if (handle == kNoHandle) return SetError(kErrInvalidHandle);
  if (bytes_written == nullptr) return kOk;
  // One write call, and success whatever it did: callers that care look at
  // bytes_written (0xFFFFFFFF after a failed write).
  ssize_t n;
  if (InjectedFileFault(FileOp::kWrite, nullptr) != 0) {
    // An injected fault is a short write (half of it), or a failed one.
    n = size > 1 ? write(Descriptor(handle), buffer, size / 2) : -1;
  } else {
    n = write(Descriptor(handle), buffer, size);
  }
  *bytes_written = static_cast<uint32_t>(n);
  return kOk;
}

void CloseFileHandle(FileHandle handle) {
  const int fault = InjectedFileFault(FileOp::kClose, nullptr);
  if (close(Descriptor(handle)) != 0) SetErrorFromErrno(errno);
  if (fault) SetErrorFromErrno(fault);
}

uint32_t LastFileError() { return g_last_error.load(std::memory_order_relaxed); }

uint32_t GetFileHandleTimes(FileHandle handle, uint64_t* creation, uint64_t* access,
                            uint64_t* write) {
  ResetError();
  struct stat info {};
  if (handle == kNoHandle || fstat(Descriptor(handle), &info) != 0) {
    return SetError(kErrInvalidHandle);
  }
  // Whole seconds only: the copy step compares against kit times that were
  // set the same way, so sub-second parts would only cause needless copies.
  if (creation != nullptr) *creation = UnixSecondsToFileTime(info.st_ctime);
  if (access != nullptr) *access = UnixSecondsToFileTime(info.st_atime);
  if (write != nullptr) *write = UnixSecondsToFileTime(info.st_mtime);
  return kOk;
}

uint32_t SetFileHandleTime(FileHandle handle, const uint64_t* /*creation*/,
                           const uint64_t* /*access*/, const uint64_t* write) {
  ResetError();
  if (handle == kNoHandle) return SetError(kErrInvalidHandle);
  if (write == nullptr) return SetErrorFromErrno(errno);
  struct timeval times[2] {};
  times[0].tv_sec = static_cast<time_t>(FileTimeToUnixSeconds(*write));
  times[1].tv_sec = times[0].tv_sec;
  // Not checked: a file whose time cannot be set is still a copied file.
  (void)futimes(Descriptor(handle), times);
  return kOk;
}

uint32_t TruncateFileHandle(FileHandle handle) {
  ResetError();
  if (handle == kNoHandle) return SetError(kErrInvalidHandle);
  const int fd = Descriptor(handle);
  if (const int fault = InjectedFileFault(FileOp::kTruncate, nullptr)) return SetErrorFromErrno(fault);
  if (ftruncate(fd, lseek(fd, 0, SEEK_CUR)) != 0) return SetErrorFromErrno(errno);
  return kOk;
}

int64_t FileTimeToUnixSeconds(uint64_t file_time) {
  return static_cast<int64_t>(file_time / kTicksPerSecond) - kSecondsFrom1601To1970;
}

uint64_t UnixSecondsToFileTime(int64_t seconds) {
  return static_cast<uint64_t>(seconds) * kTicksPerSecond + kUnixEpochAsFileTime;
}

}  // namespace kitsetup
