#include "runtime/Strings/ZRNarrowStringBase.h"

#include <algorithm>
#include <cstring>

#include "runtime/Code/ZRResult.h"

std::size_t zrrt::releasedLength(const char* bytes, std::size_t room, std::int32_t told) {
  return told < 0 ? strnlen(bytes, room) : std::min(static_cast<std::size_t>(told), room);
}

char* ZRNarrowStringBase::getWritableBuffer(std::int32_t size) {
  if (_locked) zrAssertionFailed(ZR_HERE, "ZRNarrowStringBase was already locked in %s", __func__);
  _locked = true;
  _buffer.resize(std::max(_buffer.size(), static_cast<std::size_t>(std::max(size, 0))));
  return _buffer.data();
}

void ZRNarrowStringBase::releaseBuffer(std::int32_t newLength) {
  _buffer.resize(zrrt::releasedLength(_buffer.data(), _buffer.size(), newLength));
  _locked = false;
}
