// ui/ext_window.h: the main window. It carries a pointer back to the dialog
// so that the Escape key can ask to close the installer in every state.
#ifndef KITSETUP_UI_EXT_WINDOW_H
#define KITSETUP_UI_EXT_WINDOW_H

#import <AppKit/AppKit.h>

namespace kitsetup {
class CInstallerDlg;
}

@interface ExtNSWindow : NSWindow {
 @public
  kitsetup::CInstallerDlg* m_mainDlg;
}
- (id)initWithContentRectAndDlg:(NSRect)contentRect
                      styleMask:(NSUInteger)style
                        backing:(NSBackingStoreType)backing
                          defer:(BOOL)flag
                            dlg:(kitsetup::CInstallerDlg*)dlg;
// The close box and Cmd-W ask the dialog (the window is its own delegate
// for this: NSWindow asks itself when its delegate does not answer).
- (BOOL)windowShouldClose:(id)sender;
@end

// The window's content view: y grows downwards, so that frames read as the
// page layouts are drawn (top left first). NSView has no public setter for
// this, a subclass is the portable way.
@interface ExtFlippedView : NSView
@end

#endif
