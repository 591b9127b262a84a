#import "ui/delegates.h"

#include "ui/installer_dialog.h"

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

// The installer opens no documents. GNUstep takes a command-line word that
// does not start with "-" ("/Lru", "usecwd") for a file to open and, with no
// answer here, would stop at an error box before the installer starts.
- (BOOL)application:(NSApplication*)application openFile:(NSString*)filename {
  (void)application;
  (void)filename;
  return YES;
}

@end
