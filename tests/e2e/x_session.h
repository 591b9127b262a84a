// tests/e2e/x_session.h: an X server, and Setup runs of their own driven with xdotool.
#ifndef KITSETUP_TESTS_E2E_X_SESSION_H
#define KITSETUP_TESTS_E2E_X_SESSION_H

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "core/encoding.h"
#include "core/messages.h"
#include "support/test_support.h"

namespace e2e {

using testsupport::Now;
using testsupport::Quote;
using testsupport::RunOutput;
using testsupport::SleepSeconds;

// The text of message `key` in language `id` (1..12), as UTF-8.
inline std::string Text(int id, const char* key) {
  const kitsetup::LanguageId before = kitsetup::CurrentLanguage();
  kitsetup::SetCurrentLanguage(id);
  const kitsetup::ByteString bytes = kitsetup::ToLocaleBytes(kitsetup::LookupMessage(key));
  kitsetup::SetCurrentLanguage(before);
  return bytes.c_str();
}

// An Xvfb on a display number it picks itself (parallel tests never race for
// one), with openbox when asked. GNUstep cannot learn openbox's frame sizes
// under Xvfb, so clicks need a bare server.
class XServer {
 public:
  explicit XServer(bool windowManager = false) {
    std::istringstream started(
        RunOutput("Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>&1 >/dev/null 2>&1 & echo $!"));
    if (!(started >> xvfb_ >> display_)) display_ = -1;
    if (ok() && windowManager) wm_ = std::stoi(RunOutput(OnDisplay() + "openbox >/dev/null 2>&1 & echo $!"));
    SleepSeconds(0.5);
  }
  ~XServer() {
    for (pid_t pid : {wm_, xvfb_}) {
      if (pid > 0) kill(pid, SIGTERM);
    }
  }
  bool ok() const { return display_ >= 0; }
  std::string display() const { return ":" + std::to_string(display_); }

  // Runs xdotool with `args` (shell words) and returns its standard output.
  std::string Xdo(const std::string& args) const { return RunOutput(OnDisplay() + "xdotool " + args + " 2>/dev/null"); }
  // Visible windows titled exactly `title`, but for `but`, waiting up to `seconds`.
  std::vector<std::string> WaitForWindows(const std::string& title, double seconds, const std::string& but = "") const {
    for (const double end = Now() + seconds;; SleepSeconds(0.1)) {
      std::vector<std::string> found;
      std::istringstream ids(Xdo("search --onlyvisible --name " + Quote(title)));
      for (std::string id; ids >> id;) {
        if (id != but && Xdo("getwindowname " + id) == title + "\n") found.push_back(id);
      }
      if (!found.empty() || Now() >= end) return found;
    }
  }
  bool Geometry(const std::string& id, int& x, int& y, int& width, int& height) const {
    const std::string shell = Xdo("getwindowgeometry --shell " + id);
    return std::sscanf(shell.c_str(), "WINDOW=%*d X=%d Y=%d WIDTH=%d HEIGHT=%d", &x, &y, &width, &height) == 4;
  }
  // A click as a person makes it: move, press, a short pause, release.
  void Click(int x, int y) const {
    Xdo("mousemove " + std::to_string(x) + " " + std::to_string(y) +
        " sleep 0.1 mousedown 1 sleep 0.2 mouseup 1 sleep 0.3");
  }
  // A box is logged just before it is mapped: a key sent earlier is lost.
  void Key(const std::string& key) const { Xdo("sleep 0.4 key " + key + " sleep 0.4"); }
  void Type(const std::string& text) const {
    Xdo("type --delay 30 " + Quote(text));  // takes every word after it as text: no sleep to chain
    SleepSeconds(0.3);
  }

 private:
  std::string OnDisplay() const { return "DISPLAY=" + display() + " "; }

  int display_ = -1;
  pid_t xvfb_ = -1, wm_ = -1;
};

// One installer run in a fresh folder: <dir>/Setup.app (a copy: the program
// finds its kit from its own resolved path), mivo.efd, home, tmp.
class SetupRun {
 public:
  SetupRun() {
    char pattern[] = "/tmp/kitsetup-e2e-XXXXXX";
    dir_ = mkdtemp(pattern);
    tmp_ = dir_ + "/tmp";
    system(("cp -R " + Quote(KITSETUP_SETUP_APP) + " " + Quote(dir_ + "/Setup.app") + " && mkdir -p " +
            Quote(home()) + " " + Quote(tmp_)).c_str());
  }
  ~SetupRun() {
    WaitExit(0);
    system(("rm -rf " + Quote(dir_)).c_str());
  }
  const std::string& dir() const { return dir_; }
  std::string kitPath() const { return dir_ + "/mivo.efd"; }
  std::string home() const { return dir_ + "/home"; }
  std::string tmp() const { return tmp_; }
  // A folder searched before the usual PATH (stand-in commands).
  void SetPathPrefix(const std::string& dir) { path_prefix_ = dir; }
  // "NAME=value" for the run, replacing any NAME it would have.
  void AddEnv(const std::string& assignment) { extra_env_.push_back(assignment); }

  bool Start(const XServer& x, std::vector<std::string> args) {
    args.insert(args.begin(), dir_ + "/Setup.app/Contents/MacOS/Setup");
    const char* path = getenv("PATH");
    std::vector<std::string> env = {
        "DISPLAY=" + x.display(), "HOME=" + home(), "TMPDIR=" + tmp_, "LANG=C.UTF-8",
        "PATH=" + (path_prefix_.empty() ? "" : path_prefix_ + ":") + (path ? path : "/usr/bin:/bin"),
        "LSAN_OPTIONS=suppressions=" KITSETUP_SOURCE_DIR "/tests/lsan.supp:print_suppressions=0"};
    // A sanitizer build reports through these (GNUstep's objects live until exit).
    for (const char* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "LSAN_OPTIONS"}) {
      if (const char* value = getenv(name)) env.push_back(std::string(name) + "=" + value);
    }
    env.insert(env.end(), extra_env_.begin(), extra_env_.end());  // later ones win
    pid_ = testsupport::Spawn(args, env, dir_ + "/stdout.txt", dir_ + "/stderr.txt", true);
    return pid_ > 0;
  }
  // The event log lines ("kitsetup: " prefix removed) so far.
  std::vector<std::string> Log() const {
    std::vector<std::string> lines;
    std::ifstream in(dir_ + "/stderr.txt");
    for (std::string line; std::getline(in, line);) {
      if (line.rfind("kitsetup: ", 0) == 0) lines.push_back(line.substr(10));
    }
    return lines;
  }
  int Count(const std::string& prefix) const {
    int n = 0;
    for (const std::string& line : Log()) n += line.rfind(prefix, 0) == 0;
    return n;
  }
  // Waits until a log line starts with `prefix`; returns it, or "" on timeout.
  std::string WaitForLog(const std::string& prefix, double seconds) const {
    for (const double end = Now() + seconds;; SleepSeconds(0.1)) {
      for (const std::string& line : Log()) {
        if (line.rfind(prefix, 0) == 0) return line;
      }
      if (Now() >= end) return "";
    }
  }
  // The exit status; -1 on timeout (then killed), -2 when a signal ended it.
  int WaitExit(double seconds) {
    int status = 0;
    for (const double end = Now() + seconds; pid_ > 0; SleepSeconds(0.05)) {
      if (waitpid(pid_, &status, WNOHANG) == pid_) {
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -2;
      }
      if (Now() > end) kill(pid_, SIGKILL), waitpid(pid_, nullptr, 0), pid_ = -1;
    }
    return -1;
  }
  bool Signal(int number) const { return pid_ > 0 && kill(pid_, number) == 0; }

  // Before Start: the copy pauses at its first `command` (mkdir or rm, forced
  // by KITSETUP_NO_FAST_PATHS) on a path containing `pathPart`, until OpenGate.
  void GateCopy(const std::string& pathPart, const std::string& command = "mkdir") {
    const std::string bin = dir_ + "/gate-bin", real = RunOutput("command -v " + command);
    system(("mkdir -p " + Quote(bin)).c_str());
    std::ofstream(bin + "/" + command) << "#!/bin/sh\ncase \"$*\" in *" << pathPart << "*)\n"
                                       << "  : > " << Quote(dir_ + "/at-gate") << "\n"
                                       << "  while [ ! -e " << Quote(dir_ + "/gate") << " ]; do sleep 0.05; done;;\n"
                                       << "esac\nexec " << real.substr(0, real.find('\n')) << " \"$@\"\n";
    chmod((bin + "/" + command).c_str(), 0755);
    SetPathPrefix(path_prefix_.empty() ? bin : bin + ":" + path_prefix_);
    AddEnv("KITSETUP_NO_FAST_PATHS=1");
  }
  void OpenGate() const { std::ofstream(dir_ + "/gate") << "open\n"; }
  bool WaitAtGate(double seconds) const {
    struct stat st;
    for (const double end = Now() + seconds; stat((dir_ + "/at-gate").c_str(), &st) != 0; SleepSeconds(0.05)) {
      if (Now() >= end) return false;
    }
    return true;
  }

 private:
  std::string dir_, tmp_, path_prefix_;
  std::vector<std::string> extra_env_;
  pid_t pid_ = -1;
};

}  // namespace e2e

#endif
