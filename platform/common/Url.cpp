#include "platform/Url.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "platform/Text.h"

namespace platform {
namespace {

/// The parts of RFC 3986, section 3, not yet checked.
struct Parts {
  std::optional<std::string_view> scheme;
  std::optional<std::string_view> authority;
  std::string_view path;
  std::optional<std::string_view> query;
  std::optional<std::string_view> fragment;
};

struct Authority {
  std::string host;  // without brackets
  std::optional<unsigned> port;
};

bool isAlpha(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isHexDigit(char c) {
  return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool isOneOf(char c, std::string_view set) {
  return set.find(c) != std::string_view::npos;
}

bool isUnreserved(char c) {
  return isAlpha(c) || isDigit(c) || isOneOf(c, "-._~");
}

/// Whether the text consists of unreserved characters, sub-delimiters, percent escapes and `more`.
bool consistsOf(std::string_view text, std::string_view more) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%') {
      if (i + 2 >= text.size() || !isHexDigit(text[i + 1]) || !isHexDigit(text[i + 2])) return false;
      i += 2;
    } else if (!isUnreserved(text[i]) && !isOneOf(text[i], "!$&'()*+,;=") && !isOneOf(text[i], more)) {
      return false;
    }
  }
  return true;
}

bool isScheme(std::string_view text) {
  return !text.empty() && isAlpha(text.front()) && std::all_of(text.begin(), text.end(), [](char c) {
    return isAlpha(c) || isDigit(c) || isOneOf(c, "+-.");
  });
}

/// Cuts the text at the first `mark`: what follows it is answered, the text keeps what precedes it.
std::optional<std::string_view> cutAt(std::string_view& text, char mark) {
  const std::size_t position = text.find(mark);
  if (position == std::string_view::npos) return std::nullopt;
  const std::string_view rest = text.substr(position + 1);
  text = text.substr(0, position);
  return rest;
}

Parts split(std::string_view text) {
  Parts parts;
  parts.fragment = cutAt(text, '#');
  parts.query = cutAt(text, '?');
  const std::size_t colon = text.find(':');
  if (colon < text.find('/')) {
    parts.scheme = text.substr(0, colon);
    text.remove_prefix(colon + 1);
  }
  if (text.substr(0, 2) == "//") {
    text.remove_prefix(2);
    const std::size_t end = std::min(text.find('/'), text.size());
    parts.authority = text.substr(0, end);
    text.remove_prefix(end);
  }
  parts.path = text;
  return parts;
}

bool isWellFormed(const Parts& parts) {
  return (!parts.scheme || isScheme(*parts.scheme)) && consistsOf(parts.path, ":@/") &&
         consistsOf(parts.query.value_or(""), ":@/?") && consistsOf(parts.fragment.value_or(""), ":@/?");
}

bool parsePort(std::string_view text, std::optional<unsigned>& port) {
  if (text.empty()) return true;
  unsigned number = 0;
  for (const char c : text) {
    if (!isDigit(c)) return false;
    number = number * 10 + static_cast<unsigned>(c - '0');
    if (number > UINT16_MAX) return false;
  }
  port = number;
  return true;
}

bool isIpv6(const std::string& text) {
  std::array<unsigned char, sizeof(in6_addr)> address{};
  return inet_pton(AF_INET6, text.c_str(), address.data()) == 1;
}

/// Takes "[address]" or "name" off the front.
bool takeHost(std::string_view& text, std::string& host) {
  if (text.substr(0, 1) == "[") {
    const std::size_t end = text.find(']');
    if (end == std::string_view::npos) return false;
    host = text.substr(1, end - 1);
    text.remove_prefix(end + 1);
    return isIpv6(host);
  }
  host = text.substr(0, text.find(':'));
  text.remove_prefix(host.size());
  return consistsOf(host, "");
}

bool parseAuthority(std::string_view text, Authority& authority) {
  std::string_view rest = text;
  if (const auto afterUser = cutAt(rest, '@')) {
    if (!consistsOf(rest, ":")) return false;
    rest = *afterUser;
  }
  if (!takeHost(rest, authority.host)) return false;
  if (rest.empty()) return true;
  return rest.front() == ':' && parsePort(rest.substr(1), authority.port);
}

/// RFC 3986, section 5.2.4.
std::string removeDotSegments(std::string_view input) {
  std::string output;
  while (!input.empty()) {
    const std::size_t end = std::min(input.find('/', 1), input.size());
    const std::string_view segment = input.substr(0, end);
    const std::string_view name = segment.substr(segment.front() == '/' ? 1 : 0);
    const bool last = end == input.size();
    if (name == "." || name == "..") {
      if (name == "..") output.erase(std::min(output.rfind('/'), output.size()));
      if (last) output += '/';
    } else {
      output += segment;
    }
    input.remove_prefix(end);
  }
  return output;
}

std::string compose(const Parts& parts, const std::string& path) {
  std::string text;
  if (parts.scheme) text.append(*parts.scheme).append(":");
  if (parts.authority) text.append("//").append(*parts.authority);
  // A path must not turn into an authority when the text is read again.
  if (!parts.authority && path.substr(0, 2) == "//") text += "/.";
  text += path;
  if (parts.query) text.append("?").append(*parts.query);
  if (parts.fragment) text.append("#").append(*parts.fragment);
  return text;
}

/// RFC 3986, section 5.2.3: the reference's path in the folder of the base's.
std::string mergedPath(const Parts& base, std::string_view path) {
  if (base.authority && base.path.empty()) return '/' + std::string(path);
  const std::size_t slash = base.path.rfind('/');
  const std::size_t folder = slash == std::string_view::npos ? 0 : slash + 1;
  return std::string(base.path.substr(0, folder)).append(path);
}

std::string resolvedText(const Parts& base, Parts reference) {
  if (reference.scheme) return compose(reference, removeDotSegments(reference.path));
  reference.scheme = base.scheme;
  if (reference.authority) return compose(reference, removeDotSegments(reference.path));
  reference.authority = base.authority;
  if (reference.path.empty()) {
    if (!reference.query) reference.query = base.query;
    return compose(reference, std::string(base.path));
  }
  const bool rooted = reference.path.front() == '/';
  const std::string path = rooted ? std::string(reference.path) : mergedPath(base, reference.path);
  return compose(reference, removeDotSegments(path));
}

}  // namespace

std::optional<Url> Url::parse(std::string_view text) {
  const Parts parts = split(text);
  if (text.empty() || !isWellFormed(parts)) return std::nullopt;
  Url url;
  if (parts.authority) {
    Authority authority;
    if (!parseAuthority(*parts.authority, authority)) return std::nullopt;
    url._authority = *parts.authority;
    if (!authority.host.empty()) url._host = authority.host;
    url._port = authority.port;
  }
  url._text = text;
  if (parts.scheme) url._scheme = *parts.scheme;
  url._path = parts.path;
  if (parts.query) url._query = *parts.query;
  if (parts.fragment) url._fragment = *parts.fragment;
  return url;
}

std::optional<Url> Url::resolve(std::string_view reference) const {
  const Parts parts = split(reference);
  if (!isWellFormed(parts)) return std::nullopt;
  return parse(resolvedText(split(_text), parts));
}

Url Url::forFile(const std::string& path) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string text = "file://";
  for (const char c : path) {
    if (isUnreserved(c) || isOneOf(c, "!$&'()*+,=:@/")) {
      text += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      text.append({'%', kDigits[byte >> 4], kDigits[byte & 0xF]});
    }
  }
  auto url = parse(text);
  return url ? std::move(*url) : Url();
}

}  // namespace platform
