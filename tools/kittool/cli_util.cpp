#include "tools/kittool/cli_util.h"

#include <signal.h>
#include <unistd.h>

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

namespace kittool {

namespace {

volatile std::sig_atomic_t g_signal = 0;

const int kStopSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};

void OnStopSignal(int signal_number) { g_signal = signal_number; }

}  // namespace

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

void CatchStopSignals() {
  struct sigaction action;
  std::memset(&action, 0, sizeof action);
  action.sa_handler = OnStopSignal;
  sigemptyset(&action.sa_mask);
  for (int s : kStopSignals) sigaction(s, &action, nullptr);
  kitsetup::SetInflateStopFlag(&g_signal);
}

int CaughtSignal() { return g_signal; }

const volatile std::sig_atomic_t* StopSignalFlag() { return &g_signal; }

void DieOfCaughtSignal() {
  int s = g_signal ? static_cast<int>(g_signal) : SIGTERM;
  std::fflush(nullptr);
  signal(s, SIG_DFL);
  raise(s);
  _exit(128 + s);
}

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
  CatchStopSignals();
  kitsetup::KitProblem found;
  const uint32_t result =
      kitsetup::LoadKit(kit, kitsetup::FromLocaleBytes(kit_path, std::strlen(kit_path)), &found);
  if (CaughtSignal()) {
    DiscardStaging(kit);
    DieOfCaughtSignal();
  }
  if (problem) *problem = found;
  if (code) *code = result;
  if (result == kitsetup::kOk) return kExitOk;
  ReportError(command, kit_path, found.what, result);
  return LoadFailureExit(found);
}

}  // namespace kittool
