// tests/e2e/x_session.h: what an end-to-end test needs to run the installer
// as a person would: its own X server with a window manager, a copy of
// Setup.app with a kit beside it, a private home and temporary directory,
// xdotool to press keys and click, the event log from standard error, and
// screenshots kept as artifacts.
#ifndef KITSETUP_TESTS_E2E_X_SESSION_H
#define KITSETUP_TESTS_E2E_X_SESSION_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace e2e {

// An Xvfb on a display number it picks itself, with openbox on it when asked.
// GNUstep cannot learn openbox's frame sizes under Xvfb, so its mouse
// positions are off by the title bar there: clicks need a bare server, the
// title bar's close button needs the window manager.
class XServer {
 public:
  explicit XServer(bool windowManager = true);
  ~XServer();
  bool ok() const { return display_ >= 0; }
  std::string display() const { return ":" + std::to_string(display_); }

  // Runs xdotool with `args` (shell words) and returns its standard output.
  std::string Xdo(const std::string& args) const;
  // Visible windows whose title matches `title` exactly, waiting up to
  // `seconds`; empty when none appeared.
  std::vector<std::string> WaitForWindows(const std::string& title, double seconds) const;
  std::string WindowName(const std::string& id) const;
  // The window's client area on the screen.
  bool Geometry(const std::string& id, int& x, int& y, int& width, int& height) const;
  // A click as a person makes it: move, press, a short pause, release.
  void Click(int x, int y) const;
  void Key(const std::string& key) const;
  // The pointer moves to (x, y) on the screen; nothing is pressed.
  void Hover(int x, int y) const;
  // Moves window `id` so that its top left corner is at (x, y).
  void MoveWindow(const std::string& id, int x, int y) const;
  void Type(const std::string& text) const;
  // Saves the whole screen as artifacts/<name>.png; returns the path.
  std::string Screenshot(const std::string& name) const;
  // Saves one window (its client area) as a PNG at `path`; false on failure.
  bool CaptureWindow(const std::string& id, const std::string& path) const;

 private:
  int display_ = -1;
  pid_t xvfb_ = -1;
  pid_t wm_ = -1;
};

// One installer run in a fresh folder: <dir>/Setup.app, <dir>/mivo.efd,
// <dir>/home, <dir>/tmp.
class SetupRun {
 public:
  SetupRun();
  ~SetupRun();
  const std::string& dir() const { return dir_; }
  std::string kitPath() const { return dir_ + "/mivo.efd"; }
  std::string home() const { return dir_ + "/home"; }
  std::string tmp() const { return tmp_; }
  void SetTmp(const std::string& tmp) { tmp_ = tmp; }
  // A folder searched before the usual PATH (stand-in commands).
  void SetPathPrefix(const std::string& dir) { path_prefix_ = dir; }
  // "NAME=value" for the run, replacing any NAME the run would have.
  void AddEnv(const std::string& assignment) { extra_env_.push_back(assignment); }

  // Starts Setup with `args` on the server's display.
  bool Start(const XServer& x, const std::vector<std::string>& args);
  // The event log lines ("kitsetup: " prefix removed) so far.
  std::vector<std::string> Log() const;
  // Waits until a log line starts with `prefix`; returns it, or "" on timeout.
  std::string WaitForLog(const std::string& prefix, double seconds) const;
  // Waits for the process to end: its exit status, -1 on timeout (the
  // process is then killed), -2 when it died of a signal.
  int WaitExit(double seconds);
  bool Running();
  pid_t pid() const { return pid_; }
  bool Signal(int number) const;

  // The copy pauses at its first directory under a path that contains
  // `pathPart`, until OpenGate: a "mkdir" stand-in waits for the gate file.
  // The shell commands are forced (KITSETUP_NO_FAST_PATHS) so that the copy
  // makes its directories with mkdir. Call before Start.
  void GateCopy(const std::string& pathPart);
  void OpenGate() const;

 private:
  std::string dir_;
  std::string tmp_;
  std::string path_prefix_;
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
  bool Find(const SetupRun& run, const std::string& title);
  const std::string& id() const { return id_; }
  // Another visible window with the same title (a message box), or "".
  std::string Box(double seconds = 5) const;

  void At(int x, int y) const { x_.Click(x0_ + x, y0_ + y); }
  // The pointer over (x, y) of the client area, no click.
  void HoverAt(int x, int y) const { x_.Hover(x0_ + x, y0_ + y); }
  // Moves the window's client area to (x, y) on the screen; false when the
  // window did not arrive there.
  bool MoveTo(int x, int y);
  void Back() const { At(270, 335); }
  void Next() const { At(350, 335); }  // also Finish
  void Cancel() const { At(450, 335); }
  void Browse() const { At(475, 290); }
  // Replaces the destination field's text with `path`.
  void TypePath(const std::string& path) const;

 private:
  const XServer& x_;
  std::string id_, title_;
  int x0_ = 0, y0_ = 0;
};

// The text of message `key` in language `id` (1..12), as UTF-8.
std::string Text(int id, const char* key);

// Shell-quotes one word.
std::string Quote(const std::string& word);
void SleepSeconds(double seconds);

}  // namespace e2e

#endif
