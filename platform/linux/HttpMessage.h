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
  std::string statusLine;
  std::vector<std::pair<std::string, std::string>> fields;

  /// The value of the first field of that name (any case); null when there is none.
  [[nodiscard]] const std::string* field(std::string_view name) const;
};

/// Puts a head together from its lines, as they arrive.
class HttpHeadReader {
 public:
  /// Takes a line with its line end. True when it ends the head of a final answer: interim answers (1xx) are
  /// read and forgotten, and so are the trailers of a body.
  bool takeLine(std::string_view line);
  [[nodiscard]] const HttpHead& head() const { return _head; }
  [[nodiscard]] bool isComplete() const { return _complete; }

 private:
  void takeField(std::string_view line);

  HttpHead _head;
  bool _complete = false;
};

/// What a head announces, in the terms of URL loading.
[[nodiscard]] UrlResponse makeResponse(const Url& url, const HttpHead& head);

/// The `authenticationMethod` of a challenge "Basic".
inline constexpr std::string_view kBasicAuthentication = "NSURLAuthenticationMethodHTTPBasic";

/// The challenge of an answer 401 or 407.
[[nodiscard]] ProtectionSpace makeProtectionSpace(const Url& url, const HttpHead& head);

/// Whether the answer sends the client elsewhere (301, 302, 303, 307 or 308, and a Location).
[[nodiscard]] bool isRedirect(const HttpHead& head);

/// The target of a redirect: its Location, resolved against `url`. Blanks and bytes above 127, which the
/// grammar does not allow but servers send, are percent-encoded first. None when it is no URL.
[[nodiscard]] std::optional<Url> redirectTarget(const Url& url, const HttpHead& head);

}  // namespace platform
