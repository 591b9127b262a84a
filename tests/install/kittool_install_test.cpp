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

// An upgrade killed (SIGKILL, as a crash or a power loss would end it) before
// each of its file operations in turn: while it backs up, between writes,
// right before the journal's final record, while it removes its backup; and,
// with an operation failing first, during its rollback. Whoever comes next
// (kittool recover, or the next install) first puts the old tree back
// exactly, unless the run had already marked its journal final, and leaves
// nothing of the killed run in TMPDIR; the next install then gives exactly
// the new tree. A recovery killed in turn is simply recovered again.
TEST_F(KittoolInstall, KilledUpgradeIsRecoveredByTheNextRun) {
  Source("a.txt", "new a", kT0 + 50);
  Source("keep.txt", "kit's keep", kT0);
  Source("dir/b.txt", std::string(3000, 'b'), kT0 + 50);
  Source("fresh/deep/c.txt", "c", kT0 + 50);
  Pack();
  auto user_tree = [&](const std::string& dir) {
    RunShell("rm -rf '" + dir + "'");
    WriteFile(dir + "/a.txt", "old a", kT0);
    WriteFile(dir + "/keep.txt", "user's newer keep", kT0 + 99);
    WriteFile(dir + "/dir/b.txt", "old b", kT0);
    WriteFile(dir + "/dir/mine.txt", "mine", kT0);
  };
  user_tree(templ_);
  const Snapshot before = TakeSnapshot(templ_);
  ASSERT_EQ(0, Install(Args(templ_))) << Err();
  const Snapshot after = TakeSnapshot(templ_);
  ASSERT_NE(before, after);

  const std::string tool = "'" + Kittool() + "' ";
  auto killed = [](int status) { return status == -1 || status == 128 + SIGKILL; };
  // Runs `command` with the environment `env`; true when it was killed.
  auto run = [&](const std::string& env, const std::string& command) {
    return killed(RunShell(env + " " + tool + command + " 2>'" + ErrPath() + "' </dev/null"));
  };
  // The temporary directory after recovery: nothing of the run, except the
  // staging file of a run killed before its journal existed.
  auto expect_temp_clean = [&](const std::string& where) {
    for (const std::string& name : ListNames(temp_))
      EXPECT_EQ(0u, name.rfind("edf", 0)) << where << ": " << name;
    RunShell("rm -f '" + temp_ + "'/edf*");
  };
  // Recovers (killing the recovery itself at its operations first when
  // asked) and returns the tree it leaves.
  auto recover = [&](const std::string& where, bool kill_recovery) {
    for (int k = 1; kill_recovery && run("KITSETUP_CRASH_AT=" + std::to_string(k), "recover"); ++k) {
      EXPECT_LT(k, 200) << where;
      if (k >= 200) break;
    }
    EXPECT_FALSE(run("", "recover")) << where;
    const Snapshot tree = TakeSnapshot(templ_);
    EXPECT_FALSE(run("", "recover")) << where;
    EXPECT_EQ("", Err()) << where << ": recovered twice";
    expect_temp_clean(where);
    return tree;
  };

  struct Case {
    const char* name;
    int fail_at;  // an operation that fails first, so that the kill lands in the rollback
    bool kill_recovery;
  };
  const Case cases[] = {{"upgrade", 0, false}, {"rollback", 0, false}, {"recovery", 0, true}};
  // The rollback's row fails the last operation whose failure still rolls
  // the run back (the flush before the final record), so that the rollback
  // has the most to undo.
  int operations = 0;
  for (bool crashed = true; crashed; ++operations) {
    run("", "recover");
    user_tree(root_ + "/count");
    crashed = run("KITSETUP_CRASH_AT=" + std::to_string(operations + 1), "install " + Args(root_ + "/count"));
  }
  RunShell("rm -f '" + temp_ + "'/edf*");
  ASSERT_GT(operations, 10);
  for (const Case& c : cases) {
    const int fail_at = std::string(c.name) == "rollback" ? operations - 6 : c.fail_at;
    bool final_seen = false;
    for (int n = fail_at + 1;; ++n) {
      const std::string where = std::string(c.name) + " killed at operation " + std::to_string(n);
      user_tree(templ_);
      std::string env = "KITSETUP_CRASH_AT=" + std::to_string(n);
      if (fail_at) env += " KITSETUP_FAIL_AT=" + std::to_string(fail_at);
      if (!run(env, "install " + Args(templ_))) break;
      ASSERT_LT(n, 400) << where;
      // Before its final record the old tree comes back; after it, the new
      // tree stays.
      const Snapshot recovered = recover(where, c.kill_recovery && n % 3 == 0);
      final_seen = final_seen || recovered == after;
      EXPECT_EQ(final_seen && !fail_at ? after : before, recovered) << where;
      if (recovered != after) {
        EXPECT_FALSE(run("", "install " + Args(templ_))) << where;
        EXPECT_EQ(after, TakeSnapshot(templ_)) << where;
      }
      EXPECT_EQ(std::vector<std::string>{}, ListNames(temp_)) << where;
      if (::testing::Test::HasFailure()) return;
    }
    EXPECT_EQ(!fail_at, final_seen) << c.name;
  }
}

}  // namespace
}  // namespace kitsetup::testing
