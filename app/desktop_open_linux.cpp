// Linux desktops open a document with its preferred application through xdg-open.
#include "app/wizard_flow.h"

namespace kitsetup {

const char* DesktopOpenCommand() { return "xdg-open"; }

}  // namespace kitsetup
