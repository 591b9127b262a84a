// app/pre_install.h: the checks made once before any window is shown: find
// the kit, propose a template directory, make sure the temporary directory
// can hold the unpacked kit, and load the kit. A failure is shown to the user
// once and the installer then ends without a wizard.
#ifndef KITSETUP_APP_PRE_INSTALL_H
#define KITSETUP_APP_PRE_INSTALL_H

#include <cstdint>

#include "app/installer_state.h"
#include "core/text_string.h"

namespace kitsetup {

// The multiple of the kit's size that must be free in the temporary directory.
constexpr uint32_t kSpaceFactor = 3;

// 0 with *size = the low 32 bits of the file's size (a file of 4 GiB or more
// wraps); 1 when size is null or the file cannot be stat'ed.
int32_t QueryFileSize(const TextString& path, uint32_t* size);

// 87 when freeBytes is null; otherwise 0, with *freeBytes = the free bytes
// (superuser's reserve included) of GetTempDirectory's file system, at most
// 4294967295, or 0 when statvfs fails.
int32_t QueryTempFreeSpace(uint32_t* freeBytes);

// blocks * fragmentSize, clamped to 4294967295 (also when the product would
// overflow 64 bits).
uint32_t ClampFreeBytes(uint64_t blocks, uint64_t fragmentSize);

// kSpaceFactor * kitSize in unsigned 32-bit arithmetic. It wraps for kits
// over about 1.4 GB; installers in the field behave that way and kits are
// judged the same everywhere, so it is kept.
uint32_t SpaceNeededForKit(uint32_t kitSize);

// False when SpaceNeededForKit(kitSize) > freeBytes.
bool HasRoomForKit(uint32_t kitSize, uint32_t freeBytes);

// A proposed template directory made safe for the destination field: any
// "http://", "https://" or "ftp://" anywhere empties it (a URL is no
// directory); the first "file://" is removed; then every line feed and
// every carriage return.
TextString CleanTemplateProposal(const TextString& proposal);

// The whole sequence, on the main thread before the window exists:
//  1. the kit path (LocateKitFile); missing -> "IDS_ERROR_NOSOURCE";
//  2. m_kitPath; 3. m_dirList, m_templateDir, m_flagA, m_flagB from the
//     launcher configuration, the directory cleaned;
//  4. free space: 3 x kit size > free -> "IDS_ERROR_NOSPACE" (skipped when
//     the size cannot be read);
//  5. LoadKit into m_kit; any failure -> "IDS_ERROR_DAMAGEDSOURCE".
// A failure's text (current language) is shown once through `show` with
// type 0x1000001 and false is returned; true means the wizard may start.
// Logs "kit <path>" once located and "template <dir>" once proposed.
bool PrepareInstall(InstallerState& state, const ShowMessageFn& show);

// The same with the executable's path given (ignored when m_useCwd is set,
// where the current directory is used): for tests and tools that place a
// kit beside a program other than the running one.
bool PrepareInstall(InstallerState& state, const ShowMessageFn& show,
                    const ByteString& executablePath);

}  // namespace kitsetup

#endif
