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

@interface ExtNSWindowDelegate : NSObject
- (void)windowWillClose:(NSNotification*)notification;
@end

@interface ExtNSApplicationDelegate : NSObject {
 @public
  kitsetup::CInstallerDlg* m_mainDlg;
}
- (BOOL)applicationShouldTerminateAfterLastWindowClosed:(NSApplication*)application;
- (void)applicationWillTerminate:(NSNotification*)notification;
- (BOOL)application:(NSApplication*)application openFile:(NSString*)filename;
@end

#endif
