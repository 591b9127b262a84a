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

std::string JsonString(const kitsetup::TextString& text) {
  std::string out = "\"";
  for (size_t i = 0; i < text.length();) {
    size_t at = i;
    const int32_t c = kitsetup::NextCodePoint(text, i);
    char escape[8];
    if (c < 0) {
      std::snprintf(escape, sizeof escape, "\\u%04X", static_cast<unsigned>(text[at]));
      out += escape;
    } else if (c == '"') {
      out += "\\\"";
    } else if (c == '\\') {
      out += "\\\\";
    } else if (c < 0x20) {
      std::snprintf(escape, sizeof escape, "\\u%04X", static_cast<unsigned>(c));
      out += escape;
    } else {
      kitsetup::AppendUtf8(out, static_cast<uint32_t>(c));
    }
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
