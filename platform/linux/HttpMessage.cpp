#include "platform/linux/HttpMessage.h"

#include <algorithm>
#include <charconv>

#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/common/UrlRules.h"

namespace platform {
namespace {

constexpr std::uint16_t kHttpPort = 80;
constexpr std::uint16_t kHttpsPort = 443;

std::string unquoted(std::string_view text) {
  if (text.size() < 2 || text.front() != '"' || text.back() != '"') return std::string(text);
  std::string plain;
  for (std::size_t i = 1; i + 1 < text.size(); ++i) {
    if (text[i] == '\\' && i + 2 < text.size()) ++i;
    plain += text[i];
  }
  return plain;
}

/// Takes one piece up to `separator` (outside quotes) off the front, trimmed.
std::string_view takePiece(std::string_view& text, char separator) {
  bool quoted = false;
  std::size_t end = 0;
  while (end < text.size() && (quoted || text[end] != separator)) {
    if (text[end] == '"') quoted = !quoted;
    if (text[end] == '\\' && quoted && end + 1 < text.size()) ++end;
    ++end;
  }
  const std::string_view piece = trimmed(text.substr(0, end));
  text.remove_prefix(std::min(end + 1, text.size()));
  return piece;
}

/// The value of "name=value" among pieces that `separator` divides; empty when there is none.
std::string parameter(std::string_view text, char separator, std::string_view name) {
  while (!text.empty()) {
    const std::string_view piece = takePiece(text, separator);
    const std::size_t equals = piece.find('=');
    if (equals == std::string_view::npos || !equalIgnoringCase(trimmed(piece.substr(0, equals)), name))
      continue;
    return unquoted(trimmed(piece.substr(equals + 1)));
  }
  return {};
}

std::string_view lastComponent(std::string_view path) {
  return path.substr(path.rfind('/') + 1);
}

/// The server's own name for the file, else the URL's last path component, else the host. Never with a "/".
std::string suggestedFilename(const Url& url, const HttpHead& head) {
  if (const std::string* disposition = head.field("Content-Disposition")) {
    const std::string announced = parameter(*disposition, ';', "filename");
    if (const auto name = lastComponent(announced); !name.empty()) return std::string(name);
  }
  const std::string_view name = lastComponent(url.path());
  if (!name.empty()) return std::string(name);
  return url.host() != nullptr ? url.host() : "";
}

std::string describe(const Url& url, const HttpHead& head) {
  std::string text = url.absoluteString() + ": HTTP status " + std::to_string(head.status);
  if (const std::string* location = head.field("Location")) text += ", Location: " + *location;
  return text;
}

bool isHttps(const Url& url) {
  return url.scheme() != nullptr && equalIgnoringCase(url.scheme(), "https");
}

/// The name that URL loading gives to an HTTP authentication scheme.
std::string authenticationMethod(std::string_view scheme) {
  if (equalIgnoringCase(scheme, "Basic")) return std::string(kBasicAuthentication);
  if (equalIgnoringCase(scheme, "Digest")) return "NSURLAuthenticationMethodHTTPDigest";
  if (equalIgnoringCase(scheme, "NTLM")) return "NSURLAuthenticationMethodNTLM";
  if (equalIgnoringCase(scheme, "Negotiate")) return "NSURLAuthenticationMethodNegotiate";
  return "NSURLAuthenticationMethodDefault";
}

struct Challenge {
  std::string method = authenticationMethod({});
  std::string realm = {};
};

/// A piece that begins with a token and is no "name=value" begins a challenge.
bool beginsChallenge(std::string_view piece) {
  const std::size_t end = piece.find_first_of(" \t=");
  if (end == std::string_view::npos) return true;
  const std::size_t next = piece.find_first_not_of(" \t", end);
  return piece[next] != '=';
}

/// Adds the challenges of one field. Commas divide challenges as well as the parameters of one.
void addChallenges(std::string_view field, std::vector<Challenge>& challenges) {
  while (!field.empty()) {
    std::string_view piece = takePiece(field, ',');
    if (piece.empty()) continue;
    if (beginsChallenge(piece)) challenges.push_back({.method = authenticationMethod(takePiece(piece, ' '))});
    if (challenges.empty()) continue;
    if (const std::string realm = parameter(piece, ',', "realm"); !realm.empty()) {
      challenges.back().realm = realm;
    }
  }
}

Challenge chosenChallenge(const HttpHead& head, std::string_view fieldName) {
  std::vector<Challenge> challenges;
  for (const auto& [name, value] : head.fields) {
    if (equalIgnoringCase(name, fieldName)) addChallenges(value, challenges);
  }
  if (challenges.empty()) return {};
  const auto basic = std::find_if(challenges.begin(), challenges.end(),
                                  [](const auto& each) { return each.method == kBasicAuthentication; });
  return basic != challenges.end() ? *basic : challenges.front();
}

}  // namespace

const std::string* HttpHead::field(std::string_view name) const {
  const auto found = std::find_if(fields.begin(), fields.end(),
                                  [&](const auto& entry) { return equalIgnoringCase(entry.first, name); });
  return found != fields.end() ? &found->second : nullptr;
}

void HttpHead::addField(std::string_view name, std::string_view value) {
  std::string plain(value);
  std::replace_if(
      plain.begin(), plain.end(), [](unsigned char c) { return c < 0x20 || c == 0x7F; }, ' ');
  fields.emplace_back(name, trimmed(plain));
}

HttpSender senderOf(const Url& url) {
  const std::uint16_t usualPort = isHttps(url) ? kHttpsPort : kHttpPort;
  return {.protocol = isHttps(url) ? "https" : "http",
          .host = url.host() != nullptr ? url.host() : "",
          .port = static_cast<std::uint16_t>(url.port().value_or(usualPort))};
}

std::int64_t announcedLength(const HttpHead& head) {
  const std::string* text = head.field("Content-Length");
  std::int64_t length = -1;
  if (text != nullptr) std::from_chars(text->data(), text->data() + text->size(), length);
  return length < 0 ? -1 : length;
}

UrlResponse makeResponse(const Url& url, const HttpHead& head) {
  UrlResponse response{.url = url,
                       .statusCode = head.status,
                       .expectedContentLength = announcedLength(head),
                       .suggestedFilename = suggestedFilename(url, head),
                       .mimeType = "application/octet-stream",
                       .description = describe(url, head)};
  if (const std::string* type = head.field("Content-Type")) {
    std::string_view parameters = *type;
    response.mimeType = lowerCase(takePiece(parameters, ';'));
    response.textEncodingName = lowerCase(parameter(parameters, ';', "charset"));
  }
  return response;
}

ProtectionSpace makeProtectionSpace(const HttpSender& sender, const HttpHead& head) {
  const bool isProxy = head.status == 407;
  Challenge challenge = chosenChallenge(head, isProxy ? "Proxy-Authenticate" : "WWW-Authenticate");
  return {.authenticationMethod = std::move(challenge.method),
          .host = sender.host,
          .isProxy = isProxy,
          .port = sender.port,
          .protocol = sender.protocol,
          .realm = std::move(challenge.realm)};
}

bool isRedirect(const HttpHead& head) {
  return isRedirectStatus(head.status) && head.field("Location") != nullptr;
}

std::optional<Url> redirectTarget(const Url& url, const HttpHead& head) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string location;
  for (const char c : *head.field("Location")) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == ' ' || byte >= 0x80) {
      location.append({'%', kDigits[byte >> 4], kDigits[byte & 0xF]});
    } else {
      location += c;
    }
  }
  return url.resolve(location);
}

}  // namespace platform
