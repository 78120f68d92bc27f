#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace zrrt {

/// The length of a text whose writer has released its buffer: as told, but no more than the `room` that there
/// is, or up to the first zero byte for a negative one.
[[nodiscard]] std::size_t releasedLength(const char* bytes, std::size_t room, std::int32_t told);

}  // namespace zrrt

/// The shared buffer of the runtime's narrow strings: bytes with a used length and an allocated size, always
/// zero-terminated, and a lock flag that is set while a caller writes through `getWritableBuffer`.
class ZRNarrowStringBase {
 public:
  ZRNarrowStringBase() = default;

  [[nodiscard]] const char* c_str() const noexcept { return _buffer.c_str(); }
  [[nodiscard]] std::string_view view() const noexcept { return _buffer; }
  [[nodiscard]] const std::string& str() const noexcept { return _buffer; }
  [[nodiscard]] std::int32_t length() const noexcept { return static_cast<std::int32_t>(_buffer.size()); }
  [[nodiscard]] std::int32_t allocated() const noexcept {
    return static_cast<std::int32_t>(_buffer.capacity()) + 1;
  }
  [[nodiscard]] bool isEmpty() const noexcept { return _buffer.empty(); }

  /// A buffer of at least `size` bytes and a terminating zero, holding the present text. Locks the string: a
  /// second lock is reported as an assertion failure, "ZRNarrowStringBase was already locked in <function>".
  [[nodiscard]] char* getWritableBuffer(std::int32_t size);
  /// Ends the lock; the text is now `newLength` bytes long, or up to its first zero byte for -1.
  void releaseBuffer(std::int32_t newLength = -1);
  [[nodiscard]] bool isLocked() const noexcept { return _locked; }

 protected:
  explicit ZRNarrowStringBase(std::string text) : _buffer(std::move(text)) {}

  std::string _buffer;
  bool _locked = false;
};
