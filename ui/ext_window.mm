#import "ui/ext_window.h"

#include "ui/installer_dialog.h"
#import "ui/platform.h"

namespace {
const NSUInteger kKeyDown = 10;  // NSEventTypeKeyDown, the same number in GNUstep
}

@implementation ExtNSWindow

- (id)initWithContentRectAndDlg:(NSRect)contentRect
                      styleMask:(NSUInteger)style
                        backing:(NSBackingStoreType)backing
                          defer:(BOOL)flag
                            dlg:(kitsetup::CInstallerDlg*)dlg {
  m_mainDlg = dlg;
  return [super initWithContentRect:contentRect styleMask:style backing:backing defer:flag];
}

// Escape goes to keyDown: before anything else sees it: the path field's
// field editor would otherwise take it, and no question would appear.
- (void)sendEvent:(NSEvent*)event {
  if ((NSUInteger)[event type] == kKeyDown && m_mainDlg != nullptr && kitsetup::PlatformIsEscapeKey(event)) {
    [self keyDown:event];
    return;
  }
  [super sendEvent:event];
}

- (BOOL)windowShouldClose:(id)sender {
  (void)sender;
  return m_mainDlg == nullptr || m_mainDlg->WindowShouldClose() ? YES : NO;
}

- (void)keyDown:(NSEvent*)event {
  if (m_mainDlg != nullptr && kitsetup::PlatformIsEscapeKey(event)) {
    m_mainDlg->RequestClose();
    return;
  }
  [super keyDown:event];
}

@end

@implementation ExtFlippedView

- (BOOL)isFlipped {
  return YES;
}

@end
