#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/UrlLoading.h"

namespace platform {

/// An HTTP answer up to its body.
struct HttpHead {
  int status = 0;
  bool isHttp10 = false;
  /// Without control characters, which become blanks (RFC 9110, section 5.5).
  std::vector<std::pair<std::string, std::string>> fields = {};

  /// The value of the first field of that name (any case); null when there is none.
  [[nodiscard]] const std::string* field(std::string_view name) const;
  void addField(std::string_view name, std::string_view value);
};

/// Who sent an answer: the server of a URL, or a proxy.
struct HttpSender {
  std::string protocol;
  std::string host;
  std::uint16_t port = 0;
};

/// The server that a URL names.
[[nodiscard]] HttpSender senderOf(const Url& url);

/// The Content-Length that a head announces (the first one); -1 when there is none.
[[nodiscard]] std::int64_t announcedLength(const HttpHead& head);

/// What a head announces, in the terms of URL loading.
[[nodiscard]] UrlResponse makeResponse(const Url& url, const HttpHead& head);

/// The `authenticationMethod` of a challenge "Basic".
inline constexpr std::string_view kBasicAuthentication = "NSURLAuthenticationMethodHTTPBasic";

/// The challenge of an answer 401 or 407 (RFC 9110, section 11.3): the first "Basic" of all that its fields
/// offer, else the first.
[[nodiscard]] ProtectionSpace makeProtectionSpace(const HttpSender& sender, const HttpHead& head);

/// Whether the answer sends the client elsewhere (301, 302, 303, 307 or 308, and a Location).
[[nodiscard]] bool isRedirect(const HttpHead& head);

/// The target of a redirect: its Location, resolved against `url`. Blanks and bytes above 127, which the
/// grammar does not allow but servers send, are percent-encoded first. None when it is no URL.
[[nodiscard]] std::optional<Url> redirectTarget(const Url& url, const HttpHead& head);

}  // namespace platform
