// Where the kit is looked for: beside the bundle, beside a bare executable,
// or in the working directory with "usecwd".
#include "app/kit_location.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "app_test_support.h"

namespace kitsetup {
namespace {

using kitsetup_test::RunInChild;
using kitsetup_test::ScratchDir;
using kitsetup_test::ToStd;

std::string Locate(const char* exe) {
  return ToStd(LocateKitFile(false, ByteString(exe), ByteString("/ignored")));
}

TEST(KitLocation, PathRule) {
  EXPECT_EQ(Locate("/Apps/Kit/Setup.app/Contents/MacOS/Setup"), "/Apps/Kit/mivo.efd");
  EXPECT_EQ(Locate("/opt/x/setup"), "/opt/x/mivo.efd");
  // The last bundle wins: an app inside an app's resources.
  EXPECT_EQ(Locate("/A/Outer.app/Contents/MacOS/Inner.app/Contents/MacOS/Setup"),
            "/A/Outer.app/Contents/MacOS/mivo.efd");
  // The bundle tail at the very end, and a bundle right under the root.
  EXPECT_EQ(Locate("/k/S.app/Contents/MacOS"), "/k/mivo.efd");
  EXPECT_EQ(Locate("/S.app/Contents/MacOS/S"), "/mivo.efd");
  // Exactly 19 bytes: the tail itself, with no "/" before it.
  EXPECT_EQ(Locate(".app/Contents/MacOS"), ".app/Contents/MacOS/mivo.efd");
  // The tail is found as bytes, also inside a longer name; a near miss is
  // an ordinary directory.
  EXPECT_EQ(Locate("/k/S.app/Contents/MacOSX/S"), "/k/mivo.efd");
  EXPECT_EQ(Locate("/k/S.app/Contents/MacO/S"), "/k/S.app/Contents/MacO/mivo.efd");
  // No "/" at all keeps the whole path; a bundle without a parent "/" too.
  EXPECT_EQ(Locate("setup"), "setup/mivo.efd");
  EXPECT_EQ(Locate("S.app/Contents/MacOS/S"), "S.app/Contents/MacOS/S/mivo.efd");
  EXPECT_EQ(Locate("/setup"), "/mivo.efd");
  // An unknown own path gives no kit path at all.
  EXPECT_EQ(Locate(""), "");
}

TEST(KitLocation, UseCwdTakesTheWorkingDirectory) {
  EXPECT_EQ(ToStd(LocateKitFile(true, ByteString("/Apps/Kit/Setup.app/Contents/MacOS/Setup"),
                                ByteString("/srv/kits"))),
            "/srv/kits/mivo.efd");
  EXPECT_EQ(ToStd(LocateKitFile(true, ByteString("/opt/x/setup"), ByteString())), "");

  ScratchDir dir;
  const std::string found = RunInChild([&] {
    if (chdir(dir.path().c_str()) != 0) return std::string("chdir failed");
    return ToStd(LocateKitFile(true));
  });
  EXPECT_EQ(found, dir / "mivo.efd");
}

TEST(KitLocation, OwnExecutableIsThisTestProgram) {
  const std::string self = ExecutablePath().c_str();
  ASSERT_FALSE(self.empty());
  EXPECT_EQ(self.substr(self.rfind('/') + 1), "app_tests");
  EXPECT_EQ(access(self.c_str(), X_OK), 0);
  EXPECT_EQ(ToStd(LocateKitFile(false)), self.substr(0, self.rfind('/')) + "/mivo.efd");
}

}  // namespace
}  // namespace kitsetup
