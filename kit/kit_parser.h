// kit/kit_parser.h: reads the unpacked kit (descriptions, entry table) from
// an open staging file through the file handle layer.
//
// Layout, all integers little-endian, strings as a u32 count of UTF-16 units
// followed by the units:
//   u32 descriptionFormat; 0 = one legacy description (product, vendor,
//       description file, language "en"), else u32 count + description records
//   u32 entryCount, then the entry records
//   the data area, to which each entry's dataOffset is relative.
// A record starts with its u32 size (these 4 bytes included); bytes after its
// fields are skipped.
//
// Every field is checked against the unpacked kit's size (the staging file's
// size) before it is read or any memory is allocated for it, so a record or
// string that reaches past its record or past the end of the kit is refused
// with 13 instead of being trusted. The tables' record counts and the bytes
// of their strings are held to the bounds in kit/kit_validator.h
// (kMaxDescriptionRecords, ...) in the same way, before they are allocated.
#ifndef KITSETUP_KIT_KIT_PARSER_H
#define KITSETUP_KIT_KIT_PARSER_H

#include <cstdint>

#include "kit/distribution_kit.h"
#include "kit/file_handle.h"

namespace kitsetup {

// Read one record at the handle's current position and leave the handle at
// the first byte after the record, whatever its fields say. 0; the file
// layer's code (2 or 87) on a read error; 13 when the record does not fit in
// the rest of the file (`problem`, when given, says which check failed).
// `out` is filled only on success. The entry's dataOffset is stored as read
// (relative to the data area).
uint32_t ReadDescriptionRecord(FileHandle handle, KitDescription& out, KitProblem* problem = nullptr);
uint32_t ReadEntryRecord(FileHandle handle, KitEntry& out, KitProblem* problem = nullptr);

// Parses the unpacked kit from kit.dataHandle, starting at its current
// position, into kit.descriptions (appended), kit.entries (replaced) and
// kit.descriptionFormat; records kit.unpackedSize (the file's size). Entry
// offsets become absolute (32-bit addition, wrapping). On success the handle
// stands at the start of the data area. 0, 2 or 87 on a read error, 13 when a
// field does not fit (see above). Name and data-range checks are
// ValidateKit's (kit/kit_validator.h).
uint32_t ParseKit(DistributionKit& kit, KitProblem* problem = nullptr);

}  // namespace kitsetup

#endif
