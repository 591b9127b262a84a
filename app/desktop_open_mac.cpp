// macOS opens a document with its preferred application through open(1).
#include "app/wizard_flow.h"

namespace kitsetup {

const char* DesktopOpenCommand() { return "open"; }

}  // namespace kitsetup
