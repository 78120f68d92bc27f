#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/Clock.h"
#include "platform/UrlLoading.h"
#include "runtime/Code/ZRResult.h"

/// Downloads one file into a local path: the platform's event-driven download as one blocking call.
///
/// All operations belong to one thread, whose run loop a download runs. A downloader may be used again for
/// another file after a call has returned.
class VNTUpdateDownloader : public platform::UrlDownloadDelegate {
 public:
  VNTUpdateDownloader();
  ~VNTUpdateDownloader() override = default;
  VNTUpdateDownloader(const VNTUpdateDownloader&) = delete;
  VNTUpdateDownloader& operator=(const VNTUpdateDownloader&) = delete;

  /// Stores what `url` answers, whatever its HTTP status, in `localPath`, replacing a file that is there.
  /// Redirects are followed. `userAgent` is sent as the "User-Agent" header.
  /// `streamTime` receives the seconds from the last redirect or response to the end, `bytes` the length of
  /// the body; both are set on failure as well.
  /// Fails: eNoMemory when the URL does not parse or the download cannot be started; eTimeout after 60
  /// seconds without progress; otherwise the code that stands for the platform's error, with a message that
  /// holds that error's code and description. Only eNoError means that the file is whole.
  ZRResult download(const std::string& url, const std::string& localPath, const std::string& userAgent,
                    double& streamTime, std::uint64_t& bytes);

  /// Starts the platform's download into the local path that was set.
  void startRequest(const platform::UrlRequest& request);
  /// Back to the state before any download: no outcome yet (eBadStatus), no path, no error.
  void reset();
  void setDownload(std::shared_ptr<platform::UrlDownload> download) { _download = std::move(download); }
  /// When the present measurement began: the start, the last redirect, or the response.
  void setStartTime(std::optional<platform::Date> time) { _startTime = time; }
  void setLocalPath(const std::string& path) { _localPath = path; }
  /// The last error reported.
  void setError(const platform::Error& error) { _error = error; }

  void didBegin(platform::UrlDownload& download) override;
  platform::UrlRequest willSendRequest(platform::UrlDownload& download, platform::UrlRequest request,
                                       const platform::UrlResponse* redirect) override;
  bool canAuthenticateAgainst(platform::UrlDownload& download,
                              const platform::ProtectionSpace& space) override;
  void didCancelAuthenticationChallenge(platform::UrlDownload& download) override;
  bool shouldUseCredentialStorage(platform::UrlDownload& download) override;
  void didReceiveResponse(platform::UrlDownload& download, const platform::UrlResponse& response) override;
  void decideDestination(platform::UrlDownload& download, const std::string& suggestedFilename) override;
  void didCreateDestination(platform::UrlDownload& download, const std::string& path) override;
  bool shouldDecodeSourceData(platform::UrlDownload& download, const std::string& mimeType) override;
  void didReceiveData(platform::UrlDownload& download, std::uint64_t bytes) override;
  void didFinish(platform::UrlDownload& download) override;
  void didFail(platform::UrlDownload& download, const platform::Error& error) override;

  // What no run calls.

  [[nodiscard]] const std::shared_ptr<platform::UrlDownload>& download() const { return _download; }
  [[nodiscard]] const std::optional<platform::Date>& startTime() const { return _startTime; }
  [[nodiscard]] const std::string& localPath() const { return _localPath; }
  /// "No error" when there was none.
  [[nodiscard]] const platform::Error& error() const { return _error; }
  /// The description of `error()`, or an empty text.
  [[nodiscard]] ZRString errorMessage() const;

 private:
  std::shared_ptr<platform::UrlDownload> _download;
  std::uint64_t _bytesExpected = 0;
  std::uint64_t _totalLength = 0;
  std::string _localPath;
  std::optional<platform::Date> _startTime;
  double _streamTime = 0;
  bool _completed = false;
  std::unique_ptr<ZRResult> _result;
  platform::Error _error;
};
