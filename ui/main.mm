// The installer's entry: the command line and the locale choose the
// language, the pre-install checks decide whether the wizard may start, and
// the wizard then runs on the application's event loop (or, with -S, the
// copy starts at once).
#import <AppKit/AppKit.h>

#include "app/command_line.h"
#include "app/pre_install.h"
#include "app/startup_recovery.h"
#include "core/encoding.h"
#include "core/messages.h"
#include "ui/installer_dialog.h"
#include "ui/platform.h"

namespace kitsetup {
namespace {

struct StartupRecord {
  int argc;
  char** argv;
  LanguageId languageId;
  TextString title;
};

ByteString CurrentLocaleIdentifier() {
  NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
  const char* identifier = [[[NSLocale currentLocale] localeIdentifier] UTF8String];
  ByteString result(identifier != nullptr ? identifier : "");
  [pool release];
  return result;
}

int RunInstaller(StartupRecord& startup) {
  const ByteString localeId = CurrentLocaleIdentifier();
  const StartupChoice choice = ReadStartup(startup.argc, startup.argv, localeId.c_str());
  startup.languageId = choice.languageId;
  ApplyLanguage(choice);
  startup.title = LookupMessage("IDR_MAINFRAME");

  CInstallerDlg* dialog = new CInstallerDlg(startup.argc, startup.argv, choice.silent,
                                            ToLocaleBytes(startup.title), choice.languageCode,
                                            choice.useCwd);
  const ShowMessageFn show = [dialog](const TextString& text, uint32_t type) {
    return ShowMessage(dialog, text, type);
  };
  RecoverInterruptedRuns();
  if (!PrepareInstall(*dialog, show)) {
    delete dialog;
    return 0;
  }
  dialog->m_welcomePage = nullptr;
  dialog->CreateMainWindow();
  dialog->ShowWelcomePage();
  if (dialog->m_silent) {
    PlatformBeforeSilentRun();
    dialog->RunInstallation();
  } else {
    [NSApp run];
  }
  delete dialog;
  return 0;
}

}  // namespace
}  // namespace kitsetup

int main(int argc, char** argv) {
  kitsetup::StartupRecord startup{argc, argv, 0, kitsetup::TextString()};
  kitsetup::RunInstaller(startup);
  return 0;
}
