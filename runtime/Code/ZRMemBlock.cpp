#include "runtime/Code/ZRMemBlock.h"

#include <new>
#include <stdexcept>

ZRMemBlock::ZRMemBlock(const void* bytes, std::size_t size)
    : _bytes(static_cast<const std::uint8_t*>(bytes), static_cast<const std::uint8_t*>(bytes) + size) {}

ZRResult ZRMemBlock::resize(std::size_t size) {
  try {
    _bytes.resize(size);
  } catch (const std::bad_alloc&) {
    return ZRError::eNoMemory;
  } catch (const std::length_error&) {
    return ZRError::eNoMemory;
  }
  return ZRError::eNoError;
}

ZRResult ZRMemBlock::toHex(ZRString& text) const {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string digits;
  digits.reserve(2 * _bytes.size());
  for (const std::uint8_t byte : _bytes) {
    digits += kDigits[byte >> 4];
    digits += kDigits[byte & 15];
  }
  text = ZRString(std::move(digits));
  return ZRError::eNoError;
}

ZRResult ZRMemReader::advance(std::size_t count) {
  if (count > _unread) return ZRError::eEnd;
  _next += count;
  _unread -= count;
  return ZRError::eNoError;
}
