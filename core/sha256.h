// core/sha256.h: SHA-256 (FIPS 180-4), for the checksums that kittool prints
// next to kits and their entries. Small and streaming: bytes are fed in any
// number of pieces, so a large file is never held in memory.
#ifndef KITSETUP_CORE_SHA256_H
#define KITSETUP_CORE_SHA256_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace kitsetup {

class Sha256 {
 public:
  Sha256();
  void Update(const void* data, size_t size);
  // The digest as 64 lower-case hexadecimal digits. Ends the hash: call it once.
  std::string HexDigest();

 private:
  void Block(const unsigned char* block);

  uint32_t state_[8];
  unsigned char buffer_[64];
  size_t buffered_ = 0;
  uint64_t length_ = 0;  // bytes fed so far
};

// The SHA-256 of a whole file, read in chunks. An empty string when the file
// cannot be opened or read; `os_error` then receives errno.
std::string Sha256OfFile(const std::string& path, int* os_error = nullptr);

}  // namespace kitsetup

#endif
