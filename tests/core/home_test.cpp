// The home directory and the platform home folder, in a child process whose
// HOME (and user id) it may change.
#include "core/home.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "support/test_support.h"

namespace kitsetup {
namespace {

TEST(HomeDirectory, FollowsHomeAsItStandsAndIsEmptyWithoutOne) {
  // The child's exit code: 0 passed, 1 to 4 the step that failed, 77 when
  // the last step cannot be arranged.
  const int code = testsupport::ExitStatusInChild([] {
    setenv("LC_ALL", "C.UTF-8", 1);
    auto is = [](const std::u16string& home, const std::u16string& platform) {
      return testsupport::U16(ExpandHome()) == home && testsupport::U16(platform_home()) == platform;
    };
    setenv("HOME", u8"/home/Пользователь", 1);
    if (!is(u"/home/Пользователь", u"/home/Пользователь/.mivo/")) return 1;
    setenv("HOME", "/Users/b/", 1);  // the doubled separator stays
    if (!is(u"/Users/b/", u"/Users/b//.mivo/")) return 2;
    setenv("HOME", "", 1);
    if (!is(u"", u"/.mivo/")) return 3;
    // No HOME and no passwd entry: only root can move to a user id without one.
    unsetenv("HOME");
    if (getpwuid(getuid()) != nullptr &&
        (getuid() != 0 || setuid(54321) != 0 || getpwuid(getuid()) != nullptr)) {
      return 77;
    }
    return is(u"", u"/.mivo/") ? 0 : 4;
  });
  if (code == 77) GTEST_SKIP() << "needs root or a user without a passwd entry";
  EXPECT_EQ(code, 0);
}

}  // namespace
}  // namespace kitsetup
