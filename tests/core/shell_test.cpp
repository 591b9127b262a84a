// Tests of fopen, system and popen with TextString paths and commands, on
// real files under a fresh temporary directory.
#include "core/shell.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "core/encoding.h"

namespace kitsetup {
namespace {

std::u16string Units(const TextString& s) { return std::u16string(s.c_str(), s.length()); }

class ShellCommands : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("LC_ALL", "C.UTF-8", 1);
    char pattern[] = "/tmp/kitsetup-shell-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir_ = pattern;
  }
  void TearDown() override { std::system(("rm -rf '" + dir_ + "'").c_str()); }
  TextString Dir() const { return FromLocaleBytes(dir_.data(), dir_.size()); }
  bool Exists(const std::string& name) const {
    struct stat st;
    return stat((dir_ + "/" + name).c_str(), &st) == 0;
  }
  std::string dir_;
};

TEST_F(ShellCommands, FopenTextUsesLocaleBytesAndKeepsTheMode) {
  FILE* out = fopen_text(Dir() + u"/Шаблоны.cfg", TextString(u"wb"));
  ASSERT_NE(out, nullptr);
  fwrite("\xFF\xFE" "A\0", 1, 4, out);
  fclose(out);
  EXPECT_TRUE(Exists(u8"Шаблоны.cfg"));
  // The character-set suffix reaches fopen as written; the bytes come back raw.
  FILE* in = fopen_text(Dir() + u"/Шаблоны.cfg", TextString(u"rt, ccs=UNICODE"));
  ASSERT_NE(in, nullptr);
  unsigned char head[8] = {};
  EXPECT_EQ(fread(head, 1, sizeof(head), in), 4u);
  EXPECT_EQ(head[0], 0xFF);
  EXPECT_EQ(head[1], 0xFE);
  fclose(in);
  EXPECT_EQ(fopen_text(Dir() + u"/missing/x", TextString(u"r")), nullptr);
}

TEST_F(ShellCommands, RunShellReturnsTheRawStatus) {
  const int status = run_shell(TextString(u"touch \"") + Dir() + u"/ვიეტ Việt\" 2>/dev/null");
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(Exists(u8"ვიეტ Việt"));
  const int failed = run_shell(ByteString("exit 3"));
  ASSERT_TRUE(WIFEXITED(failed));
  EXPECT_EQ(WEXITSTATUS(failed), 3);
}

TEST_F(ShellCommands, ReadCommandOutputTakesOneLineOfAtMost254Bytes) {
  EXPECT_EQ(Units(read_command_output(TextString(u"printf 'Привет\\nsecond'"))), u"Привет\n");
  EXPECT_EQ(read_command_output(TextString(u"head -c 400 /dev/zero | tr '\\0' x")).length(), 254u);
  EXPECT_TRUE(read_command_output(TextString(u"true")).empty());
}

}  // namespace
}  // namespace kitsetup
