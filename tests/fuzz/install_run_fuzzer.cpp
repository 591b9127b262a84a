// The whole install run: a random small kit over a random tree (older and
// newer files, kind conflicts, read-only modes), the n-th file operation
// failing once, perhaps a cancel. A failure leaves the tree exactly as it was
// (modes and nanosecond times too), a success exactly the expected tree, and
// neither leaves anything in the temporary directory.
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>

#include "core/file_fault.h"
#include "core/file_system.h"
#include "core/messages.h"
#include "fuzz/fuzz_scratch.h"
#include "install/install_job.h"
#include "install/install_recovery.h"
#include "install/progress_channel.h"
#include "kit/distribution_kit.h"
#include "kit/kit_writer.h"

namespace {

using testsupport::NodeState;
using testsupport::Snapshot;
using testsupport::TakeSnapshot;
using testsupport::Text;

const char* const kPaths[] = {"a", "b", "d", "d/x", "d/e/z", "f/g"};
const int kPathCount = 6;
const time_t kT0 = 1600000000;

struct Input {
  const uint8_t* data;
  size_t size;
  size_t at = 0;
  uint8_t Next() { return at < size ? data[at++] : 0; }
};

int g_countdown = 0;  // the operation that fails, counting down; <= 0: none
int FailNth(kitsetup::FileOp, const char*) { return --g_countdown == 0 ? ENOSPC : 0; }

std::string g_cancel_target;
void CancelAt(void* channel, uint32_t code, const kitsetup::TextString& text, int32_t) {
  if (code == 0 && !g_cancel_target.empty() && testsupport::Utf8(text) == g_cancel_target)
    static_cast<kitsetup::ProgressChannel*>(channel)->cancel = 1;
}

void Check(bool condition, const char* what) {
  if (!condition) {
    std::fprintf(stderr, "install_run_fuzzer: %s\n", what);
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace kitsetup;
  const std::string& scratch = fuzzscratch::Dir();
  SetCurrentLanguage(LanguageFromCode(ByteString("en")));
  Input in{data, size};
  const std::string root = scratch + "/t", templ = root + "/templates";
  RemoveTree(Text(root));
  testsupport::MakeDirs(templ);

  // Per path: nothing, an older or a newer file, or a folder; some read-only.
  for (int p = 0; p < kPathCount; ++p) {
    const uint8_t shape = in.Next();
    const std::string path = templ + "/" + kPaths[p];
    switch (shape % 4) {
      case 1: testsupport::WriteFile(path, std::string(shape, 'o'), kT0 + (shape & 4 ? 50 : 0)); break;
      case 2: testsupport::WriteFile(path, "newer", kT0 + 500); break;
      case 3: testsupport::WriteFile(path + "/inside", "inside", kT0); break;
      default: break;
    }
    if (shape & 0x80) chmod(path.c_str(), (shape % 4) == 3 ? 0555 : 0444);
  }

  // Up to six entries naming those paths (some kits the loader refuses).
  KitBuilder builder;
  builder.AddDescription({Text("en"), Text("P"), Text("V"), Text("")});
  const int entries = 1 + in.Next() % 6;
  std::map<std::string, std::string> kit_files;
  for (int i = 0; i < entries; ++i) {
    const uint8_t pick = in.Next();
    std::string name = kPaths[pick % kPathCount];
    const std::string bytes(size_t(in.Next()) * 37 % 3000, char('A' + i));
    if (pick & 0x40) name = "\\" + name;  // a leading separator is allowed
    builder.AddEntry(Text(name), bytes, (uint64_t(kT0 + 100) + 11644473600ull) * 10000000ull);
    kit_files[kPaths[pick % kPathCount]] = bytes;
  }
  const std::string kit_path = scratch + "/kit.efd";
  Check(builder.WriteTo(kit_path) == 0, "kit not written");
  DistributionKit kit;
  if (LoadKit(kit, Text(kit_path)) != 0) return 0;  // the loader refuses it: nothing to install

  SetFastPathsEnabled(!(in.Next() & 1));
  const uint8_t cancel = in.Next();
  g_cancel_target = cancel < kit.entries.size() ? templ + "/" + testsupport::Utf8(kit.entries[cancel].name) : "";
  for (char& c : g_cancel_target) c = c == '\\' ? '/' : c;
  g_countdown = in.Next();

  const Snapshot before = TakeSnapshot(root, true);
  ProgressChannel channel;
  InitChannel(&channel);
  StartRequest(&channel, &kit, Text(templ));
  SetProgressObserver(&channel, &CancelAt, &channel);
  SetFileFaultHook(&FailNth);
  uint32_t code;
  {
    InstallJob job;
    job.finishPauseMs = 0;
    code = RunInstallJob(job, &channel);
  }
  SetFileFaultHook(nullptr);
  SetFastPathsEnabled(true);

  const Snapshot after = TakeSnapshot(root, true);
  if (code != 0) {
    Check(after == before, "a failed run changed the tree");
  } else {
    Snapshot expected = before;
    for (const auto& [name, bytes] : kit_files) {
      NodeState& node = expected["/templates/" + name];
      if (node.kind == 'f' && node.mtime_ns == int64_t(kT0 + 500) * 1000000000) continue;  // kept
      node = {'f', ~0u, bytes, int64_t(kT0 + 100) * 1000000000};
      for (size_t slash = name.find('/'); slash != std::string::npos; slash = name.find('/', slash + 1)) {
        NodeState& dir = expected["/templates/" + name.substr(0, slash)];
        if (dir.kind != 'd') dir = {'d', ~0u, "", 0};
      }
    }
    Check(after == expected, "a successful run did not leave the expected tree");
  }
  // A backup whose removal failed is the next start's to finish, without touching the tree.
  CloseFileHandle(kit.dataHandle);
  RemoveFile(kit.stagingPath);
  RecoverEndedRuns();
  Check(TakeSnapshot(root, true) == after, "recovery after the run changed the tree");
  for (const std::string& name : testsupport::ListNames(scratch)) {
    if (name != "t" && name != "kit.efd") std::fprintf(stderr, "install_run_fuzzer: left behind: %s\n", name.c_str());
    Check(name == "t" || name == "kit.efd", "the run left something in the temporary directory");
  }
  return 0;
}
