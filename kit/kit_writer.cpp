#include "kit/kit_writer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/error_codes.h"
#include "kit/kit_validator.h"

namespace kitsetup {

namespace {

constexpr size_t kIoSize = 256 * 1024;

uint32_t Fail(std::string* error, const std::string& what, uint32_t code) {
  if (error) *error = what;
  return code;
}

// The failed write named with the OS error that is still in errno.
uint32_t WriteFailed(std::string* error, const std::string& what) {
  return Fail(error, "cannot write " + what + ": " + std::strerror(errno), kErrInvalidParameter);
}

uint32_t ErrnoCode() { return errno == ENOENT ? kErrNotFound : kErrInvalidParameter; }

bool WriteAll(int fd, const unsigned char* data, size_t size) {
  while (size > 0) {
    ssize_t n = write(fd, data, size);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    data += n;
    size -= static_cast<size_t>(n);
  }
  return true;
}

// Collects the unpacked kit in memory.
struct StringSink {
  std::string* out;
  bool Put(const void* data, size_t size) {
    out->append(static_cast<const char*>(data), size);
    return true;
  }
};

// Compresses into a file as bytes arrive.
class DeflateSink {
 public:
  DeflateSink(int fd, int level, int strategy) : fd_(fd), out_(kIoSize) {
    ok_ = deflateInit2(&zs_, level, Z_DEFLATED, -15, 8, strategy) == Z_OK;
    initialised_ = ok_;
  }
  ~DeflateSink() {
    if (initialised_) deflateEnd(&zs_);
  }
  DeflateSink(const DeflateSink&) = delete;
  DeflateSink& operator=(const DeflateSink&) = delete;

  bool ok() const { return ok_; }
  bool Put(const void* data, size_t size) { return Run(data, size, Z_NO_FLUSH); }
  bool Finish() { return Run(nullptr, 0, Z_FINISH); }

 private:
  bool Run(const void* data, size_t size, int flush) {
    if (!ok_) return false;
    const unsigned char* in = static_cast<const unsigned char*>(data);
    do {
      // avail_in is 32 bits wide; feed large blocks in slices.
      uInt slice = static_cast<uInt>(size < (1u << 30) ? size : (1u << 30));
      zs_.next_in = const_cast<unsigned char*>(in);
      zs_.avail_in = slice;
      int mode = (slice == size) ? flush : Z_NO_FLUSH;
      int ret;
      do {
        zs_.next_out = out_.data();
        zs_.avail_out = static_cast<uInt>(out_.size());
        ret = deflate(&zs_, mode);
        if (ret == Z_STREAM_ERROR) return ok_ = false;
        size_t have = out_.size() - zs_.avail_out;
        if (have && !WriteAll(fd_, out_.data(), have)) return ok_ = false;
      } while (zs_.avail_out == 0 || (mode == Z_FINISH && ret != Z_STREAM_END));
      in += slice;
      size -= slice;
    } while (size > 0);
    return true;
  }

  int fd_;
  z_stream zs_{};
  std::vector<unsigned char> out_;
  bool ok_ = false;
  bool initialised_ = false;
};

std::string EntryRecord(const TextString& name, uint64_t write_time, uint32_t offset, uint32_t size) {
  std::string r;
  AppendU32(r, static_cast<uint32_t>(24 + 2 * name.length()));
  AppendCounted(r, name);
  AppendU64(r, write_time);
  AppendU32(r, offset);
  AppendU32(r, size);
  return r;
}

std::string DescriptionRecord(const KitDescription& d) {
  std::string body;
  AppendCounted(body, d.language);
  AppendCounted(body, d.productName);
  AppendCounted(body, d.vendorName);
  AppendCounted(body, d.descriptionFile);
  std::string r;
  AppendU32(r, static_cast<uint32_t>(4 + body.size()));
  return r + body;
}

}  // namespace

void AppendU32(std::string& out, uint32_t value) {
  for (int i = 0; i < 4; ++i) out.push_back(static_cast<char>((value >> (8 * i)) & 0xFF));
}

void AppendU64(std::string& out, uint64_t value) {
  AppendU32(out, static_cast<uint32_t>(value));
  AppendU32(out, static_cast<uint32_t>(value >> 32));
}

void AppendCounted(std::string& out, const TextString& text) {
  AppendU32(out, static_cast<uint32_t>(text.length()));
  for (size_t i = 0; i < text.length(); ++i) {
    out.push_back(static_cast<char>(text[i] & 0xFF));
    out.push_back(static_cast<char>(text[i] >> 8));
  }
}

void KitBuilder::AddEntry(const TextString& name, std::string bytes, uint64_t write_time) {
  Entry e;
  e.name = name;
  e.writeTime = write_time;
  e.size = bytes.size();
  e.bytes = std::move(bytes);
  entries_.push_back(std::move(e));
}

uint32_t KitBuilder::AddFile(const TextString& name, const std::string& source_path, uint64_t write_time) {
  struct stat st;
  if (stat(source_path.c_str(), &st) != 0) return ErrnoCode();
  if (!S_ISREG(st.st_mode) || static_cast<uint64_t>(st.st_size) > UINT32_MAX) return kErrInvalidParameter;
  Entry e;
  e.name = name;
  e.writeTime = write_time;
  e.size = static_cast<uint64_t>(st.st_size);
  e.source = source_path;
  entries_.push_back(std::move(e));
  return kOk;
}

uint32_t KitBuilder::BuildTable(std::string& out, std::string* error) const {
  out.clear();
  if (legacy_) {
    if (descriptions_.size() != 1) {
      return Fail(error, "the legacy form holds exactly one description", kErrInvalidParameter);
    }
    AppendU32(out, 0);
    AppendCounted(out, descriptions_[0].productName);
    AppendCounted(out, descriptions_[0].vendorName);
    AppendCounted(out, descriptions_[0].descriptionFile);
  } else {
    AppendU32(out, 1);
    AppendU32(out, static_cast<uint32_t>(descriptions_.size()));
    for (const KitDescription& d : descriptions_) out += DescriptionRecord(d);
  }
  AppendU32(out, static_cast<uint32_t>(entries_.size()));
  uint64_t offset = 0;
  for (const Entry& e : entries_) {
    out += EntryRecord(e.name, e.writeTime, static_cast<uint32_t>(offset), static_cast<uint32_t>(e.size));
    offset += e.size;
  }
  if (out.size() + offset > kMaxUnpackedKitBytes) {
    return Fail(error, "the files add up to more than a kit can address (4 GiB)", kErrInvalidParameter);
  }
  return kOk;
}

template <typename Sink>
uint32_t KitBuilder::Emit(Sink& sink, std::string* error) const {
  std::string table;
  if (uint32_t code = BuildTable(table, error)) return code;
  if (!sink.Put(table.data(), table.size())) return WriteFailed(error, "the kit");
  std::vector<unsigned char> buffer;
  for (const Entry& e : entries_) {
    if (e.source.empty()) {
      if (!sink.Put(e.bytes.data(), e.bytes.size())) {
        return WriteFailed(error, "the kit");
      }
      continue;
    }
    int fd = open(e.source.c_str(), O_RDONLY);
    if (fd < 0) return Fail(error, "cannot open " + e.source + ": " + std::strerror(errno), ErrnoCode());
    if (buffer.empty()) buffer.resize(kIoSize);
    uint64_t left = e.size;
    uint32_t code = kOk;
    while (code == kOk) {
      if (stop_ && *stop_) {
        code = Fail(error, "interrupted", kErrCancelled);
        break;
      }
      ssize_t n = read(fd, buffer.data(), buffer.size());
      if (n < 0 && errno == EINTR) continue;
      if (n < 0) {
        code = Fail(error, "cannot read " + e.source + ": " + std::strerror(errno), kErrInvalidParameter);
      } else if (static_cast<uint64_t>(n) > left) {
        code = Fail(error, e.source + " grew while it was packed", kErrInvalidParameter);
      } else if (n == 0) {
        if (left) code = Fail(error, e.source + " shrank while it was packed", kErrInvalidParameter);
        break;
      } else if (!sink.Put(buffer.data(), static_cast<size_t>(n))) {
        code = WriteFailed(error, "the kit");
      } else {
        left -= static_cast<uint64_t>(n);
      }
    }
    close(fd);
    if (code) return code;
  }
  return kOk;
}

uint32_t KitBuilder::Unpacked(std::string& out, std::string* error) const {
  out.clear();
  StringSink sink{&out};
  return Emit(sink, error);
}

uint32_t KitBuilder::WriteTo(const std::string& kit_path, std::string* error) const {
  const size_t slash = kit_path.rfind('/');
  const std::string directory = slash == std::string::npos ? "." : kit_path.substr(0, slash + 1);
  const std::string base = slash == std::string::npos ? kit_path : kit_path.substr(slash + 1);
  std::string temp = directory + (directory.back() == '/' ? "" : "/") + "." + base + ".XXXXXX";
  int fd = mkstemp(&temp[0]);
  if (fd < 0) {
    return Fail(error, "cannot create a temporary file in " + directory + ": " + std::strerror(errno),
                ErrnoCode());
  }
  // mkstemp makes the file 0600; a kit is for others to read, as a file
  // created with open(0644) under the umask would be.
  const mode_t mask = umask(0);
  umask(mask);
  uint32_t code = kOk;
  if (fchmod(fd, 0644 & ~mask) != 0) {
    code = Fail(error, "cannot set the mode of " + temp + ": " + std::strerror(errno), kErrInvalidParameter);
  }
  if (code == kOk) {
    DeflateSink sink(fd, level_, strategy_);
    if (!sink.ok()) {
      code = Fail(error, "cannot start the compressor (bad level or strategy?)", kErrInvalidParameter);
    } else {
      code = Emit(sink, error);
      if (code == kOk && !sink.Finish()) {
        code = WriteFailed(error, temp);
      }
    }
  }
  // The rename must not make a kit whose bytes are still only in the cache.
  if (code == kOk && fsync(fd) != 0) {
    code = WriteFailed(error, temp);
  }
  if (close(fd) != 0 && code == kOk) {
    code = WriteFailed(error, temp);
  }
  if (code == kOk && rename(temp.c_str(), kit_path.c_str()) != 0) {
    code = Fail(error, "cannot rename " + temp + " to " + kit_path + ": " + std::strerror(errno),
                kErrInvalidParameter);
  }
  if (code) unlink(temp.c_str());
  return code;
}

uint32_t WriteDeflated(const std::string& kit_path, const void* bytes, size_t size, int level, int strategy) {
  int fd = open(kit_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (fd < 0) return kErrInvalidParameter;
  bool ok;
  {
    DeflateSink sink(fd, level, strategy);
    ok = sink.Put(bytes, size) && sink.Finish();
  }
  ok = (close(fd) == 0) && ok;
  if (!ok) unlink(kit_path.c_str());
  return ok ? kOk : kErrInvalidParameter;
}

}  // namespace kitsetup
