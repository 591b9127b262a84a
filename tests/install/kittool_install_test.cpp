// `kittool install` as a real process: its exit codes, its messages, its
// progress output, and an interrupt in the middle of a large kit.
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>

#include <chrono>
#include <thread>

#include "install/install_fixture.h"

extern char** environ;

namespace kitsetup::testing {
namespace {

class KittoolInstall : public InstallFixture {
 protected:
  // Runs kittool install with the given arguments; stderr goes to a file.
  int Install(const std::string& args) {
    return RunShell("'" + Kittool() + "' install " + args + " 2>'" + ErrPath() + "' </dev/null");
  }
  std::string Args(const std::string& templ) { return "'" + kit_path_ + "' '" + templ + "'"; }
  std::string ErrPath() { return root_ + "/stderr.txt"; }
  std::string Err() { return ReadFile(ErrPath()); }
};

TEST_F(KittoolInstall, InstallsAndLogsProgressAsPlainLinesOrQuietly) {
  Source("a.txt", "a", kT0);
  Source("dir/b.txt", std::string(5000, 'b'), kT0 + 1);
  Pack();

  ASSERT_EQ(0, Install(Args(templ_))) << Err();
  EXPECT_EQ(std::string(5000, 'b'), ReadFile(templ_ + "/dir/b.txt"));
  EXPECT_EQ(kT0 + 1, MTime(templ_ + "/dir/b.txt"));
  std::string err = Err();
  EXPECT_EQ(std::string::npos, err.find('\r')) << "not a terminal: no redrawing";
  EXPECT_NE(std::string::npos, err.find("100%  2/2 files")) << err;
  EXPECT_NE(std::string::npos, err.find("dir/b.txt")) << err;
  // The staging file goes with the process.
  EXPECT_EQ(std::vector<std::string>{}, ListNames(temp_));

  ASSERT_EQ(0, Install("--quiet " + Args(root_ + "/quiet")));
  EXPECT_EQ("", Err());
  EXPECT_EQ("a", ReadFile(root_ + "/quiet/a.txt"));
}

TEST_F(KittoolInstall, ExitCodesForUsageAndForAMissingOrDamagedKit) {
  for (const std::string& args : {std::string(), "'" + kit_path_ + "'", "--bogus " + Args(templ_)})
    EXPECT_EQ(2, Install(args)) << args;

  EXPECT_EQ(3, Install("'" + root_ + "/missing.efd' '" + templ_ + "'"));
  EXPECT_EQ(0u, Err().rfind("error 2: ", 0)) << Err();

  WriteFile(kit_path_, std::string(4096, '\xff'), kT0);  // not a DEFLATE stream
  EXPECT_EQ(3, Install(Args(templ_)));
  EXPECT_EQ(0u, Err().rfind("error 13: ", 0)) << Err();
  EXPECT_EQ(std::vector<std::string>{}, ListNames(temp_));
  EXPECT_EQ(-1, MTime(templ_));
}

// A large kit interrupted with SIGINT once it is well under way: the run is
// cancelled, rolled back with its progress shown, and the process ends with
// the cancel message.
TEST_F(KittoolInstall, InterruptRollsBackAndExitsWithTheCancelCode) {
  const int kFiles = 4000;
  for (int i = 0; i < kFiles; ++i) {
    std::string text(1000 + (i * 37) % 3000, static_cast<char>('a' + i % 26));
    Source("d" + std::to_string(i % 40) + "/f" + std::to_string(i) + ".txt", text, kT0 + 100);
  }
  Pack();
  // The user's older copies of some of the files, and files of their own.
  for (int i = 0; i < kFiles; i += 97)
    WriteFile(templ_ + "/d" + std::to_string(i % 40) + "/f" + std::to_string(i) + ".txt", "old", kT0);
  WriteFile(templ_ + "/mine.txt", "mine", kT0);
  const Snapshot before = TakeSnapshot(templ_);

  pid_t pid = 0;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 2, ErrPath().c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  std::string tool = Kittool();
  const char* argv[] = {tool.c_str(), "install", kit_path_.c_str(), templ_.c_str(), nullptr};
  ASSERT_EQ(0, posix_spawn(&pid, tool.c_str(), &actions, nullptr, const_cast<char**>(argv), environ));
  posix_spawn_file_actions_destroy(&actions);

  // Wait until a tenth of the files are done, then interrupt. A signal that
  // lands while the job waits for a shell command is ignored by libc's
  // system(), so it is sent again until the process ends.
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (Err().find(" 10%") == std::string::npos && std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  int status = 0;
  while (waitpid(pid, &status, WNOHANG) == 0) {
    kill(pid, SIGINT);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }

  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(1, WEXITSTATUS(status)) << Err();
  EXPECT_NE(std::string::npos, Err().find("error 1223: ")) << Err();
  EXPECT_NE(std::string::npos, Err().find("rolled back ")) << "the rollback shows its progress";
  EXPECT_EQ(std::string::npos, Err().find("100%")) << "finished before the interrupt";
  EXPECT_EQ(before, TakeSnapshot(templ_));
  EXPECT_EQ(std::vector<std::string>{}, ListNames(temp_));
}

}  // namespace
}  // namespace kitsetup::testing
