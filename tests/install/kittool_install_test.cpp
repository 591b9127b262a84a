// `kittool install` as a real process: exits, messages, JSON, signals, a
// second installer, and kills at every file operation.
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <map>
#include <thread>

#include "install/install_fixture.h"

namespace kitsetup::testing {
namespace {

class KittoolInstall : public InstallFixture {
 protected:
  // Runs kittool with the environment `env`; stdout and stderr go to files.
  int Run(const std::string& env, const std::string& command) {
    return RunShell(env + " '" + Kittool() + "' " + command + " >'" + OutPath() + "' 2>'" + ErrPath() + "' </dev/null");
  }
  int Install(const std::string& args) { return Run("", "install " + args); }
  std::string Args(const std::string& templ) { return "'" + kit_path_ + "' '" + templ + "'"; }
  std::string ErrPath() { return out_.path() + "/stderr.txt"; }
  std::string OutPath() { return out_.path() + "/stdout.txt"; }
  std::string Err() { return ReadFile(ErrPath()); }
  std::string Json(const std::string& expression, const std::string& path = "") {
    return testsupport::PythonOnJson(ReadFile(path.empty() ? OutPath() : path), expression, out_.path());
  }
  testsupport::ScratchDir out_;  // outside root_, whose snapshots then show every change
};

// The dry run names exactly what the run then adds, replaces and keeps, and
// writes nothing, not even in TMPDIR; a second run has nothing to do.
TEST_F(KittoolInstall, DryRunPlansExactlyWhatTheUpgradeThenDoes) {
  Source("Docs/readme.htm", "new readme", kT0 + 10);  // the user's is older: replaced
  Source("conf/main.cfg", "kit's cfg", kT0);          // the user's is newer: kept
  Source("conf/new.cfg", "n", kT0);                   // added
  Source("extra/deep/x.txt", std::string(5000, 'x'), kT0 + 1);  // added, with its folders
  Pack();
  WriteFile(templ_ + "/Docs/readme.htm", "old readme", kT0);
  WriteFile(templ_ + "/conf/main.cfg", "user's cfg", kT0 + 100);
  WriteFile(templ_ + "/mine.txt", "mine", kT0);
  const Snapshot before = TakeSnapshot(templ_);

  const Snapshot root_before = TakeSnapshot(root_);
  ASSERT_EQ(0, Install("--dry-run --json " + Args(templ_))) << Err();
  EXPECT_EQ(root_before, TakeSnapshot(root_));
  const std::string t = templ_ + "/";
  const std::string counts = "d['added'], d['replaced'], d['kept'], d['bytes'], d['code'], d['templateDirectory']";
  EXPECT_EQ("installed True 2 1 1 5011 0 " + t, Json("d['result'], d['dryRun'], " + counts));
  EXPECT_EQ(0u, Err().find("replace " + t + "Docs/readme.htm\nkeep    " + t + "conf/main.cfg\nadd     " + t +
                           "conf/new.cfg\nadd     " + t + "extra/deep/x.txt\n"))
      << Err();

  ASSERT_EQ(0, Install("--json " + Args(templ_))) << Err();
  const Snapshot after = TakeSnapshot(templ_);
  EXPECT_EQ("installed False 2 1 1 5011 0 " + t, Json("d['result'], d['dryRun'], " + counts));
  EXPECT_EQ(std::string::npos, Err().find('\r')) << "not a terminal: no redrawing";
  EXPECT_NE(std::string::npos, Err().find("100%  4/4 files")) << Err();
  EXPECT_NE(std::string::npos, Err().find("extra/deep/x.txt")) << Err();
  EXPECT_EQ(std::vector<std::string>{}, ListNames(temp_)) << "the staging file goes with the process";
  Snapshot expected = TakeSnapshot(source_);
  for (const char* kept : {"/conf/main.cfg", "/mine.txt"}) expected[kept] = before.at(kept);
  EXPECT_EQ(expected, after);

  ASSERT_EQ(0, Install("--json --quiet " + Args(templ_))) << Err();
  EXPECT_EQ("unchanged 0 0 4 0", Json("d['result'], d['added'], d['replaced'], d['kept'], d['bytes']"));
  EXPECT_EQ("", Err());
  EXPECT_EQ(after, TakeSnapshot(templ_));
}

// An install that does not succeed, in its exit code, its one error line and
// its JSON: refused before anything is written, or failed midway on a full
// volume and rolled back.
TEST_F(KittoolInstall, ExitCodeJsonAndTheErrorLineSayHowAFailedInstallEnded) {
  EXPECT_EQ(2, Install(Args(templ_) + " third"));

  Source("a.txt", "a", kT0);
  Source("sub/big.bin", std::string(256 * 1024, 'b'), kT0);
  Pack();
  WriteFile(root_ + "/damaged.efd", std::string(4096, '\xff'), kT0);  // not a DEFLATE stream
  WriteFile(root_ + "/afile", "x", kT0);
  MakeDirs(root_ + "/busy/made");
  testsupport::LockHolder holder(root_ + "/busy");
  ASSERT_TRUE(holder.held());
  // A full volume inside the template directory, which only the copy sees.
  SmallVolume small(templ_ + "/sub", "64k");
  const Snapshot before = TakeSnapshot(root_);

  struct Row {
    std::string args;
    int exit_code;
    std::string ended;  // result, code and the failedAt below root_
  };
  std::vector<Row> rows = {
      {"'" + root_ + "/missing.efd' '" + root_ + "/new'", 3, "refused 2 /missing.efd"},
      {"'" + root_ + "/damaged.efd' '" + root_ + "/new'", 3, "refused 13 /damaged.efd"},
      {Args(root_ + "/afile"), 1, "refused 3 /afile"},
      {"--dry-run " + Args(root_ + "/afile"), 1, "refused 3 /afile"},
      {Args(root_ + "/busy"), 4, "refused 32 "},
      {"--dry-run " + Args(root_ + "/busy"), 4, "refused 32 "},
      {Args(root_ + "/busy/new"), 4, "refused 32 "},
      {Args(root_ + "/busy/made"), 4, "refused 32 "},
  };
  if (small.mounted()) rows.push_back({Args(templ_), 1, "failed 87 /templates/sub/big.bin"});
  for (const Row& row : rows) {
    SCOPED_TRACE(row.args);
    EXPECT_EQ(row.exit_code, Install("--json --quiet " + row.args)) << Err();
    EXPECT_EQ(row.ended, Json("d['result'], d['code'], d['failedAt'].replace('" + root_ + "', '')"));
    // The human line is the JSON's failedAt and message.
    EXPECT_EQ(Err(), Json("'kittool install: ' + (d['failedAt'] + ': ' if d['failedAt'] else '') + d['message']") + "\n");
    EXPECT_TRUE(before == TakeSnapshot(root_));
  }
  if (!small.mounted()) GTEST_SKIP() << "cannot mount a small file system here (needs root)";
}

// A signal well into a 4000-file upgrade rolls it back and exits with 128 +
// the signal; a second installer into the same directory is refused with 4
// and changes nothing, and the first then ends exactly.
TEST_F(KittoolInstall, ASignalRollsBackAndASecondInstallerIsRefused) {
  for (int i = 0; i < 4000; ++i) {
    std::string text(1000 + (i * 37) % 3000, static_cast<char>('a' + i % 26));
    Source("d" + std::to_string(i % 40) + "/f" + std::to_string(i) + ".txt", text, kT0 + 100);
  }
  Pack();
  for (int i = 0; i < 4000; i += 97)
    WriteFile(templ_ + "/d" + std::to_string(i % 40) + "/f" + std::to_string(i) + ".txt", "old", kT0);
  WriteFile(templ_ + "/mine.txt", "mine", kT0);
  const Snapshot before = TakeSnapshot(templ_);
  // kittool install --json, its standard error into `err`, its JSON into `err`.json.
  auto spawn = [&](const std::string& err) {
    WriteFile(err, "");  // the last run's progress must not be read as this one's
    return Spawn({Kittool(), "install", "--json", kit_path_, templ_}, {}, err + ".json", err);
  };
  // Stops the process at `percent`; its backup directory proves the run under way.
  auto stop_at = [&](pid_t pid, const std::string& err, const std::string& percent) {
    int status = 0;
    while (ReadFile(err).find(percent) == std::string::npos) {
      ASSERT_EQ(0, waitpid(pid, &status, WNOHANG)) << "ended before " << percent << ": " << ReadFile(err);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    kill(pid, SIGSTOP);
    ASSERT_EQ(pid, waitpid(pid, &status, WUNTRACED));
    ASSERT_TRUE(WIFSTOPPED(status)) << ReadFile(err);
    ASSERT_EQ(std::vector<std::string>{"r4stp0"}, ListNames(temp_)) << "the run is not under way";
  };

  for (int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
    SCOPED_TRACE(strsignal(signal_number));
    pid_t pid = spawn(ErrPath());
    ASSERT_NO_FATAL_FAILURE(stop_at(pid, ErrPath(), " 10%"));
    kill(pid, signal_number);
    kill(pid, SIGCONT);
    EXPECT_EQ(128 + signal_number, WaitForExit(pid)) << Err();
    EXPECT_NE(std::string::npos, Err().find("interrupted, rolling back")) << Err();
    EXPECT_NE(std::string::npos, Err().find("error 1223: ")) << Err();
    EXPECT_NE(std::string::npos, Err().find("rolled back ")) << "the rollback shows its progress";
    EXPECT_EQ("cancelled 1223 3958 42", Json("d['result'], d['code'], d['added'], d['replaced']", ErrPath() + ".json"));
    EXPECT_EQ(before, TakeSnapshot(templ_));
    EXPECT_EQ(std::vector<std::string>{}, ListNames(temp_));
  }

  const std::string first_err = root_ + "/first.txt";
  pid_t first = spawn(first_err);
  ASSERT_NO_FATAL_FAILURE(stop_at(first, first_err, " 5%"));
  const Snapshot during = TakeSnapshot(templ_);
  EXPECT_EQ(4, Install(Args(templ_)));
  EXPECT_EQ("kittool install: another installation into " + templ_ +
                " is running (error 32: in use by another installation)\n",
            Err());
  EXPECT_EQ(during, TakeSnapshot(templ_));
  EXPECT_EQ(std::vector<std::string>{"r4stp0"}, ListNames(temp_));

  kill(first, SIGCONT);
  EXPECT_EQ(0, WaitForExit(first)) << ReadFile(first_err);
  EXPECT_EQ("installed 3958 42 0", Json("d['result'], d['added'], d['replaced'], d['kept']", first_err + ".json"));
  Snapshot expected = TakeSnapshot(source_);
  expected["/mine.txt"] = before.at("/mine.txt");
  EXPECT_EQ(expected, TakeSnapshot(templ_));
  EXPECT_EQ(std::vector<std::string>{}, ListNames(temp_));
}

// An upgrade killed before each of its file operations in turn (also in a
// rollback or in recovery): the next run puts the old tree back exactly, or
// keeps the new one once the journal was final, and leaves nothing in TMPDIR.
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

  auto run = [&](const std::string& env, const std::string& command) {  // true when it was killed
    const int status = Run(env, command);
    return status == -1 || status == 128 + SIGKILL;
  };
  // Recovers (first killing recovery at each operation when asked); the tree left.
  auto recover = [&](const std::string& where, bool kill_recovery) {
    int k = 1;
    while (kill_recovery && k < 200 && run("KITSETUP_CRASH_AT=" + std::to_string(k), "recover")) ++k;
    EXPECT_LT(k, 200) << where;
    EXPECT_FALSE(run("", "recover")) << where;
    const Snapshot tree = TakeSnapshot(templ_);
    EXPECT_FALSE(run("", "recover")) << where;
    EXPECT_EQ("", Err()) << where << ": recovered twice";
    EXPECT_EQ(std::vector<std::string>{}, ListNames(temp_)) << where;
    return tree;
  };

  int operations = 0;
  for (bool crashed = true; crashed; ++operations) {
    run("", "recover");
    user_tree(root_ + "/count");
    crashed = run("KITSETUP_CRASH_AT=" + std::to_string(operations + 1), "install " + Args(root_ + "/count"));
  }
  RunShell("rm -f '" + temp_ + "'/edf*");
  ASSERT_GT(operations, 10);
  const struct {
    const char* name;
    bool in_rollback, kill_recovery;
  } cases[] = {{"upgrade", false, false}, {"rollback", true, false}, {"recovery", false, true}};
  for (const auto& c : cases) {
    // The rollback's row fails the flush before the final record: the most to undo.
    const int fail_at = c.in_rollback ? operations - 6 : 0;
    bool final_seen = false;
    for (int n = fail_at + 1;; ++n) {
      const std::string where = std::string(c.name) + " killed at operation " + std::to_string(n);
      user_tree(templ_);
      std::string env = "KITSETUP_CRASH_AT=" + std::to_string(n);
      if (fail_at) env += " KITSETUP_FAIL_AT=" + std::to_string(fail_at);
      if (!run(env, "install " + Args(templ_))) break;
      ASSERT_LT(n, 400) << where;
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

  // Recovery removes a staging file its process left behind, never one in use.
  WriteFile(temp_ + "/edfLeft", "left by a killed installer", kT0);
  WriteFile(temp_ + "/edfLive", "in use", kT0);
  testsupport::LockHolder live(temp_ + "/edfLive");
  ASSERT_TRUE(live.held());
  ASSERT_EQ(0, Run("", "recover")) << Err();
  EXPECT_EQ(std::vector<std::string>{"edfLive"}, ListNames(temp_));
}

}  // namespace
}  // namespace kitsetup::testing
