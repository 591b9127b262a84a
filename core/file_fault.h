// core/file_fault.h: a test seam through which tests make file-system
// operations fail. The operations that change the disk (in the file layer,
// the file-system operations and the install transaction) ask it first;
// unset, the question costs one relaxed atomic load.
#ifndef KITSETUP_CORE_FILE_FAULT_H
#define KITSETUP_CORE_FILE_FAULT_H

#include <atomic>

namespace kitsetup {

enum class FileOp : unsigned char {
  kOpen,           // opening a file for writing
  kWrite,          // a write: the fault makes it short (half) or fail
  kTruncate,
  kClose,          // of a written file
  kMakeDirectory,
  kMove,           // a rename or a move command
  kCopy,           // a complete copy across volumes
  kRemove,         // unlinking a file, removing a tree
  kFlush,          // fsync
};

// Returns the errno to fail with, or 0 to let the operation go ahead.
using FileFaultHook = int (*)(FileOp op, const char* path);

void SetFileFaultHook(FileFaultHook hook);

// For crash tests of whole processes: KITSETUP_FAIL_AT=n makes the n-th
// operation (counted from 1, every kind, all threads) fail with EIO, and
// KITSETUP_CRASH_AT=m kills the process with SIGKILL just before the m-th.
// Without either variable nothing is set and nothing costs.
void ArmFileFaultsFromEnvironment();

namespace detail {
extern std::atomic<FileFaultHook> g_file_fault_hook;
}

// 0 unless a hook is set and answers with an errno for this operation.
inline int InjectedFileFault(FileOp op, const char* path) {
  FileFaultHook hook = detail::g_file_fault_hook.load(std::memory_order_relaxed);
  return hook ? hook(op, path) : 0;
}

}  // namespace kitsetup

#endif
