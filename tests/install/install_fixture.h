// tests/install/install_fixture.h: per test, a scratch folder holding a
// temporary directory (TMPDIR), a source tree, the kit `kittool pack` makes
// of it, and a template directory; snapshots compare whole trees.
#ifndef KITSETUP_TESTS_INSTALL_INSTALL_FIXTURE_H
#define KITSETUP_TESTS_INSTALL_INSTALL_FIXTURE_H

#include <dirent.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/file_fault.h"
#include "core/file_system.h"
#include "core/messages.h"
#include "install/install_job.h"
#include "install/progress_channel.h"
#include "kit/distribution_kit.h"
#include "kit/file_handle.h"
#include "support/test_support.h"

namespace kitsetup::testing {

inline std::string Kittool() { return std::string(KITSETUP_BINARY_DIR) + "/kittool"; }
const time_t kT0 = 1600000000;  // 2020-09-13

using namespace testsupport;

inline time_t MTime(const std::string& path) {
  struct stat info;
  return lstat(path.c_str(), &info) == 0 ? info.st_mtime : -1;
}

// Path -> kind ('d', 'f', 'l'), bytes and modification time of everything
// under a root. A directory's time is left out: it moves with every change.
struct NodeState {
  char kind = '?';
  std::string bytes;
  int64_t mtime_ns = 0;
  bool operator==(const NodeState& o) const { return kind == o.kind && bytes == o.bytes && mtime_ns == o.mtime_ns; }
};
using Snapshot = std::map<std::string, NodeState>;

inline void SnapshotInto(const std::string& root, const std::string& rel, Snapshot& out) {
  DIR* dir = opendir((root + rel).c_str());
  while (dirent* e = dir ? readdir(dir) : nullptr) {
    std::string name = e->d_name, path = rel + "/" + name;
    struct stat info;
    if (name == "." || name == ".." || lstat((root + path).c_str(), &info) != 0) continue;
    NodeState& node = out[path];
    node.kind = S_ISDIR(info.st_mode) ? 'd' : S_ISLNK(info.st_mode) ? 'l' : 'f';
    if (node.kind == 'd') SnapshotInto(root, path, out);
    if (node.kind != 'd') node.mtime_ns = MtimeNs(info);
    if (node.kind == 'f') node.bytes = ReadFile(root + path);
  }
  if (dir) closedir(dir);
}
inline Snapshot TakeSnapshot(const std::string& root) {
  Snapshot out;
  SnapshotInto(root, "", out);
  return out;
}

// The exit status of a command line (or -1).
inline int RunShell(const std::string& command) {
  int status = std::system(command.c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// A scratch folder per test with TMPDIR pointing into it; the message table
// in English so posted texts can be compared. Faults come through the file
// layer's seams (tests run as root, so permissions stop nothing).
class InstallFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    MakeDirs(temp_);
    MakeDirs(source_);
    SetCurrentLanguage(LanguageFromCode(ByteString("en")));
    SetFastPathsEnabled(true);
  }

  void TearDown() override {
    SetOpenFaultHook(nullptr);
    SetFileFaultHook(nullptr);
    SetFastPathsEnabled(true);
    if (kit_.dataHandle != kNoHandle) CloseFileHandle(kit_.dataHandle);
    kit_.dataHandle = kNoHandle;
  }

  void Source(const std::string& rel, const std::string& content, time_t seconds) {
    WriteFile(source_ + "/" + rel, content, seconds);
  }

  void Pack() { ASSERT_EQ(0, RunShell("'" + Kittool() + "' pack '" + source_ + "' '" + kit_path_ + "' >/dev/null")); }

  void PackAndLoad() {
    ASSERT_NO_FATAL_FAILURE(Pack());
    ASSERT_EQ(0u, LoadKit(kit_, Text(kit_path_)));
  }

  // One run of the job on this thread into templ_ (or `directory`), every
  // post recorded.
  uint32_t Install(InstallJob* job_out = nullptr, const TextString* directory = nullptr) {
    Request(directory ? *directory : Text(templ_));
    posts_.clear();
    SetProgressObserver(&channel_, &Record, this);
    InstallJob job;
    job.finishPauseMs = 0;
    uint32_t code = RunInstallJob(job, &channel_);
    if (job_out) *job_out = job;
    return code;
  }

  void Request(const TextString& directory) {
    InitChannel(&channel_);
    StartRequest(&channel_, &kit_, directory);
  }

  static void Record(void* self, uint32_t code, const TextString& text, int32_t percent) {
    auto* f = static_cast<InstallFixture*>(self);
    f->posts_.push_back(PostLine(code, Utf8(text), percent));
    if (f->on_post_) f->on_post_(Utf8(text));
  }

  // A post as this fixture records it: "code text percent".
  static std::string PostLine(uint32_t code, const std::string& text, size_t percent) {
    return std::to_string(code) + " " + text + " " + std::to_string(percent);
  }
  static std::string ErrorPost(uint32_t code, size_t percent = 0) {
    return PostLine(code, Utf8(LookupMessage("IDS_INSTALL_ERROR")), percent);
  }

  // Where entry i of the kit is installed.
  std::string Target(size_t i) {
    std::string name = Utf8(kit_.entries[i].name);
    std::replace(name.begin(), name.end(), '\\', '/');
    return templ_ + "/" + name;
  }

  // The temporary directory holds nothing but the staging file (and the
  // names in `others`, sorted, that were there before).
  void ExpectTempHoldsOnlyStaging(std::vector<std::string> others = {}) {
    std::string staging = Utf8(kit_.stagingPath);
    std::string name = staging.substr(staging.rfind('/') + 1);
    EXPECT_EQ(0u, name.rfind("edf", 0)) << name;
    others.insert(std::upper_bound(others.begin(), others.end(), name), name);
    EXPECT_EQ(others, ListNames(temp_));
  }

  testsupport::ScratchDir scratch_;
  std::string root_ = scratch_.path(), temp_ = root_ + "/tmp", source_ = root_ + "/src",
              templ_ = root_ + "/templates", kit_path_ = root_ + "/kit.efd";
  testsupport::ScopedEnv tmpdir_{"TMPDIR", temp_.c_str()};
  DistributionKit kit_;
  ProgressChannel channel_;
  std::vector<std::string> posts_;
  // Called with every posted text, the channel's lock held.
  std::function<void(const std::string&)> on_post_;
};

// A small tmpfs mounted at `dir` for the life of the object (tests run as
// root; where mounting is not allowed, mounted() is false and the test skips).
class SmallVolume {
 public:
  SmallVolume(const std::string& dir, const std::string& size) : dir_(dir) {
    MakeDirs(dir);
    mounted_ = RunShell("mount -t tmpfs -o size=" + size + " tmpfs '" + dir + "' 2>/dev/null") == 0;
  }
  ~SmallVolume() {
    if (mounted_) RunShell("umount '" + dir_ + "'");
  }
  bool mounted() const { return mounted_; }
  void Fill() const { RunShell("cat /dev/zero >'" + dir_ + "/filler' 2>/dev/null"); }  // every free byte

 private:
  std::string dir_;
  bool mounted_ = false;
};

}  // namespace kitsetup::testing

#endif
