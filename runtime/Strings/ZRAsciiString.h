#pragma once

#include "runtime/Code/ZRResult.h"
#include "runtime/Strings/ZRByteBuffer.h"

/// A string of ASCII characters that shows how many bytes it uses and has allocated.
class ZRAsciiString {
 public:
  ZRAsciiString() = default;

  /// Takes over a text. Fails, changing nothing: eBadParameter for a null text, eBadFormat for one with other
  /// than ASCII characters.
  ZRResult assign(const char* text);

  [[nodiscard]] const char* c_str() const noexcept { return _buffer.c_str(); }
  [[nodiscard]] std::int32_t numBytesUsed() const noexcept { return _buffer.used(); }
  [[nodiscard]] std::int32_t numBytesAllocated() const noexcept { return _buffer.allocated(); }
  /// Allocates exactly that number of bytes, the terminating zero included; what does not fit is cut.
  void setNumBytesAllocated(std::int32_t numBytes);

  /// A buffer for at least `size` bytes and a terminating zero, holding the present text. Locks the string: a
  /// second lock is reported as an assertion failure, "ZRAsciiString was already locked in <function>".
  [[nodiscard]] char* getWritableBuffer(std::int32_t size);
  /// Ends the lock; the text is now `newLength` bytes long, or up to its first zero byte for -1.
  void releaseBuffer(std::int32_t newLength = -1);
  [[nodiscard]] bool isLocked() const noexcept { return _locked; }

 private:
  ZRByteBuffer _buffer;
  bool _locked = false;
};
