#include "kit/distribution_kit.h"

#include <sys/mman.h>
#include <sys/statvfs.h>
#include <zlib.h>

#include <string>
#include <vector>

#include "core/error_codes.h"
#include "core/file_system.h"
#include "kit/kit_parser.h"
#include "kit/kit_validator.h"
#include "kit/staging_file.h"

namespace kitsetup {

namespace {

constexpr uint32_t kChunkSize = 32768;
// How often (in output bytes) inflation looks at the free space left.
constexpr uint64_t kFreeSpaceCheckEvery = uint64_t{4} << 20;
// Consumed input is handed back to the kernel in steps of this size, so the
// mapping of a large kit does not stay resident while later parts inflate.
constexpr uint64_t kReleaseInputEvery = uint64_t{8} << 20;

const volatile std::sig_atomic_t* g_stop_flag = nullptr;

// The mapped kit file; unmapped when done. (The original design left the
// mapping in place until the process ended; unmapping changes nothing that
// can be observed except the memory held.)
class MappedInput {
 public:
  MappedInput(FileHandle handle, uint32_t size) : size_(size) {
    if (size_ == 0) return;  // nothing to map: inflate sees no input
    void* p = mmap(nullptr, size_, PROT_READ, MAP_PRIVATE, static_cast<int>(handle), 0);
    if (p == MAP_FAILED) return;
    data_ = static_cast<unsigned char*>(p);
    madvise(data_, size_, MADV_SEQUENTIAL);
  }
  ~MappedInput() {
    if (data_) munmap(data_, size_);
  }
  MappedInput(const MappedInput&) = delete;
  MappedInput& operator=(const MappedInput&) = delete;

  bool ok() const { return size_ == 0 || data_ != nullptr; }
  unsigned char* data() const { return data_; }

  // Drops the pages before `consumed` from this process's memory; the
  // kernel keeps them cached. Only whole steps are released.
  void ReleaseBefore(uint64_t consumed) {
    if (!data_ || consumed < released_ + kReleaseInputEvery) return;
    uint64_t upto = consumed - consumed % kReleaseInputEvery;
    madvise(data_ + released_, upto - released_, MADV_DONTNEED);
    released_ = upto;
  }

 private:
  unsigned char* data_ = nullptr;
  uint64_t size_;
  uint64_t released_ = 0;
};

bool EnoughFreeSpace(FileHandle output, uint64_t min_free) {
  struct statvfs fs;
  if (fstatvfs(static_cast<int>(output), &fs) != 0) return true;  // cannot judge: do not refuse
  return uint64_t{fs.f_bavail} * fs.f_frsize >= min_free;
}

// Inflation into the open `output`, written from where it stands; `why` says
// what went wrong for the kit's problem line.
uint32_t InflateInto(const TextString& kit_path, FileHandle output, std::string& why) {
  FileHandle input = kNoHandle;
  if (uint32_t code = OpenFileHandle(kit_path, kAccessRead, 0, kDispositionOpenExisting, &input)) {
    why = code == kErrNotFound ? "the kit file does not exist" : "the kit file cannot be opened";
    return code;
  }
  // The kit's length as a 32-bit number; a kit of 4 GiB or more compressed
  // could not unpack within the limits anyway.
  uint32_t size = SeekFileHandle(input, 0, nullptr, kSeekEnd);
  const InflateLimits limits = CurrentInflateLimits();

  uint32_t result = kOk;
  {
    MappedInput map(input, size);
    z_stream zs{};
    if (!map.ok()) {
      why = "the kit file cannot be mapped into memory";
      result = kErrInvalidParameter;
    } else if (inflateInit2(&zs, -15) != Z_OK) {
      why = "out of memory";
      result = kErrInvalidParameter;
    } else {
      zs.next_in = map.data();
      zs.avail_in = map.data() ? size : 0;
      std::vector<unsigned char> chunk(kChunkSize);
      uint64_t next_space_check = kFreeSpaceCheckEvery;
      int status = Z_OK;
      do {
        zs.next_out = chunk.data();
        zs.avail_out = kChunkSize;
        uLong before = zs.total_out;
        int ret = inflate(&zs, Z_NO_FLUSH);
        // Running out of input is the end of a (possibly truncated) kit.
        status = (ret == Z_BUF_ERROR && zs.avail_in == 0) ? Z_OK : ret;
        if (status < 0) {
          why = "the compressed data is corrupt (" + std::string(zs.msg ? zs.msg : "inflate failed") + ")";
          result = kErrInvalidData;
          break;
        }
        if (zs.total_out > limits.maxUnpackedBytes) {
          why = "it unpacks to more than " + std::to_string(limits.maxUnpackedBytes) + " bytes";
          result = kErrInvalidData;
          break;
        }
        uint32_t grown = static_cast<uint32_t>(zs.total_out - before);
        if (grown) {
          uint32_t written = 0;
          WriteFileHandle(output, chunk.data(), grown, &written, nullptr);  // short writes show up in the parse
        }
        if (zs.total_out >= next_space_check) {
          next_space_check += kFreeSpaceCheckEvery;
          if (!EnoughFreeSpace(output, limits.minFreeBytes)) {
            why = "unpacking it would leave less than " + std::to_string(limits.minFreeBytes >> 20) +
                  " MiB free in the temporary directory";
            result = kErrInvalidData;
            break;
          }
        }
        if (g_stop_flag && *g_stop_flag) {
          why = "interrupted";
          result = kErrCancelled;
          break;
        }
        map.ReleaseBefore(static_cast<uint64_t>(zs.next_in - map.data()));
      } while (zs.avail_out == 0 && status == Z_OK);
      if (result == kOk && !EnoughFreeSpace(output, limits.minFreeBytes)) {
        why = "unpacking it leaves less than " + std::to_string(limits.minFreeBytes >> 20) +
              " MiB free in the temporary directory";
        result = kErrInvalidData;
      }
      inflateEnd(&zs);
    }
  }
  CloseFileHandle(input);
  return result;
}

// The staging file is opened once, locked (so recovery knows it is in use),
// its name removed at once when it is to have none, the kit inflated into it
// and read back through the same descriptor.
uint32_t InflateStaging(DistributionKit& kit, const TextString& kit_path, KitProblem& p) {
  if (uint32_t code = OpenFileHandle(kit.stagingPath, kAccessReadWrite, 0, kDispositionOpenExisting,
                                     &kit.dataHandle)) {
    p.what = "the staging file cannot be opened";
    p.inStaging = true;
    return code;
  }
  HoldStagingFile(kit.dataHandle);
  if (kit.unnamedStaging) {
    RemoveFile(kit.stagingPath);
    kit.stagingPath.clear();
  }
  if (uint32_t code = InflateInto(kit_path, kit.dataHandle, p.what)) return code;
  SeekFileHandle(kit.dataHandle, 0, nullptr, kSeekBegin);
  return kOk;
}

}  // namespace

DistributionKit::DistributionKit() : copyBuffer(new unsigned char[copyBufferSize]) {}

DistributionKit::~DistributionKit() { delete[] copyBuffer; }

void SetInflateStopFlag(const volatile std::sig_atomic_t* flag) { g_stop_flag = flag; }

uint32_t InflateKitToFile(const TextString& kit_path, const TextString& staging_path) {
  FileHandle output = kNoHandle;
  if (uint32_t code = OpenFileHandle(staging_path, kAccessWrite, 0, kDispositionCreate, &output)) return code;
  std::string why;
  const uint32_t result = InflateInto(kit_path, output, why);
  CloseFileHandle(output);
  return result;
}

uint32_t LoadKit(DistributionKit& kit, const TextString& kit_path, KitProblem* problem) {
  KitProblem local;
  KitProblem& p = problem ? *problem : local;
  p = KitProblem();
  uint32_t code = kOk;

  TextString temp_dir;
  GetTempDirectory(temp_dir);
  code = CreateTempFile(temp_dir, TextString(kStagingPrefix), kit.stagingPath);
  if (code) {
    p.what = "cannot create a staging file in the temporary directory";
    p.inStaging = true;
  }
  if (!code) code = InflateStaging(kit, kit_path, p);
  if (!code) code = ParseKit(kit, &p);
  if (!code) code = ValidateKit(kit, kit.unpackedSize, &p);
  if (!code) return kOk;

  // Leave nothing behind: the descriptions read so far stay, as callers
  // expect, but no entry, no open handle and no staging file.
  kit.entries.clear();
  if (kit.dataHandle != kNoHandle) {
    CloseFileHandle(kit.dataHandle);
    kit.dataHandle = kNoHandle;
  }
  if (!kit.stagingPath.empty()) RemoveFile(kit.stagingPath);
  if (p.what.empty()) p.what = "the unpacked kit cannot be read";
  return code;
}

}  // namespace kitsetup
