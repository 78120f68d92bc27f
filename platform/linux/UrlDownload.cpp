#include "platform/UrlLoading.h"

#include <algorithm>

#include "platform/Clock.h"
#include "platform/common/RunLoopSource.h"
#include "platform/common/UrlRules.h"
#include "platform/linux/DownloadFile.h"
#include "platform/linux/UrlExchange.h"

namespace platform {
namespace {

using std::chrono::milliseconds;

/// The time until `deadline`, in whole milliseconds, an hour at most.
milliseconds timeUntil(Date deadline) {
  const Seconds left = std::clamp(Seconds(deadline - now()), Seconds(0), Seconds(std::chrono::hours(1)));
  return std::chrono::ceil<milliseconds>(left);
}

class FileDownload final : public UrlDownload, private RunLoopSource, private UrlExchangeClient {
 public:
  FileDownload(UrlRequest request, UrlDownloadDelegate& delegate)
      : _delegate(delegate), _exchange(std::move(request), false, *this) {
    joinRunLoop();
  }

  void setDestination(const std::string& path, bool overwrite) override { _file.setTarget(path, overwrite); }
  void setDeletesFileUponFailure(bool deletes) override { _file.setDeletesPartialFile(deletes); }

 private:
  void process(Date deadline) override;
  UrlRequest willSendRequest(UrlRequest request, const UrlResponse* redirect) override;
  bool mayUseCredentials(const ProtectionSpace& space) override;
  Error didReceiveResponse(const UrlResponse& response, const HttpHead& head) override;
  Error didReceiveData(std::string_view bytes) override;

  void begin();
  Error createFile();
  void conclude();
  void fail(Error error);

  UrlDownloadDelegate& _delegate;
  DownloadFile _file;
  UrlExchange _exchange;
  bool _begun = false;
  std::uint64_t _events = 0;  // delivered so far
};

void FileDownload::process(Date deadline) {
  if (!_begun) return begin();
  const std::uint64_t before = _events;
  do {
    _exchange.process(timeUntil(deadline));
    if (_exchange.hasEnded()) return conclude();
  } while (_events == before && now() < deadline);
}

void FileDownload::begin() {
  _begun = true;
  _delegate.didBegin(*this);
}

UrlRequest FileDownload::willSendRequest(UrlRequest request, const UrlResponse* redirect) {
  ++_events;
  return _delegate.willSendRequest(*this, std::move(request), redirect);
}

bool FileDownload::mayUseCredentials(const ProtectionSpace& space) {
  ++_events;
  return _delegate.canAuthenticateAgainst(*this, space) && _delegate.shouldUseCredentialStorage(*this);
}

Error FileDownload::didReceiveResponse(const UrlResponse& response, const HttpHead& head) {
  ++_events;
  _delegate.didReceiveResponse(*this, response);
  _delegate.decideDestination(*this, response.suggestedFilename);
  const bool decodes = _delegate.shouldDecodeSourceData(*this, response.mimeType);
  if (!decodes || head.field("Content-Encoding") == nullptr) return {};
  return encodedBodyError();
}

Error FileDownload::createFile() {
  if (Error error = _file.create()) return error;
  _delegate.didCreateDestination(*this, _file.target().path());
  return {};
}

Error FileDownload::didReceiveData(std::string_view bytes) {
  ++_events;
  if (!_file.isOpen()) {
    if (Error error = createFile()) return error;
  }
  if (Error error = _file.write(bytes)) return error;
  _delegate.didReceiveData(*this, bytes.size());
  return {};
}

void FileDownload::conclude() {
  leaveRunLoop();
  if (_exchange.error()) return fail(_exchange.error());
  if (!_file.isOpen()) return fail(emptyBodyError());
  if (Error error = _file.commit()) return fail(std::move(error));
  _delegate.didFinish(*this);
}

void FileDownload::fail(Error error) {
  const Error leftover = _file.abandon();
  if (leftover) error.description += "; " + leftover.description;
  _delegate.didFail(*this, error);
}

}  // namespace

std::unique_ptr<UrlDownload> UrlDownload::start(UrlRequest request, UrlDownloadDelegate& delegate) {
  if (RunLoopSource::isThere()) return nullptr;
  return std::make_unique<FileDownload>(std::move(request), delegate);
}

}  // namespace platform
