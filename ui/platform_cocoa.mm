// Cocoa (macOS): -run launches the application itself (finishLaunching is
// not called here, so that it runs once), the folder chooser is a sheet with
// a completion block, and the screen-to-window conversion is
// the application has a main menu, through which Cmd-Q, Cmd-W and the edit
// shortcuts reach their targets, and the window keeps the light look.
#import "ui/platform.h"

#import "ui/text_fit.h"
#include "ui/wizard_pages.h"

namespace kitsetup {
namespace {

NSMenu* AddSubmenu(NSMenu* bar, NSString* title) {
  NSMenuItem* item = [bar addItemWithTitle:title action:nil keyEquivalent:@""];
  NSMenu* menu = [[NSMenu alloc] initWithTitle:title];
  [item setSubmenu:menu];
  [menu release];  // the item keeps it
  return menu;
}

// Key equivalents go through the main menu: without one, Cmd-V could not
// even paste a path into the destination field. The items go to the first
// responder (the field editor for the edit commands), Quit to the
// application and Close to the key window; the titles stay English, like
// the alerts' buttons.
void InstallMainMenu() {
  NSMenu* bar = [[NSMenu alloc] initWithTitle:@""];
  NSMenu* app = AddSubmenu(bar, @"");
  [app addItemWithTitle:[@"Quit " stringByAppendingString:[[NSProcessInfo processInfo] processName]]
                 action:@selector(terminate:)
          keyEquivalent:@"q"];
  NSMenu* file = AddSubmenu(bar, @"File");
  [file addItemWithTitle:@"Close" action:@selector(performClose:) keyEquivalent:@"w"];
  NSMenu* edit = AddSubmenu(bar, @"Edit");
  [edit addItemWithTitle:@"Undo" action:@selector(undo:) keyEquivalent:@"z"];
  [edit addItemWithTitle:@"Redo" action:@selector(redo:) keyEquivalent:@"Z"];  // Shift-Cmd-Z
  [edit addItem:[NSMenuItem separatorItem]];
  [edit addItemWithTitle:@"Cut" action:@selector(cut:) keyEquivalent:@"x"];
  [edit addItemWithTitle:@"Copy" action:@selector(copy:) keyEquivalent:@"c"];
  [edit addItemWithTitle:@"Paste" action:@selector(paste:) keyEquivalent:@"v"];
  [edit addItemWithTitle:@"Select All" action:@selector(selectAll:) keyEquivalent:@"a"];
  [NSApp setMainMenu:bar];
  [bar release];
}

}  // namespace

void PlatformBeforeApplication() {}

void PlatformPrepareApplication() {
  [NSApp setActivationPolicy:NSApplicationActivationPolicyRegular];
  InstallMainMenu();
}

void PlatformBeforeCopy() {}  // NSTask watches only its own processes here

void PlatformBeforeSilentRun() {
  // -run would launch the application; a silent run polls events without
  // it, so launch here (once: -run never follows a silent run).
  [NSApp finishLaunching];
}

NSInteger PlatformRunAlert(NSAlert* alert, NSUInteger styleMask, id delegate, NSString* title) {
  NSWindow* window = [alert window];
  [window setStyleMask:styleMask];
  [window setDelegate:delegate];
  if (title != nil) [window setTitle:title];
  [alert layout];
  ReportLayout([window contentView], "box");
  // The style mask gives the alert a close box. Closing a window does not
  // end a modal loop by itself, and the delegate's endSheet: is meant for
  // sheets, so a close box click ends the loop here (an answer of 0), as
  // long as this alert is still the modal window.
  id observer = [[NSNotificationCenter defaultCenter]
      addObserverForName:NSWindowWillCloseNotification
                  object:window
                   queue:nil
              usingBlock:^(NSNotification* notification) {
                (void)notification;
                if ([NSApp modalWindow] == window) [NSApp stopModalWithCode:NSModalResponseAbort];
              }];
  const NSInteger response = [alert runModal];
  [[NSNotificationCenter defaultCenter] removeObserver:observer];
  return response;
}

bool PlatformIsEscapeKey(NSEvent* event) {
  return [event keyCode] == 53;  // the Escape key's virtual key code
}

void PlatformPrepareWindow(NSWindow* window) {
  // The window paints itself white, so its labels and check box must keep
  // their dark text: under Dark Mode they would turn light and vanish.
  // The Aqua appearance (macOS 10.9 and later) keeps the window light; the
  // alerts follow the system's look on their own.
  [window setAppearance:[NSAppearance appearanceNamed:NSAppearanceNameAqua]];
}

void PlatformSetAlertText(NSAlert* alert, NSString* text) {
  [alert setMessageText:text];  // NSAlert wraps it
  [alert setInformativeText:@""];
}

void PlatformChooseFolder(NSOpenPanel* panel, NSWindow* window, NSString* directory, DirSelectPage* page) {
  if (directory != nil) [panel setDirectoryURL:[NSURL fileURLWithPath:directory isDirectory:YES]];
  // Copying the block retains the panel it names, so the caller may release
  // it; the page lives as long as the dialog.
  [panel beginSheetModalForWindow:window
                completionHandler:^(NSModalResponse result) {
                  if (result == NSModalResponseOK) {
                    page->SetChosenFolder([[[panel URL] path] UTF8String]);
                  }
                }];
}

}  // namespace kitsetup
