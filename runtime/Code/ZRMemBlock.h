#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "runtime/Code/ZRResult.h"

/// A growable block of bytes.
class ZRMemBlock {
 public:
  ZRMemBlock() = default;
  ZRMemBlock(const void* bytes, std::size_t size);

  [[nodiscard]] std::uint8_t* data() noexcept { return _bytes.data(); }
  [[nodiscard]] const std::uint8_t* data() const noexcept { return _bytes.data(); }
  [[nodiscard]] std::size_t size() const noexcept { return _bytes.size(); }
  /// eNoMemory when the memory cannot be had; the block is then unchanged.
  ZRResult resize(std::size_t size);

  /// Two upper-case hexadecimal digits a byte, high nibble first, no separators.
  ZRResult toHex(ZRString& text) const;

 private:
  std::vector<std::uint8_t> _bytes;
};

/// Reads a run of bytes from front to back; the memory belongs to someone else and outlives the reader.
class ZRMemReader {
 public:
  explicit ZRMemReader(const ZRMemBlock& block) : ZRMemReader(block.data(), block.size()) {}
  ZRMemReader(const void* bytes, std::size_t size)
      : _next(static_cast<const std::uint8_t*>(bytes)), _unread(size) {}

  [[nodiscard]] const std::uint8_t* unreadData() const noexcept { return _next; }
  [[nodiscard]] std::size_t unreadSize() const noexcept { return _unread; }
  /// eEnd when fewer bytes than that are left; nothing is skipped then.
  ZRResult advance(std::size_t count);

 private:
  const std::uint8_t* _next;
  std::size_t _unread;
};
