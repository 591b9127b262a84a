// Tests of fopen, system and popen with TextString paths and commands, on
// real files in a fresh temporary directory.
#include "core/shell.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "core/encoding.h"
#include "support/test_support.h"

namespace kitsetup {
namespace {

TEST(ShellCommands, LocalePathsQuotingAndOutput) {
  testsupport::ScopedEnv locale("LC_ALL", "C.UTF-8");
  testsupport::ScratchDir scratch;
  const std::string& dir = scratch.path();
  const TextString base = testsupport::Text(dir);

  // A Cyrillic name reaches the file system as UTF-8; the ccs suffix of the
  // mode reaches fopen unchanged and the file still reads as raw bytes.
  FILE* out = fopen_text(base + u"/Шаблоны.cfg", TextString(u"wb"));
  ASSERT_NE(out, nullptr);
  fwrite("\xFF\xFE" "A", 1, 3, out);
  fclose(out);
  EXPECT_TRUE(std::filesystem::exists(dir + u8"/Шаблоны.cfg"));
  FILE* in = fopen_text(base + u"/Шаблоны.cfg", TextString(u"rt, ccs=UNICODE"));
  ASSERT_NE(in, nullptr);
  EXPECT_EQ(fgetc(in), 0xFF);
  fclose(in);
  EXPECT_EQ(fopen_text(base + u"/missing/x", TextString(u"r")), nullptr);
  EXPECT_EQ(run_shell(TextString(u"touch \"") + base + u"/ვიეტ Việt\""), 0);
  EXPECT_TRUE(std::filesystem::exists(dir + u8"/ვიეტ Việt"));

  // A quoted path is one word that the shell takes literally.
  EXPECT_STREQ(ShellQuotedPath(ByteString("it's $x")).c_str(), "'it'\\''s $x'");
  EXPECT_STREQ(ShellQuotedPath(ByteString("-rf")).c_str(), "'./-rf'");
  EXPECT_STREQ(ShellQuotedPath(ByteString("")).c_str(), "''");
  for (const char* word : {"a \"b\" `c` $d \\e 'f'", "-n", "tab\there"}) {
    const std::string printed = testsupport::Utf8(
        read_command_output(FromLocaleBytes(ByteString("printf '%s|' ") + ShellQuotedPath(ByteString(word)))));
    EXPECT_EQ(printed, std::string(word[0] == '-' ? "./" : "") + word + "|") << word;
  }
}

volatile sig_atomic_t g_interrupts = 0;
void CountInterrupt(int) { g_interrupts = g_interrupts + 1; }

// system() would ignore SIGINT in the caller while the command runs, and
// this one would be lost.
TEST(ShellCommands, AnInterruptDuringACommandReachesTheCallersHandler) {
  struct sigaction action {}, old {};
  action.sa_handler = CountInterrupt;
  sigemptyset(&action.sa_mask);
  ASSERT_EQ(sigaction(SIGINT, &action, &old), 0);
  const int status = run_shell(ByteString("kill -INT $PPID; exit 3"));
  sigaction(SIGINT, &old, nullptr);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 3) << status;
  EXPECT_EQ(g_interrupts, 1);
}

}  // namespace
}  // namespace kitsetup
