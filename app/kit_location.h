// app/kit_location.h: where the installer looks for its kit, "mivo.efd".
// The kit lies beside the application bundle (or beside a bare executable),
// or in the current directory when the command line said "usecwd".
#ifndef KITSETUP_APP_KIT_LOCATION_H
#define KITSETUP_APP_KIT_LOCATION_H

#include "core/text_string.h"

namespace kitsetup {

// The kit file's name, appended to the directory found.
inline constexpr char kKitFileName[] = "/mivo.efd";

// The kit path for an executable at executablePath (locale bytes):
//  - useCwd: cwd + "/mivo.efd" (empty when cwd is empty, i.e. getcwd failed);
//  - otherwise the directory before the last ".app/Contents/MacOS" (the
//    bundle's parent), or the executable's own directory outside a bundle,
//    + "/mivo.efd". Without any "/" the whole path is kept as the directory.
// Empty when the executable's path is empty (unknown). Pure: no system calls
// apart from the locale conversion.
TextString LocateKitFile(bool useCwd, const ByteString& executablePath, const ByteString& cwd);

// LocateKitFile with this process's executable path and working directory.
TextString LocateKitFile(bool useCwd);

// This process's executable path in locale bytes, empty when the system
// cannot tell. One implementation per platform (self_path_<platform>.cpp).
ByteString ExecutablePath();

// getcwd(), empty when it fails.
ByteString CurrentDirectory();

}  // namespace kitsetup

#endif
