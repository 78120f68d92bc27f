#pragma once

#import "platform/macos/Foundation.h"

#include "platform/common/UrlError.h"

namespace platform {

/// What URL loading reports, in the URL domain: its own code, else that of what lies under it, else the
/// nearest to a code of another domain, `unknown` in the end. An error in any case, also for nil.
[[nodiscard]] Error urlErrorOf(NSError* error);

/// What a Foundation exception says, as `unknown`.
[[nodiscard]] Error raisedUrlError(NSException* exception);

}  // namespace platform
