// tests/e2e/x_session.h: what an end-to-end test needs to run the installer
// as a person would: its own X server, a copy of Setup.app with a kit beside
// it, a private home and temporary directory, xdotool to press keys and
// click, and the event log from standard error.
#ifndef KITSETUP_TESTS_E2E_X_SESSION_H
#define KITSETUP_TESTS_E2E_X_SESSION_H

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "core/encoding.h"
#include "core/messages.h"

extern char** environ;

namespace e2e {

inline void SleepSeconds(double seconds) { usleep(static_cast<useconds_t>(seconds * 1e6)); }

inline double Now() {
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return ts.tv_sec + ts.tv_nsec / 1e9;
}

// Shell-quotes one word.
inline std::string Quote(const std::string& word) {
  std::string out = "'";
  for (char c : word) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

inline std::string RunOutput(const std::string& command) {
  std::string out;
  if (FILE* pipe = popen(command.c_str(), "r")) {
    char buffer[4096];
    for (size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, n);
    pclose(pipe);
  }
  return out;
}

// Starts argv[0] from PATH with `env`, standard input from /dev/null,
// standard output and error to the given files (or `fd`, when not -1, as
// standard output); -1 when it could not start.
inline pid_t Spawn(const std::vector<std::string>& argv, const std::vector<std::string>& env,
                   const std::string& out, const std::string& err, int fd = -1) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  fd >= 0 ? posix_spawn_file_actions_adddup2(&actions, fd, 1)
          : posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  std::vector<char*> args, envp;
  for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  for (const std::string& e : env) envp.push_back(const_cast<char*>(e.c_str()));
  args.push_back(nullptr);
  envp.push_back(nullptr);
  pid_t pid = -1;
  if (posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), envp.data()) != 0) pid = -1;
  posix_spawn_file_actions_destroy(&actions);
  return pid;
}

inline std::vector<std::string> Environment() {
  std::vector<std::string> env;
  for (char** e = environ; *e != nullptr; ++e) env.emplace_back(*e);
  return env;
}

// Waits up to `seconds` for `pid` to end: its exit status, -2 when a signal
// ended it, -1 when it is still running.
inline int Reap(pid_t pid, double seconds) {
  const double end = Now() + seconds;
  for (int status = 0;; SleepSeconds(0.05)) {
    if (waitpid(pid, &status, WNOHANG) == pid) return WIFEXITED(status) ? WEXITSTATUS(status) : -2;
    if (Now() > end) return -1;
  }
}

inline void Stop(pid_t& pid) {
  if (pid > 0 && kill(pid, SIGTERM) == 0 && Reap(pid, 2.5) == -1) kill(pid, SIGKILL), waitpid(pid, nullptr, 0);
  pid = -1;
}

// The text of message `key` in language `id` (1..12), as UTF-8.
inline std::string Text(int id, const char* key) {
  const kitsetup::LanguageId before = kitsetup::CurrentLanguage();
  kitsetup::SetCurrentLanguage(id);
  const kitsetup::ByteString bytes = kitsetup::ToLocaleBytes(kitsetup::LookupMessage(key));
  kitsetup::SetCurrentLanguage(before);
  return bytes.c_str();
}

// An Xvfb on a display number it picks itself (so parallel tests never race
// for one), with openbox on it when asked. GNUstep cannot learn openbox's
// frame sizes under Xvfb, so its mouse positions are off by the title bar
// there: clicks need a bare server, the title bar's close button needs the
// window manager.
class XServer {
 public:
  explicit XServer(bool windowManager = false) {
    int fds[2];
    if (pipe(fds) != 0) return;
    xvfb_ = Spawn({"Xvfb", "-displayfd", "1", "-screen", "0", "1024x768x24", "-nolisten", "tcp"}, Environment(),
                  "", "/dev/null", fds[1]);
    close(fds[1]);
    std::string number;
    for (char c; xvfb_ > 0 && read(fds[0], &c, 1) == 1 && c != '\n';) number += c;
    close(fds[0]);
    if (number.empty()) {
      Stop(xvfb_);
      return;
    }
    display_ = std::stoi(number);
    std::vector<std::string> env = Environment();
    env.push_back("DISPLAY=" + display());
    if (windowManager) wm_ = Spawn({"openbox"}, env, "/dev/null", "/dev/null");
    SleepSeconds(0.5);
  }
  ~XServer() {
    Stop(wm_);
    Stop(xvfb_);
  }
  bool ok() const { return display_ >= 0; }
  std::string display() const { return ":" + std::to_string(display_); }

  // Runs xdotool with `args` (shell words) and returns its standard output.
  std::string Xdo(const std::string& args) const {
    return RunOutput("DISPLAY=" + display() + " xdotool " + args + " 2>/dev/null");
  }
  // Visible windows titled exactly `title`, waiting up to `seconds`.
  std::vector<std::string> WaitForWindows(const std::string& title, double seconds) const {
    for (const double end = Now() + seconds;; SleepSeconds(0.1)) {
      std::vector<std::string> found;
      std::istringstream ids(Xdo("search --onlyvisible --name " + Quote(title)));
      for (std::string id; ids >> id;) {
        if (Xdo("getwindowname " + id) == title + "\n") found.push_back(id);
      }
      if (!found.empty() || Now() >= end) return found;
    }
  }
  // The window's client area on the screen.
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
    Xdo("type --delay 30 " + Quote(text));
    SleepSeconds(0.3);
  }
  // Saves one window as an eight-bit PNG, small enough to check in.
  bool CaptureWindow(const std::string& id, const std::string& path) const {
    return system(("DISPLAY=" + display() + " import -window " + id + " -strip +dither -colors 256 " +
                   Quote("png8:" + path) + " 2>/dev/null").c_str()) == 0;
  }

 private:
  int display_ = -1;
  pid_t xvfb_ = -1, wm_ = -1;
};

// One installer run in a fresh folder: <dir>/Setup.app (a copy, not a link:
// the program finds its kit from its own resolved path), <dir>/mivo.efd,
// <dir>/home, <dir>/tmp.
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
    if (pid_ > 0) kill(pid_, SIGKILL), waitpid(pid_, nullptr, 0);
    system(("umount " + Quote(tmp_) + " 2>/dev/null; rm -rf " + Quote(dir_)).c_str());
  }
  const std::string& dir() const { return dir_; }
  std::string kitPath() const { return dir_ + "/mivo.efd"; }
  std::string home() const { return dir_ + "/home"; }
  std::string tmp() const { return tmp_; }
  void SetTmp(const std::string& tmp) { tmp_ = tmp; }
  // A folder searched before the usual PATH (stand-in commands).
  void SetPathPrefix(const std::string& dir) { path_prefix_ = dir; }
  // "NAME=value" for the run, replacing any NAME the run would have.
  void AddEnv(const std::string& assignment) { extra_env_.push_back(assignment); }

  bool Start(const XServer& x, const std::vector<std::string>& args) {
    std::vector<std::string> argv{dir_ + "/Setup.app/Contents/MacOS/Setup"};
    argv.insert(argv.end(), args.begin(), args.end());
    const char* path = getenv("PATH");
    std::vector<std::string> env{"DISPLAY=" + x.display(), "HOME=" + home(), "TMPDIR=" + tmp_, "LANG=C.UTF-8",
                                 "PATH=" + (path_prefix_.empty() ? "" : path_prefix_ + ":") +
                                     (path ? path : "/usr/bin:/bin")};
    // A sanitizer build reports through these; GNUstep's own objects live
    // until exit, which the suppressions file accounts for.
    for (const char* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS"}) {
      if (const char* value = getenv(name)) env.push_back(std::string(name) + "=" + value);
    }
    const char* lsan = getenv("LSAN_OPTIONS");
    env.push_back(std::string("LSAN_OPTIONS=") +
                  (lsan ? lsan : "suppressions=" KITSETUP_SOURCE_DIR "/tests/lsan.supp:print_suppressions=0"));
    for (const std::string& assignment : extra_env_) {
      const std::string name = assignment.substr(0, assignment.find('=') + 1);
      for (auto it = env.begin(); it != env.end();) it = it->rfind(name, 0) == 0 ? env.erase(it) : it + 1;
      env.push_back(assignment);
    }
    pid_ = Spawn(argv, env, dir_ + "/stdout.txt", dir_ + "/stderr.txt");
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
  // How many log lines so far start with `prefix`.
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
  // The exit status; -1 on timeout (the process is then killed), -2 when
  // a signal ended it.
  int WaitExit(double seconds) {
    if (pid_ <= 0) return -1;
    const int status = Reap(pid_, seconds);
    if (status == -1) kill(pid_, SIGKILL), waitpid(pid_, nullptr, 0);
    pid_ = -1;
    return status;
  }
  bool Running() {
    if (pid_ > 0 && Reap(pid_, 0) != -1) pid_ = -1;
    return pid_ > 0;
  }
  bool Signal(int number) const { return pid_ > 0 && kill(pid_, number) == 0; }

  // The copy pauses at its first `command` (mkdir, or rm) on a path that
  // contains `pathPart`, until OpenGate: a stand-in waits for the gate file
  // (WaitAtGate tells when it does). The shell commands are forced
  // (KITSETUP_NO_FAST_PATHS) so that the copy makes its directories with
  // mkdir and removes with rm. Call before Start.
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

// The installer's main window, driven by clicks at its controls' places in
// the 500 x 360 client area (needs a server without a window manager).
class WizardWindow {
 public:
  explicit WizardWindow(const XServer& x) : x_(x) {}
  // Waits for the welcome page and the window titled `title`, then clicks
  // into the page text so that the window gets the keyboard, as a person's
  // first click would. False when either did not appear.
  bool Find(const SetupRun& run, const std::string& title) {
    if (run.WaitForLog("page welcome", 20).empty()) return false;
    const std::vector<std::string> windows = x_.WaitForWindows(title, 10);
    int w = 0, h = 0;
    if (windows.empty() || !x_.Geometry(windows[0], x0_, y0_, w, h)) return false;
    id_ = windows[0];
    title_ = title;
    At(330, 200);
    return true;
  }
  const std::string& id() const { return id_; }
  // Another visible window with the same title (a message box), or "".
  std::string Box(double seconds = 5) const {
    for (const double end = Now() + seconds;; SleepSeconds(0.1)) {
      for (const std::string& id : x_.WaitForWindows(title_, 0)) {
        if (id != id_) return id;
      }
      if (Now() >= end) return "";
    }
  }
  void At(int x, int y) const { x_.Click(x0_ + x, y0_ + y); }
  // The pointer over (x, y) of the client area, no click.
  void HoverAt(int x, int y) const {
    x_.Xdo("mousemove " + std::to_string(x0_ + x) + " " + std::to_string(y0_ + y) + " sleep 0.05");
  }
  // Moves the window's client area to (x, y) on the screen; false when the
  // window did not arrive there.
  bool MoveTo(int x, int y) {
    x_.Xdo("windowmove --sync " + id_ + " " + std::to_string(x) + " " + std::to_string(y) + " sleep 0.3");
    int w = 0, h = 0;
    return x_.Geometry(id_, x0_, y0_, w, h) && x0_ == x && y0_ == y;
  }
  void Back() const { At(270, 335); }
  void Next() const { At(350, 335); }  // also Finish
  void Cancel() const { At(450, 335); }
  void Browse() const { At(475, 290); }
  // Replaces the destination field's text with `path`.
  void TypePath(const std::string& path) const {
    At(300, 290);
    x_.Key("End");
    x_.Xdo("key --repeat 200 --delay 5 BackSpace");
    x_.Type(path);
  }

 private:
  const XServer& x_;
  std::string id_, title_;
  int x0_ = 0, y0_ = 0;
};

}  // namespace e2e

#endif
