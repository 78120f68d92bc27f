#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// A parsed URL (RFC 3986 generic syntax). Parsing is strict: a text with a byte that the grammar does not
/// allow (blank, control, backslash, non-ASCII, a second "@" or "#") is refused, so that everyone who reads
/// the text finds the same host in it.
class Url {
 public:
  /// None when the text does not parse.
  [[nodiscard]] static std::optional<Url> parse(std::string_view text);

  /// Resolves a reference (as in a Location header) against this URL, RFC 3986 section 5.2.
  [[nodiscard]] std::optional<Url> resolve(std::string_view reference) const;

  [[nodiscard]] const std::string& absoluteString() const { return _text; }
  /// Null when the text has none (a relative reference).
  [[nodiscard]] const char* scheme() const { return _scheme ? _scheme->c_str() : nullptr; }
  /// The host without brackets, percent-decoding, user name or port; null when there is none or it is empty.
  [[nodiscard]] const char* host() const { return _host ? _host->c_str() : nullptr; }
  [[nodiscard]] std::optional<unsigned> port() const { return _port; }
  [[nodiscard]] const std::string& path() const { return _path; }

  /// The "file" URL of an absolute path, percent-encoded: "file:///Applications/Vantora%20(1).app".
  [[nodiscard]] static Url forFile(const std::string& path);

 private:
  std::string _text;
  std::optional<std::string> _scheme;
  std::optional<std::string> _authority;
  std::optional<std::string> _host;
  std::optional<unsigned> _port;
  std::string _path;
  std::optional<std::string> _query;
  std::optional<std::string> _fragment;
};

}  // namespace platform
