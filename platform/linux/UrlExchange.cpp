#include "platform/linux/UrlExchange.h"

#include <unistd.h>

#include "platform/Folders.h"

namespace platform {
namespace {

constexpr unsigned kMaxRedirects = 20;

/// The user's stored credentials; empty when there are none.
std::string netrcFile() {
  const auto home = homeFolder();
  if (!home) return {};
  std::string path = *home + "/.netrc";
  return access(path.c_str(), R_OK) == 0 ? path : std::string();
}

}  // namespace

UrlExchange::UrlExchange(UrlRequest request, bool asksForEncodings, UrlExchangeClient& client)
    : _request(std::move(request)), _client(client) {
  _options.asksForEncodings = asksForEncodings;
}

void UrlExchange::process(std::chrono::milliseconds limit) {
  if (_ended) return;
  if (!_transfer) return startTransfer();
  _transfer->process(limit);
  if (_transfer->head() != nullptr && !_clientError) settleHead();

  if (_clientError) {
    end(_clientError);
  } else if (_disposition == Disposition::redirect) {
    followRedirect();
  } else if (_disposition == Disposition::challenge) {
    retryWithCredentials();
  } else if (_transfer->hasEnded()) {
    conclude();
  }
}

void UrlExchange::startTransfer() {
  _request = _client.willSendRequest(std::move(_request), _redirect.get());
  _disposition = Disposition::unknown;
  Error error;
  _transfer = HttpTransfer::start(_request, _options, *this, error);
  if (!_transfer) end(std::move(error));
}

bool UrlExchange::didReceiveBody(std::string_view bytes) {
  settleHead();
  if (_disposition != Disposition::final || _clientError) return false;
  _clientError = _client.didReceiveData(bytes);
  return !_clientError;
}

/// Decides once what the answer is, and announces it when it is the final one.
void UrlExchange::settleHead() {
  if (_disposition != Disposition::unknown) return;
  const HttpHead& head = *_transfer->head();
  _disposition = disposition(head);
  if (_disposition == Disposition::final) {
    _clientError = _client.didReceiveResponse(makeResponse(_request.url, head), head);
  }
}

UrlExchange::Disposition UrlExchange::disposition(const HttpHead& head) {
  if (isRedirect(head)) return Disposition::redirect;
  if ((head.status == 401 || head.status == 407) && acceptsChallenge(head)) return Disposition::challenge;
  return Disposition::final;
}

bool UrlExchange::acceptsChallenge(const HttpHead& head) {
  const bool isFirst = _options.netrcFile.empty();
  const ProtectionSpace space = makeProtectionSpace(_request.url, head);
  if (!isFirst || !_client.mayUseCredentials(space)) return false;
  return !space.isProxy && space.authenticationMethod == kBasicAuthentication && !netrcFile().empty();
}

void UrlExchange::followRedirect() {
  const HttpHead head = *_transfer->head();
  _transfer.reset();
  const auto target = redirectTarget(_request.url, head);
  if (!target) return end(urlError(UrlErrorCode::badUrl, "bad URL"));
  if (++_redirectsFollowed > kMaxRedirects) {
    return end(urlError(UrlErrorCode::tooManyRedirects, "too many HTTP redirects"));
  }
  _redirect = std::make_unique<UrlResponse>(makeResponse(_request.url, head));
  _request.url = *target;
  _options.netrcFile.clear();
}

void UrlExchange::retryWithCredentials() {
  _transfer.reset();
  _redirect.reset();
  _options.netrcFile = netrcFile();
}

void UrlExchange::conclude() {
  if (_transfer->isProxyChallenge()) askAboutProxyCredentials();
  end(_transfer->error());
}

/// A proxy's credentials stand in the variable that names the proxy, and were sent when there were any: the
/// client hears of the challenge, but its answer cannot help.
void UrlExchange::askAboutProxyCredentials() {
  HttpHead head;
  head.status = 407;
  (void)_client.mayUseCredentials(makeProtectionSpace(_request.url, head));
}

void UrlExchange::end(Error error) {
  _error = std::move(error);
  _ended = true;
}

}  // namespace platform
