#include "e2e/x_session.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "core/encoding.h"
#include "core/messages.h"

extern char** environ;

namespace e2e {
namespace {

std::string RunOutput(const std::string& command) {
  std::string out;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return out;
  char buffer[4096];
  size_t n;
  while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, n);
  pclose(pipe);
  return out;
}

pid_t Spawn(const std::vector<std::string>& argv, const std::vector<std::string>& env,
            const std::string& stdout_path, const std::string& stderr_path, int keep_fd = -1) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, stdout_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  posix_spawn_file_actions_addopen(&actions, 2, stderr_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  (void)keep_fd;
  std::vector<char*> args;
  for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);
  std::vector<char*> envp;
  for (const std::string& e : env) envp.push_back(const_cast<char*>(e.c_str()));
  envp.push_back(nullptr);
  pid_t pid = -1;
  if (posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), envp.data()) != 0) pid = -1;
  posix_spawn_file_actions_destroy(&actions);
  return pid;
}

void Stop(pid_t& pid) {
  if (pid <= 0) return;
  kill(pid, SIGTERM);
  for (int i = 0; i < 50; ++i) {
    if (waitpid(pid, nullptr, WNOHANG) == pid) {
      pid = -1;
      return;
    }
    SleepSeconds(0.05);
  }
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
  pid = -1;
}

double Now() {
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return ts.tv_sec + ts.tv_nsec / 1e9;
}

}  // namespace

void SleepSeconds(double seconds) { usleep(static_cast<useconds_t>(seconds * 1e6)); }

std::string Quote(const std::string& word) {
  std::string out = "'";
  for (char c : word) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

XServer::XServer(bool windowManager) {
  // Xvfb picks a free display itself and writes its number to a pipe, so
  // parallel test processes never race for one.
  int fds[2];
  if (pipe(fds) != 0) return;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addclose(&actions, fds[0]);
  const std::string fd = std::to_string(fds[1]);
  const char* argv[] = {"Xvfb", "-displayfd", fd.c_str(), "-screen", "0", "1024x768x24",
                        "-nolisten", "tcp", nullptr};
  if (posix_spawnp(&xvfb_, "Xvfb", &actions, nullptr, const_cast<char**>(argv), environ) != 0) xvfb_ = -1;
  posix_spawn_file_actions_destroy(&actions);
  close(fds[1]);
  std::string number;
  char c;
  while (xvfb_ > 0 && read(fds[0], &c, 1) == 1 && c != '\n') number += c;
  close(fds[0]);
  if (number.empty()) {
    Stop(xvfb_);
    return;
  }
  display_ = std::stoi(number);
  std::vector<std::string> env;
  for (char** e = environ; *e != nullptr; ++e) env.emplace_back(*e);
  env.push_back("DISPLAY=" + display());
  if (windowManager) wm_ = Spawn({"openbox"}, env, "/dev/null", "/dev/null");
  SleepSeconds(0.5);
}

XServer::~XServer() {
  Stop(wm_);
  Stop(xvfb_);
}

std::string XServer::Xdo(const std::string& args) const {
  return RunOutput("DISPLAY=" + display() + " xdotool " + args + " 2>/dev/null");
}

std::vector<std::string> XServer::WaitForWindows(const std::string& title, double seconds) const {
  const double end = Now() + seconds;
  do {
    std::vector<std::string> found;
    std::istringstream ids(Xdo("search --onlyvisible --name " + Quote(title)));
    for (std::string id; ids >> id;) {
      if (WindowName(id) == title) found.push_back(id);
    }
    if (!found.empty()) return found;
    SleepSeconds(0.1);
  } while (Now() < end);
  return {};
}

std::string XServer::WindowName(const std::string& id) const {
  std::string name = Xdo("getwindowname " + id);
  while (!name.empty() && name.back() == '\n') name.pop_back();
  return name;
}

bool XServer::Geometry(const std::string& id, int& x, int& y, int& width, int& height) const {
  std::istringstream lines(Xdo("getwindowgeometry --shell " + id));
  int found = 0;
  for (std::string line; std::getline(lines, line);) {
    const size_t eq = line.find('=');
    if (eq == std::string::npos) continue;
    const std::string key = line.substr(0, eq);
    const int value = std::atoi(line.c_str() + eq + 1);
    if (key == "X") x = value, ++found;
    if (key == "Y") y = value, ++found;
    if (key == "WIDTH") width = value, ++found;
    if (key == "HEIGHT") height = value, ++found;
  }
  return found == 4;
}

void XServer::Click(int x, int y) const {
  Xdo("mousemove " + std::to_string(x) + " " + std::to_string(y));
  SleepSeconds(0.1);
  Xdo("mousedown 1");
  SleepSeconds(0.2);
  Xdo("mouseup 1");
  SleepSeconds(0.3);
}

void XServer::Key(const std::string& key) const {
  // A box is logged just before it is mapped; a key sent earlier is lost.
  SleepSeconds(0.4);
  Xdo("key " + key);
  SleepSeconds(0.4);
}

void XServer::Hover(int x, int y) const {
  Xdo("mousemove " + std::to_string(x) + " " + std::to_string(y));
  SleepSeconds(0.05);
}

void XServer::MoveWindow(const std::string& id, int x, int y) const {
  Xdo("windowmove --sync " + id + " " + std::to_string(x) + " " + std::to_string(y));
  SleepSeconds(0.3);
}

void XServer::Type(const std::string& text) const {
  Xdo("type --delay 30 " + Quote(text));
  SleepSeconds(0.3);
}

std::string XServer::Screenshot(const std::string& name) const {
  system((std::string("mkdir -p ") + Quote(KITSETUP_E2E_ARTIFACTS)).c_str());
  const std::string path = std::string(KITSETUP_E2E_ARTIFACTS) + "/" + name + ".png";
  system(("DISPLAY=" + display() + " import -window root " + Quote(path) + " 2>/dev/null").c_str());
  return path;
}

bool XServer::CaptureWindow(const std::string& id, const std::string& path) const {
  // Eight-bit palette PNGs keep the pictures small enough to check in.
  return system(("DISPLAY=" + display() + " import -window " + id + " -strip +dither -colors 256 " +
                 Quote("png8:" + path) + " 2>/dev/null")
                    .c_str()) == 0;
}

bool WizardWindow::Find(const SetupRun& run, const std::string& title) {
  if (run.WaitForLog("page welcome", 20).empty()) return false;
  std::vector<std::string> windows = x_.WaitForWindows(title, 10);
  int w = 0, h = 0;
  if (windows.empty() || !x_.Geometry(windows[0], x0_, y0_, w, h)) return false;
  id_ = windows[0];
  title_ = title;
  At(330, 200);
  return true;
}

bool WizardWindow::MoveTo(int x, int y) {
  x_.MoveWindow(id_, x, y);
  int w = 0, h = 0;
  return x_.Geometry(id_, x0_, y0_, w, h) && x0_ == x && y0_ == y;
}

std::string WizardWindow::Box(double seconds) const {
  const double end = Now() + seconds;
  do {
    for (const std::string& id : x_.WaitForWindows(title_, 0)) {
      if (id != id_) return id;
    }
    SleepSeconds(0.1);
  } while (Now() < end);
  return "";
}

void WizardWindow::TypePath(const std::string& path) const {
  At(300, 290);
  x_.Key("End");
  x_.Xdo("key --repeat 200 --delay 5 BackSpace");
  x_.Type(path);
}

std::string Text(int id, const char* key) {
  const kitsetup::LanguageId before = kitsetup::CurrentLanguage();
  kitsetup::SetCurrentLanguage(id);
  const kitsetup::ByteString bytes = kitsetup::ToLocaleBytes(kitsetup::LookupMessage(key));
  kitsetup::SetCurrentLanguage(before);
  return bytes.c_str();
}

SetupRun::SetupRun() {
  char pattern[] = "/tmp/kitsetup-e2e-XXXXXX";
  dir_ = mkdtemp(pattern);
  tmp_ = dir_ + "/tmp";
  // A copy, not a link: the program finds its kit from its own resolved path.
  system(("cp -R " + Quote(KITSETUP_SETUP_APP) + " " + Quote(dir_ + "/Setup.app") + " && mkdir -p " +
          Quote(home()) + " " + Quote(tmp_))
             .c_str());
}

SetupRun::~SetupRun() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  system(("umount " + Quote(tmp_) + " 2>/dev/null; rm -rf " + Quote(dir_)).c_str());
}

bool SetupRun::Start(const XServer& x, const std::vector<std::string>& args) {
  std::vector<std::string> argv{dir_ + "/Setup.app/Contents/MacOS/Setup"};
  argv.insert(argv.end(), args.begin(), args.end());
  const char* path = getenv("PATH");
  std::vector<std::string> env{"DISPLAY=" + x.display(), "HOME=" + home(), "TMPDIR=" + tmp_,
                               "LANG=C.UTF-8", std::string("PATH=") + (path_prefix_.empty() ? "" : path_prefix_ + ":") +
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
    // An assignment replaces one of the same name ("LANG=" empties LANG).
    const std::string name = assignment.substr(0, assignment.find('=') + 1);
    for (auto it = env.begin(); it != env.end();) it = it->rfind(name, 0) == 0 ? env.erase(it) : it + 1;
    env.push_back(assignment);
  }
  pid_ = Spawn(argv, env, dir_ + "/stdout.txt", dir_ + "/stderr.txt");
  return pid_ > 0;
}

std::vector<std::string> SetupRun::Log() const {
  std::vector<std::string> lines;
  std::ifstream in(dir_ + "/stderr.txt");
  const std::string prefix = "kitsetup: ";
  for (std::string line; std::getline(in, line);) {
    if (line.compare(0, prefix.size(), prefix) == 0) lines.push_back(line.substr(prefix.size()));
  }
  return lines;
}

std::string SetupRun::WaitForLog(const std::string& prefix, double seconds) const {
  const double end = Now() + seconds;
  do {
    for (const std::string& line : Log()) {
      if (line.compare(0, prefix.size(), prefix) == 0) return line;
    }
    SleepSeconds(0.1);
  } while (Now() < end);
  return "";
}

int SetupRun::WaitExit(double seconds) {
  const double end = Now() + seconds;
  while (pid_ > 0) {
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      return WIFEXITED(status) ? WEXITSTATUS(status) : -2;
    }
    if (Now() > end) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
      pid_ = -1;
      return -1;
    }
    SleepSeconds(0.05);
  }
  return -1;
}

bool SetupRun::Signal(int number) const { return pid_ > 0 && kill(pid_, number) == 0; }

void SetupRun::GateCopy(const std::string& pathPart) {
  const std::string bin = dir_ + "/gate-bin";
  const std::string mkdirPath = RunOutput("command -v mkdir");
  system(("mkdir -p " + Quote(bin)).c_str());
  std::ofstream(bin + "/mkdir") << "#!/bin/sh\ncase \"$*\" in *" << pathPart << "*)\n"
                                << "  while [ ! -e " << Quote(dir_ + "/gate") << " ]; do sleep 0.05; done;;\n"
                                << "esac\nexec " << mkdirPath.substr(0, mkdirPath.find('\n')) << " \"$@\"\n";
  chmod((bin + "/mkdir").c_str(), 0755);
  SetPathPrefix(path_prefix_.empty() ? bin : bin + ":" + path_prefix_);
  AddEnv("KITSETUP_NO_FAST_PATHS=1");
}

void SetupRun::OpenGate() const { std::ofstream(dir_ + "/gate") << "open\n"; }

bool SetupRun::Running() {
  if (pid_ <= 0) return false;
  int status = 0;
  if (waitpid(pid_, &status, WNOHANG) == pid_) {
    pid_ = -1;
    return false;
  }
  return true;
}

}  // namespace e2e
