// core/error_codes.h: the numeric result codes that cross every folder's border.
// They follow the numbering of the Windows system error codes, because kits and
// launcher files come from that world and administrators know these numbers.
#ifndef KITSETUP_CORE_ERROR_CODES_H
#define KITSETUP_CORE_ERROR_CODES_H

#include <cstdint>

namespace kitsetup {

enum : uint32_t {
  kOk = 0,
  kErrNotFound = 2,         // missing file, or a shell command that failed
  kErrPathNotFound = 3,     // a directory chain that could not be made
  kErrInvalidHandle = 6,
  kErrInvalidData = 13,     // the kit does not inflate, or is damaged
  kErrSharingViolation = 32,  // another run holds the template directory
  kErrInvalidParameter = 87,  // any other failure
  kErrAlreadyExists = 183,
  kErrCannotCreate = 1013,
  kErrCancelled = 1223,
};

}  // namespace kitsetup

#endif
