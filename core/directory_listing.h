// core/directory_listing.h: a pattern-matched directory listing.
// An exact path is an existence test (its one entry is reported when the path
// exists); a pattern with wildcards after the last "/" lists the matching
// entries of that directory. Both kinds work for every caller.
#ifndef KITSETUP_CORE_DIRECTORY_LISTING_H
#define KITSETUP_CORE_DIRECTORY_LISTING_H

#include <dirent.h>
#include <sys/stat.h>

#include <cstdint>

#include "core/text_string.h"

namespace kitsetup {

struct DirectoryListing {
  DIR* dir = nullptr;
  ByteString pattern;    // after the last "/"
  ByteString directory;  // before the last "/"
  ByteString fullPath;   // as given
  ByteString name;       // the entry last matched
  struct stat info {};   // of the entry last matched

  DirectoryListing() = default;
  DirectoryListing(const DirectoryListing&) = delete;
  DirectoryListing& operator=(const DirectoryListing&) = delete;
  ~DirectoryListing();
};

// True when an entry is reported.
bool ListFirst(DirectoryListing& listing, const TextString& path_pattern);
bool ListNext(DirectoryListing& listing);
// Empty when the listing is closed.
TextString ListName(const DirectoryListing& listing);
// 16 for a directory, else 0 (callers test & 16).
uint32_t ListIsDirectory(const DirectoryListing& listing);
void ListClose(DirectoryListing& listing);

// ListFirst on the exact path, then closed: does it exist?
bool PathExists(const TextString& path);

}  // namespace kitsetup

#endif
