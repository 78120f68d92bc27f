#pragma once

#include <stdexcept>

#include "runtime/Code/ZRResult.h"

/// A violated requirement of the runtime: the fault of the program, not of its input. It is thrown only where
/// no result can be returned, and not caught before the boundary of a thread or of the program.
class ZRRequireException : public std::logic_error {
 public:
  /// The text is "Requirement "<expression>" violated at <location>".
  ZRRequireException(const char* expression, const ZRLocation& location);
};
