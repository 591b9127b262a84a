#include "launcher/config_encoding.h"

#include "core/encoding.h"

namespace kitsetup {

namespace {
constexpr unsigned char kMarkLow = 0xFF;   // U+FEFF stored little-endian
constexpr unsigned char kMarkHigh = 0xFE;
}  // namespace

ConfigTextKind DetectConfigTextKind(FILE* stream) {
  if (ftell(stream) != 0) return ConfigTextKind::kUtf16;
  unsigned char head[2];
  size_t got = fread(head, 1, sizeof head, stream);
  if (got == 2 && head[0] == kMarkLow && head[1] == kMarkHigh) return ConfigTextKind::kUtf16;
  // Not a mark: the bytes belong to the text. A stream that cannot go back
  // is left where it is (the reader then misses at most two bytes).
  clearerr(stream);
  fseek(stream, 0, SEEK_SET);
  return ConfigTextKind::kLocaleBytes;
}

void DecodeUtf16Le(const unsigned char* bytes, size_t unit_count, char16_t* out) {
  for (size_t i = 0; i < unit_count; ++i) {
    out[i] = static_cast<char16_t>(bytes[2 * i] | (bytes[2 * i + 1] << 8));
  }
}

bool ConfigFileStartsAsUtf16(const TextString& path) {
  FILE* f = fopen(ToLocaleBytes(path).c_str(), "r");
  if (f == nullptr) return true;
  unsigned char head[2];
  size_t got = fread(head, 1, sizeof head, f);
  fclose(f);
  return !(got == 2 && !(head[0] == kMarkLow && head[1] == kMarkHigh));
}

}  // namespace kitsetup
