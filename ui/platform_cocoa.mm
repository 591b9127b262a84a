// Cocoa (macOS): -run launches the application itself, the folder chooser is
// a sheet with a completion block, and the screen-to-window conversion is
// the rectangle form (convertScreenToBase: is gone from current SDKs).
#import "ui/platform.h"

#include "ui/wizard_pages.h"

namespace kitsetup {

void PlatformBeforeApplication() {}

void PlatformPrepareApplication() {
  [NSApp setActivationPolicy:NSApplicationActivationPolicyRegular];
}

NSInteger PlatformRunAlert(NSAlert* alert, NSUInteger styleMask, id delegate, NSString* title) {
  NSWindow* window = [alert window];
  [window setStyleMask:styleMask];
  [window setDelegate:delegate];
  if (title != nil) [window setTitle:title];
  return [alert runModal];
}

bool PlatformIsEscapeKey(NSEvent* event) {
  return [event keyCode] == 53;  // the Escape key's virtual key code
}

NSPoint PlatformConvertScreenToBase(NSWindow* window, NSPoint point) {
  return [window convertRectFromScreen:NSMakeRect(point.x, point.y, 0, 0)].origin;
}

void PlatformChooseFolder(NSOpenPanel* panel, NSWindow* window, DirSelectPage* page) {
  // The block keeps the panel alive until the sheet ends; the page lives as
  // long as the dialog.
  [panel beginSheetModalForWindow:window
                completionHandler:^(NSInteger result) {
                  if (result == NSModalResponseOK) {
                    page->SetChosenFolder([[[panel URL] path] UTF8String]);
                  }
                }];
}

}  // namespace kitsetup
