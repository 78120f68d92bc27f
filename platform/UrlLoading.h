#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/Error.h"
#include "platform/Url.h"

namespace platform {

/// A GET request. A connection that it needs is kept for those that follow on its thread (to the same server,
/// through the same proxy), as long as the server keeps it; nobody but them uses it.
struct UrlRequest {
  Url url;
  /// The longest time without activity. Activity is whatever the network brings: an answer of a name server,
  /// a connection that is made, bytes that arrive (of the TLS handshake, a head or a body, a single one
  /// counts) or that can be sent. Beyond it: `timedOut`, but when the connection was a kept one and brought
  /// no answer, the request is first sent once more on a new one.
  std::chrono::seconds idleTimeout{60};
  /// The longest time from the first request to the end, redirects included, however busy the connection is.
  /// Beyond it: `timedOut`.
  std::chrono::seconds timeLimit{std::chrono::hours(6)};
  /// The longest body, decoded where decoding was asked for. Beyond it: `dataLengthExceedsMaximum`, at once
  /// when the server announces a longer one.
  std::uint64_t sizeLimitBytes = std::uint64_t{4} << 30;
  std::vector<std::pair<std::string, std::string>> headers = {};
  /// Ask caches on the way for a fresh answer.
  bool ignoresCache = false;
};

/// What the server announced before the body.
struct UrlResponse {
  Url url;
  int statusCode = 0;
  std::int64_t expectedContentLength = -1;  ///< bytes; -1 when not announced
  std::string suggestedFilename = {};
  std::string mimeType = {};
  std::string textEncodingName = {};
  std::string description = {};  ///< one line for a log
};

/// Who asks for credentials: the server, or a proxy (then host, port and protocol are the proxy's). Of
/// several challenges the one that stored credentials can answer (Basic) is told, else the first. Where the
/// system tells of the server's certificate in the same way, the answer has no bearing on the trust in it.
struct ProtectionSpace {
  std::string authenticationMethod;
  std::string host;
  bool isProxy = false;
  std::uint16_t port = 0;
  std::string protocol;
  std::string realm;
};

class UrlDownload;

/// Told how a download goes, on the thread that started it, while its run loop runs. The last call is
/// `didFinish` or `didFail`, never both.
class UrlDownloadDelegate {
 public:
  virtual ~UrlDownloadDelegate() = default;
  virtual void didBegin(UrlDownload& download) = 0;
  /// Before the first request and before each redirected one (`redirect` is then the answer that caused it).
  /// Answers the request to send.
  virtual UrlRequest willSendRequest(UrlDownload& download, UrlRequest request,
                                     const UrlResponse* redirect) = 0;
  virtual bool canAuthenticateAgainst(UrlDownload& download, const ProtectionSpace& space) = 0;
  virtual void didCancelAuthenticationChallenge(UrlDownload& download) = 0;
  virtual bool shouldUseCredentialStorage(UrlDownload& download) = 0;
  virtual void didReceiveResponse(UrlDownload& download, const UrlResponse& response) = 0;
  virtual void decideDestination(UrlDownload& download, const std::string& suggestedFilename) = 0;
  virtual void didCreateDestination(UrlDownload& download, const std::string& path) = 0;
  /// Whether a body that arrives encoded (gzip) is to be decoded before it is stored. Downloads ask servers
  /// for no encoding; this service stores what comes all the same as it is, and fails with
  /// `cannotDecodeContentData` when it is to be decoded.
  virtual bool shouldDecodeSourceData(UrlDownload& download, const std::string& mimeType) = 0;
  virtual void didReceiveData(UrlDownload& download, std::uint64_t bytes) = 0;
  virtual void didFinish(UrlDownload& download) = 0;
  /// `error` is of the URL domain, with one of the codes below.
  virtual void didFail(UrlDownload& download, const Error& error) = 0;
};

/// A download of one URL into a file. Redirects over http and https are followed as far as the delegate
/// allows, 20 at most. Destroying it stops it; that is done on the thread that started it.
class UrlDownload {
 public:
  /// Starts a download; its events arrive when the calling thread's run loop runs. Null when it cannot be
  /// started: another download of this thread is under way. `delegate` outlives the download and does not
  /// destroy it from within one of its calls.
  [[nodiscard]] static std::unique_ptr<UrlDownload> start(UrlRequest request, UrlDownloadDelegate& delegate);

  virtual ~UrlDownload() = default;
  /// Where the body goes. Call before the run loop runs, or from `decideDestination`. An existing file is
  /// replaced only when `overwrite` is set (else the download fails with `cannotCreateFile`). There is never
  /// anything else at the path than what was there or the whole body: until that has arrived it is kept under
  /// another name in the same folder.
  virtual void setDestination(const std::string& path, bool overwrite) = 0;
  /// Whether a partial file is removed when the download fails; else it is left at the path if that is free.
  virtual void setDeletesFileUponFailure(bool deletes) = 0;
};

/// Sends the request on the calling thread and waits for the whole body. Redirects over http and https are
/// followed, 20 at most. A body of no bytes is a success with an empty `body`; one beyond `limitBytes`, or
/// the request's own limit, fails (-1103). An encoded body (gzip) is asked for and decoded. When it fails,
/// `body` is empty and `response` is that of the last answer, if there was one.
Error sendSynchronousRequest(const UrlRequest& request, std::uint64_t limitBytes, UrlResponse& response,
                             std::string& body);

/// Codes of the URL domain that the service reports.
enum class UrlErrorCode : std::int64_t {
  unknown = -1,  ///< anything without a code of its own, such as a network library that cannot be loaded
  badUrl = -1000,
  timedOut = -1001,
  unsupportedUrl = -1002,
  cannotFindHost = -1003,
  cannotConnectToHost = -1004,
  networkConnectionLost = -1005,
  tooManyRedirects = -1007,
  notConnectedToInternet = -1009,
  badServerResponse = -1011,
  zeroByteResource = -1014,
  cannotDecodeContentData = -1016,
  dataLengthExceedsMaximum = -1103,
  secureConnectionFailed = -1200,
  certificateHasBadDate = -1201,
  certificateUntrusted = -1202,
  certificateHasUnknownRoot = -1203,
  certificateNotYetValid = -1204,
  clientCertificateRejected = -1205,
  clientCertificateRequired = -1206,
  cannotCreateFile = -3000,
  cannotOpenFile = -3001,
  cannotCloseFile = -3002,
  cannotWriteToFile = -3003,
  cannotRemoveFile = -3004,
  cannotMoveFile = -3005,
};

}  // namespace platform
