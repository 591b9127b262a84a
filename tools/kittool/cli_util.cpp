#include "tools/kittool/cli_util.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "app/locale_environment.h"
#include "core/encoding.h"
#include "core/error_codes.h"
#include "core/file_system.h"
#include "core/utf8.h"
#include "kit/file_handle.h"
#include "tools/kittool/cli_report.h"
#include "tools/kittool/commands.h"
#include "tools/kittool/interrupts.h"

namespace kittool {

namespace {

// One character below U+0080 as JSON: '"' and '\' escaped, control
// characters as \uXXXX.
void AppendJsonAscii(std::string& out, unsigned c) {
  if (c == '"' || c == '\\') {
    out += '\\';
    out += static_cast<char>(c);
  } else if (c < 0x20) {
    char escape[8];
    std::snprintf(escape, sizeof escape, "\\u%04X", c);
    out += escape;
  } else {
    out += static_cast<char>(c);
  }
}

// The length of the valid UTF-8 sequence at `i` (shortest form, no
// surrogates, at most U+10FFFF), or 0.
size_t Utf8SequenceAt(const std::string& bytes, size_t i) {
  const unsigned char lead = static_cast<unsigned char>(bytes[i]);
  const size_t length = lead >= 0xC2 && lead <= 0xDF   ? 2
                        : lead >= 0xE0 && lead <= 0xEF ? 3
                        : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                       : 0;
  if (length == 0 || i + length > bytes.size()) return 0;
  const unsigned char second = static_cast<unsigned char>(bytes[i + 1]);
  unsigned char low = 0x80, high = 0xBF;
  if (lead == 0xE0) low = 0xA0;
  if (lead == 0xED) high = 0x9F;
  if (lead == 0xF0) low = 0x90;
  if (lead == 0xF4) high = 0x8F;
  if (second < low || second > high) return 0;
  for (size_t k = 2; k < length; ++k)
    if ((static_cast<unsigned char>(bytes[i + k]) & 0xC0) != 0x80) return 0;
  return length;
}

}  // namespace

std::string JsonString(const kitsetup::TextString& text) {
  std::string out = "\"";
  for (size_t i = 0; i < text.length();) {
    size_t at = i;
    const int32_t c = kitsetup::NextCodePoint(text, i);
    if (c < 0) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04X", static_cast<unsigned>(text[at]));
      out += escape;
    } else if (c < 0x80) {
      AppendJsonAscii(out, static_cast<unsigned>(c));
    } else {
      kitsetup::AppendUtf8(out, static_cast<uint32_t>(c));
    }
  }
  return out + "\"";
}

std::string JsonUtf8String(const std::string& bytes) {
  std::string out = "\"";
  for (size_t i = 0; i < bytes.size();) {
    const unsigned char c = static_cast<unsigned char>(bytes[i]);
    if (c >= 0x80) {
      const size_t length = Utf8SequenceAt(bytes, i);
      if (length == 0) {
        out += "\\uFFFD";
        ++i;
      } else {
        out.append(bytes, i, length);
        i += length;
      }
      continue;
    }
    AppendJsonAscii(out, c);
    ++i;
  }
  return out + "\"";
}

bool IsHelpOption(const char* arg) { return !std::strcmp(arg, "--help") || !std::strcmp(arg, "-h"); }

void EnsureUtf8Locale() { kitsetup::PrepareLocaleEnvironment(kitsetup::ByteString()); }

void DiscardStaging(kitsetup::DistributionKit& kit) {
  if (kit.dataHandle != kitsetup::kNoHandle) {
    kitsetup::CloseFileHandle(kit.dataHandle);
    kit.dataHandle = kitsetup::kNoHandle;
  }
  if (!kit.stagingPath.empty()) {
    kitsetup::RemoveFile(kit.stagingPath);
    kit.stagingPath = kitsetup::TextString();
  }
}

int LoadFailureExit(const kitsetup::KitProblem& problem) {
  return problem.inStaging ? kExitFailed : kExitBadKit;
}

int LoadKitForCommand(const char* command, const char* kit_path, kitsetup::DistributionKit& kit,
                      kitsetup::KitProblem* problem, uint32_t* code) {
  kitsetup::KitProblem found;
  kit.unnamedStaging = true;
  const uint32_t result =
      kitsetup::LoadKit(kit, kitsetup::FromLocaleBytes(kit_path, std::strlen(kit_path)), &found);
  if (Interrupted()) {
    DiscardStaging(kit);
    return InterruptedExit();
  }
  if (problem) *problem = found;
  if (code) *code = result;
  if (result == kitsetup::kOk) return kExitOk;
  ReportError(command, kit_path, found.what, result);
  return LoadFailureExit(found);
}

}  // namespace kittool
