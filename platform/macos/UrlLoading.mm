#include "platform/UrlLoading.h"

#import "platform/macos/Foundation.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "platform/AutoreleasePool.h"
#include "platform/macos/LoadRules.h"
#include "platform/macos/UrlAuthentication.h"
#include "platform/macos/UrlErrors.h"

@class VNTConnectionDelegate;

namespace platform {

/// One synchronous request: a connection whose events arrive while this waits.
class SynchronousLoad {
 public:
  SynchronousLoad(UrlRequest request, UrlResponse& response, std::string& body);
  SynchronousLoad(const SynchronousLoad&) = delete;
  SynchronousLoad& operator=(const SynchronousLoad&) = delete;
  ~SynchronousLoad();

  /// Sends the request and waits for the end.
  Error run();

  // What the connection tells. After the end nothing of it counts.
  NSURLRequest* willSendRequest(NSURLRequest* proposed, NSURLResponse* redirect);
  void didReceiveResponse(NSURLResponse* answer);
  void didReceiveData(NSData* data);
  void didFinish();
  void end(Error error);

 private:
  using Clock = std::chrono::steady_clock;

  Error start();
  Error makeConnection();
  void wait();
  void runLoopUntil(NSDate* deadline);

  LoadRules _rules;
  const Clock::time_point _deadline;
  UrlResponse& _response;
  std::string& _body;
  Retained<VNTConnectionDelegate> _delegate;
  Retained<NSURLConnection> _connection;
  NSString* _mode = nil;  // in which the events arrive
  bool _ended = false;
  Error _error;
};

}  // namespace platform

/// Hands on what a connection tells to a load, until that is gone.
@interface VNTConnectionDelegate : NSObject <NSURLConnectionDelegate> {
  platform::SynchronousLoad* _load;
}
- (instancetype)initWithLoad:(platform::SynchronousLoad*)load;
- (void)detach;
@end

#ifndef GNUSTEP  // not every release of it has this protocol
@interface VNTConnectionDelegate () <NSURLConnectionDataDelegate>
@end
#endif

@implementation VNTConnectionDelegate

- (instancetype)initWithLoad:(platform::SynchronousLoad*)load {
  self = [super init];
  if (self != nil) _load = load;
  return self;
}

- (void)detach {
  _load = nullptr;
}

- (NSURLRequest*)connection:(NSURLConnection*)connection
            willSendRequest:(NSURLRequest*)request
           redirectResponse:(NSURLResponse*)response {
  return _load != nullptr ? _load->willSendRequest(request, response) : nil;
}

- (BOOL)connection:(NSURLConnection*)connection
    canAuthenticateAgainstProtectionSpace:(NSURLProtectionSpace*)protectionSpace {
  return platform::wantsPassword(protectionSpace);
}

- (void)connection:(NSURLConnection*)connection
    didReceiveAuthenticationChallenge:(NSURLAuthenticationChallenge*)challenge {
  platform::answerChallenge(challenge, true);
}

- (void)connection:(NSURLConnection*)connection didReceiveResponse:(NSURLResponse*)response {
  if (_load != nullptr) _load->didReceiveResponse(response);
}

- (void)connection:(NSURLConnection*)connection didReceiveData:(NSData*)data {
  if (_load != nullptr) _load->didReceiveData(data);
}

- (void)connectionDidFinishLoading:(NSURLConnection*)connection {
  if (_load != nullptr) _load->didFinish();
}

- (void)connection:(NSURLConnection*)connection didFailWithError:(NSError*)error {
  if (_load != nullptr) _load->end(platform::urlErrorOf(error));
}

@end

namespace platform {
namespace {

/// Starts the connection in the calling thread's run loop, and answers the mode of the loop that it needs:
/// one that nobody else uses, so that the wait is for it alone.
NSString* startInOwnMode(NSURLConnection* connection) {
#ifdef GNUSTEP  // knows the default mode only
  NSString* mode = NSDefaultRunLoopMode;
#else
  NSString* mode = @"VNTSynchronousRequest";
  [connection scheduleInRunLoop:[NSRunLoop currentRunLoop] forMode:mode];
#endif
  [connection start];
  return mode;
}

}  // namespace

SynchronousLoad::SynchronousLoad(UrlRequest request, UrlResponse& response, std::string& body)
    : _rules(std::move(request), BodyEncoding::askedFor),
      _deadline(Clock::now() + _rules.request().timeLimit),
      _response(response),
      _body(body),
      _delegate([[VNTConnectionDelegate alloc] initWithLoad:this]) {}

SynchronousLoad::~SynchronousLoad() {
  const AutoreleasePool pool;
  [_delegate.get() detach];
  [_connection.get() cancel];
}

Error SynchronousLoad::run() {
  const AutoreleasePool pool;
  if (Error error = start()) return error;
  while (!_ended)
    wait();
  return _error;
}

Error SynchronousLoad::start() {
  @try {
    if (Error error = makeConnection()) return error;
    _mode = startInOwnMode(_connection.get());
    return {};
  } @catch (NSException* exception) {
    return raisedUrlError(exception);
  }
}

Error SynchronousLoad::makeConnection() {
  Error error;
  const auto request = _rules.makeRequest(error);
  if (error) return error;
// The service that can be bounded in size and time and still blocks the calling thread, and no other.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
  _connection = Retained<NSURLConnection>([[NSURLConnection alloc] initWithRequest:request.get()
                                                                          delegate:_delegate.get()
                                                                  startImmediately:NO]);
#pragma clang diagnostic pop
  return _connection ? Error() : urlError(UrlErrorCode::unknown, "The connection cannot be made.");
}

/// For the next events, or the deadline.
void SynchronousLoad::wait() {
  const AutoreleasePool pool;
  const Seconds left = _deadline - Clock::now();
  if (left <= Seconds(0))
    return end(urlError(UrlErrorCode::timedOut, "The request took longer than its time limit."));
  runLoopUntil([NSDate dateWithTimeIntervalSinceNow:left.count()]);
}

void SynchronousLoad::runLoopUntil(NSDate* deadline) {
  @try {
    if (![[NSRunLoop currentRunLoop] runMode:_mode beforeDate:deadline])
      end(urlError(UrlErrorCode::unknown, "The connection ended without a word."));
  } @catch (NSException* exception) {
    end(raisedUrlError(exception));
  }
}

NSURLRequest* SynchronousLoad::willSendRequest(NSURLRequest* proposed, NSURLResponse* redirect) {
  if (_ended) return nil;
  Error error = _rules.proceed(proposed, redirect);
  if (_rules.redirect() != nullptr) _response = *_rules.redirect();
  NSURLRequest* sent = nil;
  if (!error) sent = _rules.changedRequest(proposed, error);
  if (error) end(std::move(error));
  return sent;
}

void SynchronousLoad::didReceiveResponse(NSURLResponse* answer) {
  if (_ended) return;
  _body.clear();  // of an answer in several parts the last one counts
  if (Error error = readResponse(answer, _response)) return end(std::move(error));
  if (Error error = _rules.admit(answer)) return end(std::move(error));
}

void SynchronousLoad::didReceiveData(NSData* data) {
  if (_ended) return;
  if (Error error = _rules.count([data length])) return end(std::move(error));
  _body.append(static_cast<const char*>([data bytes]), [data length]);
}

void SynchronousLoad::didFinish() {
  end(_rules.conclude());
}

void SynchronousLoad::end(Error error) {
  if (_ended) return;
  _error = std::move(error);
  _ended = true;
}

Error sendSynchronousRequest(const UrlRequest& request, std::uint64_t limitBytes, UrlResponse& response,
                             std::string& body) {
  body.clear();
  UrlRequest limited = request;
  limited.sizeLimitBytes = std::min(limited.sizeLimitBytes, limitBytes);
  Error error = SynchronousLoad(std::move(limited), response, body).run();
  if (error) body.clear();
  return error;
}

}  // namespace platform
