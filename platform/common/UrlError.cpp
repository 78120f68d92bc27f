#include "platform/common/UrlError.h"

#include <utility>

namespace platform {

Error urlError(UrlErrorCode code, std::string description) {
  return {kUrlErrorDomain, static_cast<std::int64_t>(code), std::move(description)};
}

Error urlError(UrlErrorCode code, int number, const std::string& path) {
  return urlError(code, posixError(number, path).description);
}

}  // namespace platform
