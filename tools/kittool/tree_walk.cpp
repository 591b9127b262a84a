#include "tools/kittool/tree_walk.h"

#include <dirent.h>

#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

namespace kittool {

namespace {

struct Walker {
  const std::string& root;
  bool follow_links;
  const std::function<bool(const TreeItem&)>& visit;
  std::string& error;
  int& os_error;
  // Directories on the way down, to stop a link loop.
  std::vector<std::pair<dev_t, ino_t>> ancestors;

  bool Fail(const std::string& what, const std::string& path) {
    os_error = errno;
    error = what + " " + path;
    return false;
  }

  bool OnPath(const struct stat& st) const {
    for (const auto& a : ancestors) {
      if (a.first == st.st_dev && a.second == st.st_ino) return true;
    }
    return false;
  }

  bool Walk(const std::string& relative, const struct stat& self) {
    const std::string directory = relative.empty() ? root : root + "/" + relative;
    DIR* dir = opendir(directory.c_str());
    if (!dir) return Fail("cannot read the directory", directory);
    std::vector<std::string> names;
    errno = 0;
    while (struct dirent* entry = readdir(dir)) {
      if (std::strcmp(entry->d_name, ".") && std::strcmp(entry->d_name, "..")) names.emplace_back(entry->d_name);
    }
    const int read_error = errno;
    closedir(dir);
    if (read_error) {
      errno = read_error;
      return Fail("cannot read the directory", directory);
    }
    ancestors.emplace_back(self.st_dev, self.st_ino);
    for (const std::string& name : names) {
      TreeItem item;
      item.relative = relative.empty() ? name : relative + "/" + name;
      item.path = root + "/" + item.relative;
      if (lstat(item.path.c_str(), &item.info) != 0) return Fail("cannot examine", item.path);
      if (S_ISLNK(item.info.st_mode) && follow_links) {
        struct stat target;
        if (stat(item.path.c_str(), &target) == 0 && !(S_ISDIR(target.st_mode) && OnPath(target))) {
          item.info = target;
        } else {
          item.link = true;
        }
      } else {
        item.link = S_ISLNK(item.info.st_mode);
      }
      if (S_ISDIR(item.info.st_mode)) {
        if (!Walk(item.relative, item.info)) return false;
      } else if (!visit(item)) {
        error.clear();
        return false;
      }
    }
    ancestors.pop_back();
    return true;
  }
};

}  // namespace

bool WalkTree(const std::string& root, bool follow_links, const std::function<bool(const TreeItem&)>& visit,
              std::string& error, int& os_error) {
  error.clear();
  os_error = 0;
  struct stat st;
  if (stat(root.c_str(), &st) != 0) {
    os_error = errno;
    error = "cannot examine " + root;
    return false;
  }
  Walker walker{root, follow_links, visit, error, os_error, {}};
  return walker.Walk("", st);
}

}  // namespace kittool
