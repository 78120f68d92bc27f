#import "platform/macos/UrlRequests.h"

#include <arpa/inet.h>

#include "platform/Printable.h"
#include "platform/Text.h"
#include "platform/common/UrlRules.h"
#include "platform/macos/UrlErrors.h"

namespace platform {
namespace {

/// A percent escape is decoded by some and looked up by others; "127.1" and "2130706433" are addresses to
/// those who resolve names.
bool isReadInOneWay(const std::string& host) {
  in_addr address{};
  const bool isAddress = inet_aton(host.c_str(), &address) != 0;
  const bool isUsualForm = inet_pton(AF_INET, host.c_str(), &address) == 1;
  return host.find('%') == std::string::npos && (isUsualForm || !isAddress);
}

std::string withoutBrackets(const std::string& host) {
  return host.starts_with('[') && host.ends_with(']') ? host.substr(1, host.size() - 2) : host;
}

/// A trust decision was made on our reading of the text, and the connection is made on theirs.
bool readsTheSame(NSURL* theirs, const Url& ours) {
  return equalIgnoringCase(utf8Text([theirs scheme]), ours.scheme()) &&
         equalIgnoringCase(withoutBrackets(utf8Text([theirs host])), ours.host()) &&
         [[theirs port] unsignedLongLongValue] == ours.port().value_or(0);
}

/// Foundation's form of the URL; nil with `error` set.
NSURL* agreedUrl(const Url& url, Error& error) {
  error = checkScheme(url);
  if (error) return nil;
  NSString* text = foundationText(url.absoluteString());
  if (text != nil && url.host() != nullptr && isReadInOneWay(url.host())) {
    NSURL* theirs = [NSURL URLWithString:text];
    if (theirs != nil && readsTheSame(theirs, url)) return theirs;
  }
  error = badUrlError();
  return nil;
}

Error writeHeader(const std::string& name, const std::string& value, NSMutableURLRequest* foundation) {
  if (Error error = checkHeader(name, value)) return error;
  NSString* theirName = foundationText(name);
  NSString* theirValue = foundationText(value);
  if (theirName == nil || theirValue == nil)
    return urlError(UrlErrorCode::badUrl, "A request header is not UTF-8.");
  [foundation setValue:theirValue forHTTPHeaderField:theirName];
  return {};
}

Error writeHeaders(const UrlRequest& request, BodyEncoding encoding, NSMutableURLRequest* foundation) {
  for (const auto& [name, value] : request.headers) {
    if (Error error = writeHeader(name, value, foundation)) return error;
  }
  if (request.ignoresCache) {
    [foundation setValue:@"no-cache" forHTTPHeaderField:@"Cache-Control"];
    [foundation setValue:@"no-cache" forHTTPHeaderField:@"Pragma"];
  }
  // Left out, it is the system that fills it in.
  if (encoding == BodyEncoding::asItIs)
    [foundation setValue:@"identity" forHTTPHeaderField:@"Accept-Encoding"];
  return {};
}

}  // namespace

Error writeRequest(const UrlRequest& request, BodyEncoding encoding, NSMutableURLRequest* foundation) {
  @try {
    Error error;
    NSURL* url = agreedUrl(request.url, error);
    if (url == nil) return error;
    [foundation setURL:url];
    [foundation setTimeoutInterval:Seconds(request.idleTimeout).count()];
    [foundation setCachePolicy:request.ignoresCache ? NSURLRequestReloadIgnoringCacheData
                                                    : NSURLRequestUseProtocolCachePolicy];
    [foundation setHTTPShouldHandleCookies:NO];
    return writeHeaders(request, encoding, foundation);
  } @catch (NSException* exception) {
    return raisedUrlError(exception);
  }
}

Error readUrl(NSURL* foundation, Url& url) {
  const auto parsed = Url::parse(utf8Text([foundation absoluteString]));
  if (!parsed) return badUrlError();
  url = *parsed;
  return {};
}

Error readResponse(NSURLResponse* foundation, UrlResponse& response) {
  UrlResponse read;
  if (Error error = readUrl([foundation URL], read.url)) return error;
  if ([foundation isKindOfClass:[NSHTTPURLResponse class]])
    read.statusCode = static_cast<int>([static_cast<NSHTTPURLResponse*>(foundation) statusCode]);
  const long long length = [foundation expectedContentLength];
  read.expectedContentLength = length != NSURLResponseUnknownLength && length >= 0 ? length : -1;
  read.suggestedFilename = onOneLine(utf8Text([foundation suggestedFilename]));
  read.mimeType = onOneLine(utf8Text([foundation MIMEType]));
  read.textEncodingName = onOneLine(utf8Text([foundation textEncodingName]));
  read.description = onOneLine(utf8Text([foundation description]));
  response = std::move(read);
  return {};
}

std::optional<std::string> headerField(NSURLResponse* foundation, std::string_view name) {
  if (![foundation isKindOfClass:[NSHTTPURLResponse class]]) return std::nullopt;
  NSDictionary* fields = [static_cast<NSHTTPURLResponse*>(foundation) allHeaderFields];
  for (NSString* each in fields) {
    if (equalIgnoringCase(utf8Text(each), name)) return utf8Text([fields objectForKey:each]);
  }
  return std::nullopt;
}

}  // namespace platform
