// File-system operations on real directories. Every operation runs with fast
// paths on and with the shell commands alone, and must leave the same files
// and return the same codes both times.
#include "core/file_system.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "core/error_codes.h"
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
      {nullptr, "/var/tmp/"}, {"", "/var/tmp/"},          {"/tmp", "/tmp/"},
      {"/tmp/", "/tmp/"},     {plain.c_str(), "/var/tmp/"}, {missing.c_str(), "/var/tmp/"},
      {scratch.path().c_str(), scratch.path() + "/"}};
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

TEST(FastPathSwitch, EnvironmentTurnsThemOffAtStart) {
  const char* value = getenv("KITSETUP_NO_FAST_PATHS");
  if (value != nullptr && std::string(value) == "1") {
    EXPECT_FALSE(FastPathsEnabled());
    return;
  }
  EXPECT_TRUE(FastPathsEnabled());
  const std::string self = testsupport::SelfExecutable();
  if (self.empty()) GTEST_SKIP() << "this program's path is unknown";
  const std::string again = "KITSETUP_NO_FAST_PATHS=1 '" + self +
                            "' --gtest_filter=FastPathSwitch.* >/dev/null";
  EXPECT_EQ(system(again.c_str()), 0);
}

// Every operation below `root`, a folder name relative to the working
// directory, in the cases where mv, mkdir -p, touch and rm have something to
// say; the codes in order, and what a code cannot show.
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

// Folder names (the user's template directory, TMPDIR or home) that the shell
// would expand, split or read as an option if they reached it unquoted: the
// fast paths and the commands must act on the same files. The tools are
// wrapped to log their calls: the fast paths leave them only the cases they
// cannot decide.
TEST(FileOpsOnShellNames, FastPathsAndCommandsActOnTheSameFiles) {
  ScratchDir bin;
  for (const std::string tool : {"mv", "mkdir", "touch", "rm"}) {
    const std::string real = fs::exists("/usr/bin/" + tool) ? "/usr/bin/" + tool : "/bin/" + tool;
    WriteFile(bin.At(tool), "#!/bin/sh\necho " + tool + " >>'" + bin.At("calls") + "'\nexec " + real + " \"$@\"\n");
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

}  // namespace
}  // namespace kitsetup
