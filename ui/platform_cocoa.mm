// Cocoa (macOS): -run launches the application itself (finishLaunching is
// not called here, so that it runs once), the folder chooser is a sheet with
// a completion block, and the screen-to-window conversion is
// convertPointFromScreen: (convertScreenToBase: is deprecated since 10.7).
#import "ui/platform.h"

#include "ui/wizard_pages.h"

namespace kitsetup {

void PlatformBeforeApplication() {}

void PlatformPrepareApplication() {
  [NSApp setActivationPolicy:NSApplicationActivationPolicyRegular];
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

NSPoint PlatformConvertScreenToBase(NSWindow* window, NSPoint point) {
  return [window convertPointFromScreen:point];
}

void PlatformChooseFolder(NSOpenPanel* panel, NSWindow* window, DirSelectPage* page) {
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
