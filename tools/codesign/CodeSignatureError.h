#pragma once

#include <stdexcept>

namespace codesign {

/// A bundle could not be signed, or its signature does not hold; the message says what and why.
class CodeSignatureError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace codesign
