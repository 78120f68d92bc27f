#import "platform/macos/UrlErrors.h"

#include <cerrno>
#include <utility>

#include "platform/Printable.h"

namespace platform {
namespace {

using enum UrlErrorCode;

UrlErrorCode nearestToSystemCode(NSInteger number) {
  switch (number) {
    case ENETDOWN:
    case ENETUNREACH:
      return notConnectedToInternet;
    case ETIMEDOUT:
      return timedOut;
    case ECONNREFUSED:
    case EHOSTDOWN:
    case EHOSTUNREACH:
    case EADDRNOTAVAIL:
      return cannotConnectToHost;
    case ECONNABORTED:
    case ECONNRESET:
    case ENETRESET:
    case ENOTCONN:
    case EPIPE:
      return networkConnectionLost;
    case EPROTO:
      return badServerResponse;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
    case EIO:
      return cannotWriteToFile;
    case EACCES:
    case EPERM:
    case EROFS:
    case ENOENT:
    case ENOTDIR:
      return cannotCreateFile;
    default:
      return unknown;
  }
}

/// Of the network library below URL loading, which has most of its codes from there.
UrlErrorCode nearestToNetworkCode(NSInteger code) {
  switch (code) {
    case 1:  // the host has no address
    case 2:  // the name service failed
      return cannotFindHost;
    case 302:
      return networkConnectionLost;
    case 303:
      return badServerResponse;
    case 304:
      return tooManyRedirects;
    case 305:
      return badUrl;
    case 306:  // those of proxies
    case 307:
    case 308:
    case 309:
    case 310:
    case 311:
      return cannotConnectToHost;
    default:
      return code <= -999 && code > -4000 ? static_cast<UrlErrorCode>(code) : unknown;
  }
}

/// The library for secure connections has a hundred codes of its own.
UrlErrorCode nearestToStatus(NSInteger status) {
  return status <= -9800 && status > -9900 ? secureConnectionFailed : unknown;
}

/// The code that one error stands for by itself.
UrlErrorCode codeOf(NSError* error) {
  NSString* domain = [error domain];
  const NSInteger code = [error code];
  if ([domain isEqualToString:NSURLErrorDomain]) return code != 0 ? static_cast<UrlErrorCode>(code) : unknown;
  if ([domain isEqualToString:@"kCFErrorDomainCFNetwork"]) return nearestToNetworkCode(code);
  if ([domain isEqualToString:NSPOSIXErrorDomain]) return nearestToSystemCode(code);
  if ([domain isEqualToString:NSOSStatusErrorDomain]) return nearestToStatus(code);
  return unknown;
}

UrlErrorCode firstKnownCode(NSError* error) {
  for (NSError* each = error; each != nil; each = [[each userInfo] objectForKey:NSUnderlyingErrorKey]) {
    const UrlErrorCode code = codeOf(each);
    if (code != unknown) return code;
  }
  return unknown;
}

/// The error's own text; with domain and code where the code that is reported does not tell them.
std::string descriptionOf(NSError* error) {
  if (error == nil) return "The cause is not known.";
  std::string text = utf8Text([error localizedDescription]);
  if (![[error domain] isEqualToString:NSURLErrorDomain])
    text += " (" + utf8Text([error domain]) + " " + std::to_string([error code]) + ")";
  return onOneLine(text);
}

}  // namespace

Error urlErrorOf(NSError* error) {
  return urlError(firstKnownCode(error), descriptionOf(error));
}

Error raisedUrlError(NSException* exception) {
  return raisedError(exception, kUrlErrorDomain, static_cast<std::int64_t>(unknown));
}

}  // namespace platform
