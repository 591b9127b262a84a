// install/name_fold.h: the key under which a volume stores a name. Volumes
// that fold letter case, or that compare names normalisation-insensitively
// (APFS, ext4 and f2fs casefold directories), store two different spellings
// as one file; two kit names with the same key would write one file twice.
#ifndef KITSETUP_INSTALL_NAME_FOLD_H
#define KITSETUP_INSTALL_NAME_FOLD_H

#include <string>

#include "core/text_string.h"

namespace kitsetup {

struct NameFolding {
  bool foldsCase = false;           // "A" and "a" are one name
  bool foldsNormalisation = false;  // NFC and NFD spellings are one name
  bool operator==(const NameFolding& o) const {
    return foldsCase == o.foldsCase && foldsNormalisation == o.foldsNormalisation;
  }
};

// The key of `name` under `folding`: canonical decomposition (NFD) when the
// volume folds normalisation, full case folding too when it folds case
// (caseless matching folds decomposed text). Without folding, the name itself.
std::u16string FoldName(const TextString& name, NameFolding folding);

}  // namespace kitsetup

#endif
