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
@end

#endif
