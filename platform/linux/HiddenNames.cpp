#include "platform/linux/HiddenNames.h"

#include <stdio.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "platform/linux/FileTree.h"

namespace platform {
namespace {

constexpr std::string_view kPrefix = ".vantora-";
constexpr std::string_view kCharacters = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
constexpr std::size_t kRandomCharacters = 6;

/// Earlier releases wrote a process's number, "-" and a count.
bool isNameCharacter(char c) {
  return kCharacters.find(c) != std::string_view::npos || c == '-';
}

}  // namespace

std::string hiddenName() {
  std::string name(kPrefix);
  for (std::size_t i = 0; i < kRandomCharacters; ++i)
    name += kCharacters[arc4random_uniform(kCharacters.size())];
  return name;
}

bool isHiddenName(std::string_view name) {
  return name.starts_with(kPrefix) && name.size() > kPrefix.size() &&
         std::all_of(name.begin() + kPrefix.size(), name.end(), isNameCharacter);
}

Error makeHiddenFolder(const std::string& parent, std::string& folder) {
  do {
    folder = parent + "/" + hiddenName();
    if (mkdir(folder.c_str(), S_IRWXU) == 0) return {};
  } while (errno == EEXIST);
  return posixError(errno, folder);
}

Error renameToHiddenName(const std::string& path, std::string& hidden) {
  do {
    hidden = parentFolder(path) + "/" + hiddenName();
    if (renameToFreeName(path, hidden)) return {};
  } while (errno == EEXIST);
  return posixError(errno, path);
}

}  // namespace platform
