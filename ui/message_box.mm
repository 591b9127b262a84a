// ShowMessage: every modal message of the installer, as an NSAlert. Callers
// speak in message-box types and answers (see app/installer_state.h); the
// button titles stay English in every interface language.
#import <AppKit/AppKit.h>

#include "app/event_log.h"
#include "app/quit_signals.h"
#import "ui/delegates.h"
#include "ui/installer_dialog.h"
#include "ui/ns_text.h"
#import "ui/pictures.h"
#import "ui/platform.h"

namespace kitsetup {
namespace {

const NSUInteger kTitledClosable = 3;
const NSInteger kFirstButton = 1000;
const NSInteger kSecondButton = 1001;
// NSAlert styles by number: warning 0, informational 1, critical 2.
const NSUInteger kWarningStyle = 0;
const NSUInteger kInformationalStyle = 1;
const NSUInteger kCriticalStyle = 2;

void SetIconAndStyle(NSAlert* alert, uint32_t type) {
  const uint32_t kind = type & 0xFF000000u;
  const std::vector<unsigned char>* picture = nullptr;
  NSUInteger style = kInformationalStyle;
  if (kind == kMessageError) {
    picture = &ErrorPictureBytes();
    style = kCriticalStyle;
  } else if (kind == kMessageQuestion) {
    picture = &QuestionPictureBytes();
    style = kWarningStyle;
  }
  if (picture != nullptr) {
    NSImage* icon = NewImageFromBytes(*picture);
    [alert setIcon:icon];
    [icon release];
  }
  [alert setAlertStyle:(NSAlertStyle)style];
}

double g_autoCloseSeconds = 0;

}  // namespace

void SetMessageAutoClose(double seconds) { g_autoCloseSeconds = seconds; }

void AbortModalBox() {
  if ([NSApp modalWindow] == nil) return;
  [NSApp abortModal];
  // A modal loop notices the abort only with its next event: from a timer or
  // a signal's notification, none may come.
  const NSUInteger kApplicationDefined = 15;  // NSEventTypeApplicationDefined, also in GNUstep
  [NSApp postEvent:[NSEvent otherEventWithType:(NSEventType)kApplicationDefined
                                      location:NSZeroPoint
                                 modifierFlags:0
                                     timestamp:0
                                  windowNumber:0
                                       context:nil
                                       subtype:0
                                         data1:0
                                         data2:0]
           atStart:NO];
  // GNUstep's modal loop waits for input, not for posted events: the quit
  // signals' pipe, which the run loop watches, gives it some.
  WakeQuitWatcher();
}

}  // namespace kitsetup

// Ends an alert's modal loop as its first button would, when nobody did.
@interface ExtAlertAutoClose : NSObject {
 @public
  bool fired;
}
- (void)fire;
@end

@implementation ExtAlertAutoClose
- (void)fire {
  // abortModal is the documented way to end a modal loop from a timer; the
  // answer is then taken as the first button's.
  fired = true;
  kitsetup::AbortModalBox();
}
@end

namespace kitsetup {

int ShowMessage(CWnd* dialog, const TextString& text, uint32_t type) {
  NSAlert* alert = [[NSAlert alloc] init];
  SetIconAndStyle(alert, type);

  const bool yesNo = (type & 0xFF) == kMessageYesNo;
  if (yesNo) {
    [[alert addButtonWithTitle:@"Yes"] setKeyEquivalent:@"\r"];
    [[alert addButtonWithTitle:@"No"] setKeyEquivalent:@"\033"];
  } else {
    [[alert addButtonWithTitle:@"OK"] setKeyEquivalent:@"\r"];
  }
  PlatformSetAlertText(alert, ToNSString(text));

  LogMessage(type, text);
  NSString* title = dialog != nullptr ? ToNSString(dialog->GetTitle()) : nil;
  ExtNSWindowDelegate* delegate = [[[ExtNSWindowDelegate alloc] init] autorelease];
  ExtAlertAutoClose* autoClose = nil;
  if (g_autoCloseSeconds > 0) {
    autoClose = [[ExtAlertAutoClose alloc] init];
    [autoClose performSelector:@selector(fire)
                    withObject:nil
                    afterDelay:g_autoCloseSeconds
                       inModes:[NSArray arrayWithObjects:NSModalPanelRunLoopMode, NSDefaultRunLoopMode, nil]];
  }
  NSInteger response = PlatformRunAlert(alert, kTitledClosable, delegate, title);
  if (autoClose != nil) {
    [NSObject cancelPreviousPerformRequestsWithTarget:autoClose];
    if (autoClose->fired) response = kFirstButton;
    [autoClose release];
  }
  int answer = kAnswerOther;
  if (response == kFirstButton) {
    answer = yesNo ? kAnswerYes : kAnswerOk;
  } else if (response == kSecondButton) {
    answer = yesNo ? kAnswerNo : kAnswerOther;
  }
  [alert release];
  return answer;
}

}  // namespace kitsetup
