// GNUstep's AppKit (Linux): gcc's Objective-C runtime has no blocks; GNUstep
// has no activation policies nor a style setter for existing windows, makes
// an alert's panel only when its modal run starts, shows an application icon
// window unless told not to, reports X key codes, and its modal loops ignore every key and click
// until the application has finished launching.
#import "ui/platform.h"

#include <signal.h>

#import "ui/text_fit.h"
#include "ui/wizard_pages.h"

// Applies the alert window's settings from inside the alert's modal loop,
// the first moment at which the window exists.
@interface ExtAlertWindowSetup : NSObject {
 @public
  NSAlert* alert;
  id delegate;
  NSString* title;
}
- (void)apply;
@end

@implementation ExtAlertWindowSetup
- (void)apply {
  NSWindow* window = (NSWindow*)[alert window];
  [window setDelegate:delegate];
  if (title != nil) [window setTitle:title];
  kitsetup::ReportLayout([window contentView], "box");
}
@end

namespace kitsetup {

void PlatformBeforeApplication() {
  // No separate application icon window: the installer is one window.
  [[NSUserDefaults standardUserDefaults]
      registerDefaults:[NSDictionary dictionaryWithObject:@"YES" forKey:@"GSSuppressAppIcon"]];
}

void PlatformPrepareApplication() {
  // A modal alert may come before [NSApp run] (the pre-install checks);
  // GNUstep's -run does not launch a second time.
  [NSApp finishLaunching];
}

void PlatformBeforeCopy() {
  // GNUstep's NSTask catches SIGCHLD and reaps any child from the run loop,
  // which the copy loop turns all the time. A shell command of the worker
  // could then be reaped before system() waits for it, and system() would
  // report -1 (a failed copy). The installer starts no NSTask of its own.
  signal(SIGCHLD, SIG_DFL);
}

void PlatformBeforeSilentRun() {}  // launched already, for the alerts

NSInteger PlatformRunAlert(NSAlert* alert, NSUInteger styleMask, id delegate, NSString* title) {
  (void)styleMask;  // the panel is made titled; closing it is left to its buttons
  ExtAlertWindowSetup* setup = [[ExtAlertWindowSetup alloc] init];
  setup->alert = alert;
  setup->delegate = delegate;
  setup->title = title;
  [setup performSelector:@selector(apply)
              withObject:nil
              afterDelay:0
                 inModes:[NSArray arrayWithObjects:NSModalPanelRunLoopMode, NSDefaultRunLoopMode, nil]];
  const NSInteger response = [alert runModal];
  [NSObject cancelPreviousPerformRequestsWithTarget:setup];
  [setup release];
  return response;
}

bool PlatformIsEscapeKey(NSEvent* event) {
  // keyCode is the X server's key code here, which depends on the keyboard
  // map; the character does not.
  NSString* characters = [event charactersIgnoringModifiers];
  return [characters length] == 1 && [characters characterAtIndex:0] == 0x1B;
}

void PlatformPrepareWindow(NSWindow* window) { (void)window; }  // one look only

namespace {

// The alert panel's message font, and a width that keeps the panel well
// inside a small screen.
const CGFloat kAlertTextWidth = 420.0;

CGFloat TextWidth(NSString* text, NSDictionary* attributes) {
  return [text sizeWithAttributes:attributes].width;
}

// Appends `word` to `lines`, on the last line when it still fits there,
// else on new lines, cut between characters when it is wider than a line
// (a long path has no blanks to break at).
void AppendWord(NSMutableArray* lines, NSString* word, NSDictionary* attributes) {
  NSString* last = [lines lastObject];
  NSString* joined = [last length] > 0 ? [NSString stringWithFormat:@"%@ %@", last, word] : word;
  if (TextWidth(joined, attributes) <= kAlertTextWidth) {
    [lines replaceObjectAtIndex:[lines count] - 1 withObject:joined];
    return;
  }
  if ([last length] > 0) [lines addObject:@""];
  NSUInteger start = 0;
  for (NSUInteger end = 1; end <= [word length]; ++end) {
    NSString* piece = [word substringWithRange:NSMakeRange(start, end - start)];
    if (end - start > 1 && TextWidth(piece, attributes) > kAlertTextWidth) {
      [lines replaceObjectAtIndex:[lines count] - 1
                       withObject:[word substringWithRange:NSMakeRange(start, end - 1 - start)]];
      [lines addObject:@""];
      start = end - 1;
    }
  }
  [lines replaceObjectAtIndex:[lines count] - 1 withObject:[word substringFromIndex:start]];
}

NSString* WrappedAlertText(NSString* text) {
  NSDictionary* attributes =
      [NSDictionary dictionaryWithObject:[NSFont messageFontOfSize:14] forKey:NSFontAttributeName];
  NSMutableArray* lines = [NSMutableArray array];
  NSArray* paragraphs = [text componentsSeparatedByString:@"\n"];
  for (NSUInteger p = 0; p < [paragraphs count]; ++p) {
    [lines addObject:@""];
    NSArray* words = [[paragraphs objectAtIndex:p] componentsSeparatedByString:@" "];
    for (NSUInteger w = 0; w < [words count]; ++w) {
      NSString* word = [words objectAtIndex:w];
      if ([word length] > 0) AppendWord(lines, word, attributes);
    }
  }
  return [lines componentsJoinedByString:@"\n"];
}

}  // namespace

void PlatformSetAlertText(NSAlert* alert, NSString* text) {
  // An empty title leaves the icon alone in the panel's top row.
  [alert setMessageText:@""];
  [alert setInformativeText:WrappedAlertText(text)];
}

void PlatformChooseFolder(NSOpenPanel* panel, NSWindow* window, NSString* directory, DirSelectPage* page) {
  (void)window;  // no completion blocks here: the same choice, run modally
  if ([panel runModalForDirectory:directory file:nil types:nil] == NSOKButton) {
    page->SetChosenFolder([[panel filename] UTF8String]);
  }
}

}  // namespace kitsetup
