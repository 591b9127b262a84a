// Paths and commands on real files and real shells; the file operations run
// with fast paths and with the shell commands alone must act alike.
#include "core/file_system.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>

#include "core/encoding.h"
#include "core/error_codes.h"
#include "core/shell.h"
#include "install/install_fixture.h"
#include "support/test_support.h"

namespace kitsetup {
namespace {

using testsupport::ReadFile;
using testsupport::ScopedEnv;
using testsupport::ScratchDir;
using testsupport::Text;
using testsupport::Utf8;
using testsupport::WriteFile;
namespace fs = std::filesystem;

TEST(TempDirectory, UsesTmpdirOnlyWhenItNamesADirectory) {
  ScratchDir scratch;
  const std::string plain = scratch.At("plain"), missing = scratch.At("missing");
  WriteFile(plain, "x");
  const std::pair<const char*, std::string> cases[] = {
      {nullptr, "/var/tmp/"}, {"", "/var/tmp/"}, {"/tmp/", "/tmp/"}, {plain.c_str(), "/var/tmp/"},
      {missing.c_str(), "/var/tmp/"}, {scratch.path().c_str(), scratch.path() + "/"}};
  for (const auto& [tmpdir, expected] : cases) {
    ScopedEnv env("TMPDIR", tmpdir);
    TextString out;
    EXPECT_EQ(GetTempDirectory(out), kOk);
    EXPECT_EQ(Utf8(out), expected);
  }
}

TEST(ReadCommandLine, KeepsTheFirstLineWithoutItsLastByte) {
  EXPECT_EQ(Utf8(ReadCommandLine(Text("printf abc"))), "ab");
  EXPECT_EQ(Utf8(ReadCommandLine(Text("printf 'one\\ntwo\\n'"))), "one");
  EXPECT_EQ(Utf8(ReadCommandLine(Text("echo"))), "");
  EXPECT_EQ(Utf8(ReadCommandLine(Text("true"))), "");
  // fgets stops at 254 bytes; the cut takes one more.
  EXPECT_EQ(ReadCommandLine(Text("printf '%0300d' 0")).length(), 253u);
}

// Every operation below `root` (relative), in the cases where mv, mkdir -p,
// touch and rm have something to say: the codes, and what they cannot show.
std::string RunOperationsBelow(const std::string& root) {
  const TextString r = Text(root);
  std::string codes;
  auto note = [&codes](uint32_t code) { codes += std::to_string(code) + " "; };
  note(MakeDirectories(r + u"/a b//c/"));
  note(MakeDirectories(r + u"/a b"));
  // Temporary files land in the directory asked for, whatever TMPDIR says.
  fs::create_directory(root + "/elsewhere");
  setenv("TMPDIR", (root + "/elsewhere").c_str(), 1);
  TextString temp, second, missing;
  note(CreateTempFile(r + u"/a b", Text("edf"), temp));
  note(CreateTempFile(r + u"/a b/", Text("edf"), second));
  note(CreateTempFile(r + u"/none", Text("edf"), missing));
  for (const auto& [name, dir] : {std::pair{temp, "/a b/edf"}, {second, "/a b/edf"}, {missing, "/none/edf"}}) {
    if (Utf8(name).rfind(root + dir, 0) != 0) codes += "(temp file named " + Utf8(name) + ") ";
  }
  if (temp == second) codes += "(one temp name twice) ";
  note(MoveFile(temp, r + u"/a b/c/moved"));
  note(MoveFile(second, r + u"/a b/second"));
  WriteFile(root + "/a b/c/old", "old");
  WriteFile(root + "/a b/new", "new");
  note(MoveFile(r + u"/a b/new", r + u"/a b/c/old"));  // over an existing file
  note(MoveFile(r + u"/missing", r + u"/x"));
  note(MakeDirectories(r + u"/a b/c/old"));  // a plain file stands there
  note(MakeDirectories(r + u"/a b/c/old/sub"));
  note(MoveFile(r + u"/a b/c/old", r + u"/no/such"));  // mv exits with 1
  note(MoveFile(r + u"/a b/c/old", r + u"/a b/c/old"));
  fs::create_directory(root + "/into");
  note(MoveFile(r + u"/a b/c/moved", r + u"/into"));  // into it, as mv does
  note(MoveFile(r + u"/into", r + u"/renamed"));
  note(RemoveFile(r + u"/renamed/moved"));
  note(RemoveFile(r + u"/gone"));
  note(RemoveFile(r + u"/renamed"));  // rm refuses a directory, and says so
  WriteFile(root + "/keep/precious", "p");
  WriteFile(root + "/gone/x/y/f", "f");
  WriteFile(root + "/gone/.hidden", "h");
  fs::create_directory_symlink("../../keep", root + "/gone/x/link");
  note(RemoveTree(r + u"/gone/"));
  WriteFile(root + "/plain", "x");
  note(RemoveTree(r + u"/plain"));
  note(RemoveTree(r + u"/missing"));
  // As mkdir -p does, the parents made get owner write and search.
  umask(0277);
  note(MakeDirectories(r + u"/p/q"));
  for (const char* made : {"/p", "/p/q"}) {
    codes += std::to_string(static_cast<int>(fs::status(root + made).permissions())) + " ";
  }
  return codes;
}

// Folder names the shell would expand, split or read as an option if they
// reached it unquoted. The wrapped tools log their calls: the fast paths
// leave them only the cases they cannot decide.
TEST(FileOpsOnShellNames, FastPathsAndCommandsActOnTheSameFiles) {
  ScratchDir bin;
  for (const std::string tool : {"mv", "mkdir", "touch", "rm"}) {
    WriteFile(bin.At(tool),
              "#!/bin/sh\necho " + tool + " >>'" + bin.At("calls") + "'\nPATH=/usr/bin:/bin exec " + tool + " \"$@\"\n");
    chmod(bin.At(tool).c_str(), 0755);
  }
  const char* const names[] = {"dollar $HOME $1 x", "tick `echo q`", "quote \"q\"", "back\\slash \\$",
                               "it's", "new\nline", "-dash", "semi;colon & *"};
  for (const char* name : names) {
    SCOPED_TRACE(name);
    std::string results[2], trees[2];
    for (int fast = 0; fast < 2; ++fast) {
      ScratchDir scratch;
      fs::remove(bin.At("calls"));
      results[fast] = testsupport::RunInChild([&] {
        SetFastPathsEnabled(fast == 1);
        setenv("PATH", (bin.path() + ":/usr/bin:/bin").c_str(), 1);
        if (!freopen("/dev/null", "w", stderr) || chdir(scratch.path().c_str()) != 0) return std::string("no chdir");
        return RunOperationsBelow(name);
      });
      results[fast] += "| " + ReadFile(bin.At("calls"));
      // Paths, kinds and bytes (the times are the test's own writes).
      for (const auto& [path, node] : kitsetup::testing::TakeSnapshot(scratch.path())) {
        trees[fast] += path + " " + node.kind + " " + node.bytes + "\n";
      }
    }
    // The modes of p and p/q come last: 0700 and 0500.
    EXPECT_EQ(results[1], "0 0 0 0 1013 0 0 0 2 2 2 2 2 0 0 0 0 0 0 0 0 0 448 320 | "
                          "mv\nmkdir\nmkdir\nmv\nmv\nmv\nrm\n");
    EXPECT_EQ(results[0].substr(0, results[0].find('|')), results[1].substr(0, results[1].find('|')));
    std::string want;
    for (const char* entry : {" d ", "/a b d ", "/a b/c d ", "/a b/c/old f new", "/a b/second f ", "/elsewhere d ",
                              "/keep d ", "/keep/precious f p", "/p d ", "/p/q d ", "/renamed d "}) {
      want += "/" + std::string(name) + entry + "\n";
    }
    EXPECT_EQ(trees[1], want);
    EXPECT_EQ(trees[0], trees[1]);
  }
}

TEST(ShellCommands, LocalePathsReachTheFileSystemAsUtf8) {
  ScopedEnv locale("LC_ALL", "C.UTF-8");
  ScratchDir scratch;
  const std::string& dir = scratch.path();
  const TextString base = Text(dir);

  // The ccs suffix does not stop fopen; the file reads as raw bytes.
  WriteFile(dir + u8"/Шаблоны.cfg", "\xFF\xFE" "A");
  FILE* in = fopen_text(base + u"/Шаблоны.cfg", TextString(u"rt, ccs=UNICODE"));
  ASSERT_NE(in, nullptr);
  EXPECT_EQ(fgetc(in), 0xFF);
  fclose(in);
  EXPECT_EQ(fopen_text(base + u"/missing/x", TextString(u"r")), nullptr);
  EXPECT_EQ(run_shell(TextString(u"touch \"") + base + u"/ვიეტ Việt\""), 0);
  EXPECT_TRUE(fs::exists(dir + u8"/ვიეტ Việt"));
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
