// kit/distribution_kit.h: the loaded kit. LoadKit inflates the kit file into a
// staging file "edf..." in the temporary directory, parses its descriptions
// and entry table, and refuses a damaged or hostile kit with 13 before
// anything is installed. The unpacked kit is never held in memory: the
// install worker copies each entry out of the open staging file.
#ifndef KITSETUP_KIT_DISTRIBUTION_KIT_H
#define KITSETUP_KIT_DISTRIBUTION_KIT_H

#include <csignal>
#include <cstdint>
#include <string>
#include <vector>

#include "core/text_string.h"
#include "kit/file_handle.h"

namespace kitsetup {

struct KitDescription {
  TextString language;
  TextString productName;
  TextString vendorName;
  TextString descriptionFile;
};

struct KitEntry {
  TextString name;          // relative, with "\" separators
  uint64_t writeTime = 0;   // 100-ns intervals since 1601-01-01 UTC
  uint32_t dataOffset = 0;  // absolute in the unpacked kit once loaded
  uint32_t dataSize = 0;
};

struct DistributionKit {
  std::vector<KitDescription> descriptions;
  std::vector<KitEntry> entries;
  TextString stagingPath;
  FileHandle dataHandle = kNoHandle;
  uint32_t copyBufferSize = 1048576;
  unsigned char* copyBuffer = nullptr;  // copyBufferSize bytes
  // Recorded while loading, for tools and logs: the first field of the
  // unpacked kit (0 legacy, else counted table) and the staging file's size.
  uint32_t descriptionFormat = 0;
  uint64_t unpackedSize = 0;
  // Set before LoadKit (kittool does): the staging file loses its name as
  // soon as it is open, so it never outlives the process, even a killed one;
  // stagingPath is then empty once loading has begun. The installer keeps
  // the named file, locked while it lives (kit/staging_file.h), so that a
  // crashed installer's file is recognised and removed by the next start.
  bool unnamedStaging = false;

  DistributionKit();
  ~DistributionKit();  // frees the buffer; neither closes dataHandle nor removes the staging file
  DistributionKit(const DistributionKit&) = delete;
  DistributionKit& operator=(const DistributionKit&) = delete;
};

// Why a kit was refused, for kittool verify and the logs.
struct KitProblem {
  std::string what;  // one line: which record, which check
  // True when the failure lies in the temporary directory (the staging file
  // could not be made or opened), not in the kit.
  bool inStaging = false;
};

// 0 on success; 1013 (staging file not created), 2 or 87 (open or read
// failure), 13 (corrupt or hostile kit). On failure the entries are emptied,
// the staging file is removed and dataHandle is -1.
uint32_t LoadKit(DistributionKit& kit, const TextString& kit_path, KitProblem* problem = nullptr);

// 0, the open code (2 or 87), or 13 when the stream is corrupt or would
// unpack beyond the limits (4 GiB, or less than 64 MiB left free).
uint32_t InflateKitToFile(const TextString& kit_path, const TextString& staging_path);

// When set, inflation checks *flag between output chunks and gives up with
// 1223 once it is non-zero (kittool's signal handlers set it, so that a
// signal never leaves a half-written staging file behind).
void SetInflateStopFlag(const volatile std::sig_atomic_t* flag);

// Language lookups over the descriptions (case-insensitive on the code).
void GetKitTexts(const DistributionKit& kit, const TextString& language_code, TextString& product,
                 TextString& vendor);
TextString GetDescriptionFile(const DistributionKit& kit, const TextString& language_code);

}  // namespace kitsetup

#endif
