// core/file_fault.cpp: the test seam's one hook.
#include "core/file_fault.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace kitsetup {
namespace detail {
std::atomic<FileFaultHook> g_file_fault_hook{nullptr};
}

void SetFileFaultHook(FileFaultHook hook) { detail::g_file_fault_hook.store(hook); }

namespace {

std::atomic<long> g_operations{0};
long g_fail_at = 0;
long g_crash_at = 0;

int CountedFault(FileOp, const char*) {
  const long n = ++g_operations;
  if (n == g_crash_at) kill(getpid(), SIGKILL);
  return n == g_fail_at ? EIO : 0;
}

long Ordinal(const char* name) {
  const char* value = std::getenv(name);
  return value ? std::strtol(value, nullptr, 10) : 0;
}

}  // namespace

void ArmFileFaultsFromEnvironment() {
  g_fail_at = Ordinal("KITSETUP_FAIL_AT");
  g_crash_at = Ordinal("KITSETUP_CRASH_AT");
  if (g_fail_at > 0 || g_crash_at > 0) SetFileFaultHook(&CountedFault);
}

}  // namespace kitsetup
