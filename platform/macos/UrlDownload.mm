#import "platform/macos/Foundation.h"

#include <CoreFoundation/CoreFoundation.h>

#include <chrono>
#include <utility>

#include "platform/AutoreleasePool.h"
#include "platform/Printable.h"
#include "platform/UrlLoading.h"
#include "platform/common/UrlRules.h"
#include "platform/macos/DownloadDestination.h"
#include "platform/macos/LoadRules.h"
#include "platform/macos/UrlAuthentication.h"
#include "platform/macos/UrlErrors.h"

@class VNTDownloadDelegate;

namespace platform {

/// A timer of the calling thread's run loop; it does not fire after the end of its scope.
class RunLoopTimer {
 public:
  RunLoopTimer() = default;
  RunLoopTimer(Seconds delay, id target, SEL action)
      : _timer(Retained<NSTimer>::of([NSTimer scheduledTimerWithTimeInterval:delay.count()
                                                                      target:target
                                                                    selector:action
                                                                    userInfo:nil
                                                                     repeats:NO])) {}
  RunLoopTimer(RunLoopTimer&&) noexcept = default;
  RunLoopTimer& operator=(RunLoopTimer&& other) noexcept {
    std::swap(_timer, other._timer);  // the old one ends with `other`
    return *this;
  }
  ~RunLoopTimer() { [_timer.get() invalidate]; }

 private:
  Retained<NSTimer> _timer;
};

/// The system's download service in the terms of `UrlDownload`. The service is started from within the run
/// loop, so that what happens at the start is told like all else.
class FileDownload final : public UrlDownload {
 public:
  FileDownload(UrlRequest request, UrlDownloadDelegate& delegate);
  FileDownload(const FileDownload&) = delete;
  FileDownload& operator=(const FileDownload&) = delete;
  ~FileDownload() override;

  /// The calling thread's download that has not ended; null for none.
  static FileDownload*& current();

  void setDestination(const std::string& path, bool overwrite) override;
  void setDeletesFileUponFailure(bool deletes) override;

  // What the timers and the service tell, until the end, from within a run of the loop, whose pool takes what
  // they get.
  void start();
  void didRunOutOfTime();
  NSURLRequest* willSendRequest(NSURLRequest* proposed, NSURLResponse* redirect);
  bool canAuthenticateAgainst(NSURLProtectionSpace* space);
  void didReceiveChallenge(NSURLAuthenticationChallenge* challenge);
  void didCancelChallenge() { _delegate.didCancelAuthenticationChallenge(*this); }
  bool shouldUseCredentialStorage() { return _delegate.shouldUseCredentialStorage(*this); }
  void didReceiveResponse(NSURLResponse* answer);
  void decideDestination(NSString* suggestedFilename);
  void didCreateDestination(NSString* path);
  void shouldDecode(NSString* encodingType);
  void didReceiveData(NSUInteger length);
  void didFinish();
  void fail(Error error);

 private:
  using Clock = std::chrono::steady_clock;

  void askForRequest();
  Error startService();
  Error passDestination();
  [[nodiscard]] bool hasEnded() const { return current() != this; }
  void leaveRunLoop();
  Error stop();
  void endRunOfLoop();

  UrlDownloadDelegate& _delegate;
  LoadRules _rules;
  DownloadDestination _destination;
  const Clock::time_point _startTime = Clock::now();
  Retained<VNTDownloadDelegate> _listener;
  Retained<NSURLDownload> _service;
  RunLoopTimer _startTimer;
  RunLoopTimer _limitTimer;
  bool _mayAuthenticate = false;
};

}  // namespace platform

/// Hands on what the service tells to a download, until that has ended or is gone.
@interface VNTDownloadDelegate : NSObject <NSURLDownloadDelegate> {
  platform::FileDownload* _owner;
}
- (instancetype)initWithOwner:(platform::FileDownload*)owner;
- (void)detach;
- (void)start:(NSTimer*)timer;
- (void)endOverdue:(NSTimer*)timer;
@end

@implementation VNTDownloadDelegate

- (instancetype)initWithOwner:(platform::FileDownload*)owner {
  self = [super init];
  if (self != nil) _owner = owner;
  return self;
}

- (void)detach {
  _owner = nullptr;
}

- (void)start:(NSTimer*)timer {
  if (_owner != nullptr) _owner->start();
}

- (void)endOverdue:(NSTimer*)timer {
  if (_owner != nullptr) _owner->didRunOutOfTime();
}

- (NSURLRequest*)download:(NSURLDownload*)download
          willSendRequest:(NSURLRequest*)request
         redirectResponse:(NSURLResponse*)redirectResponse {
  return _owner != nullptr ? _owner->willSendRequest(request, redirectResponse) : nil;
}

- (BOOL)download:(NSURLDownload*)download
    canAuthenticateAgainstProtectionSpace:(NSURLProtectionSpace*)protectionSpace {
  return _owner != nullptr && _owner->canAuthenticateAgainst(protectionSpace);
}

- (void)download:(NSURLDownload*)download
    didReceiveAuthenticationChallenge:(NSURLAuthenticationChallenge*)challenge {
  if (_owner != nullptr) _owner->didReceiveChallenge(challenge);
}

- (void)download:(NSURLDownload*)download
    didCancelAuthenticationChallenge:(NSURLAuthenticationChallenge*)challenge {
  if (_owner != nullptr) _owner->didCancelChallenge();
}

- (BOOL)downloadShouldUseCredentialStorage:(NSURLDownload*)download {
  return _owner != nullptr && _owner->shouldUseCredentialStorage();
}

- (void)download:(NSURLDownload*)download didReceiveResponse:(NSURLResponse*)response {
  if (_owner != nullptr) _owner->didReceiveResponse(response);
}

- (void)download:(NSURLDownload*)download decideDestinationWithSuggestedFilename:(NSString*)filename {
  if (_owner != nullptr) _owner->decideDestination(filename);
}

- (void)download:(NSURLDownload*)download didCreateDestination:(NSString*)path {
  if (_owner != nullptr) _owner->didCreateDestination(path);
}

- (BOOL)download:(NSURLDownload*)download shouldDecodeSourceDataOfMIMEType:(NSString*)encodingType {
  if (_owner != nullptr) _owner->shouldDecode(encodingType);
  return NO;
}

- (void)download:(NSURLDownload*)download didReceiveDataOfLength:(NSUInteger)length {
  if (_owner != nullptr) _owner->didReceiveData(length);
}

- (void)downloadDidFinish:(NSURLDownload*)download {
  if (_owner != nullptr) _owner->didFinish();
}

- (void)download:(NSURLDownload*)download didFailWithError:(NSError*)error {
  if (_owner != nullptr) _owner->fail(platform::urlErrorOf(error));
}

@end

namespace platform {

FileDownload::FileDownload(UrlRequest request, UrlDownloadDelegate& delegate)
    : _delegate(delegate),
      _rules(std::move(request), BodyEncoding::asItIs),
      _listener([[VNTDownloadDelegate alloc] initWithOwner:this]),
      _startTimer(Seconds(0), _listener.get(), @selector(start:)) {
  current() = this;
}

FileDownload::~FileDownload() {
  const AutoreleasePool pool;
  if (!hasEnded()) (void)stop();
}

FileDownload*& FileDownload::current() {
  thread_local FileDownload* download = nullptr;
  return download;
}

void FileDownload::setDestination(const std::string& path, bool overwrite) {
  _destination.setTarget(path, overwrite);
}

void FileDownload::setDeletesFileUponFailure(bool deletes) {
  _destination.setDeletesPartialFile(deletes);
  [_service.get() setDeletesFileUponFailure:deletes];
}

void FileDownload::start() {
  _delegate.didBegin(*this);
  askForRequest();
  if (Error error = startService()) fail(std::move(error));
}

void FileDownload::askForRequest() {
  _rules.setRequest(_delegate.willSendRequest(*this, _rules.request(), _rules.redirect()));
  const Seconds left = _startTime + _rules.request().timeLimit - Clock::now();
  _limitTimer = RunLoopTimer(left, _listener.get(), @selector(endOverdue:));
}

Error FileDownload::startService() {
  @try {
    Error error;
    const auto request = _rules.makeRequest(error);
    if (error) return error;
// The service whose place later ones have taken; what it does is what callers are promised.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
    _service = Retained<NSURLDownload>([[NSURLDownload alloc] initWithRequest:request.get()
                                                                     delegate:_listener.get()]);
#pragma clang diagnostic pop
  } @catch (NSException* exception) {
    return raisedUrlError(exception);
  }
  if (!_service) return urlError(UrlErrorCode::unknown, "The download cannot be started.");
  [_service.get() setDeletesFileUponFailure:_destination.target().deletesPartialFile()];
  if (hasEnded()) [_service.get() cancel];  // at its first step, before we had it
  return {};
}

void FileDownload::didRunOutOfTime() {
  fail(urlError(UrlErrorCode::timedOut, "The download took longer than its time limit."));
}

/// Without a redirect it is the last request in the system's own form; there need not be such a step.
NSURLRequest* FileDownload::willSendRequest(NSURLRequest* proposed, NSURLResponse* redirect) {
  Error error = _rules.proceed(proposed, redirect);
  if (!error && redirect != nil) askForRequest();
  NSURLRequest* sent = nil;
  if (!error) sent = _rules.changedRequest(proposed, error);
  if (error) fail(std::move(error));
  return sent;
}

/// The delegate hears of all; that the server proves who it is stays with the system.
bool FileDownload::canAuthenticateAgainst(NSURLProtectionSpace* space) {
  _mayAuthenticate = _delegate.canAuthenticateAgainst(*this, protectionSpaceOf(space));
  return wantsPassword(space);
}

/// Comes also when the delegate may not authenticate: told that nobody can, the service would look for
/// credentials by itself.
void FileDownload::didReceiveChallenge(NSURLAuthenticationChallenge* challenge) {
  answerChallenge(challenge, _mayAuthenticate && shouldUseCredentialStorage());
}

void FileDownload::didReceiveResponse(NSURLResponse* answer) {
  UrlResponse response;
  if (Error error = readResponse(answer, response)) return fail(std::move(error));
  _delegate.didReceiveResponse(*this, response);
  if (Error error = _rules.admit(answer)) fail(std::move(error));
}

void FileDownload::decideDestination(NSString* suggestedFilename) {
  _delegate.decideDestination(*this, onOneLine(utf8Text(suggestedFilename)));
  if (Error error = passDestination()) fail(std::move(error));
}

Error FileDownload::passDestination() {
  if (Error error = _destination.choose()) return error;
  @try {
    NSString* path = foundationPath(_destination.writePath());
    if (path == nil)
      return urlError(UrlErrorCode::cannotCreateFile, "The path of the destination is not UTF-8.");
    [_service.get() setDestination:path allowOverwrite:NO];
    return {};
  } @catch (NSException* exception) {
    return raisedUrlError(exception);
  }
}

void FileDownload::didCreateDestination(NSString* path) {
  @try {
    _destination.didCreate(systemPath(path));
  } @catch (NSException* exception) {
    return fail(raisedUrlError(exception));
  }
  _delegate.didCreateDestination(*this, _destination.target().path());
}

void FileDownload::shouldDecode(NSString* encodingType) {
  if (_delegate.shouldDecodeSourceData(*this, utf8Text(encodingType))) fail(encodedBodyError());
}

void FileDownload::didReceiveData(NSUInteger length) {
  if (Error error = _rules.count(length)) return fail(std::move(error));
  _delegate.didReceiveData(*this, length);
}

/// The service has closed the file.
void FileDownload::didFinish() {
  if (_rules.bodyBytes() == 0) return fail(emptyBodyError());
  if (Error error = _rules.conclude()) return fail(std::move(error));
  if (Error error = _destination.commit()) return fail(std::move(error));
  leaveRunLoop();
  _delegate.didFinish(*this);
  endRunOfLoop();
}

void FileDownload::fail(Error error) {
  if (hasEnded()) return;
  if (const Error leftover = stop()) error.description += "; " + leftover.description;
  _delegate.didFail(*this, error);
  endRunOfLoop();
}

/// From here on nothing is told.
void FileDownload::leaveRunLoop() {
  current() = nullptr;
  [_listener.get() detach];
  _startTimer = RunLoopTimer();
  _limitTimer = RunLoopTimer();
}

/// A cancelled service deletes its file, so one that is kept has another name by then.
Error FileDownload::stop() {
  leaveRunLoop();
  Error leftover = _destination.abandon();
  [_service.get() cancel];
  return leftover;
}

/// Whoever waits for the end waits no longer. By itself a run of the loop ends with what the service tells,
/// but not with a timer.
void FileDownload::endRunOfLoop() {
  CFRunLoopStop(CFRunLoopGetCurrent());
}

std::unique_ptr<UrlDownload> UrlDownload::start(UrlRequest request, UrlDownloadDelegate& delegate) {
  if (FileDownload::current() != nullptr) return nullptr;
  const AutoreleasePool pool;
  return std::make_unique<FileDownload>(std::move(request), delegate);
}

}  // namespace platform
