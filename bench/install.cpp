// bench/install: `kittool install` against `tar -xzf` of the same tree (the
// kit's own inflation is included, as tar's gunzip is).
//
// One run builds 10,000 text files of 0.1 to 8 KB in a few hundred folders,
// packs them, and times, side by side:
//   1. tar -xzf into an empty folder (the baseline) and kittool install into
//      an empty folder (unpacking the kit into its staging file included);
//   2. an upgrade in which every file is newer in the kit, so that every file
//      is backed up and replaced; then another that fails at its last file
//      (made immutable, so that its backup fails) and rolls everything back;
//   3. the shell commands alone (KITSETUP_NO_FAST_PATHS=1) on a 1,000-file
//      kit, as time per file, for reference;
// Each kittool run ends with its new files flushed to disk (one syncfs of
// the file system on Linux); "tar -xzf, then sync -f" shows what that flush
// costs for the same data, and every timed step starts with the file system
// flushed, so that no step pays for the one before. On a memory file system
// the flush costs nothing. It also reports the peak memory of each kittool run (also for the 1,000-file
// kit, to show that it does not grow with the number of files beyond the
// entry table). Targets: fresh <= 1.5x tar, upgrade <= 2x tar, and the
// rollback of the failed upgrade within 2x the upgrade itself.
#include <spawn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <string>
#include <vector>

extern char** environ;

namespace {

struct Result {
  double seconds = 0;
  long peak_kb = 0;
  int status = -1;
};

double Now() {
  timespec t{};
  clock_gettime(CLOCK_MONOTONIC, &t);
  return t.tv_sec + t.tv_nsec / 1e9;
}

// Runs argv with stdout and stderr discarded; times it and takes its peak RSS.
Result Spawn(const std::vector<std::string>& args, const std::vector<std::string>& extra_env = {}) {
  std::vector<char*> argv;
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  std::vector<std::string> env_store;
  for (char** e = environ; *e; ++e) env_store.push_back(*e);
  for (const std::string& e : extra_env) env_store.push_back(e);
  std::vector<char*> envp;
  for (std::string& e : env_store) envp.push_back(const_cast<char*>(e.c_str()));
  envp.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", 01, 0);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", 01, 0);
  Result r;
  pid_t pid;
  double start = Now();
  if (posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), envp.data()) != 0) return r;
  int status = 0;
  rusage usage{};
  wait4(pid, &status, 0, &usage);
  r.seconds = Now() - start;
  r.peak_kb = usage.ru_maxrss;
  r.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  posix_spawn_file_actions_destroy(&actions);
  return r;
}

void Check(const Result& r, const char* what) {
  if (r.status != 0) {
    std::fprintf(stderr, "bench/install: %s failed (status %d)\n", what, r.status);
    std::exit(1);
  }
}

// Text that looks like configuration templates: words, lines, indentation.
std::string Text(std::mt19937& rng, size_t size) {
  static const char* words[] = {"template", "report", "form", "module", "catalog", "register",
                                "query", "value", "document", "period", "account", "layout",
                                "=", "{", "}", "Procedure", "EndProcedure", "Return", "If", "Then"};
  std::string out;
  while (out.size() < size) {
    int indent = rng() % 4;
    out.append(indent * 2, ' ');
    int n = 3 + rng() % 9;
    for (int i = 0; i < n; ++i) {
      out += words[rng() % (sizeof words / sizeof *words)];
      out += i + 1 < n ? ' ' : '\n';
    }
  }
  out.resize(size);
  return out;
}

void Write(const std::string& path, const std::string& data, time_t mtime) {
  std::ofstream(path, std::ios::binary) << data;
  timeval times[2] = {{mtime, 0}, {mtime, 0}};
  utimes(path.c_str(), times);
}

// files in top * sub folders; returns the total size.
size_t MakeTree(const std::string& root, int files, int top, int sub, time_t mtime) {
  std::mt19937 rng(42);
  mkdir(root.c_str(), 0755);
  for (int t = 0; t < top; ++t) {
    std::string dir = root + "/area" + std::to_string(t);
    mkdir(dir.c_str(), 0755);
    for (int s = 0; s < sub; ++s) mkdir((dir + "/part" + std::to_string(s)).c_str(), 0755);
  }
  size_t total = 0;
  for (int i = 0; i < files; ++i) {
    // Mostly small files, a tail up to 8 KB.
    size_t size = 100 + static_cast<size_t>(std::pow(rng() / double(rng.max()), 2.0) * 8092);
    int t = i % top, s = (i / top) % sub;
    std::string path = root + "/area" + std::to_string(t) + "/part" + std::to_string(s) + "/file" +
                       std::to_string(i) + ".txt";
    Write(path, Text(rng, size), mtime);
    total += size;
  }
  return total;
}

void Touch(const std::string& root, time_t mtime) {
  std::string command = "find '" + root + "' -type f -exec touch -d @" + std::to_string(mtime) + " {} +";
  if (std::system(command.c_str()) != 0) std::exit(1);
}

}  // namespace

int main() {
  const std::string kittool = std::string(KITSETUP_BINARY_DIR) + "/kittool";
  // KITSETUP_BENCH_DIR picks the file system (e.g. /dev/shm to leave the
  // disk's allocator out of the comparison); /tmp by default.
  const char* base = std::getenv("KITSETUP_BENCH_DIR");
  std::string pattern = std::string(base && *base ? base : "/tmp") + "/kitsetup-bench-XXXXXX";
  const std::string work = mkdtemp(&pattern[0]);
  const std::string temp = work + "/tmp";
  mkdir(temp.c_str(), 0755);
  setenv("TMPDIR", temp.c_str(), 1);
  const time_t t0 = 1600000000;

  const int kFiles = 10000;
  size_t bytes = MakeTree(work + "/src", kFiles, 20, 15, t0);  // 300 folders
  std::printf("tree: %d files, %.1f MB in 300 folders\n", kFiles, bytes / 1048576.0);

  Check(Spawn({kittool, "pack", work + "/src", work + "/kit.efd"}), "pack");
  Check(Spawn({"tar", "-czf", work + "/tree.tar", "-C", work + "/src", "."}), "tar -cf");
  struct stat kit_info {};
  stat((work + "/kit.efd").c_str(), &kit_info);
  std::printf("kit: %.1f MB compressed\n\n", kit_info.st_size / 1048576.0);

  // 1. Fresh.
  const std::vector<std::string> settle = {"sync", "-f", work};
  mkdir((work + "/tar_fresh").c_str(), 0755);
  mkdir((work + "/tar_synced").c_str(), 0755);
  Spawn(settle);
  Result tar_fresh = Spawn({"tar", "-xzf", work + "/tree.tar", "-C", work + "/tar_fresh"});
  Check(tar_fresh, "tar -xf");
  Spawn(settle);
  Result tar_synced = Spawn({"sh", "-c", "tar -xzf \"$0\" -C \"$1\" && sync -f \"$1\"", work + "/tree.tar",
                             work + "/tar_synced"});
  Check(tar_synced, "tar -xf; sync -f");
  Spawn(settle);
  Result fresh = Spawn({kittool, "install", "--quiet", work + "/kit.efd", work + "/installed"});
  Check(fresh, "kittool install (fresh)");

  // 2. Upgrade: every file newer in the kit.
  Touch(work + "/src", t0 + 1000);
  Check(Spawn({kittool, "pack", work + "/src", work + "/kit2.efd"}), "pack (upgrade)");
  Check(Spawn({"tar", "-czf", work + "/tree2.tar", "-C", work + "/src", "."}), "tar -cf");
  Result tar_over = Spawn({"tar", "-xzf", work + "/tree2.tar", "-C", work + "/tar_fresh"});
  Check(tar_over, "tar -xf (over)");
  Spawn(settle);
  Result upgrade = Spawn({kittool, "install", "--quiet", work + "/kit2.efd", work + "/installed"});
  Check(upgrade, "kittool install (upgrade)");

  // 2b. An upgrade that fails at its last file: everything is backed up and
  // written, then the last backup fails and the whole run is rolled back.
  // The rollback's time is the failed run's less the upgrade's.
  Touch(work + "/src", t0 + 2000);
  Check(Spawn({kittool, "pack", work + "/src", work + "/kit3.efd"}), "pack (failing upgrade)");
  // The kit holds the tree in byte order of the paths: its last entry is
  // the last path that sort(1) gives in the C locale.
  std::string last;
  if (FILE* pipe = popen(("cd '" + work + "/installed' && find . -type f | LC_ALL=C sort | tail -n 1").c_str(), "r")) {
    char line[512] = {};
    if (fgets(line, sizeof line, pipe)) last = work + "/installed/" + std::string(line + 2, strcspn(line + 2, "\n"));
    pclose(pipe);
  }
  Result failing;
  const bool immutable = std::system(("chattr +i '" + last + "' 2>/dev/null").c_str()) == 0;
  if (immutable) {
    Spawn(settle);
    failing = Spawn({kittool, "install", "--quiet", work + "/kit3.efd", work + "/installed"});
    std::system(("chattr -i '" + last + "'").c_str());
  }

  // 3. The shell commands alone, and memory on a smaller kit.
  const int kSmall = 1000;
  MakeTree(work + "/small", kSmall, 10, 10, t0);
  Check(Spawn({kittool, "pack", work + "/small", work + "/small.efd"}), "pack (small)");
  Result small_fast = Spawn({kittool, "install", "--quiet", work + "/small.efd", work + "/small_fast"});
  Check(small_fast, "kittool install (small)");
  Result shell = Spawn({kittool, "install", "--quiet", work + "/small.efd", work + "/small_shell"},
                       {"KITSETUP_NO_FAST_PATHS=1"});
  Check(shell, "kittool install (shell commands)");

  std::printf("%-44s %9s %9s %10s\n", "", "seconds", "ratio", "peak RSS");
  std::printf("%-44s %9.3f %9s %8ld KB\n", "tar -xzf, empty folder (baseline)", tar_fresh.seconds, "1.00",
              tar_fresh.peak_kb);
  std::printf("%-44s %9.3f %8.2fx %8ld KB   the flush adds %.3f s\n", "tar -xzf, then sync -f",
              tar_synced.seconds, tar_synced.seconds / tar_fresh.seconds, tar_synced.peak_kb,
              tar_synced.seconds - tar_fresh.seconds);
  std::printf("%-44s %9.3f %8.2fx %8ld KB   target <= 1.5x\n", "kittool install, empty folder",
              fresh.seconds, fresh.seconds / tar_fresh.seconds, fresh.peak_kb);
  std::printf("%-44s %9.3f %8.2fx %8ld KB\n", "tar -xzf over the same tree", tar_over.seconds,
              tar_over.seconds / tar_fresh.seconds, tar_over.peak_kb);
  std::printf("%-44s %9.3f %8.2fx %8ld KB   target <= 2x\n", "kittool install, upgrade (all replaced)",
              upgrade.seconds, upgrade.seconds / tar_fresh.seconds, upgrade.peak_kb);
  if (immutable) {
    const double rollback = failing.seconds - upgrade.seconds;
    std::printf("%-44s %9.3f %9s %8ld KB   exit %d\n", "kittool install, upgrade failing at the end",
                failing.seconds, "", failing.peak_kb, failing.status);
    std::printf("%-44s %9.3f %8.2fx %11s   target <= 2x the upgrade\n", "  of which the rollback (about)",
                rollback, rollback / upgrade.seconds, "");
  } else {
    std::printf("(no rollback figure: this file system cannot make a file immutable)\n");
  }
  std::printf("%-44s %9.3f %9s %8ld KB\n", "kittool install, 1,000 files", small_fast.seconds, "",
              small_fast.peak_kb);
  std::printf("%-44s %9.3f %9s %8ld KB   %.2f ms per file\n", "kittool install, 1,000 files, shell only",
              shell.seconds, "", shell.peak_kb, shell.seconds * 1000 / kSmall);

  std::string cleanup = "rm -rf '" + work + "'";
  return std::system(cleanup.c_str()) == 0 ? 0 : 1;
}
