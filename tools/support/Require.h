#pragma once

#include <stdexcept>

#include "platform/Error.h"

namespace tools {

/// Throws std::runtime_error with the error's description, if there is an error.
inline void require(const platform::Error& error) {
  if (error) throw std::runtime_error(error.description);
}

}  // namespace tools
