#include "runtime/Strings/ZRAsciiString.h"

#include <algorithm>
#include <cstring>

ZRResult ZRAsciiString::assign(const char* text) {
  ZR_CHECK_PARAMETER(text);
  const std::size_t length = std::strlen(text);
  if (std::any_of(text, text + length, [](char c) { return (c & 0x80) != 0; })) return ZRError::eBadFormat;
  const auto used = static_cast<std::int32_t>(length);
  _buffer.allocate(used + 1);
  std::memcpy(_buffer.data(), text, length);
  _buffer.setUsed(used);
  return ZRError::eNoError;
}

void ZRAsciiString::setNumBytesAllocated(std::int32_t numBytes) {
  _buffer.allocate(numBytes);
}

char* ZRAsciiString::getWritableBuffer(std::int32_t size) {
  if (_locked) zrAssertionFailed(ZR_HERE, "ZRAsciiString was already locked in %s", __func__);
  _locked = true;
  if (const std::int32_t needed = std::max(size, 0) + 1; needed > _buffer.allocated())
    _buffer.allocate(needed);
  return _buffer.data();
}

void ZRAsciiString::releaseBuffer(std::int32_t newLength) {
  _buffer.setUsed(newLength);
  _locked = false;
}
