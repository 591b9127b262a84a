// ui/installer_dialog.h: CInstallerDlg, the one controller of the installer
// window. It owns the window, the three wizard buttons, the side picture and
// the pages, and drives the wizard states; the run's data (kit, template
// directory, channel, worker) is the InstallerState it inherits.
// Objective-C++ only: Cocoa objects are forward-declared.
#ifndef KITSETUP_UI_INSTALLER_DIALOG_H
#define KITSETUP_UI_INSTALLER_DIALOG_H

#include "app/installer_state.h"
#include "core/text_string.h"

#ifdef __OBJC__
@class NSImage;
@class ExtNSWindow;
@class ExtNSButton;
#else
typedef struct objc_object NSImage;
typedef struct objc_object ExtNSWindow;
typedef struct objc_object ExtNSButton;
#endif

namespace kitsetup {

class WizardDialogPage;
class MessagePage;
class DirSelectPage;
class ProgressPage;
class SuccessFinalPage;

class CWnd {
 public:
  virtual ~CWnd() = default;
  virtual TextString GetTitle() = 0;
};

class CInstallerDlg : public CWnd, public InstallerState {
 public:
  // Also creates the application object and its delegate.
  CInstallerDlg(int argc, char** argv, bool silent, const ByteString& title,
                const TextString& langCode, bool useCwd);
  ~CInstallerDlg() override;

  TextString GetTitle() override;

  void CreateMainWindow();
  void ShowWelcomePage();
  void ShowDirPage();
  void ShowSuccessPage();
  void ShowFailurePage();
  void SwitchToPage(WizardDialogPage* page);
  void ShowFinishButtons();
  void RequestClose();
  void OnBack();
  void OnNext();
  void OnCancel();
  void OnNextFromDir();
  void Finish();
  void RunInstallation();
  void OnBrowse();  // the destination page's "..." button
  // Stops the install worker and waits for it (cancelling a run that has not
  // finished); later calls do nothing. Called before the process ends.
  void StopWorker();
  // Tells the running job to stop after its current file and roll back; the
  // copy loop then ends with 1223. A job that has begun to commit refuses,
  // and the loop ends with its success instead.
  void CancelCopy();
  // Closes the main window, which ends the program. During a copy the close
  // is a cancel first: the loop ends, the job rolls back, then the window
  // closes, so nothing the loop uses goes away under it.
  void CloseMainWindow();
  // The title bar's close box, Cmd-W and Cmd-Q: false when the close waits
  // for the copy to roll back (CloseMainWindow).
  bool WindowShouldClose();
  // SIGINT, SIGTERM or SIGHUP arrived (on the main thread): a cancel during
  // a copy, otherwise a close. An open modal box ends first, unanswered.
  void OnQuitSignal();
  void GetKitTexts(const TextString& code, TextString& product, TextString& vendor);
  TextString GetDescriptionFile(const TextString& code);

  MessagePage* m_welcomePage = nullptr;
  DirSelectPage* m_dirPage = nullptr;
  WizardDialogPage* m_currentPage = nullptr;
  ProgressPage* m_progressPage = nullptr;
  SuccessFinalPage* m_successPage = nullptr;
  MessagePage* m_failurePage = nullptr;
  NSImage* m_image = nullptr;
  ExtNSButton* m_buttonBack = nullptr;
  ExtNSButton* m_buttonNext = nullptr;
  ExtNSButton* m_buttonCancel = nullptr;
  int m_argc = 0;
  char** m_argv = nullptr;
  int m_width = 500;
  int m_height = 360;
  ByteString m_title;
  ExtNSWindow* m_window = nullptr;
  bool m_workerStopped = false;
  bool m_cancelRequested = false;  // a cancel the job took: the loop ends with 1223
  bool m_copying = false;          // the copy loop is running
  bool m_closeAfterCopy = false;   // the window was closed during the copy
  bool m_quitBeforeWindow = false; // a signal came before the window existed
};

// The one modal message routine: returns 1 Yes, 2 No, 3 OK, 0 otherwise.
// `dialog` may be null.
int ShowMessage(CWnd* dialog, const TextString& text, uint32_t type);

// From now on every message box closes by itself after `seconds`, answered
// as with its first button (OK); 0 restores boxes that wait. A silent run
// uses it: nobody is there to click.
void SetMessageAutoClose(double seconds);

// Ends the modal box (or panel) that is open, unanswered; nothing when none
// is. For timers and signals, which come from outside the box's events.
void AbortModalBox();

}  // namespace kitsetup

#endif
