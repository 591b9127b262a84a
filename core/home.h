// core/home.h: the user's home directory and the platform home folder, from
// which every launcher and template path is composed by plain concatenation.
#ifndef KITSETUP_CORE_HOME_H
#define KITSETUP_CORE_HOME_H

#include "core/text_string.h"

namespace kitsetup {

// The home directory from wordexp("~"), without a trailing separator; the
// empty string on any failure (paths then become relative).
TextString ExpandHome();

// ExpandHome() + "/" + ".mivo" + "/". The flag is accepted and ignored.
TextString platform_home(int flag = 0);

}  // namespace kitsetup

#endif
