#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/PropertyList.h"

/// Between CoreFoundation and the platform's own types. What a function with "Create" or "Copy" in its name
/// returns is owned by a `CFOwner`; what any other returns belongs to what it was got from.
namespace platform {

/// Owns a reference to a CoreFoundation object: `CFOwner<CFStringRef>`.
template <typename Ref>
class CFOwner {
 public:
  CFOwner() = default;
  /// Takes over a reference that the caller owns, or none.
  explicit CFOwner(Ref object) : _object(object) {}
  CFOwner(CFOwner&& other) noexcept : _object(std::exchange(other._object, nullptr)) {}
  ~CFOwner() {
    if (_object != nullptr) CFRelease(_object);
  }

  [[nodiscard]] Ref get() const { return _object; }
  explicit operator bool() const { return _object != nullptr; }

 private:
  Ref _object = nullptr;
};

/// The bytes of a text as CoreFoundation takes them.
[[nodiscard]] const UInt8* coreBytes(std::string_view text);
/// The text; none when it is not UTF-8.
[[nodiscard]] CFOwner<CFStringRef> coreText(std::string_view text);
/// The text as UTF-8, up to a zero byte; none for null, and for one that has no such form.
[[nodiscard]] std::optional<std::string> utf8Text(CFStringRef text);

/// The URL of a folder, a bundle too; none for a path that has none.
[[nodiscard]] CFOwner<CFURLRef> coreFolderUrl(const std::string& path);

[[nodiscard]] Date dateOf(CFDateRef date);

/// The value as an object of the preferences service, with what an XML list keeps of it: dates in whole
/// seconds, U+FFFD for what is no UTF-8 in its texts and keys and for what that form cannot hold. None for
/// one with a reference number, which is no value for that service, or with a date after the year 9999, and
/// when there is no memory for it.
[[nodiscard]] CFOwner<CFPropertyListRef> coreValue(const plist::Value& value);
/// The value of such an object; none for null, and for one beyond the limits of a list.
[[nodiscard]] std::optional<plist::Value> valueOf(CFPropertyListRef object);

}  // namespace platform
