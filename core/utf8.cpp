#include "core/utf8.h"

namespace kitsetup {

int32_t NextCodePoint(const TextString& text, size_t& i) {
  const uint32_t c = text[i++];
  if (c < 0xD800 || c >= 0xE000) return static_cast<int32_t>(c);
  if (c < 0xDC00 && i < text.length() && text[i] >= 0xDC00 && text[i] < 0xE000) {
    return static_cast<int32_t>(0x10000 + ((c - 0xD800) << 10) + (text[i++] - 0xDC00));
  }
  return -1;
}

void AppendUtf8(std::string& out, uint32_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

std::string Utf8(const TextString& text) {
  std::string out;
  for (size_t i = 0; i < text.length();) {
    const int32_t c = NextCodePoint(text, i);
    AppendUtf8(out, c < 0 ? 0xFFFD : static_cast<uint32_t>(c));
  }
  return out;
}

}  // namespace kitsetup
