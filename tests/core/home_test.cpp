// Tests of the home directory and the platform home folder, each in a child
// process whose HOME (and user id) it may change.
#include "core/home.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "support/test_support.h"

namespace kitsetup {
namespace {

using testsupport::ExitStatusInChild;
using testsupport::U16;

// Child exit codes: 0 passed, 1 wrong home, 2 wrong platform home, 77 skipped.
int Check(const std::u16string& home, const std::u16string& platform) {
  if (U16(ExpandHome()) != home) return 1;
  return U16(platform_home()) == platform ? 0 : 2;
}

TEST(HomeDirectory, FollowsHomeAsItStands) {
  EXPECT_EQ(ExitStatusInChild([] {
              setenv("LC_ALL", "C.UTF-8", 1);
              setenv("HOME", u8"/home/Пользователь", 1);
              if (int rc = Check(u"/home/Пользователь", u"/home/Пользователь/.mivo/")) return rc;
              setenv("HOME", "/Users/b/", 1);  // the doubled separator stays
              if (int rc = Check(u"/Users/b/", u"/Users/b//.mivo/")) return rc;
              setenv("HOME", "", 1);
              return Check(u"", u"/.mivo/");
            }),
            0);
}

TEST(HomeDirectory, NoHomeAndNoPasswdEntryGivesEmptyHome) {
  const int code = ExitStatusInChild([] {
    unsetenv("HOME");
    // Only root can move to a user id without a passwd entry.
    if (getpwuid(getuid()) != nullptr &&
        (getuid() != 0 || setuid(54321) != 0 || getpwuid(getuid()) != nullptr)) {
      return 77;
    }
    return Check(u"", u"/.mivo/");
  });
  if (code == 77) GTEST_SKIP() << "needs root or a user without a passwd entry";
  EXPECT_EQ(code, 0);
}

}  // namespace
}  // namespace kitsetup
