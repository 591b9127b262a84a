#include "app/wizard_flow.h"

#include <vector>

#include "app/event_log.h"
#include "core/directory_listing.h"
#include "core/encoding.h"
#include "core/error_codes.h"
#include "core/file_system.h"
#include "core/messages.h"
#include "core/shell.h"
#include "launcher/template_dirs.h"

namespace kitsetup {
namespace {

TextString WithSlashes(TextString text) {
  text.replace_all(TextString(u"\\"), TextString(u"/"));
  return text;
}

}  // namespace

WizardAction WizardActionFor(uint32_t state, WizardEvent event) {
  switch (event) {
    case WizardEvent::Esc:
      return WizardAction::RequestClose;
    case WizardEvent::Cancel:
      // While copying, Cancel must stop the job rather than close a window
      // whose worker is still writing.
      return state == kStateCopying ? WizardAction::RequestStop : WizardAction::RequestClose;
    case WizardEvent::Back:
      return state == kStateDestination ? WizardAction::ShowWelcome : WizardAction::None;
    case WizardEvent::Next:
      switch (state) {
        case kStateWelcome:
          return WizardAction::ShowDir;
        case kStateDestination:
          return WizardAction::NextFromDir;
        case kStateSuccess:
        case kStateFailure:
          return WizardAction::Finish;
        default:
          return WizardAction::None;
      }
  }
  return WizardAction::None;
}

TextString WelcomeText(const TextString& product, const TextString& vendor) {
  const TextString shownProduct = product.empty() ? LookupMessage("IDS_DEFPRODUCT") : product;
  const TextString shownVendor = vendor.empty() ? LookupMessage("IDS_DEFPROVIDER") : vendor;
  return LookupMessage("IDS_WELCOME_TITLE") + u" " + shownProduct + u" (" + shownVendor + u").";
}

TextString NormaliseTypedPath(const TextString& typed) { return WithSlashes(typed); }

TextString DescriptionFilePath(const TextString& templateDir, const TextString& descriptionFile) {
  return WithSlashes(templateDir + descriptionFile);
}

ByteString DescriptionOpenCommand(const TextString& templateDir, const TextString& descriptionFile,
                                  const char* opener) {
  return ByteString(opener) + " " +
         ShellQuotedPath(ToLocaleBytes(DescriptionFilePath(templateDir, descriptionFile))) + " 2>/dev/null";
}

bool OpenDescriptionFile(const TextString& templateDir, const TextString& descriptionFile,
                         bool checked) {
  if (!checked || descriptionFile.empty()) return false;
  if (!PathExists(DescriptionFilePath(templateDir, descriptionFile))) return false;
  RunCommand(DescriptionOpenCommand(templateDir, descriptionFile, DesktopOpenCommand()));
  return true;
}

int RecordInstalledTemplate(InstallerState& state) {
  int written = 0;
  for (const LauncherFileResult& file : RecordInstalledDirectory(
           state.m_dirList, state.m_templateDir, state.m_flagA != 0, state.m_flagB != 0)) {
    if (file.result != kOk) continue;  // silent, as every write-back failure is
    LogSaved(file.path);
    ++written;
  }
  return written;
}

}  // namespace kitsetup
