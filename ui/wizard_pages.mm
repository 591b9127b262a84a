#import <AppKit/AppKit.h>

#include "ui/wizard_pages.h"

#import "ui/ext_button.h"
#include "ui/installer_dialog.h"
#include "ui/ns_text.h"
#import "ui/platform.h"
#import "ui/text_fit.h"

namespace kitsetup {

// Shown in Russian whatever the interface language: the installer has always
// ended this way and the users' own instructions quote these sentences.
const char* const kSuccessSentence = "Конфигурация успешно установлена.";
const char* const kFailureSentence =
    "В процессе установки произошла ошибка. Установка прервана. Каталог шаблонов не изменен.";

namespace {

const double kImageX = 0, kImageY = 0, kImageWidth = 158, kImageHeight = 286;
const double kTextX = 170, kTextY = 10, kTextWidth = 318, kTextHeight = 286;
const NSUInteger kScaleProportionally = 3;  // up or down
const NSUInteger kAlignCentre = 0;
const NSUInteger kMomentaryLight = 0;
const NSUInteger kSwitchButton = 3;
// 11 is the textured rounded bezel (called "toolbar" in newer SDKs; Cocoa
// draws it at a fixed height), not the small square one, which is 10.
const NSUInteger kTexturedRoundedBezel = 11;

// A text field that reads as plain text on the page. Not bezeled and not
// selectable: a label must neither draw a frame nor take the keyboard focus
// (the window's Escape handling would never see the key).
void MakeLabel(NSTextField* field) {
  [field setEditable:NO];
  [field setBordered:NO];
  [field setBezeled:NO];
  [field setSelectable:NO];
  [field setDrawsBackground:NO];
  // The window's background is white in every appearance, so is the text's
  // contrast: never the appearance's own label colour.
  [field setTextColor:[NSColor blackColor]];
}

// The chooser opens at the path in the field, or at the nearest folder
// above it that exists (a proposed template directory usually does not yet);
// nil when none does.
NSString* ExistingFolderFor(NSString* path) {
  BOOL isFolder = NO;
  while ([path length] > 0) {
    if ([[NSFileManager defaultManager] fileExistsAtPath:path isDirectory:&isFolder] && isFolder) return path;
    NSString* parent = [path stringByDeletingLastPathComponent];
    if ([parent isEqualToString:path]) break;
    path = parent;
  }
  return nil;
}

}  // namespace

WizardDialogPage::WizardDialogPage(NSView* parent) : m_parent(parent) {}

void WizardDialogPage::SetHidden(bool hidden) {
  for (NSView* view : m_controls) [view setHidden:hidden ? YES : NO];
}

void WizardDialogPage::AddControl(NSView* view) {
  [m_parent addSubview:view];
  m_controls.push_back(view);
  [view release];  // the parent view keeps it
}

NSImageView* WizardDialogPage::AddImageView(NSImage* image) {
  NSImageView* view =
      [[NSImageView alloc] initWithFrame:NSMakeRect(kImageX, kImageY, kImageWidth, kImageHeight)];
  [view setImageScaling:(NSImageScaling)kScaleProportionally];
  [view setImageAlignment:(NSImageAlignment)kAlignCentre];
  [view setImage:image];
  AddControl(view);
  return view;
}

NSTextField* WizardDialogPage::AddLabel(double x, double y, double width, double height,
                                        const TextString& text) {
  NSTextField* label = [[NSTextField alloc] initWithFrame:NSMakeRect(x, y, width, height)];
  MakeLabel(label);
  [[label cell] setWraps:YES];  // the page texts run over several lines
  [label setStringValue:ToNSString(text)];
  AddControl(label);
  return label;
}

MessagePage::MessagePage(NSView* parent, NSImage* image, const TextString& text)
    : WizardDialogPage(parent) {
  m_imageView = AddImageView(image);
  m_textField = AddLabel(kTextX, kTextY, kTextWidth, kTextHeight, text);
}

void MessagePage::SetText(const TextString& text) { [m_textField setStringValue:ToNSString(text)]; }

SuccessFinalPage::SuccessFinalPage(NSView* parent, NSImage* image, const TextString& text)
    : MessagePage(parent, image, text) {
  NSButton* box = [[NSButton alloc] initWithFrame:NSMakeRect(170, 170, 318, 20)];
  [box setButtonType:(NSButtonType)kSwitchButton];
  [box setState:1];
  [box setTitle:MessageNSString("IDS_SUCCESS_OPENDESCR")];
  AddControl(box);
  m_openDescr = box;
}

bool SuccessFinalPage::IsOpenDescrChecked() const { return [m_openDescr state] == 1; }

DirSelectPage::DirSelectPage(NSView* parent, NSImage* image, CInstallerDlg* dialog)
    : WizardDialogPage(parent) {
  m_imageView = AddImageView(image);
  m_promptField =
      AddLabel(kTextX, kTextY, kTextWidth, kTextHeight, LookupMessage("IDS_DESTINATION_PROMPT"));
  m_catalogLabel = AddLabel(170, 255, 320, 20, LookupMessage("IDS_TEMPLATE_CATALOG"));

  NSTextField* path = [[NSTextField alloc] initWithFrame:NSMakeRect(170, 275, 280, 30)];
  // One line that scrolls sideways while edited: a wrapped path would hide
  // its second line, and its end is the part that matters.
  NSTextFieldCell* cell = [path cell];
  [cell setWraps:NO];
  [cell setScrollable:YES];
  [cell setUsesSingleLineMode:YES];
  AddControl(path);
  m_pathField = path;

  ExtNSButton* browse = [[ExtNSButton alloc] initWithFrameAndDlg:NSMakeRect(460, 275, 30, 30)
                                                             dlg:dialog];
  [browse setButtonType:(NSButtonType)kMomentaryLight];
  [browse setBezelStyle:(NSBezelStyle)kTexturedRoundedBezel];
  [browse setTitle:@"..."];
  FitButtonTitle(browse);
  [browse setTarget:browse];
  [browse setAction:@selector(dir_button_clicked_handler:)];
  AddControl(browse);
}

void DirSelectPage::SetPath(const TextString& path) { [m_pathField setStringValue:ToNSString(path)]; }

TextString DirSelectPage::GetPath() const { return FromNSString([m_pathField stringValue]); }

void DirSelectPage::ShowPathEnd() {
  if (![[m_pathField window] makeFirstResponder:m_pathField]) return;
  NSText* editor = [m_pathField currentEditor];
  const NSRange end = NSMakeRange([[m_pathField stringValue] length], 0);
  [editor setSelectedRange:end];
  [editor scrollRangeToVisible:end];
}

void DirSelectPage::ChooseFolder() {
  NSOpenPanel* panel = [[NSOpenPanel openPanel] retain];
  [panel setResolvesAliases:YES];
  [panel setCanChooseFiles:NO];
  [panel setCanChooseDirectories:YES];
  [panel setCanCreateDirectories:NO];
  [panel setAllowsMultipleSelection:NO];
  PlatformChooseFolder(panel, [m_parent window], ExistingFolderFor([m_pathField stringValue]), this);
  [panel release];
}

void DirSelectPage::SetChosenFolder(const char* utf8Path) {
  if (utf8Path != nullptr) [m_pathField setStringValue:ToNSString(ByteString(utf8Path))];
}

ProgressPage::ProgressPage(NSView* parent, NSImage* image, int width) : WizardDialogPage(parent) {
  (void)image;  // the copy shows no picture, only its caption and bar
  m_startText = ToLocaleBytes(LookupMessage("IDS_PROGRESS_START"));
  m_finishText = ToLocaleBytes(LookupMessage("IDS_INSTALL_FINISH"));
  NSTextField* status = [[NSTextField alloc] initWithFrame:NSMakeRect(10, 130, width, 20)];
  MakeLabel(status);
  [status setStringValue:ToNSString(m_startText)];
  AddControl(status);
  m_statusLabel = status;

  NSProgressIndicator* bar = [[NSProgressIndicator alloc] initWithFrame:NSMakeRect(10, 150, width, 20)];
  [bar setIndeterminate:NO];
  [bar setMinValue:0.0];
  [bar setMaxValue:100.0];
  [bar setDoubleValue:0.0];
  AddControl(bar);
  m_progressBar = bar;
}

}  // namespace kitsetup
