#include "runtime/Strings/ZRUTF8String.h"

#include <algorithm>
#include <cstring>

#include "runtime/Strings/ZRUtf8.h"

ZRResult ZRUTF8String::assign(const char* text) {
  ZR_CHECK_PARAMETER(text);
  const std::size_t length = std::strlen(text);
  if (!zrrt::isUtf8({text, length})) return ZRError::eBadFormat;
  const auto used = static_cast<std::int32_t>(length);
  _buffer.allocate(used + 1);
  std::memcpy(_buffer.data(), text, length);
  _buffer.setUsed(used);
  return ZRError::eNoError;
}

void ZRUTF8String::setNumBytesAllocated(std::int32_t numBytes) {
  if (_buffer.holdsZero()) {
    zrAssertionFailed(ZR_HERE,
                      "ZRUTF8String::setNumBytesAllocated - internal consistency BAD - found NULL prior to "
                      "_numBytesUsed");
  }
  _buffer.allocate(numBytes);
}

char* ZRUTF8String::getWritableBuffer(std::int32_t size) {
  if (_locked) zrAssertionFailed(ZR_HERE, "ZRUTF8String was already locked in %s", __func__);
  _locked = true;
  if (const std::int32_t needed = std::max(size, 0) + 1; needed > _buffer.allocated())
    _buffer.allocate(needed);
  return _buffer.data();
}

void ZRUTF8String::releaseBuffer(std::int32_t newLength) {
  _buffer.setUsed(newLength);
  _locked = false;
}
