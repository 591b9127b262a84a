// core/file_fault.cpp: the test seam's one hook.
#include "core/file_fault.h"

namespace kitsetup {
namespace detail {
std::atomic<FileFaultHook> g_file_fault_hook{nullptr};
}

void SetFileFaultHook(FileFaultHook hook) { detail::g_file_fault_hook.store(hook); }

}  // namespace kitsetup
