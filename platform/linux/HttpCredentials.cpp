#include "platform/linux/HttpCredentials.h"

#include "platform/FileContents.h"
#include "platform/Folders.h"
#include "platform/Path.h"
#include "platform/Text.h"

namespace platform {
namespace {

constexpr std::size_t kMaxFileSize = std::size_t{1} << 20;
constexpr std::string_view kBlanks = " \t\r\n";

/// The words of a .netrc file, one after the other.
class NetrcWords {
 public:
  explicit NetrcWords(std::string_view text) : _rest(text) {}

  /// The next word without its quotes; none at the end, and from a malformed place on.
  [[nodiscard]] std::optional<std::string> next();
  /// Skips a macro definition: up to an empty line.
  void skipMacro() { dropUntil(_rest.find("\n\n")); }
  [[nodiscard]] bool isMalformed() const { return _malformed; }

 private:
  void skipBlanksAndComments();
  [[nodiscard]] std::optional<std::string> takeQuoted();
  void dropUntil(std::size_t position) { _rest.remove_prefix(std::min(position, _rest.size())); }

  std::string_view _rest;
  bool _atLineStart = true;
  bool _malformed = false;
};

void NetrcWords::skipBlanksAndComments() {
  for (;;) {
    const std::size_t blanks = std::min(_rest.find_first_not_of(kBlanks), _rest.size());
    if (_rest.substr(0, blanks).find('\n') != std::string_view::npos) _atLineStart = true;
    dropUntil(blanks);
    if (!_atLineStart || _rest.empty() || _rest.front() != '#') return;
    dropUntil(_rest.find('\n'));
  }
}

std::optional<std::string> NetrcWords::next() {
  skipBlanksAndComments();
  if (_rest.empty() || _malformed) return std::nullopt;
  _atLineStart = false;
  if (_rest.front() == '"') return takeQuoted();
  std::string word(_rest.substr(0, _rest.find_first_of(kBlanks)));
  dropUntil(word.size());
  return word;
}

/// A backslash keeps the character after it. A quote that its line does not close may not swallow what
/// follows, such as the passwords of other hosts.
std::optional<std::string> NetrcWords::takeQuoted() {
  std::string word;
  for (std::size_t i = 1; i < _rest.size() && _rest[i] != '\n'; ++i) {
    if (_rest[i] == '"') {
      dropUntil(i + 1);
      return word;
    }
    if (_rest[i] == '\\' && i + 1 < _rest.size()) ++i;
    word += _rest[i];
  }
  _malformed = true;
  return std::nullopt;
}

/// The content of a regular file that is not too large; empty when it is none, or cannot be read.
std::string netrcText(const std::string& path) {
  std::string text;
  return readFile(path, kMaxFileSize, text).failed() ? std::string() : text;
}

}  // namespace

std::optional<HttpCredentials> findCredentials(std::string_view netrc, std::string_view host,
                                               DefaultEntry defaultEntry) {
  if (netrc.find('\0') != std::string_view::npos) return std::nullopt;
  NetrcWords words(netrc);
  HttpCredentials found;
  bool isForHost = false;
  while (const auto keyword = words.next()) {
    const bool isDefault = equalIgnoringCase(*keyword, "default");
    if (isDefault || equalIgnoringCase(*keyword, "machine")) {
      if (isForHost && !found.userName.empty()) break;
      found = {};
      isForHost = isDefault ? defaultEntry == DefaultEntry::counts
                            : equalIgnoringCase(words.next().value_or(""), host);
    } else if (equalIgnoringCase(*keyword, "macdef")) {
      words.skipMacro();
    } else {
      const std::string value = words.next().value_or("");
      if (equalIgnoringCase(*keyword, "login")) found.userName = value;
      if (equalIgnoringCase(*keyword, "password")) found.password = value;
    }
  }
  if (!isForHost || found.userName.empty() || words.isMalformed()) return std::nullopt;
  return found;
}

std::optional<HttpCredentials> storedCredentials(std::string_view host, DefaultEntry defaultEntry) {
  const auto home = homeFolder();
  return home ? findCredentials(netrcText(joinPath(*home, ".netrc")), host, defaultEntry) : std::nullopt;
}

}  // namespace platform
