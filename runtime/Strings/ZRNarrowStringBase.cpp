#include "runtime/Strings/ZRNarrowStringBase.h"

#include <algorithm>
#include <cstring>

#include "runtime/Code/ZRResult.h"

char* ZRNarrowStringBase::getWritableBuffer(std::int32_t size) {
  if (_locked) zrAssertionFailed(ZR_HERE, "ZRNarrowStringBase was already locked in %s", __func__);
  _locked = true;
  _buffer.resize(std::max(_buffer.size(), static_cast<std::size_t>(std::max(size, 0))));
  return _buffer.data();
}

void ZRNarrowStringBase::releaseBuffer(std::int32_t newLength) {
  const std::size_t available = _buffer.size();
  const std::size_t length = newLength < 0 ? strnlen(_buffer.data(), available)
                                           : std::min(static_cast<std::size_t>(newLength), available);
  _buffer.resize(length);
  _locked = false;
}
