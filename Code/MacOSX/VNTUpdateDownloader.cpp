#include "Code/MacOSX/VNTUpdateDownloader.h"

#include <chrono>
#include <new>
#include <utility>

#include "platform/Printable.h"
#include "platform/RunLoop.h"
#include "runtime/Code/ZRLog.h"

namespace {

constexpr std::chrono::seconds kRequestTimeout{60};

std::unique_ptr<ZRResult> makeResult() {
  try {
    return std::make_unique<ZRResult>();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

/// The result code that one of the platform's URL-loading codes stands for.
std::uint32_t resultCode(std::int64_t urlErrorCode) {
  switch (urlErrorCode) {
    case -1017:  // cannot parse response
    case -1016:  // cannot decode content data
    case -1015:  // cannot decode raw data
    case -1011:  // bad server response
    case -1000:  // bad URL
      return ZRError::eBadFormat;
    case -1014:  // zero byte resource
      return ZRError::eEnd;
    case -1013:  // user authentication required
      return ZRNetworkError::eAuthError;
    case -1012:  // user cancelled authentication
    case -999:   // cancelled
      return ZRError::eUserCanceled;
    case -1100:  // file does not exist
    case -1010:  // redirect to non-existent location
    case -1008:  // resource unavailable
      return ZRError::eNotFound;
    case -1009:  // not connected to the internet
    case -1005:  // network connection lost
    case -1004:  // cannot connect to host
      return ZRNetworkError::eConnectError;
    case -1007:  // too many redirects
      return ZRError::eTooMany;
    case -1006:  // name look-up failed
    case -1003:  // cannot find host
      return ZRNetworkError::eUnknownHost;
    case -1002:  // unsupported URL
      return ZRError::eNotImplemented;
    case -1001:  // timed out
      return ZRError::eTimeout;
    case -1103:  // data length exceeds maximum
      return ZRError::eTooLong;
    case -1102:  // no permissions to read file
      return ZRError::eNoAccess;
    case -1101:  // file is directory
      return ZRError::eBadParameter;
    case -1200:  // secure connection failed
      return ZRNetworkError::eSSLError;
    case -1201:  // certificate has bad date
      return ZRSecurityError::eCertificateExpired;
    case -1203:  // certificate has unknown root
    case -1202:  // certificate untrusted
      return ZRSecurityError::eBadCertificate;
    case -1204:  // certificate not yet valid
      return ZRSecurityError::eCertificateNotYetValid;
    case -1205:  // client certificate rejected
      return ZRSecurityError::eAuthFailed;
    case -3005:  // cannot move file
    case -3004:  // cannot remove file
    case -3003:  // cannot write to file
    case -3002:  // cannot close file
    case -3001:  // cannot open file
    case -3000:  // cannot create file
      return ZRError::eIOError;
    default:
      return ZRError::eSomeError;
  }
}

}  // namespace

VNTUpdateDownloader::VNTUpdateDownloader() : _result(makeResult()) {
  reset();
}

void VNTUpdateDownloader::reset() {
  _completed = false;
  _bytesExpected = _totalLength = 0;
  _download.reset();
  _startTime.reset();
  _localPath.clear();
  _error = platform::Error();
  if (_result) *_result = ZRResult(ZRError::eBadStatus);
}

ZRResult VNTUpdateDownloader::download(const std::string& url, const std::string& localPath,
                                       const std::string& userAgent, double& streamTime,
                                       std::uint64_t& bytes) {
  streamTime = 0;
  bytes = 0;
  if (!_result) return ZRError::eNoMemory;
  zrrt::log(ZRLogLevel::eDebug, "Downloading '%s' to '%s'", url.c_str(), localPath.c_str());
  auto parsed = platform::Url::parse(url);
  if (!parsed) return ZRError::eNoMemory;

  setLocalPath(localPath);
  startRequest({.url = std::move(*parsed),
                .idleTimeout = kRequestTimeout,
                .headers = {{"User-Agent", userAgent}},
                .ignoresCache = true});
  while (!_completed && platform::runLoopOnce(platform::distantFuture())) {
  }

  streamTime = _streamTime;
  bytes = _totalLength;
  ZRResult result = *_result;
  reset();
  return result;
}

void VNTUpdateDownloader::startRequest(const platform::UrlRequest& request) {
  _streamTime = 0;
  setStartTime(platform::now());
  setDownload(platform::UrlDownload::start(request, *this));
  if (!_download) {
    *_result = ZRResult(ZRError::eNoMemory);
    _completed = true;
    return;
  }
  _download->setDeletesFileUponFailure(true);
  _download->setDestination(_localPath, true);
}

ZRString VNTUpdateDownloader::errorMessage() const {
  return _error.failed() ? ZRString(_error.description) : ZRString();
}

void VNTUpdateDownloader::didBegin(platform::UrlDownload& /*download*/) {
  zrrt::log(ZRLogLevel::eDebug, "Download has begun...");
  *_result = ZRResult(ZRStatus::eInProgress);
}

platform::UrlRequest VNTUpdateDownloader::willSendRequest(platform::UrlDownload& /*download*/,
                                                          platform::UrlRequest request,
                                                          const platform::UrlResponse* redirect) {
  if (redirect != nullptr) {
    zrrt::log(ZRLogLevel::eDebug, "%s", platform::onOneLine(redirect->description).c_str());
    zrrt::log(ZRLogLevel::eDebug, "Sending request for '%s'", request.url.absoluteString().c_str());
  }
  setStartTime(platform::now());
  return request;
}

bool VNTUpdateDownloader::canAuthenticateAgainst(platform::UrlDownload& /*download*/,
                                                 const platform::ProtectionSpace& space) {
  zrrt::log(
      ZRLogLevel::eDebug,
      "\n\tauthenticationMethod: %s\n\thost: %s\n\tisProxy: %s\n\tport: %tu\n\tprotocol: %s\n\trealm: %s",
      space.authenticationMethod.c_str(), space.host.c_str(), space.isProxy ? "true" : "false",
      std::size_t{space.port}, space.protocol.c_str(), platform::onOneLine(space.realm).c_str());
  return true;
}

void VNTUpdateDownloader::didCancelAuthenticationChallenge(platform::UrlDownload& /*download*/) {}

bool VNTUpdateDownloader::shouldUseCredentialStorage(platform::UrlDownload& /*download*/) {
  return true;
}

void VNTUpdateDownloader::didReceiveResponse(platform::UrlDownload& /*download*/,
                                             const platform::UrlResponse& response) {
  // A length that was not announced is -1, and prints as the largest unsigned number.
  _bytesExpected = static_cast<std::uint64_t>(response.expectedContentLength);
  zrrt::log(ZRLogLevel::eDebug,
            "\n\texpectedContentLength: %llu\n\tsuggestedFilename:     %s\n\tMIMEType:              %s"
            "\n\ttextEncodingName:      %s\n\tURL:                   %s",
            static_cast<unsigned long long>(_bytesExpected),
            platform::onOneLine(response.suggestedFilename).c_str(),
            platform::onOneLine(response.mimeType).c_str(),
            platform::onOneLine(response.textEncodingName).c_str(), response.url.absoluteString().c_str());
  setStartTime(platform::now());
}

void VNTUpdateDownloader::decideDestination(platform::UrlDownload& /*download*/,
                                            const std::string& /*suggestedFilename*/) {}

void VNTUpdateDownloader::didCreateDestination(platform::UrlDownload& /*download*/, const std::string& path) {
  zrrt::log(ZRLogLevel::eDebug, "Created destination: '%s'", path.c_str());
}

bool VNTUpdateDownloader::shouldDecodeSourceData(platform::UrlDownload& /*download*/,
                                                 const std::string& /*mimeType*/) {
  return false;
}

void VNTUpdateDownloader::didReceiveData(platform::UrlDownload& /*download*/, std::uint64_t bytes) {
  _totalLength += bytes;
}

void VNTUpdateDownloader::didFinish(platform::UrlDownload& /*download*/) {
  zrrt::log(ZRLogLevel::eDebug, "Downloader finished.");
  _streamTime = platform::Seconds(platform::now() - _startTime.value_or(platform::now())).count();
  *_result = ZRResult(ZRError::eNoError);
  _completed = true;
}

void VNTUpdateDownloader::didFail(platform::UrlDownload& /*download*/, const platform::Error& error) {
  const auto code = static_cast<std::ptrdiff_t>(error.code);
  zrrt::log(ZRLogLevel::eError, "Download error: domain: %s, error code: %zd, description: %s",
            std::string(error.domain).c_str(), code, platform::onOneLine(error.description).c_str());
  setError(error);
  *_result =
      ZRResult(resultCode(error.code), "Download failed with native error code %zd and description \"%s\"",
               code, error.description.c_str());
  _completed = true;
}
