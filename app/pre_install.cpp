#include "app/pre_install.h"

#include <sys/stat.h>
#include <sys/statvfs.h>

#include <limits>

#include "app/event_log.h"
#include "app/kit_location.h"
#include "core/directory_listing.h"
#include "core/encoding.h"
#include "core/error_codes.h"
#include "core/file_system.h"
#include "core/messages.h"
#include "kit/distribution_kit.h"
#include "launcher/template_dirs.h"

namespace kitsetup {
namespace {

constexpr uint32_t kMaxU32 = std::numeric_limits<uint32_t>::max();

bool Fail(const ShowMessageFn& show, const char* key) {
  if (show) show(LookupMessage(key), kMessageErrorOk);
  return false;
}

void RemoveEvery(TextString& text, char16_t unit) {
  const char16_t one[] = {unit, 0};
  text.replace_all(TextString(one), TextString());
}

}  // namespace

int32_t QueryFileSize(const TextString& path, uint32_t* size) {
  if (size == nullptr) return 1;
  struct stat info {};
  if (stat(ToLocaleBytes(path).c_str(), &info) != 0) return 1;
  *size = static_cast<uint32_t>(static_cast<uint64_t>(info.st_size));
  return 0;
}

uint32_t ClampFreeBytes(uint64_t blocks, uint64_t fragmentSize) {
  if (fragmentSize != 0 && blocks > kMaxU32 / fragmentSize) return kMaxU32;
  return static_cast<uint32_t>(blocks * fragmentSize);
}

int32_t QueryTempFreeSpace(uint32_t* freeBytes) {
  if (freeBytes == nullptr) return kErrInvalidParameter;
  *freeBytes = 0;
  TextString temp;
  GetTempDirectory(temp);
  struct statvfs info {};
  if (statvfs(ToLocaleBytes(temp).c_str(), &info) == 0) {
    *freeBytes = ClampFreeBytes(info.f_bfree, info.f_frsize);
  }
  return 0;
}

uint32_t SpaceNeededForKit(uint32_t kitSize) { return kSpaceFactor * kitSize; }

bool HasRoomForKit(uint32_t kitSize, uint32_t freeBytes) {
  return SpaceNeededForKit(kitSize) <= freeBytes;
}

TextString CleanTemplateProposal(const TextString& proposal) {
  TextString text = proposal;
  if (text.contains(TextString(u"http://")) || text.contains(TextString(u"https://")) ||
      text.contains(TextString(u"ftp://"))) {
    text.clear();
  }
  const size_t file = text.find(TextString(u"file://"));
  if (file != TextString::npos) {
    text = text.substr(0, file) + text.substr(file + 7);
  }
  RemoveEvery(text, u'\n');
  RemoveEvery(text, u'\r');
  return text;
}

bool PrepareInstall(InstallerState& state, const ShowMessageFn& show,
                    const ByteString& executablePath) {
  const TextString path = state.m_useCwd ? LocateKitFile(true, ByteString(), CurrentDirectory())
                                         : LocateKitFile(false, executablePath, ByteString());
  LogKit(path);
  if (path.empty() || !PathExists(path)) return Fail(show, "IDS_ERROR_NOSOURCE");
  state.m_kitPath = path;

  TemplateProposal proposal;
  ProposeTemplateDirectory(proposal);
  state.m_dirList = proposal.dirList;
  state.m_flagA = proposal.flagA ? 1 : 0;
  state.m_flagB = proposal.flagB ? 1 : 0;
  // The default is applied before cleaning: a URL proposal stays empty and
  // the user must type a directory.
  state.m_templateDir = CleanTemplateProposal(proposal.templateDir);
  LogTemplate(state.m_templateDir);

  uint32_t kitSize = 0;
  uint32_t freeBytes = 0;
  if (QueryFileSize(state.m_kitPath, &kitSize) == 0 && QueryTempFreeSpace(&freeBytes) == 0 &&
      !HasRoomForKit(kitSize, freeBytes)) {
    return Fail(show, "IDS_ERROR_NOSPACE");
  }

  if (LoadKit(state.m_kit, state.m_kitPath) != kOk) return Fail(show, "IDS_ERROR_DAMAGEDSOURCE");
  return true;
}

bool PrepareInstall(InstallerState& state, const ShowMessageFn& show) {
  return PrepareInstall(state, show, state.m_useCwd ? ByteString() : ExecutablePath());
}

}  // namespace kitsetup
