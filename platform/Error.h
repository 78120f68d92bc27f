#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace platform {

/// Domains of error codes; the texts are those of the system services that define the codes.
inline constexpr std::string_view kPosixErrorDomain = "NSPOSIXErrorDomain";        ///< errno values
inline constexpr std::string_view kCocoaErrorDomain = "NSCocoaErrorDomain";        ///< file manager, lists
inline constexpr std::string_view kUrlErrorDomain = "NSURLErrorDomain";            ///< URL loading codes
inline constexpr std::string_view kOSStatusErrorDomain = "NSOSStatusErrorDomain";  ///< application registry

/// What a platform service reports when it fails. A default-constructed Error means "no error".
struct [[nodiscard]] Error {
  std::string_view domain;  ///< one of the constants above; empty when there is no error
  std::int64_t code = 0;    ///< a code of that domain; 0 only when there is no error
  std::string description;  ///< one sentence for a person, in English
  const char* call = "";    ///< the system call that failed, as its callers' messages name it, where they do

  [[nodiscard]] bool failed() const noexcept { return code != 0; }
  explicit operator bool() const noexcept { return failed(); }
};

/// The error of a failed system call: domain POSIX, code `number` (an errno value), and the system's text
/// for it, preceded by "`subject`: " when a subject (a path, a name) is given, on one line.
Error posixError(int number, std::string_view subject = {});

/// The same for a call that messages name; no error when `number` is 0.
Error systemCallError(const char* call, int number);

}  // namespace platform
