#pragma once

#import <Foundation/Foundation.h>

#include <string>
#include <string_view>
#include <utility>

#include "platform/Clock.h"
#include "platform/Error.h"

/// Between Foundation and the platform's own types. Memory is managed by hand: what an `alloc`, `copy` or
/// `new` returns is owned by a `Retained`, what any other message returns is left to the pool of the
/// function.
namespace platform {

/// Owns a reference to a Foundation object.
template <typename Object>
class Retained {
 public:
  Retained() = default;
  /// Takes over a reference that the caller owns.
  explicit Retained(Object* object) : _object(object) {}
  Retained(Retained&& other) noexcept : _object(std::exchange(other._object, nil)) {}
  Retained& operator=(Retained&& other) noexcept {
    std::swap(_object, other._object);
    return *this;
  }
  ~Retained() { [_object release]; }

  /// A further reference to an object that somebody else owns.
  [[nodiscard]] static Retained of(Object* object) { return Retained([object retain]); }

  [[nodiscard]] Object* get() const { return _object; }
  explicit operator bool() const { return _object != nil; }

 private:
  Object* _object = nil;
};

/// The text; nil when it is not UTF-8.
[[nodiscard]] NSString* foundationText(std::string_view text);
/// The text as UTF-8; empty for nil, and for one with unpaired surrogates.
[[nodiscard]] std::string utf8Text(NSString* text);

/// A path as the file manager takes it; nil when it is not UTF-8, as every path of a macOS volume is.
[[nodiscard]] NSString* foundationPath(const std::string& path);
/// The same for an item whose URL is asked for.
[[nodiscard]] NSURL* fileUrl(const std::string& path);
/// The path as system calls take it; empty for nil.
[[nodiscard]] std::string systemPath(NSString* path);

[[nodiscard]] NSDate* foundationDate(Date date);

/// An error of the file manager or of a property list's file, in the POSIX domain, with a description that
/// names the path: the system's own number where the error carries one, else the nearest to the Cocoa code.
[[nodiscard]] Error posixErrorOf(NSError* error, std::string_view path);

/// What a Foundation exception says, "name: reason" on one line, as an error of the domain.
[[nodiscard]] Error raisedError(NSException* exception, std::string_view domain, std::int64_t code);

}  // namespace platform
