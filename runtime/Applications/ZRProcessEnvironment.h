#pragma once

#include <map>
#include <string>
#include <vector>

#include "runtime/Code/ZRResult.h"

/// Environment variables for a new child, by name.
class ZRProcessEnvironment {
 public:
  /// Adds from a text "NAME=VALUE"; the value may be empty and hold more "=".
  /// Fails: eBadParameter for a null text; eBadFormat without "=", for an empty name, or one with blanks or
  /// line ends at its ends.
  ZRResult addEntry(const char* text);
  void set(const ZRString& name, const ZRString& value) { _values[name] = value; }
  /// eNotFound when there is no such variable.
  ZRResult get(const ZRString& name, ZRString& value) const;
  [[nodiscard]] std::size_t size() const { return _values.size(); }

  /// "NAME=VALUE" texts in the order of the names.
  [[nodiscard]] std::vector<std::string> entries() const;

 private:
  std::map<ZRString, ZRString> _values;
};
