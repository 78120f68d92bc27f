#include "platform/linux/HiddenNames.h"

#include <stdio.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>

#include "platform/linux/FileTree.h"

namespace platform {
namespace {

constexpr std::string_view kPrefix = ".vantora-";
constexpr std::string_view kCharacters = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
constexpr std::string_view kDigits = kCharacters.substr(0, 10);
constexpr std::size_t kRandomCharacters = 6;

bool consistsOf(std::string_view text, std::string_view characters) {
  return !text.empty() && text.find_first_not_of(characters) == std::string_view::npos;
}

/// Earlier releases wrote a process's number, "-" and a count.
bool isNumberedName(std::string_view name) {
  const auto dash = name.find('-');
  return dash != std::string_view::npos && consistsOf(name.substr(0, dash), kDigits) &&
         consistsOf(name.substr(dash + 1), kDigits);
}

}  // namespace

std::string hiddenName() {
  std::string name(kPrefix);
  for (std::size_t i = 0; i < kRandomCharacters; ++i)
    name += kCharacters[arc4random_uniform(kCharacters.size())];
  return name;
}

bool isHiddenName(std::string_view name) {
  if (!name.starts_with(kPrefix)) return false;
  name.remove_prefix(kPrefix.size());
  return (name.size() == kRandomCharacters && consistsOf(name, kCharacters)) || isNumberedName(name);
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
