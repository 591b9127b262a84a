#import "ui/delegates.h"

#include "app/quit_signals.h"
#include "ui/installer_dialog.h"

// Turns the quit signals' pipe into main-thread calls.
@interface ExtQuitSignalWatcher : NSObject {
 @public
  NSFileHandle* handle;
}
- (void)arm;
- (void)dataAvailable:(NSNotification*)notification;
@end

@implementation ExtQuitSignalWatcher

- (void)arm {
  [handle waitForDataInBackgroundAndNotifyForModes:
              [NSArray arrayWithObjects:NSDefaultRunLoopMode, NSModalPanelRunLoopMode,
                                        NSEventTrackingRunLoopMode, nil]];
}

- (void)dataAvailable:(NSNotification*)notification {
  (void)notification;
  const int number = kitsetup::TakeQuitSignal();
  [self arm];
  id delegate = [NSApp delegate];
  if (number != 0 && [delegate isKindOfClass:[ExtNSApplicationDelegate class]] &&
      ((ExtNSApplicationDelegate*)delegate)->m_mainDlg != nullptr) {
    ((ExtNSApplicationDelegate*)delegate)->m_mainDlg->OnQuitSignal();
  }
}

@end

@implementation ExtNSWindowDelegate

- (void)windowWillClose:(NSNotification*)notification {
  [NSApp endSheet:[notification object]];
}

@end

@implementation ExtNSApplicationDelegate

- (BOOL)applicationShouldTerminateAfterLastWindowClosed:(NSApplication*)application {
  (void)application;
  return YES;
}

// terminate: ends the process without returning to main, so this is the last
// moment to let a running copy stop and roll back.
- (void)applicationWillTerminate:(NSNotification*)notification {
  (void)notification;
  if (m_mainDlg != nullptr) m_mainDlg->StopWorker();
}

- (NSApplicationTerminateReply)applicationShouldTerminate:(NSApplication*)application {
  (void)application;
  if (m_mainDlg == nullptr || m_mainDlg->WindowShouldClose()) return NSTerminateNow;
  return NSTerminateCancel;  // the window closes, and the program ends, after the rollback
}

// The installer opens no documents. GNUstep takes a command-line word that
// does not start with "-" ("/Lru", "usecwd") for a file to open and, with no
// answer here, would stop at an error box before the installer starts.
- (BOOL)application:(NSApplication*)application openFile:(NSString*)filename {
  (void)application;
  (void)filename;
  return YES;
}

@end

namespace kitsetup {

void WatchQuitSignals(int fd) {
  static ExtQuitSignalWatcher* watcher = nil;  // one for the process, never released
  if (fd < 0 || watcher != nil) return;
  watcher = [[ExtQuitSignalWatcher alloc] init];
  watcher->handle = [[NSFileHandle alloc] initWithFileDescriptor:fd closeOnDealloc:NO];
  [[NSNotificationCenter defaultCenter] addObserver:watcher
                                           selector:@selector(dataAvailable:)
                                               name:NSFileHandleDataAvailableNotification
                                             object:watcher->handle];
  [watcher arm];
}

void CloseWindowLater(NSWindow* window) {
  [window performSelector:@selector(performClose:)
               withObject:nil
               afterDelay:0
                  inModes:[NSArray arrayWithObject:NSDefaultRunLoopMode]];
}

}  // namespace kitsetup
