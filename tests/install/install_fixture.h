// tests/install/install_fixture.h: per test, a scratch TMPDIR, a source tree,
// its packed kit, and a template directory.
#ifndef KITSETUP_TESTS_INSTALL_INSTALL_FIXTURE_H
#define KITSETUP_TESTS_INSTALL_INSTALL_FIXTURE_H

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

// Messages in English; faults through the file layer's seams (tests run as
// root, so permissions stop nothing).
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

  // One run of the job into templ_ (or `directory`), every post recorded.
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

  // TMPDIR holds only the staging file and `others` (sorted).
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

}  // namespace kitsetup::testing

#endif
