// The worker thread: it runs the job once and ends, whatever the outcome,
// and FinishWorker never leaves a run half done.
#include <atomic>
#include <thread>

#include "install/install_fixture.h"
#include "install/worker_thread.h"

namespace kitsetup::testing {
namespace {

// Success; the open of one target fails (87); or that open holds the worker
// until a cancel, so that FinishWorker surely meets a run midway.
enum class Ending { kSuccess, kFailure, kFinishWorker };
const char* const kEndingNames[] = {"Success", "Failure", "FinishWorker"};
Ending g_ending;
std::string g_target;
std::atomic<bool> g_held{false};
std::atomic<int> g_finish_posts{0};
ProgressChannel* g_channel = nullptr;

uint32_t FailOrHold(const TextString& path, uint32_t access, uint32_t) {
  if (!(access & kAccessWrite) || Utf8(path) != g_target || g_ending == Ending::kSuccess) return 0;
  if (g_ending == Ending::kFailure) return 87;
  g_held = true;
  while (!IsCancelled(g_channel)) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return 0;
}

void CountFinishes(void*, uint32_t code, const TextString&, int32_t percent) {
  if (code == 0 && percent == 100) ++g_finish_posts;
}

class WorkerTest : public InstallFixture, public ::testing::WithParamInterface<Ending> {};

// The thread ends by itself, or FinishWorker cancels and waits for the
// rollback; no second run starts.
TEST_P(WorkerTest, RunsOnceAndNeverLeavesARunHalfDone) {
  for (int i = 0; i < 6; ++i) Source("new/f" + std::to_string(i) + ".txt", "new", kT0 + 100);
  Source("a_old.txt", "replacement", kT0 + 100);
  PackAndLoad();
  WriteFile(templ_ + "/a_old.txt", "the original", kT0);
  WriteFile(templ_ + "/mine.txt", "mine", kT0);
  const Snapshot before = TakeSnapshot(templ_);
  g_ending = GetParam();
  g_target = templ_ + "/new/f3.txt";
  g_held = false;
  g_finish_posts = 0;
  g_channel = &channel_;
  SetOpenFaultHook(&FailOrHold);
  Request(Text(templ_));
  SetProgressObserver(&channel_, &CountFinishes, nullptr);
  WorkerThread worker;
  worker.finishPauseMs = 0;
  StartWorker(&worker, &channel_);
  ASSERT_EQ(0, worker.createResult);

  // No deadline of our own: a hang is ended by the test runner's limit.
  while (!worker.finished && !(g_ending == Ending::kFinishWorker && g_held))
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  FinishWorker(&worker);
  FinishWorker(&worker);  // a second call, like one on a worker never started, is harmless
  WorkerThread never_started;
  FinishWorker(&never_started);

  EXPECT_TRUE(worker.finished);
  EXPECT_EQ(1u, worker.runs);
  const uint32_t results[] = {0, 87, 1223};
  EXPECT_EQ(results[int(g_ending)], worker.lastResult);
  uint32_t code = 0;
  ReadProgress(&channel_, &code, nullptr, nullptr);
  EXPECT_EQ(g_ending == Ending::kFailure ? 87u : 0u, code);  // a cancel posts no error
  EXPECT_EQ(g_ending == Ending::kSuccess ? 1 : 0, g_finish_posts);
  if (g_ending == Ending::kSuccess)
    EXPECT_EQ("replacement", ReadFile(templ_ + "/a_old.txt"));
  else
    EXPECT_EQ(before, TakeSnapshot(templ_));
  ExpectTempHoldsOnlyStaging();  // every run removed its own backup
}

INSTANTIATE_TEST_SUITE_P(Endings, WorkerTest,
                         ::testing::Values(Ending::kSuccess, Ending::kFailure, Ending::kFinishWorker),
                         [](const ::testing::TestParamInfo<Ending>& info) {
                           return std::string(kEndingNames[int(info.param)]);
                         });

}  // namespace
}  // namespace kitsetup::testing
