#include "tools/kittool/cli_util.h"

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "core/file_system.h"
#include "kit/file_handle.h"
#include "tools/kittool/commands.h"

namespace kittool {

namespace {

volatile std::sig_atomic_t g_signal = 0;

const int kStopSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};

void OnStopSignal(int signal_number) { g_signal = signal_number; }

// Code point at `i` (advancing past a surrogate pair); -1 for a lone surrogate.
long NextCodePoint(const kitsetup::TextString& text, size_t& i) {
  uint32_t c = text[i++];
  if (c < 0xD800 || c >= 0xE000) return c;
  if (c < 0xDC00 && i < text.length() && text[i] >= 0xDC00 && text[i] < 0xE000) {
    return 0x10000 + ((c - 0xD800) << 10) + (text[i++] - 0xDC00);
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

}  // namespace

std::string Utf8(const kitsetup::TextString& text) {
  std::string out;
  for (size_t i = 0; i < text.length();) {
    long c = NextCodePoint(text, i);
    AppendUtf8(out, c < 0 ? 0xFFFD : static_cast<uint32_t>(c));
  }
  return out;
}

std::string JsonString(const kitsetup::TextString& text) {
  std::string out = "\"";
  for (size_t i = 0; i < text.length();) {
    size_t at = i;
    long c = NextCodePoint(text, i);
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
      AppendUtf8(out, static_cast<uint32_t>(c));
    }
  }
  return out + "\"";
}

bool IsHelpOption(const char* arg) { return !std::strcmp(arg, "--help") || !std::strcmp(arg, "-h"); }

void CatchStopSignals() {
  struct sigaction action;
  std::memset(&action, 0, sizeof action);
  action.sa_handler = OnStopSignal;
  sigemptyset(&action.sa_mask);
  for (int s : kStopSignals) sigaction(s, &action, nullptr);
  kitsetup::SetInflateStopFlag(&g_signal);
}

int CaughtSignal() { return g_signal; }

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

}  // namespace kittool
