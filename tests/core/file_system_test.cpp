// File-system operations on real directories. Every operation that has a
// fast path runs twice, with fast paths on and with the shell commands alone,
// and must leave the same files and return the same code both times.
#include "core/file_system.h"

#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "core/error_codes.h"
#include "install/install_fixture.h"
#include "support/test_support.h"

namespace kitsetup {
namespace {

using testsupport::CaptureStderr;
using testsupport::ReadFile;
using testsupport::ScopedEnv;
using testsupport::ScratchDir;
using testsupport::Text;
using testsupport::Utf8;
using testsupport::WriteFile;
namespace fs = std::filesystem;

std::string TempDirectoryWith(const char* tmpdir) {
  ScopedEnv env("TMPDIR", tmpdir);
  TextString out;
  EXPECT_EQ(GetTempDirectory(out), kOk);
  return Utf8(out);
}

TEST(TempDirectory, UsesTmpdirOnlyWhenItNamesADirectory) {
  ScratchDir scratch;
  WriteFile(scratch.At("plain"), "x");
  EXPECT_EQ(TempDirectoryWith(nullptr), "/var/tmp/");
  EXPECT_EQ(TempDirectoryWith(scratch.At("plain").c_str()), "/var/tmp/");
  EXPECT_EQ(TempDirectoryWith(scratch.At("missing").c_str()), "/var/tmp/");
  EXPECT_EQ(TempDirectoryWith(""), "/var/tmp/");
  EXPECT_EQ(TempDirectoryWith("/tmp"), "/tmp/");
  EXPECT_EQ(TempDirectoryWith("/tmp/"), "/tmp/");
  EXPECT_EQ(TempDirectoryWith(scratch.path().c_str()), scratch.path() + "/");
}

TEST(ReadCommandLine, KeepsTheFirstLineWithoutItsLastByte) {
  EXPECT_EQ(Utf8(ReadCommandLine(Text("printf abc"))), "ab");
  EXPECT_EQ(Utf8(ReadCommandLine(Text("printf 'one\\ntwo\\n'"))), "one");
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

class FileOps : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    was_ = FastPathsEnabled();
    SetFastPathsEnabled(GetParam());
  }
  void TearDown() override { SetFastPathsEnabled(was_); }
  bool was_ = true;
  ScratchDir dir_;
};

TEST_P(FileOps, CreateTempFileMakesItsFileInTheDirectoryAskedFor) {
  ScratchDir elsewhere;
  ScopedEnv env("TMPDIR", elsewhere.path().c_str());
  for (const std::string& asked : {dir_.path(), dir_.path() + "/"}) {
    TextString first, second;
    ASSERT_EQ(CreateTempFile(Text(asked), Text("Vesk"), first), kOk);
    ASSERT_EQ(CreateTempFile(Text(asked), Text("Vesk"), second), kOk);
    EXPECT_NE(Utf8(first), Utf8(second));
    for (const std::string& name : {Utf8(first), Utf8(second)}) {
      EXPECT_EQ(name.rfind(dir_.path() + "/Vesk", 0), 0u) << name;
      EXPECT_EQ(fs::path(name).parent_path(), fs::path(dir_.path()));
      EXPECT_TRUE(fs::is_regular_file(name));
      EXPECT_EQ(fs::file_size(name), 0u);
    }
  }
  EXPECT_TRUE(fs::is_empty(elsewhere.path()));

  TextString missing;
  EXPECT_EQ(CreateTempFile(Text(dir_.At("none")), Text("edf"), missing), kErrCannotCreate);
  EXPECT_EQ(Utf8(missing).rfind(dir_.At("none/edf"), 0), 0u);
  if (geteuid() != 0) {  // root writes anywhere
    fs::create_directory(dir_.At("ro"));
    chmod(dir_.At("ro").c_str(), 0555);
    TextString denied;
    EXPECT_EQ(CreateTempFile(Text(dir_.At("ro")), Text("Vesk"), denied), kErrCannotCreate);
  }
}

TEST_P(FileOps, MakeDirectoriesBuildsChainsWithUsableParentsAndFailsOnAPlainFile) {
  EXPECT_EQ(MakeDirectories(Text(dir_.path())), kOk);
  EXPECT_EQ(MakeDirectories(Text(dir_.At("a/b//c/"))), kOk);
  EXPECT_TRUE(fs::is_directory(dir_.At("a/b/c")));
  EXPECT_EQ(MakeDirectories(Text(dir_.At("a/b"))), kOk);

  WriteFile(dir_.At("file"), "keep");
  EXPECT_EQ(MakeDirectories(Text(dir_.At("file"))), kErrNotFound);
  EXPECT_EQ(MakeDirectories(Text(dir_.At("file/sub/deeper"))), kErrNotFound);
  EXPECT_EQ(ReadFile(dir_.At("file")), "keep");
  EXPECT_EQ(MakeDirectories(Text("")), kErrNotFound);

  // Under a tight umask the parents still get owner write and search.
  const mode_t old = umask(0277);
  const uint32_t code = MakeDirectories(Text(dir_.At("p/q")));
  umask(old);
  ASSERT_EQ(code, kOk);
  EXPECT_EQ(fs::status(dir_.At("p")).permissions(), static_cast<fs::perms>(0700));
  EXPECT_EQ(fs::status(dir_.At("p/q")).permissions(), static_cast<fs::perms>(0500));
}

TEST_P(FileOps, MoveFileBehavesLikeMv) {
  EXPECT_EQ(MoveFile(Text(dir_.At("missing")), Text(dir_.At("target"))), kErrNotFound);
  EXPECT_FALSE(fs::exists(dir_.At("target")));

  WriteFile(dir_.At("a"), "A");
  EXPECT_EQ(MoveFile(Text(dir_.At("a")), Text(dir_.At("b"))), kOk);
  EXPECT_FALSE(fs::exists(dir_.At("a")));
  EXPECT_EQ(ReadFile(dir_.At("b")), "A");

  // Onto an existing directory: into it, as mv does.
  fs::create_directory(dir_.At("into"));
  EXPECT_EQ(MoveFile(Text(dir_.At("b")), Text(dir_.At("into"))), kOk);
  EXPECT_EQ(ReadFile(dir_.At("into/b")), "A");

  WriteFile(dir_.At("old"), "old");
  EXPECT_EQ(MoveFile(Text(dir_.At("into/b")), Text(dir_.At("old"))), kOk);
  EXPECT_EQ(ReadFile(dir_.At("old")), "A");

  EXPECT_EQ(MoveFile(Text(dir_.At("into")), Text(dir_.At("renamed"))), kOk);
  EXPECT_TRUE(fs::is_directory(dir_.At("renamed")));

  // A missing destination directory: mv exits with 1.
  EXPECT_EQ(MoveFile(Text(dir_.At("old")), Text(dir_.At("no/such"))), kErrNotFound);
  EXPECT_EQ(ReadFile(dir_.At("old")), "A");
  EXPECT_EQ(MoveFile(Text(dir_.At("old")), Text(dir_.At("old"))), kErrNotFound);
}

TEST_P(FileOps, RemoveTreeRemovesEverythingButWhatSymlinksPointAt) {
  ScratchDir outside;
  WriteFile(outside.At("precious"), "p");
  fs::create_directories(dir_.At("t/x/y"));
  WriteFile(dir_.At("t/x/y/f"), "f");
  WriteFile(dir_.At("t/.hidden"), "h");
  fs::create_directory_symlink(outside.path(), dir_.At("t/x/link"));
  EXPECT_EQ(RemoveTree(Text(dir_.At("t/"))), kOk);
  EXPECT_FALSE(fs::exists(dir_.At("t")));
  EXPECT_EQ(ReadFile(outside.At("precious")), "p");

  WriteFile(dir_.At("plain"), "x");
  EXPECT_EQ(RemoveTree(Text(dir_.At("plain"))), kOk);
  EXPECT_FALSE(fs::exists(dir_.At("plain")));
  EXPECT_EQ(RemoveTree(Text(dir_.At("missing"))), kOk);

  if (geteuid() != 0) {  // rm -rf leaves what it may not remove, and so must we
    fs::create_directories(dir_.At("locked/in"));
    WriteFile(dir_.At("locked/in/f"), "f");
    WriteFile(dir_.At("locked/g"), "g");
    chmod(dir_.At("locked/in").c_str(), 0555);
    EXPECT_EQ(RemoveTree(Text(dir_.At("locked"))), kOk);
    EXPECT_TRUE(fs::exists(dir_.At("locked/in/f")));
    EXPECT_FALSE(fs::exists(dir_.At("locked/g")));
  }
}

TEST_P(FileOps, RemoveFileRemovesFilesAndLetsRmComplainAboutDirectories) {
  WriteFile(dir_.At("f"), "f");
  EXPECT_EQ(RemoveFile(Text(dir_.At("f"))), kOk);
  EXPECT_FALSE(fs::exists(dir_.At("f")));
  EXPECT_EQ(CaptureStderr([&] { EXPECT_EQ(RemoveFile(Text(dir_.At("gone"))), kOk); }), "");

  fs::create_directory(dir_.At("d"));
  const std::string complaint =
      CaptureStderr([&] { EXPECT_EQ(RemoveFile(Text(dir_.At("d"))), kOk); });
  EXPECT_NE(complaint.find("rm"), std::string::npos);
  EXPECT_TRUE(fs::is_directory(dir_.At("d")));
}

// Every operation below `root`, a folder name relative to the working
// directory; the codes in order. A move onto an existing file goes to the
// command even with fast paths on.
std::string RunOperationsBelow(const std::string& root) {
  const TextString r = Text(root);
  std::string codes;
  auto note = [&codes](uint32_t code) { codes += std::to_string(code) + " "; };
  note(MakeDirectories(r + u"/a b/c"));
  TextString temp;
  note(CreateTempFile(r + u"/a b", Text("edf"), temp));
  if (Utf8(temp).rfind(root + "/a b/edf", 0) != 0) codes += "(temp file named " + Utf8(temp) + ") ";
  note(MoveFile(temp, r + u"/a b/c/moved"));
  WriteFile(root + "/a b/c/old", "old");
  WriteFile(root + "/a b/new", "new");
  note(MoveFile(r + u"/a b/new", r + u"/a b/c/old"));
  note(MoveFile(r + u"/missing", r + u"/x"));
  note(MakeDirectories(r + u"/a b/c/old/sub"));
  note(RemoveFile(r + u"/a b/c/moved"));
  WriteFile(root + "/gone/f", "f");
  note(RemoveTree(r + u"/gone/"));
  return codes;
}

// Folder names (the user's template directory, TMPDIR or home) that the shell
// would expand, split or read as an option if they reached it unquoted: the
// fast paths and the commands must act on the same files.
TEST(FileOpsOnShellNames, FastPathsAndCommandsActOnTheSameFiles) {
  const char* const names[] = {"dollar $HOME $1 x", "tick `echo q`", "quote \"q\"", "back\\slash \\$",
                               "it's", "new\nline", "-dash", "semi;colon & *"};
  for (const char* name : names) {
    SCOPED_TRACE(name);
    std::string codes[2], trees[2];
    for (int fast = 0; fast < 2; ++fast) {
      ScratchDir scratch;
      codes[fast] = testsupport::RunInChild([&] {
        SetFastPathsEnabled(fast == 1);
        return chdir(scratch.path().c_str()) == 0 ? RunOperationsBelow(name) : "no chdir";
      });
      // Paths, kinds and bytes (the times are the test's own writes).
      for (const auto& [path, node] : kitsetup::testing::TakeSnapshot(scratch.path())) {
        trees[fast] += path + " " + node.kind + " " + node.bytes + "\n";
      }
    }
    EXPECT_EQ(codes[1], "0 0 0 0 2 2 0 0 ");
    EXPECT_EQ(codes[0], codes[1]);
    const std::string root = std::string("/") + name;
    EXPECT_EQ(trees[1], root + " d \n" + root + "/a b d \n" + root + "/a b/c d \n" + root + "/a b/c/old f new\n");
    EXPECT_EQ(trees[0], trees[1]);
  }
}

INSTANTIATE_TEST_SUITE_P(BothPaths, FileOps, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "Fast" : "Commands"; });

// Stand-ins for the shell tools, first on PATH: each logs its call and
// exits with the given status.
class FakeTools : public ::testing::Test {
 protected:
  void SetUp() override {
    was_ = FastPathsEnabled();
    path_ = std::make_unique<ScopedEnv>("PATH", (bin_.path() + ":/usr/bin:/bin").c_str());
  }
  void TearDown() override { SetFastPathsEnabled(was_); }
  void Fake(const std::string& tool, int status) {
    WriteFile(bin_.At(tool), "#!/bin/sh\necho " + tool + " >>'" + bin_.At("calls") + "'\nexit " +
                                 std::to_string(status) + "\n");
    chmod(bin_.At(tool).c_str(), 0755);
  }
  std::string Calls() { return ReadFile(bin_.At("calls")); }
  ScratchDir bin_, dir_;
  std::unique_ptr<ScopedEnv> path_;
  bool was_ = true;
};

TEST_F(FakeTools, CommandStatusesMapToTheirCodes) {
  SetFastPathsEnabled(false);
  const TextString a = Text(dir_.At("a")), b = Text(dir_.At("b"));
  Fake("mv", 1);
  EXPECT_EQ(MoveFile(a, b), kErrNotFound);
  Fake("mv", 2);
  EXPECT_EQ(MoveFile(a, b), kOk);  // only status 1 counts as failure
  Fake("mkdir", 3);
  EXPECT_EQ(MakeDirectories(a), kErrNotFound);
  Fake("touch", 1);
  TextString name;
  EXPECT_EQ(CreateTempFile(Text(dir_.path()), Text("edf"), name), kErrCannotCreate);
  Fake("rm", 1);
  EXPECT_EQ(RemoveTree(a), kOk);
  EXPECT_EQ(RemoveFile(a), kOk);
  EXPECT_EQ(Calls(), "mv\nmv\nmkdir\ntouch\nrm\nrm\n");
}

TEST_F(FakeTools, FastPathsStartNoCommandInTheUsualCases) {
  for (const char* tool : {"mv", "mkdir", "touch", "rm"}) Fake(tool, 1);
  SetFastPathsEnabled(true);
  TextString name;
  ASSERT_EQ(CreateTempFile(Text(dir_.path()), Text("edf"), name), kOk);
  EXPECT_EQ(MakeDirectories(Text(dir_.At("x/y"))), kOk);
  EXPECT_EQ(MoveFile(name, Text(dir_.At("x/y/moved"))), kOk);
  EXPECT_EQ(MoveFile(name, Text(dir_.At("x/y/again"))), kErrNotFound);
  EXPECT_TRUE(fs::exists(dir_.At("x/y/moved")));
  EXPECT_EQ(RemoveFile(Text(dir_.At("x/y/moved"))), kOk);
  EXPECT_EQ(RemoveTree(Text(dir_.At("x"))), kOk);
  EXPECT_FALSE(fs::exists(dir_.At("x")));
  EXPECT_EQ(Calls(), "");
}

}  // namespace
}  // namespace kitsetup
