// tools/kittool/tree_walk.h: walking a folder tree for pack and for
// verify --against: every non-directory under a root, with its path
// relative to the root ("/" separators).
#ifndef KITSETUP_TOOLS_KITTOOL_TREE_WALK_H
#define KITSETUP_TOOLS_KITTOOL_TREE_WALK_H

#include <sys/stat.h>

#include <functional>
#include <string>

namespace kittool {

struct TreeItem {
  std::string relative;  // from the root, with "/"
  std::string path;      // root + "/" + relative
  struct stat info;      // lstat's answer, or stat's for a followed link
  // A symbolic link that was not followed (follow_links off, or its target
  // is missing or a directory already on the way down, which would loop).
  bool link = false;
};

// Calls visit for every item that is not a directory (a followed link to a
// directory is walked). Returns true; false with `error` (the path and the
// OS error, errno in `os_error`) when a directory cannot be read or an entry
// examined, or false with `error` empty when visit returned false.
bool WalkTree(const std::string& root, bool follow_links, const std::function<bool(const TreeItem&)>& visit,
              std::string& error, int& os_error);

}  // namespace kittool

#endif
