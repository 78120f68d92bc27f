#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "runtime/Code/ZRResult.h"

namespace zrrt {

struct AsciiEncoding {
  static constexpr const char* kStringName = "ZRAsciiString";
  [[nodiscard]] static bool holds(std::string_view text);
};

struct Utf8Encoding {
  static constexpr const char* kStringName = "ZRUTF8String";
  [[nodiscard]] static bool holds(std::string_view text);
};

}  // namespace zrrt

/// A string of bytes in an encoding that shows how many bytes it uses and has allocated. It is always
/// zero-terminated; the terminating zero counts as allocated, not as used. A string that nothing was stored
/// in has allocated nothing.
/// No run uses it.
template <typename Encoding>
class ZRByteString {
 public:
  /// Takes over a text, which may be a part of this one. Fails, changing nothing: eBadParameter for a null
  /// text, eBadFormat for one that is not in the encoding.
  ZRResult assign(const char* text);

  [[nodiscard]] const char* c_str() const noexcept { return _bytes ? _bytes.get() : ""; }
  [[nodiscard]] std::int32_t numBytesUsed() const noexcept { return _used; }
  [[nodiscard]] std::int32_t numBytesAllocated() const noexcept { return _allocated; }
  /// Allocates exactly that number of bytes (at least one), the terminating zero included; what does not fit
  /// is cut. A zero byte among the used ones of a UTF-8 string is reported as an assertion failure:
  /// "ZRUTF8String::setNumBytesAllocated - internal consistency BAD - found NULL prior to _numBytesUsed".
  void setNumBytesAllocated(std::int32_t numBytes);

  /// A buffer for at least `size` bytes and a terminating zero, holding the present text. Locks the string: a
  /// second lock is reported as an assertion failure, "<class> was already locked in <function>".
  [[nodiscard]] char* getWritableBuffer(std::int32_t size);
  /// Ends the lock; the text is now `newLength` bytes long, at most what the allocation holds, or up to its
  /// first zero byte for -1.
  void releaseBuffer(std::int32_t newLength = -1);
  [[nodiscard]] bool isLocked() const noexcept { return _locked; }

 private:
  void reallocate(std::int32_t size, std::string_view text);

  std::unique_ptr<char[]> _bytes;
  std::int32_t _used = 0;
  std::int32_t _allocated = 0;
  bool _locked = false;
};

using ZRAsciiString = ZRByteString<zrrt::AsciiEncoding>;
using ZRUTF8String = ZRByteString<zrrt::Utf8Encoding>;
