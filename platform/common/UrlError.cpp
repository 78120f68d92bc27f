#include "platform/common/UrlError.h"

#include <utility>

namespace platform {

Error urlError(UrlErrorCode code, std::string description) {
  return {kUrlErrorDomain, static_cast<std::int64_t>(code), std::move(description)};
}

}  // namespace platform
