// `kittool install` as a real process: its exit codes, its messages, its
// progress output, and signals and a second installer in the middle of a
// large kit.
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>

#include <chrono>
#include <cstring>
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

// Signals and a second installer, against a large kit: 4000 files, some of
// which replace older copies of the user's, beside a file of the user's own.
class KittoolRun : public KittoolInstall {
 protected:
  void SetUp() override {
    KittoolInstall::SetUp();
    const int kFiles = 4000;
    for (int i = 0; i < kFiles; ++i) {
      std::string text(1000 + (i * 37) % 3000, static_cast<char>('a' + i % 26));
      Source("d" + std::to_string(i % 40) + "/f" + std::to_string(i) + ".txt", text, kT0 + 100);
    }
    Pack();
    for (int i = 0; i < kFiles; i += 97)
      WriteFile(templ_ + "/d" + std::to_string(i % 40) + "/f" + std::to_string(i) + ".txt", "old", kT0);
    WriteFile(templ_ + "/mine.txt", "mine", kT0);
  }

  // Starts `kittool install KIT TEMPLATE_DIR`, its standard error into `err`.
  pid_t Spawn(const std::string& err) {
    pid_t pid = 0;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    std::string tool = Kittool();
    const char* argv[] = {tool.c_str(), "install", kit_path_.c_str(), templ_.c_str(), nullptr};
    EXPECT_EQ(0, posix_spawn(&pid, tool.c_str(), &actions, nullptr, const_cast<char**>(argv), environ));
    posix_spawn_file_actions_destroy(&actions);
    return pid;
  }

  // Stops the process once its progress shows `percent`. While it is
  // stopped its run is known to be under way: the backup directory exists
  // from the run's start until its end or its rollback.
  void StopAt(pid_t pid, const std::string& err, const std::string& percent) {
    auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(120);
    while (ReadFile(err).find(percent) == std::string::npos && std::chrono::steady_clock::now() < give_up)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    kill(pid, SIGSTOP);
    int status = 0;
    ASSERT_EQ(pid, waitpid(pid, &status, WUNTRACED));
    ASSERT_TRUE(WIFSTOPPED(status)) << ReadFile(err);
    ASSERT_EQ(std::vector<std::string>{"r4stp0"}, ListNames(temp_)) << "the run is not under way";
  }

  int ExitStatus(pid_t pid) {
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }
};

// One signal, once the run is well under way: the job stops after its
// current file, rolls back, and kittool exits with 128 + the signal.
TEST_F(KittoolRun, ASignalDuringTheCopyRollsBackAndExitsWith128PlusIt) {
  const Snapshot before = TakeSnapshot(templ_);
  for (int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
    SCOPED_TRACE(strsignal(signal_number));
    pid_t pid = Spawn(ErrPath());
    ASSERT_NO_FATAL_FAILURE(StopAt(pid, ErrPath(), " 10%"));
    kill(pid, signal_number);
    kill(pid, SIGCONT);
    EXPECT_EQ(128 + signal_number, ExitStatus(pid)) << Err();
    EXPECT_NE(std::string::npos, Err().find("interrupted, rolling back")) << Err();
    EXPECT_NE(std::string::npos, Err().find("error 1223: ")) << Err();
    EXPECT_NE(std::string::npos, Err().find("rolled back ")) << "the rollback shows its progress";
    EXPECT_EQ(before, TakeSnapshot(templ_));
    EXPECT_EQ(std::vector<std::string>{}, ListNames(temp_));
  }
}

// A second installer into the same directory while the first one copies:
// it is refused with 4 and changes nothing; the first ends exactly.
TEST_F(KittoolRun, ASecondInstallerIsRefusedAndTheFirstCompletes) {
  const std::string first_err = root_ + "/first.txt";
  pid_t first = Spawn(first_err);
  ASSERT_NO_FATAL_FAILURE(StopAt(first, first_err, " 5%"));
  const Snapshot during = TakeSnapshot(templ_);

  EXPECT_EQ(4, Install(Args(templ_)));
  EXPECT_EQ("kittool install: another installation into " + templ_ + " is running\n", Err());
  EXPECT_EQ(during, TakeSnapshot(templ_));
  EXPECT_EQ(std::vector<std::string>{"r4stp0"}, ListNames(temp_));

  kill(first, SIGCONT);
  EXPECT_EQ(0, ExitStatus(first)) << ReadFile(first_err);
  Snapshot expected = TakeSnapshot(source_);
  expected["/mine.txt"] = TakeSnapshot(templ_)["/mine.txt"];
  EXPECT_EQ(expected, TakeSnapshot(templ_));
  EXPECT_EQ("mine", ReadFile(templ_ + "/mine.txt"));
  EXPECT_EQ(std::vector<std::string>{}, ListNames(temp_));
}

}  // namespace
}  // namespace kitsetup::testing
