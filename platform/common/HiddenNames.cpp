#include "platform/common/HiddenNames.h"

#include <sys/stat.h>

#include <cstdlib>

namespace platform {
namespace {

constexpr std::string_view kPrefix = ".vantora-";
constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kHexDigits = "0123456789abcdef";
constexpr std::string_view kLowerCase = "abcdefghijklmnopqrstuvwxyz";
constexpr std::string_view kLettersAndDigits =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
constexpr std::size_t kRandomDigits = 16;

bool consistsOf(std::string_view text, std::string_view characters) {
  return !text.empty() && text.find_first_not_of(characters) == std::string_view::npos;
}

/// What earlier releases wrote: a process's number, "-" and a count.
bool isNumbered(std::string_view name) {
  const auto dash = name.find('-');
  return dash != std::string_view::npos && consistsOf(name.substr(0, dash), kDigits) &&
         consistsOf(name.substr(dash + 1), kDigits);
}

/// What earlier releases wrote: six random characters. Six that could be a word are left to whoever wrote it.
bool isShortRandom(std::string_view name) {
  constexpr std::size_t kCharacters = 6;
  return name.size() == kCharacters && consistsOf(name, kLettersAndDigits) &&
         !consistsOf(name.substr(1), kLowerCase);
}

}  // namespace

std::string hiddenName() {
  std::string name(kPrefix);
  for (std::size_t i = 0; i < kRandomDigits; ++i)
    name += kHexDigits[arc4random_uniform(kHexDigits.size())];
  return name;
}

bool isHiddenName(std::string_view name) {
  return name.size() == kPrefix.size() + kRandomDigits && name.starts_with(kPrefix) &&
         consistsOf(name.substr(kPrefix.size()), kHexDigits);
}

bool isUnfinished(std::string_view name, unsigned mode) {
  if (isHiddenName(name)) return true;
  if (!name.starts_with(kPrefix)) return false;
  name.remove_prefix(kPrefix.size());
  return (isShortRandom(name) && S_ISDIR(mode) && (mode & 07777) == S_IRWXU) ||
         (isNumbered(name) && S_ISREG(mode));
}

}  // namespace platform
