// The progress channel: its request rules, the null channel, and two threads
// using it at once (run under ThreadSanitizer in CI).
#include <atomic>
#include <string>
#include <thread>
#include <tuple>

#include <gtest/gtest.h>

#include "core/text_string.h"
#include "install/progress_channel.h"
#include "support/test_support.h"

namespace kitsetup {
namespace {

using testsupport::U16;
std::u16string EntryText(uint32_t i) { return U16("entry " + std::to_string(i) + " of a fairly long path name"); }

// A new request ends the directory in one separator and clears the last
// run's progress and cancel: a retry after a failed or cancelled run starts clean.
TEST(ProgressChannel, StartRequestClearsTheLastRun) {
  ProgressChannel channel;
  InitChannel(&channel);
  const std::pair<std::u16string, std::u16string> dirs[] = {
      {u"/x/y", u"/x/y/"}, {u"/x/y/", u"/x/y/"}, {u"C:\\x\\", u"C:\\x\\"}, {u"", u""}, {u"a", u"a/"}};
  for (const auto& [given, stored] : dirs) {
    PostProgress(&channel, 87, TextString(u"Installation error"), 40);
    SetCancel(&channel, 1);
    StartRequest(&channel, nullptr, TextString(given.c_str()));
    TextString directory(u"garbage"), text;
    ReadRequest(&channel, nullptr, &directory);
    uint32_t code = 1;
    int32_t percent = 1;
    ReadProgress(&channel, &code, &text, &percent);
    EXPECT_EQ(stored, U16(directory));
    EXPECT_EQ(std::make_tuple(0u, 0, false), std::make_tuple(code, percent, IsCancelled(&channel)));
  }
}

// A worker posts (i, "entry i ...", i % 101) while the reader reads: every
// read must show the three values of one post, never a mix, and the posts
// must arrive in order. The texts are long enough to live on the heap.
TEST(ProgressChannelThreadSafety, WorkerPostsWhileReaderReads) {
  ProgressChannel channel;
  InitChannel(&channel);
  const uint32_t kPosts = 20000;
  std::atomic<bool> done{false}, saw_cancel{false};

  std::thread worker([&] {
    for (uint32_t i = 1; i <= kPosts; ++i) {
      PostProgress(&channel, i, TextString(EntryText(i).c_str()), static_cast<int32_t>(i % 101));
      if (IsCancelled(&channel)) saw_cancel = true;
    }
    done = true;
  });

  uint32_t last = 0, reads = 0, code = 0;
  while (!done || reads == 0) {
    TextString text;
    int32_t percent = -1;
    ReadProgress(&channel, &code, &text, &percent);
    if (++reads == 100) SetCancel(&channel, 1);
    if (code == 0) continue;  // nothing posted yet
    ASSERT_GE(code, last);
    last = code;
    ASSERT_EQ(EntryText(code), U16(text));
    ASSERT_EQ(static_cast<int32_t>(code % 101), percent);
  }
  worker.join();
  ReadProgress(&channel, &code, nullptr, nullptr);
  EXPECT_EQ(kPosts, code);
  EXPECT_TRUE(saw_cancel || reads < 100);
}

}  // namespace
}  // namespace kitsetup
