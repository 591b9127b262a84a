// ui/ext_button.h: the wizard's buttons. Each forwards its click to the
// dialog, which decides by the wizard state what the click means.
#ifndef KITSETUP_UI_EXT_BUTTON_H
#define KITSETUP_UI_EXT_BUTTON_H

#import <AppKit/AppKit.h>

namespace kitsetup {
class CInstallerDlg;
}

@interface ExtNSButton : NSButton {
 @public
  kitsetup::CInstallerDlg* m_mainDlg;
}
- (id)initWithFrameAndDlg:(NSRect)frame dlg:(kitsetup::CInstallerDlg*)dlg;
- (void)on_buttonPrev_clicked:(id)sender;       // Back
- (void)on_buttonNext_clicked:(id)sender;       // Next / Finish
- (void)button_clicked_handler:(id)sender;      // Cancel
- (void)dir_button_clicked_handler:(id)sender;  // "..." on the destination page
@end

#endif
