// tests/app/app_test_support.h: small kits for the start-up tests; the
// scratch directories, child processes and captured standard error come from
// the shared test support.
#ifndef KITSETUP_TESTS_APP_APP_TEST_SUPPORT_H
#define KITSETUP_TESTS_APP_APP_TEST_SUPPORT_H

#include <string>

#include "kit/kit_writer.h"
#include "support/test_support.h"

namespace kitsetup_test {

// A legacy-form kit (one description, loaded as "en") holding one file.
inline uint32_t WriteKit(const std::string& path, const char16_t* product, const char16_t* name,
                         const std::string& content) {
  kitsetup::KitBuilder builder;
  builder.SetLegacy(true);
  kitsetup::KitDescription description;
  description.productName = product;
  description.vendorName = u"Acme";
  builder.AddDescription(description);
  builder.AddEntry(name, content, 133000000000000000ULL);
  testsupport::MakeDirs(path.substr(0, path.rfind('/')));
  return builder.WriteTo(path);
}

}  // namespace kitsetup_test

#endif
