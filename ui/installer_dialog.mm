// CInstallerDlg: the main window, its buttons, the wizard states and the copy
// loop. The decisions that need no window (which action a button means, the
// welcome sentence, the typed path, the open command, the configuration
// write-back) live in app/wizard_flow.h; this file performs them.
#import <AppKit/AppKit.h>

#include "ui/installer_dialog.h"

#include "app/event_log.h"
#include "app/quit_signals.h"
#include "app/wizard_flow.h"
#include "core/error_codes.h"
#include "core/messages.h"
#import "ui/delegates.h"
#import "ui/ext_button.h"
#import "ui/ext_window.h"
#include "ui/ns_text.h"
#import "ui/pictures.h"
#import "ui/platform.h"
#import "ui/text_fit.h"
#include "ui/wizard_pages.h"

namespace kitsetup {
namespace {

const NSUInteger kTitledClosable = 3;
const NSUInteger kBackingBuffered = 2;
const NSUInteger kSeparatorBox = 2;
const NSUInteger kMomentaryLight = 0;
const NSUInteger kRoundedBezel = 1;
const uint32_t kCancelledCode = 1223;
// The copy loop waits this long for an event: the caption and the bar stay
// current to the frame, and an idle loop sleeps instead of spinning.
const NSTimeInterval kPollSeconds = 1.0 / 60.0;
// A box in a silent run closes by itself after this long.
const double kSilentBoxSeconds = 5.0;

// NSEvent types that carry a pointer position, by number (the same in
// AppKit and GNUstep): mouse buttons 1-4, moved 5, dragged 6-7, entered and
// exited 8-9, scroll wheel 22, other button 25-27. For any other event
// locationInWindow means nothing.
bool HasPointerLocation(NSEvent* event) {
  const NSUInteger type = (NSUInteger)[event type];
  return (type >= 1 && type <= 9) || type == 22 || (type >= 25 && type <= 27);
}

// True when `event` points at `view`: its location is already in the
// coordinates of its own window, which must be the view's.
bool EventPointsAt(NSEvent* event, NSView* view) {
  if (event == nil || view == nil || [event window] != [view window] || !HasPointerLocation(event)) {
    return false;
  }
  const NSPoint point = [view convertPoint:[event locationInWindow] fromView:nil];
  return NSPointInRect(point, [view bounds]) ? true : false;
}

ExtNSButton* MakeWizardButton(NSView* parent, CInstallerDlg* dialog, double x, const char* titleKey,
                              SEL action) {
  ExtNSButton* button = [[ExtNSButton alloc] initWithFrameAndDlg:NSMakeRect(x, 320, 80, 30)
                                                             dlg:dialog];
  [button setButtonType:(NSButtonType)kMomentaryLight];
  [button setBezelStyle:(NSBezelStyle)kRoundedBezel];
  [button setTarget:button];
  [button setAction:action];
  [button setTitle:MessageNSString(titleKey)];
  FitButtonTitle(button);
  [parent addSubview:button];
  [button release];  // the content view keeps it as long as the window lives
  return button;
}

}  // namespace

CInstallerDlg::CInstallerDlg(int argc, char** argv, bool silent, const ByteString& title,
                             const TextString& langCode, bool useCwd)
    : m_argc(argc), m_argv(argv), m_title(title) {
  m_silent = silent ? 1 : 0;
  m_langCode = langCode;
  m_useCwd = useCwd ? 1 : 0;
  InitChannel(&m_progress);
  PostProgress(&m_progress, 0, LookupMessage("IDS_PREPARECOPY"), 0);

  [NSAutoreleasePool new];  // the process-long pool; run loops add their own
  ExtNSApplicationDelegate* delegate = [[ExtNSApplicationDelegate alloc] init];
  delegate->m_mainDlg = this;
  PlatformBeforeApplication();
  [NSApplication sharedApplication];
  [NSApp setDelegate:delegate];
  PlatformPrepareApplication();
  [NSApp activateIgnoringOtherApps:YES];
  if (silent) SetMessageAutoClose(kSilentBoxSeconds);
  WatchQuitSignals(InstallQuitSignals());
}

CInstallerDlg::~CInstallerDlg() {
  StopWorker();
  id delegate = [NSApp delegate];
  if ([delegate isKindOfClass:[ExtNSApplicationDelegate class]]) {
    ((ExtNSApplicationDelegate*)delegate)->m_mainDlg = nullptr;
  }
  delete m_welcomePage;
  delete m_dirPage;
  delete m_progressPage;
  delete m_successPage;
  delete m_failurePage;
  [m_image release];
  [m_window release];
}

void CInstallerDlg::StopWorker() {
  if (m_workerStopped) return;
  m_workerStopped = true;
  FinishWorker(&m_worker);
}

void CInstallerDlg::CancelCopy() {
  RequestStop(&m_worker);
  // Refused once the job commits: the copy loop then waits for its success.
  if (SetCancel(&m_progress, 1)) m_cancelRequested = true;
}

void CInstallerDlg::CloseMainWindow() {
  if (m_copying) {
    m_closeAfterCopy = true;
    CancelCopy();
    return;
  }
  [m_window close];
}

bool CInstallerDlg::WindowShouldClose() {
  if (!m_copying) return true;
  CloseMainWindow();
  return false;
}

void CInstallerDlg::OnQuitSignal() {
  // A question, a notice or the folder chooser ends as if dismissed; the
  // code waiting for it goes on and finds the cancel or the close below.
  AbortModalBox();
  if (m_copying) {
    CancelCopy();
    return;
  }
  // Closed from the application's own loop, after any modal box has ended;
  // before the window exists, as soon as it does.
  if (m_window == nullptr) m_quitBeforeWindow = true;
  CloseWindowLater(m_window);
}

TextString CInstallerDlg::GetTitle() { return FromLocaleBytes(m_title); }

void CInstallerDlg::CreateMainWindow() {
  const NSRect content = NSMakeRect(0, 0, m_width, m_height);
  m_window = [[ExtNSWindow alloc] initWithContentRectAndDlg:content
                                                  styleMask:kTitledClosable
                                                    backing:(NSBackingStoreType)kBackingBuffered
                                                      defer:NO
                                                        dlg:this];
  // The dialog owns the window: closing it must not free it while the copy
  // loop or a box still refers to it.
  [m_window setReleasedWhenClosed:NO];
  [m_window center];
  [m_window setTitle:ToNSString(m_title)];
  [m_window setBackgroundColor:[NSColor colorWithCalibratedRed:1.0 green:1.0 blue:1.0 alpha:1.0]];
  ExtFlippedView* view = [[ExtFlippedView alloc] initWithFrame:content];
  [m_window setContentView:view];
  [view release];

  NSBox* separator = [[NSBox alloc] initWithFrame:NSMakeRect(10, 310, m_width - 20, 5.0)];
  [separator setBoxType:(NSBoxType)kSeparatorBox];
  [view addSubview:separator];
  [separator release];

  m_buttonBack = MakeWizardButton(view, this, 230, "IDS_WIZARD_BACK", @selector(on_buttonPrev_clicked:));
  m_buttonNext = MakeWizardButton(view, this, 310, "IDS_WIZARD_NEXT", @selector(on_buttonNext_clicked:));
  m_buttonCancel =
      MakeWizardButton(view, this, 410, "IDS_WIZARD_CANCEL", @selector(button_clicked_handler:));

  m_image = NewImageFromBytes(SidePictureBytes());
  PlatformPrepareWindow(m_window);
  [m_window makeKeyAndOrderFront:nil];
  if (m_quitBeforeWindow) CloseWindowLater(m_window);
}

void CInstallerDlg::SwitchToPage(WizardDialogPage* page) {
  if (m_currentPage != nullptr) m_currentPage->SetHidden(true);
  m_currentPage = page;
  page->SetHidden(false);
  page->OnShow();
  ReportLayout([m_window contentView], "window");
}

void CInstallerDlg::ShowWelcomePage() {
  TextString product, vendor;
  GetKitTexts(m_langCode, product, vendor);
  const TextString text = WelcomeText(product, vendor);
  if (m_welcomePage == nullptr) {
    m_welcomePage = new MessagePage([m_window contentView], m_image, text);
  }
  if (m_silent) {
    [m_buttonBack setHidden:YES];
    [m_buttonNext setHidden:YES];
  } else {
    [m_buttonBack setEnabled:NO];
  }
  m_state = kStateWelcome;
  SwitchToPage(m_welcomePage);
  LogPage("welcome");
}

void CInstallerDlg::ShowDirPage() {
  m_state = kStateDestination;
  if (m_dirPage == nullptr) {
    m_dirPage = new DirSelectPage([m_window contentView], m_image, this);
    // The proposal goes in once: m_templateDir changes only when the copy
    // starts, so a path typed and left with Back is still there on return.
    m_dirPage->SetPath(m_templateDir);
  }
  [m_buttonBack setEnabled:YES];
  [m_buttonNext setEnabled:YES];
  SwitchToPage(m_dirPage);
  m_dirPage->ShowPathEnd();
  LogPage("destination");
}

void CInstallerDlg::ShowFinishButtons() {
  [m_buttonNext setEnabled:YES];
  [m_buttonCancel setEnabled:NO];
  [m_buttonBack setHidden:YES];
  [m_buttonNext setHidden:NO];
  [m_buttonNext setTitle:MessageNSString("IDS_WIZARD_FINISH")];
  FitButtonTitle(m_buttonNext);
}

void CInstallerDlg::ShowSuccessPage() {
  m_state = kStateSuccess;
  if (m_successPage == nullptr) {
    m_successPage = new SuccessFinalPage([m_window contentView], m_image,
                                         FromLocaleBytes(ByteString(kSuccessSentence)));
  }
  ShowFinishButtons();
  SwitchToPage(m_successPage);
  LogPage("success");
}

void CInstallerDlg::ShowFailurePage() {
  m_state = kStateFailure;
  if (m_failurePage == nullptr) {
    m_failurePage = new MessagePage([m_window contentView], m_image,
                                    FromLocaleBytes(ByteString(kFailureSentence)));
  }
  ShowFinishButtons();
  SwitchToPage(m_failurePage);
  LogPage("failure");
}

void CInstallerDlg::RequestClose() {
  if (m_confirmCancel != 0 &&
      ShowMessage(this, LookupMessage("IDS_ACCEPT_CANCEL"), kMessageQuestionYesNo) != kAnswerYes) {
    return;
  }
  CloseMainWindow();
}

namespace {

void Perform(CInstallerDlg* dialog, WizardAction action) {
  switch (action) {
    case WizardAction::None: break;
    case WizardAction::ShowWelcome: dialog->ShowWelcomePage(); break;
    case WizardAction::ShowDir: dialog->ShowDirPage(); break;
    case WizardAction::NextFromDir: dialog->OnNextFromDir(); break;
    case WizardAction::Finish: dialog->Finish(); break;
    case WizardAction::RequestClose: dialog->RequestClose(); break;
    case WizardAction::RequestStop:
      // Stop the job after its current file: it rolls back and reports 1223.
      dialog->CancelCopy();
      break;
  }
}

}  // namespace

void CInstallerDlg::OnBack() { Perform(this, WizardActionFor(m_state, WizardEvent::Back)); }
void CInstallerDlg::OnNext() { Perform(this, WizardActionFor(m_state, WizardEvent::Next)); }
void CInstallerDlg::OnCancel() { Perform(this, WizardActionFor(m_state, WizardEvent::Cancel)); }

void CInstallerDlg::OnBrowse() {
  if (m_dirPage != nullptr) m_dirPage->ChooseFolder();
}

void CInstallerDlg::OnNextFromDir() {
  const TextString path = NormaliseTypedPath(m_dirPage->GetPath());
  if (path.empty()) {
    ShowMessage(this, LookupMessage("IDS_SETUP_EMPTYTARGET"), kMessagePlainOk);
    return;
  }
  m_templateDir = path;
  RunInstallation();
}

void CInstallerDlg::Finish() {
  if (m_state == kStateSuccess) {
    OpenDescriptionFile(m_templateDir, GetDescriptionFile(m_langCode),
                        m_successPage != nullptr && m_successPage->IsOpenDescrChecked());
  }
  [m_window close];
}

void CInstallerDlg::GetKitTexts(const TextString& code, TextString& product, TextString& vendor) {
  kitsetup::GetKitTexts(m_kit, code, product, vendor);
}

TextString CInstallerDlg::GetDescriptionFile(const TextString& code) {
  return kitsetup::GetDescriptionFile(m_kit, code);
}

void CInstallerDlg::RunInstallation() {
  if (m_progressPage == nullptr) {
    m_progressPage = new ProgressPage([m_window contentView], m_image, m_width - 20);
  }
  [m_buttonBack setEnabled:NO];
  [m_buttonNext setEnabled:NO];
  StartRequest(&m_progress, &m_kit, m_templateDir);
  SwitchToPage(m_progressPage);
  LogPage("progress");
  m_state = kStateCopying;
  m_cancelRequested = false;
  m_copying = true;
  // Moving the pointer over Cancel counts as a cancel, so the loop must see
  // mouse movements.
  [m_window setAcceptsMouseMovedEvents:YES];
  PlatformBeforeCopy();
  StartWorker(&m_worker, &m_progress);

  uint32_t code = 0;
  int32_t percent = 0;
  TextString text;
  NSTextField* status = m_progressPage->m_statusLabel;
  NSProgressIndicator* bar = m_progressPage->m_progressBar;
  const ByteString* shownCaption = nullptr;
  int32_t shownPercent = -1;
  for (;;) {
    NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
    ReadProgress(&m_progress, &code, &text, &percent);
    const ByteString* caption = percent == 100 ? &m_progressPage->m_finishText : &m_progressPage->m_startText;
    // Drawn again only when it changed: the loop turns sixty times a second.
    if (caption != shownCaption) [status setStringValue:ToNSString(*caption)];
    if (percent != shownPercent) [bar setDoubleValue:percent];
    shownCaption = caption;
    shownPercent = percent;

    NSEvent* event = [NSApp nextEventMatchingMask:NSUIntegerMax
                                        untilDate:[NSDate dateWithTimeIntervalSinceNow:kPollSeconds]
                                           inMode:NSDefaultRunLoopMode
                                          dequeue:YES];
    // Any event that points at Cancel counts as a cancel, a mere movement
    // over it included.
    if (EventPointsAt(event, m_buttonCancel)) CancelCopy();
    if (event != nil) [NSApp sendEvent:event];
    // Cancel clicked, the window closed or a signal, and the job took it (it
    // rolls back without a report of its own).
    if (m_cancelRequested) code = kCancelledCode;
    [pool release];
    if (code != 0 || percent >= 100) break;
  }
  m_copying = false;
  [m_window setAcceptsMouseMovedEvents:NO];
  LogResult(code);

  if (m_closeAfterCopy) {
    // The close waited for the loop; it now waits for the rollback too.
    StopWorker();
    if (code == 0) RecordInstalledTemplate(*this);  // it came too late to cancel
    [m_window close];
    return;
  }
  if (code != 0) {
    ShowMessage(this, text, kMessageErrorOk);
    ShowFailurePage();
    return;
  }
  ShowSuccessPage();
  RecordInstalledTemplate(*this);
}

}  // namespace kitsetup
