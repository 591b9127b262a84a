// ui/delegates.h: the alert windows' delegate and the application's.
// Closing the main window ends the application; before the process ends, the
// install worker is stopped and waited for, so that quitting never leaves a
// copy half done.
#ifndef KITSETUP_UI_DELEGATES_H
#define KITSETUP_UI_DELEGATES_H

#import <AppKit/AppKit.h>

namespace kitsetup {
class CInstallerDlg;
}

// The main window's delegate is the window itself (ExtNSWindow): its close
// box asks the dialog first.

// The protocols are declared so that setDelegate: takes them without a
// warning from clang on macOS; GNUstep declares them too.
@interface ExtNSWindowDelegate : NSObject <NSWindowDelegate>
- (void)windowWillClose:(NSNotification*)notification;
@end

@interface ExtNSApplicationDelegate : NSObject <NSApplicationDelegate> {
 @public
  kitsetup::CInstallerDlg* m_mainDlg;
}
- (BOOL)applicationShouldTerminateAfterLastWindowClosed:(NSApplication*)application;
- (void)applicationWillTerminate:(NSNotification*)notification;
- (BOOL)application:(NSApplication*)application openFile:(NSString*)filename;
// Cmd-Q: during a copy a cancel and a close after the rollback.
- (NSApplicationTerminateReply)applicationShouldTerminate:(NSApplication*)application;
@end

namespace kitsetup {

// Watches the quit signals' pipe (app/quit_signals.h) from the main run
// loop, in the default, modal and tracking modes, and hands each signal to
// the application delegate's dialog. Does nothing for -1.
void WatchQuitSignals(int fd);

// Closes `window` once the application's own loop runs again (not inside a
// modal box or the copy loop).
void CloseWindowLater(NSWindow* window);

}  // namespace kitsetup

#endif
