// Tests of the home directory and the platform home folder, with HOME and the
// passwd database changed in real child processes where needed.
#include "core/home.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace kitsetup {
namespace {

std::u16string Units(const TextString& s) { return std::u16string(s.c_str(), s.length()); }

// Runs body in a forked child and returns its exit code (-1 if it crashed).
template <typename Body>
int InChild(Body body) {
  const pid_t pid = fork();
  if (pid == 0) _exit(body());
  int status = 0;
  if (pid < 0 || waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

// Child exit codes.
constexpr int kPassed = 0;
constexpr int kWrongHome = 1;
constexpr int kWrongPlatformHome = 2;
constexpr int kCannotDropPasswdEntry = 77;

TEST(HomeDirectory, FollowsHomeWithoutAddingASeparator) {
  const int code = InChild([] {
    setenv("LC_ALL", "C.UTF-8", 1);
    setenv("HOME", "/Users/a", 1);
    if (Units(ExpandHome()) != u"/Users/a") return kWrongHome;
    if (Units(platform_home()) != u"/Users/a/.mivo/") return kWrongPlatformHome;
    // A trailing separator stays, and the doubled one that follows is kept.
    setenv("HOME", "/Users/b/", 1);
    if (Units(platform_home(1)) != u"/Users/b//.mivo/") return kWrongPlatformHome;
    setenv("HOME", u8"/home/Пользователь", 1);
    if (Units(ExpandHome()) != u"/home/Пользователь") return kWrongHome;
    return kPassed;
  });
  EXPECT_EQ(code, kPassed);
}

TEST(HomeDirectory, EmptyHomeGivesRelativePlatformHome) {
  const int code = InChild([] {
    setenv("HOME", "", 1);
    if (!ExpandHome().empty()) return kWrongHome;
    if (Units(platform_home()) != u"/.mivo/") return kWrongPlatformHome;
    return kPassed;
  });
  EXPECT_EQ(code, kPassed);
}

TEST(HomeDirectory, NoHomeAndNoPasswdEntryGivesEmptyHome) {
  const int code = InChild([] {
    unsetenv("HOME");
    // An unused user id has no passwd entry; only root can switch to it.
    if (getpwuid(getuid()) != nullptr) {
      if (getuid() != 0 || setuid(54321) != 0 || getpwuid(getuid()) != nullptr) {
        return kCannotDropPasswdEntry;
      }
    }
    if (!ExpandHome().empty()) return kWrongHome;
    if (Units(platform_home()) != u"/.mivo/") return kWrongPlatformHome;
    return kPassed;
  });
  if (code == kCannotDropPasswdEntry) GTEST_SKIP() << "needs root or a user without passwd entry";
  EXPECT_EQ(code, kPassed);
}

}  // namespace
}  // namespace kitsetup
