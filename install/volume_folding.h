// install/volume_folding.h: how the volume that holds a directory compares
// names. The only platform piece of the plan, one file per platform:
// Linux asks the directory for its casefold flag (ext4, f2fs) and treats
// FAT-family volumes as folding case; macOS asks pathconf and the volume's
// file system (APFS and HFS compare names normalisation-insensitively).
#ifndef KITSETUP_INSTALL_VOLUME_FOLDING_H
#define KITSETUP_INSTALL_VOLUME_FOLDING_H

#include "core/text_string.h"
#include "install/name_fold.h"

namespace kitsetup {

// The folding of the existing directory `directory` (locale bytes). A
// directory that cannot be asked counts as folding nothing.
NameFolding VolumeFoldingOf(const ByteString& directory);

// Test seam: when set, VolumeFoldingOf answers through it, so the plan's
// collision rule can be tested on volumes that fold nothing.
using VolumeFoldingHook = NameFolding (*)(const ByteString& directory);
void SetVolumeFoldingHook(VolumeFoldingHook hook);

}  // namespace kitsetup

#endif
