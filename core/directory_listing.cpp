// core/directory_listing.cpp: a pattern-matched listing over opendir/readdir.
//
// The listing serves two kinds of caller with one rule:
//  - an exact path is an existence test: its own entry matches, and the path
//    as given is stat-ed (following symlinks), so ListIsDirectory tells what
//    the path finally names;
//  - a pattern with a wildcard after the last "/" lists every matching entry
//    of that directory, each described by lstat of directory/entry. lstat and
//    not stat, because the tree walks of the install job recurse into what is
//    flagged as a directory: a symlink must be moved or removed as the link
//    it is, never walked into (that would touch files outside the tree).
//    "." and ".." are left out; names starting with "." are listed.
#include "core/directory_listing.h"

#include <fnmatch.h>

#include <cstring>

#include "core/encoding.h"

namespace kitsetup {
namespace {

bool HasWildcard(const ByteString& pattern) {
  for (size_t i = 0; i < pattern.length(); ++i) {
    const char c = pattern[i];
    if (c == '*' || c == '?' || c == '[') return true;
  }
  return false;
}

bool IsDotOrDotDot(const char* name) {
  return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

}  // namespace

DirectoryListing::~DirectoryListing() { ListClose(*this); }

void ListClose(DirectoryListing& listing) {
  if (listing.dir != nullptr) {
    closedir(listing.dir);
    listing.dir = nullptr;
  }
}

bool ListFirst(DirectoryListing& listing, const TextString& path_pattern) {
  ListClose(listing);
  listing.fullPath = ToLocaleBytes(path_pattern);
  listing.name.clear();
  const size_t slash = listing.fullPath.rfind('/');
  if (slash == ByteString::npos) {
    // No "/" at all: the whole path serves as directory and as pattern.
    listing.directory = listing.fullPath;
    listing.pattern = listing.fullPath;
  } else {
    listing.directory = listing.fullPath.substr(0, slash);
    listing.pattern = listing.fullPath.substr(slash + 1);
    // An entry of the root ("/name") lives in "/", not in "".
    if (slash == 0) listing.directory = ByteString("/");
  }
  listing.dir = opendir(listing.directory.c_str());
  if (listing.dir == nullptr) return false;
  return ListNext(listing);
}

bool ListNext(DirectoryListing& listing) {
  if (listing.dir == nullptr) return false;
  const bool wildcard = HasWildcard(listing.pattern);
  while (const struct dirent* entry = readdir(listing.dir)) {
    const int match = fnmatch(listing.pattern.c_str(), entry->d_name, FNM_PATHNAME);
    if (match == FNM_NOMATCH) continue;
    if (match != 0) return false;  // fnmatch failed; the stream stays open
    listing.name = ByteString(entry->d_name, strlen(entry->d_name));
    if (!wildcard) return stat(listing.fullPath.c_str(), &listing.info) == 0;
    // "." and ".." are not entries of the tree; a walk must never take them.
    if (IsDotOrDotDot(entry->d_name)) continue;
    ByteString entry_path = listing.directory;
    if (!entry_path.ends_with('/')) entry_path.push_back('/');
    entry_path.append(listing.name);
    // An entry that vanished since readdir is skipped, not an end of listing.
    if (lstat(entry_path.c_str(), &listing.info) == 0) return true;
  }
  ListClose(listing);
  return false;
}

TextString ListName(const DirectoryListing& listing) {
  if (listing.dir == nullptr) return TextString();
  return FromLocaleBytes(listing.name);
}

uint32_t ListIsDirectory(const DirectoryListing& listing) {
  if (listing.dir == nullptr) return 0;
  return (static_cast<uint32_t>(listing.info.st_mode) & 0x4000u) >> 10;
}

bool PathExists(const TextString& path) {
  DirectoryListing listing;
  const bool found = ListFirst(listing, path);
  ListClose(listing);
  return found;
}

}  // namespace kitsetup
