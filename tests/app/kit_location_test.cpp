// Where the kit is looked for: beside the bundle, beside a bare executable,
// or in the working directory with "usecwd" (its real use is in the
// pre-install tests).
#include "app/kit_location.h"

#include <gtest/gtest.h>

#include "support/test_support.h"

namespace kitsetup {
namespace {

using testsupport::Utf8;

TEST(KitLocation, PathRule) {
  const char* cases[][2] = {
      {"/Apps/Kit/Setup.app/Contents/MacOS/Setup", "/Apps/Kit/mivo.efd"},
      {"/opt/x/setup", "/opt/x/mivo.efd"},
      // The last bundle wins.
      {"/A/O.app/Contents/MacOS/I.app/Contents/MacOS/S", "/A/O.app/Contents/MacOS/mivo.efd"},
      {"/S.app/Contents/MacOS/S", "/mivo.efd"},
      // The tail is matched as bytes, also inside a longer name; a near miss is a directory.
      {"/k/S.app/Contents/MacOSX/S", "/k/mivo.efd"},
      {"/k/S.app/Contents/MacO/S", "/k/S.app/Contents/MacO/mivo.efd"},
      // Without a "/" before the point found, the whole path is kept.
      {"S.app/Contents/MacOS/S", "S.app/Contents/MacOS/S/mivo.efd"},
      {"", ""},  // own path unknown: no kit path at all
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Utf8(LocateKitFile(false, c[0], "/ignored")), c[1]) << c[0];
  }
  EXPECT_EQ(Utf8(LocateKitFile(true, cases[0][0], "/srv/kits")), "/srv/kits/mivo.efd");
  EXPECT_EQ(Utf8(LocateKitFile(true, cases[0][0], "")), "");
}

TEST(KitLocation, ThisProcess) {
  const std::string self = KITSETUP_BINARY_DIR "/tests/app/app_tests";
  EXPECT_EQ(ExecutablePath().c_str(), self);
  EXPECT_EQ(Utf8(LocateKitFile(false)), KITSETUP_BINARY_DIR "/tests/app/mivo.efd");
}

}  // namespace
}  // namespace kitsetup
