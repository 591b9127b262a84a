// ui/wizard_pages.h: the wizard's pages. A page makes its controls once, adds
// them to the window's flipped content view and keeps them in creation
// order, which is also the order in which the dialog hides and shows them.
// Controls belong to the content view; a page only points at them.
#ifndef KITSETUP_UI_WIZARD_PAGES_H
#define KITSETUP_UI_WIZARD_PAGES_H

#include <vector>

#include "core/text_string.h"

#ifdef __OBJC__
@class NSView;
@class NSImage;
@class NSImageView;
@class NSTextField;
@class NSButton;
@class NSProgressIndicator;
#else
typedef struct objc_object NSView;
typedef struct objc_object NSImage;
typedef struct objc_object NSImageView;
typedef struct objc_object NSTextField;
typedef struct objc_object NSButton;
typedef struct objc_object NSProgressIndicator;
#endif

namespace kitsetup {

class CInstallerDlg;

class WizardDialogPage {
 public:
  explicit WizardDialogPage(NSView* parent);
  virtual ~WizardDialogPage() = default;
  WizardDialogPage(const WizardDialogPage&) = delete;
  WizardDialogPage& operator=(const WizardDialogPage&) = delete;

  // Called after the page's controls were made visible; kept empty on every
  // page as the place for per-page work on showing.
  virtual void OnShow() {}

  void SetHidden(bool hidden);  // every control, in creation order

  NSView* m_parent;
  std::vector<NSView*> m_controls;

 protected:
  void AddControl(NSView* view);  // adds to the parent and the list; takes the caller's reference
  NSImageView* AddImageView(NSImage* image);
  NSTextField* AddLabel(double x, double y, double width, double height, const TextString& text);
};

class MessagePage : public WizardDialogPage {
 public:
  MessagePage(NSView* parent, NSImage* image, const TextString& text);
  void SetText(const TextString& text);

  NSImageView* m_imageView = nullptr;
  NSTextField* m_textField = nullptr;
};

class SuccessFinalPage : public MessagePage {
 public:
  SuccessFinalPage(NSView* parent, NSImage* image, const TextString& text);
  bool IsOpenDescrChecked() const;

  NSButton* m_openDescr = nullptr;
};

class DirSelectPage : public WizardDialogPage {
 public:
  DirSelectPage(NSView* parent, NSImage* image, CInstallerDlg* dialog);
  void SetPath(const TextString& path);
  TextString GetPath() const;
  // Gives the path field the keyboard with the caret at the end, scrolled so
  // that the end of the path (the part that matters) shows.
  void ShowPathEnd();

  // The "..." button: the folder chooser; a chosen folder fills the field only.
  void ChooseFolder();
  void SetChosenFolder(const char* utf8Path);

  NSImageView* m_imageView = nullptr;
  NSTextField* m_pathField = nullptr;
  NSTextField* m_promptField = nullptr;
  NSTextField* m_catalogLabel = nullptr;
};

class ProgressPage : public WizardDialogPage {
 public:
  ProgressPage(NSView* parent, NSImage* image, int width);

  NSTextField* m_statusLabel = nullptr;
  NSProgressIndicator* m_progressBar = nullptr;
  ByteString m_startText;   // shown while copying
  ByteString m_finishText;  // shown at 100 percent
};

// The final pages' fixed sentences, the same in every interface language.
extern const char* const kSuccessSentence;
extern const char* const kFailureSentence;

}  // namespace kitsetup

#endif
