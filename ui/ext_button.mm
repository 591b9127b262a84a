#import "ui/ext_button.h"

#include "ui/installer_dialog.h"

@implementation ExtNSButton

- (id)initWithFrameAndDlg:(NSRect)frame dlg:(kitsetup::CInstallerDlg*)dlg {
  m_mainDlg = dlg;
  return [super initWithFrame:frame];
}

- (void)on_buttonPrev_clicked:(id)sender {
  (void)sender;
  if (m_mainDlg != nullptr) m_mainDlg->OnBack();
}

- (void)on_buttonNext_clicked:(id)sender {
  (void)sender;
  if (m_mainDlg != nullptr) m_mainDlg->OnNext();
}

- (void)button_clicked_handler:(id)sender {
  (void)sender;
  if (m_mainDlg != nullptr) m_mainDlg->OnCancel();
}

- (void)dir_button_clicked_handler:(id)sender {
  (void)sender;
  if (m_mainDlg != nullptr) m_mainDlg->OnBrowse();
}

@end
