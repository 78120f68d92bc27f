#pragma once

#include <map>

#include "runtime/Code/ZRResult.h"

/// Named options. Names are compared without regard to (ASCII) case.
class ZROptions {
 public:
  virtual ~ZROptions() = default;

  /// eNotFound when there is no such option; an option without a value has an empty one.
  virtual ZRResult getOption(const ZRString& name, ZRString& value) const;
  [[nodiscard]] bool hasOption(const ZRString& name) const;
  /// eExists, changing nothing, when the option is there and may not be overwritten.
  virtual ZRResult setOption(const ZRString& name, const ZRString& value, bool overwrite);

 protected:
  struct NameLess {
    bool operator()(const ZRString& a, const ZRString& b) const;
  };
  using Table = std::map<ZRString, ZRString, NameLess>;

  Table _options;
};

/// Reads options from a program's command line, given as one text in which each argument stands in double
/// quotes. An option is an argument that begins with "/": its name goes up to the first blank, its value is
/// the rest.
class ZROptionsBroker : public ZROptions {
 public:
  /// Adds the options of `input`; malformed text yields fewer or odder options, never a failure.
  /// Fails: eBadParameter for a null input.
  ZRResult parse(const char* input);

  /// Adds the pairs of a text "a=1&b=2" to the custom parameters, and each as the option
  /// "customParam_<name>". Fails: eBadParameter for a null text, eNotFound for an empty one.
  ZRResult parseCustomParams(const char* customParams);

  /// The process's joined command line.
  ZRResult getCommandLine(ZRString& text) const;

  // What no run calls.
  /// eNotFound when there is no such parameter.
  ZRResult getCustomParam(const ZRString& name, ZRString& value) const;

 private:
  void parseOption(ZRString text);
  void store(const ZRString& name, const ZRString& value);
  void storeCustomParam(const ZRString& piece);

  Table _customParams;
};

namespace zrrt {

/// The process's command line: each argument after the program name in double quotes and followed by a blank.
/// Set once, before threads start.
void setCommandLine(const ZRString& text);
[[nodiscard]] const ZRString& commandLine();

}  // namespace zrrt
