// core/home.cpp: the user's home directory, through wordexp("~").
#include "core/home.h"

#include <wordexp.h>

#include <cstring>

#include "core/encoding.h"

namespace kitsetup {

TextString ExpandHome() {
  wordexp_t result;
  std::memset(&result, 0, sizeof(result));
  const int status = wordexp("~", &result, 0);
  if (status == WRDE_NOSPACE) {
    // Part of the word list may have been allocated before space ran out.
    wordfree(&result);
    return TextString();
  }
  if (status != 0) return TextString();
  TextString home;
  if (result.we_wordc > 0 && result.we_wordv[0] != nullptr) {
    const char* word = result.we_wordv[0];
    // With neither HOME nor a passwd entry glibc leaves the tilde as it
    // stands; that is no home directory, and a path under a directory named
    // "~" in the working directory would be wrong, so it counts as failure.
    if (std::strcmp(word, "~") != 0) home = FromLocaleBytes(word, std::strlen(word));
  }
  // The word list is freed once. Calling wordfree a second time is a no-op
  // on libcs that clear we_wordv (glibc and the BSDs do) and a double free
  // on any that do not; once gives the same home path everywhere.
  wordfree(&result);
  return home;
}

// The flag is kept for callers that pass one; it selects nothing.
TextString platform_home(int /*flag*/) {
  return ExpandHome() + u"/" + u".mivo" + u"/";
}

}  // namespace kitsetup
