// The worker thread: it runs the job once and ends, whatever the outcome,
// and FinishWorker never leaves a run half done.
#include <atomic>
#include <chrono>
#include <thread>

#include "install/install_fixture.h"
#include "install/worker_thread.h"

namespace kitsetup::testing {
namespace {

bool WaitFor(const std::function<bool()>& condition, int seconds = 20) {
  auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

std::atomic<int> g_finish_posts{0};
void CountFinishes(void*, uint32_t code, const TextString&, int32_t percent) {
  if (code == 0 && percent == 100) ++g_finish_posts;
}

class WorkerTest : public InstallFixture {
 protected:
  void Start(WorkerThread& worker, ProgressObserver observer = nullptr) {
    InitChannel(&channel_);
    StartRequest(&channel_, &kit_, Text(templ_));
    SetProgressObserver(&channel_, observer, nullptr);
    worker.finishPauseMs = 0;
    StartWorker(&worker, &channel_);
    ASSERT_EQ(0, worker.createResult);
  }
};

TEST_F(WorkerTest, EndsAfterOneSuccessfulRun) {
  Source("a.txt", "a", kT0);
  Source("b/c.txt", "c", kT0);
  PackAndLoad();
  g_finish_posts = 0;
  WorkerThread worker;
  Start(worker, &CountFinishes);

  ASSERT_TRUE(WaitFor([&] { return worker.finished.load(); }));
  FinishWorker(&worker);
  FinishWorker(&worker);  // a second call, like one on a worker never started, is harmless
  WorkerThread never_started;
  FinishWorker(&never_started);

  EXPECT_TRUE(worker.finished);
  EXPECT_EQ(0u, worker.lastResult);
  EXPECT_EQ(1u, worker.runs);
  EXPECT_EQ(1, g_finish_posts);
  EXPECT_EQ("c", ReadFile(templ_ + "/b/c.txt"));
  ExpectTempHoldsOnlyStaging();  // every run removed its own backup
}

// The open of one target either fails (87) or holds the worker until the
// run is told to cancel, so that FinishWorker surely meets a run midway.
std::string g_target;
bool g_fail = false;
std::atomic<bool> g_held{false};
ProgressChannel* g_channel = nullptr;
uint32_t FailOrHold(const TextString& path, uint32_t access, uint32_t) {
  if (!(access & kAccessWrite) || Utf8(path) != g_target) return 0;
  if (g_fail) return 87;
  g_held = true;
  while (!IsCancelled(g_channel)) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return 0;
}

// A failure ends the thread by itself; FinishWorker in the middle of a run
// cancels it and waits for the rollback. Either way no second run starts.
class WorkerStopTest : public WorkerTest, public ::testing::WithParamInterface<bool> {};

TEST_P(WorkerStopTest, RunIsRolledBackAndNotRepeated) {
  for (int i = 0; i < 6; ++i) Source("new/f" + std::to_string(i) + ".txt", "new", kT0 + 100);
  Source("a_old.txt", "replacement", kT0 + 100);
  PackAndLoad();
  WriteFile(templ_ + "/a_old.txt", "the original", kT0);
  WriteFile(templ_ + "/mine.txt", "mine", kT0);
  const Snapshot before = TakeSnapshot(templ_);
  g_target = templ_ + "/new/f3.txt";
  g_fail = GetParam();
  g_held = false;
  g_channel = &channel_;
  SetOpenFaultHook(&FailOrHold);
  WorkerThread worker;
  Start(worker);

  ASSERT_TRUE(WaitFor([&] { return g_fail ? worker.finished.load() : g_held.load(); }));
  FinishWorker(&worker);

  EXPECT_TRUE(worker.finished);
  EXPECT_EQ(1u, worker.runs);
  EXPECT_EQ(g_fail ? 87u : 1223u, worker.lastResult);
  uint32_t code = 0;
  ReadProgress(&channel_, &code, nullptr, nullptr);
  EXPECT_EQ(g_fail ? 87u : 0u, code);  // a cancel posts no error
  EXPECT_EQ(before, TakeSnapshot(templ_));
  ExpectTempHoldsOnlyStaging();
}

INSTANTIATE_TEST_SUITE_P(Stops, WorkerStopTest, ::testing::Values(true, false),
                         [](const ::testing::TestParamInfo<bool>& info) {
                           return info.param ? "Failure" : "FinishWorker";
                         });

}  // namespace
}  // namespace kitsetup::testing
