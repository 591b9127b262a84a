// The progress channel: its request rules, the null channel, and two threads
// using it at once (run under ThreadSanitizer in CI).
#include <atomic>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "core/text_string.h"
#include "install/progress_channel.h"
#include "support/test_support.h"

namespace kitsetup {
namespace {

using testsupport::U16;
std::u16string EntryText(uint32_t i) {
  return U16("entry " + std::to_string(i) + " of a fairly long path name");
}

TEST(ProgressChannel, StartRequestEndsTheDirectoryInOneSeparator) {
  ProgressChannel channel;
  InitChannel(&channel);
  const std::pair<std::u16string, std::u16string> cases[] = {
      {u"/x/y", u"/x/y/"}, {u"/x/y/", u"/x/y/"}, {u"C:\\x\\", u"C:\\x\\"}, {u"", u""}, {u"a", u"a/"}};
  for (const auto& [given, stored] : cases) {
    StartRequest(&channel, nullptr, TextString(given.c_str()));
    TextString directory(u"garbage");
    ReadRequest(&channel, nullptr, &directory);
    EXPECT_EQ(stored, U16(directory));
  }
}

TEST(ProgressChannel, StartRequestClearsTheLastRunsState) {
  ProgressChannel channel;
  InitChannel(&channel);
  PostProgress(&channel, 87, TextString(u"Installation error"), 40);
  SetCancel(&channel, 1);
  int kit_stand_in = 0;
  auto* kit = reinterpret_cast<DistributionKit*>(&kit_stand_in);

  StartRequest(&channel, kit, TextString(u"/t"));

  uint32_t code = 1;
  TextString text;
  int32_t percent = 1;
  ReadProgress(&channel, &code, &text, &percent);
  EXPECT_EQ(0u, code);
  EXPECT_EQ(0, percent);
  EXPECT_FALSE(IsCancelled(&channel));
  DistributionKit* read = nullptr;
  ReadRequest(&channel, &read, nullptr);
  EXPECT_EQ(kit, read);
}

TEST(ProgressChannel, NullChannelDoesNothing) {
  uint32_t code = 5;
  TextString text(u"kept");
  int32_t percent = 7;
  DistributionKit* kit = nullptr;
  StartRequest(nullptr, nullptr, TextString(u"/t"));
  ReadRequest(nullptr, &kit, &text);
  SetCancel(nullptr, 1);
  PostProgress(nullptr, 1, TextString(u"x"), 50);
  ReadProgress(nullptr, &code, &text, &percent);
  EXPECT_FALSE(IsCancelled(nullptr));
  EXPECT_EQ(5u, code);
  EXPECT_EQ(u"kept", U16(text));
  EXPECT_EQ(7, percent);
}

// A worker posts (i, "entry i ...", i % 101) while the reader reads: every
// read must show the three values of one post, never a mix, and the posts
// must arrive in order. The texts are long enough to live on the heap.
TEST(ProgressChannelThreadSafety, WorkerPostsWhileReaderReads) {
  ProgressChannel channel;
  InitChannel(&channel);
  const uint32_t kPosts = 20000;
  std::atomic<bool> done{false};
  std::atomic<bool> saw_cancel{false};

  std::thread worker([&] {
    for (uint32_t i = 1; i <= kPosts; ++i) {
      PostProgress(&channel, i, TextString(EntryText(i).c_str()), static_cast<int32_t>(i % 101));
      if (IsCancelled(&channel)) saw_cancel = true;
    }
    done = true;
  });

  uint32_t last = 0;
  uint32_t reads = 0;
  while (!done || reads == 0) {
    uint32_t code = 0;
    TextString text;
    int32_t percent = -1;
    ReadProgress(&channel, &code, &text, &percent);
    ++reads;
    if (reads == 100) SetCancel(&channel, 1);
    if (code == 0) continue;  // nothing posted yet
    ASSERT_GE(code, last);
    last = code;
    ASSERT_EQ(EntryText(code), U16(text));
    ASSERT_EQ(static_cast<int32_t>(code % 101), percent);
  }
  worker.join();
  uint32_t code = 0;
  ReadProgress(&channel, &code, nullptr, nullptr);
  EXPECT_EQ(kPosts, code);
  EXPECT_TRUE(saw_cancel || reads < 100);
}

}  // namespace
}  // namespace kitsetup
