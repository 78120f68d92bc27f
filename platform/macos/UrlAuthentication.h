#pragma once

#import "platform/macos/Foundation.h"

#include "platform/UrlLoading.h"

namespace platform {

[[nodiscard]] ProtectionSpace protectionSpaceOf(NSURLProtectionSpace* space);

/// Whether a name and a password are wanted. What else there is (that a server proves who it is, a
/// certificate of the client) the system answers by its own rules.
[[nodiscard]] bool wantsPassword(NSURLProtectionSpace* space);

/// Answers with what the credential storage, or the URL, has for it, once; else goes on without, so that what
/// the server says to that becomes the answer.
void answerChallenge(NSURLAuthenticationChallenge* challenge, bool mayUseCredentials);

}  // namespace platform
