#pragma once

#include <cstdint>
#include <memory>

/// Bytes with a used and an allocated number, always zero-terminated; the terminating zero counts as
/// allocated, not as used. A buffer that nothing was stored in has allocated nothing.
class ZRByteBuffer {
 public:
  [[nodiscard]] const char* c_str() const noexcept { return _bytes ? _bytes.get() : ""; }
  [[nodiscard]] char* data() noexcept { return _bytes.get(); }
  [[nodiscard]] std::int32_t used() const noexcept { return _used; }
  [[nodiscard]] std::int32_t allocated() const noexcept { return _allocated; }
  /// Whether a zero byte stands before the end of what is used.
  [[nodiscard]] bool holdsZero() const noexcept;

  /// Allocates exactly that number (at least one), keeping what fits of the bytes.
  void allocate(std::int32_t size);
  /// At most what the allocation holds; -1: up to the first zero byte of the allocation.
  void setUsed(std::int32_t used) noexcept;

 private:
  std::unique_ptr<char[]> _bytes;
  std::int32_t _used = 0;
  std::int32_t _allocated = 0;
};
