// ui/platform.h: the few places where Cocoa on macOS and GNUstep's AppKit on
// Linux need different calls. Everything else in ui/ is shared. The two
// implementations are platform_cocoa.mm and platform_gnustep.mm.
#ifndef KITSETUP_UI_PLATFORM_H
#define KITSETUP_UI_PLATFORM_H

#import <AppKit/AppKit.h>

namespace kitsetup {

class DirSelectPage;

// Settings the toolkit reads when the application object is made.
void PlatformBeforeApplication();

// Makes the shared application an ordinary one with a Dock icon and a main
// menu (Quit, Close and the edit commands with their usual shortcuts), and
// ready for modal alerts before [NSApp run] has been called.
void PlatformPrepareApplication();

// Before the worker starts running shell commands.
void PlatformBeforeCopy();

// Before a silent run, which pumps events itself and never calls -run.
void PlatformBeforeSilentRun();

// Runs the alert modally and returns its response. Its window gets
// `styleMask`, `delegate` and `title` (nil: the toolkit's own title).
NSInteger PlatformRunAlert(NSAlert* alert, NSUInteger styleMask, id delegate, NSString* title);

// True for the Escape key.
bool PlatformIsEscapeKey(NSEvent* event);

// The main window before it is shown: on macOS it keeps the light look its
// white background is drawn for, also under Dark Mode.
void PlatformPrepareWindow(NSWindow* window);

// Gives the alert its one text. AppKit shows the message text in bold and
// wraps it. GNUstep would draw the message text as a one-line title beside
// the icon, where a long text runs off the panel; there the text goes into
// the informative text, which the panel sizes to fit, with line breaks that
// keep each line within a readable width.
void PlatformSetAlertText(NSAlert* alert, NSString* text);

// Shows the folder chooser as a sheet on `window`, opened at `directory`
// (nil: the toolkit's choice); when the user picks a folder,
// page->SetChosenFolder is called with its path.
void PlatformChooseFolder(NSOpenPanel* panel, NSWindow* window, NSString* directory, DirSelectPage* page);

}  // namespace kitsetup

#endif
