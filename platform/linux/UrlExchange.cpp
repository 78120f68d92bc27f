#include "platform/linux/UrlExchange.h"

#include <algorithm>

#include "platform/Text.h"
#include "platform/common/UrlRules.h"
#include "platform/linux/HttpProxy.h"

namespace platform {
namespace {

/// What an answer that is not the final one may bring, in bytes and time, and still be read to its end. The
/// connection is then good for the next request; else a new one costs less.
constexpr std::int64_t kShortBody = 16L * 1024;
constexpr std::chrono::seconds kShortWait{1};

bool endsConnection(const HttpHead& head) {
  const std::string* connection = head.field("Connection");
  return head.isHttp10 ||
         (connection != nullptr && lowerCase(*connection).find("close") != std::string::npos);
}

/// Whether the head promises a short body, by a single length that no encoding makes void.
bool promisesShortBody(const HttpHead& head) {
  const auto isLength = [](const auto& field) { return equalIgnoringCase(field.first, "Content-Length"); };
  const std::int64_t length = announcedLength(head);
  return length >= 0 && length <= kShortBody &&
         std::count_if(head.fields.begin(), head.fields.end(), isLength) == 1 &&
         head.field("Transfer-Encoding") == nullptr && head.field("Content-Encoding") == nullptr;
}

}  // namespace

UrlExchange::UrlExchange(UrlRequest request, bool asksForEncodings, UrlExchangeClient& client)
    : _request(std::move(request)), _firstHost(senderOf(_request.url).host), _client(client) {
  _options.asksForEncodings = asksForEncodings;
}

void UrlExchange::process(std::chrono::milliseconds limit) {
  if (_ended) return;
  if (!_transfer) return startTransfer();
  if (_sendsAnother) {
    limit = std::clamp(std::chrono::ceil<std::chrono::milliseconds>(_drainEnd - Clock::now()), {}, limit);
  }
  _transfer->process(limit);
  if (_transfer->hasEnded() || (_sendsAnother && Clock::now() >= _drainEnd)) conclude();
}

void UrlExchange::startTransfer() {
  _request = _client.willSendRequest(std::move(_request), _redirect.get());
  _options.deadline = _start + _request.timeLimit;
  _sendsAnother = false;
  _bodyBytes = 0;
  Error error;
  _transfer = HttpTransfer::start(_request, _options, *this, error);
  if (!_transfer) end(std::move(error));
}

bool UrlExchange::didReceiveHead(const HttpHead& head) {
  if (isRedirect(head)) {
    _error = followRedirect(head);
  } else if ((head.status == 401 || head.status == 407) && acceptsChallenge(head)) {
    _redirect.reset();
    _sendsAnother = true;
  } else {
    _error = announce(head);
  }
  _drainEnd = Clock::now() + kShortWait;
  return !_error && (!_sendsAnother || (promisesShortBody(head) && !endsConnection(head)));
}

Error UrlExchange::followRedirect(const HttpHead& head) {
  const auto target = redirectTarget(_request.url, head);
  if (!target) return badUrlError();
  if (Error error = countRedirect(_redirectsFollowed)) return error;
  _redirect = std::make_unique<UrlResponse>(makeResponse(_request.url, head));
  _request.url = *target;
  _options.credentials.reset();
  _sendsAnother = true;
  return {};
}

/// Takes the credentials from the store when they can help. A proxy's stand in the variable that names it,
/// and were sent when there were any: the client hears of the challenge, but its answer changes nothing.
bool UrlExchange::acceptsChallenge(const HttpHead& head) {
  if (_options.credentials) return false;
  const auto proxy = head.status == 407 ? proxyFor(_request.url) : std::nullopt;
  const ProtectionSpace space = makeProtectionSpace(proxy.value_or(senderOf(_request.url)), head);
  if (!_client.mayUseCredentials(space)) return false;
  if (space.isProxy || space.authenticationMethod != kBasicAuthentication) return false;
  const bool isFirstHost = equalIgnoringCase(space.host, _firstHost);
  _options.credentials =
      storedCredentials(space.host, isFirstHost ? DefaultEntry::counts : DefaultEntry::ignored);
  return _options.credentials.has_value();
}

Error UrlExchange::announce(const HttpHead& head) {
  const UrlResponse response = makeResponse(_request.url, head);
  if (Error error = _client.didReceiveResponse(response, head)) return error;
  return checkLength(response.expectedContentLength, _request.sizeLimitBytes);
}

bool UrlExchange::didReceiveBody(std::string_view bytes) {
  _bodyBytes += static_cast<std::int64_t>(bytes.size());
  if (_sendsAnother) return _bodyBytes <= kShortBody;  // whatever the head promised
  _error = checkLength(_bodyBytes, _request.sizeLimitBytes);
  if (!_error) _error = _client.didReceiveData(bytes);
  return !_error;
}

/// What is left of an answer that is not the final one goes, and with it the connection.
void UrlExchange::conclude() {
  const std::unique_ptr<HttpTransfer> ended = std::move(_transfer);
  if (_sendsAnother) return;
  if (const auto head = ended->proxyChallenge()) (void)acceptsChallenge(*head);
  end(_error ? _error : ended->error());
}

void UrlExchange::end(Error error) {
  _error = std::move(error);
  _ended = true;
}

}  // namespace platform
