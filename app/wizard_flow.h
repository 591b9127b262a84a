// app/wizard_flow.h: the wizard's decisions that need no window: which action
// a button or key leads to in each state, the welcome sentence, the typed
// destination, the description file's open command and the launcher
// configuration written after a successful copy. The interface performs the
// actions; everything it decides is here, where it can be tested.
#ifndef KITSETUP_APP_WIZARD_FLOW_H
#define KITSETUP_APP_WIZARD_FLOW_H

#include <cstdint>

#include "app/installer_state.h"
#include "core/text_string.h"

namespace kitsetup {

enum class WizardEvent { Back, Next, Cancel, Esc };

enum class WizardAction {
  None,
  ShowWelcome,   // ShowWelcomePage
  ShowDir,       // ShowDirPage
  NextFromDir,   // OnNextFromDir: take the typed path and start the copy
  Finish,        // Finish
  RequestClose,  // ask "IDS_ACCEPT_CANCEL" (while m_confirmCancel) and close on Yes
  RequestStop,   // Cancel while copying: stop the worker, no question
};

// The button and key table. Esc always asks to close; Cancel does too except
// while copying, where it stops the worker. A state outside 0..5 acts as 0.
WizardAction WizardActionFor(uint32_t state, WizardEvent event);

// "IDS_WELCOME_TITLE" + " " + product + " (" + vendor + ").", with the texts
// of "IDS_DEFPRODUCT" and "IDS_DEFPROVIDER" for an empty product or vendor,
// all in the current language.
TextString WelcomeText(const TextString& product, const TextString& vendor);

// The destination as typed, with every "\" turned into "/". An empty result
// is refused by the caller with "IDS_SETUP_EMPTYTARGET".
TextString NormaliseTypedPath(const TextString& typed);

// templateDir followed directly by descriptionFile (the kit's name begins
// with its own separator), every "\" turned into "/".
TextString DescriptionFilePath(const TextString& templateDir, const TextString& descriptionFile);

// opener, the path above in locale bytes as one literal shell word
// (ShellQuotedPath), then ` 2>/dev/null`.
ByteString DescriptionOpenCommand(const TextString& templateDir, const TextString& descriptionFile,
                                  const char* opener);

// The desktop's "open a document" command: "open" on macOS, "xdg-open" on
// Linux. One implementation per platform (desktop_open_<platform>.cpp).
const char* DesktopOpenCommand();

// Finish's document step: runs the open command (output and status ignored)
// when `checked`, descriptionFile is not empty and the path exists. A kit
// without a description file opens nothing, not even the template
// directory. True when the command was run.
bool OpenDescriptionFile(const TextString& templateDir, const TextString& descriptionFile,
                         bool checked);

// After a successful copy: m_templateDir without one trailing "\" or "/" goes
// to the front of m_dirList; the list is saved to the launcher's own file
// unless the candidates came from the legacy file (m_flagA), and to the
// legacy file when it exists (m_flagB). Each file written is logged as
// "saved". Returns how many files were written; a failed write is silent.
int RecordInstalledTemplate(InstallerState& state);

}  // namespace kitsetup

#endif
