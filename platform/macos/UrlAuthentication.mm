#import "platform/macos/UrlAuthentication.h"

#include "platform/Printable.h"

namespace platform {

ProtectionSpace protectionSpaceOf(NSURLProtectionSpace* space) {
  return {.authenticationMethod = utf8Text([space authenticationMethod]),
          .host = utf8Text([space host]),
          .isProxy = static_cast<bool>([space isProxy]),
          .port = static_cast<std::uint16_t>([space port]),
          .protocol = utf8Text([space protocol]),
          .realm = onOneLine(utf8Text([space realm]))};
}

bool wantsPassword(NSURLProtectionSpace* space) {
  NSString* method = [space authenticationMethod];
  return ![method isEqualToString:NSURLAuthenticationMethodServerTrust] &&
         ![method isEqualToString:NSURLAuthenticationMethodClientCertificate];
}

void answerChallenge(NSURLAuthenticationChallenge* challenge, bool mayUseCredentials) {
  NSURLCredential* credential = [challenge proposedCredential];
  if (mayUseCredentials && credential != nil && [challenge previousFailureCount] == 0) {
    [[challenge sender] useCredential:credential forAuthenticationChallenge:challenge];
  } else {
    [[challenge sender] continueWithoutCredentialForAuthenticationChallenge:challenge];
  }
}

}  // namespace platform
