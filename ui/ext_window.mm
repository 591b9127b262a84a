#import "ui/ext_window.h"

#include "ui/installer_dialog.h"
#import "ui/platform.h"

@implementation ExtNSWindow

- (id)initWithContentRectAndDlg:(NSRect)contentRect
                      styleMask:(NSUInteger)style
                        backing:(NSBackingStoreType)backing
                          defer:(BOOL)flag
                            dlg:(kitsetup::CInstallerDlg*)dlg {
  m_mainDlg = dlg;
  return [super initWithContentRect:contentRect styleMask:style backing:backing defer:flag];
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
