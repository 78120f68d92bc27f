#include "runtime/Strings/ZRByteBuffer.h"

#include <algorithm>
#include <cstring>
#include <utility>

bool ZRByteBuffer::holdsZero() const noexcept {
  return std::memchr(c_str(), '\0', static_cast<std::size_t>(_used)) != nullptr;
}

void ZRByteBuffer::allocate(std::int32_t size) {
  const std::int32_t allocated = std::max(size, 1);
  auto bytes = std::make_unique<char[]>(static_cast<std::size_t>(allocated));
  if (_bytes) {
    std::memcpy(bytes.get(), _bytes.get(), static_cast<std::size_t>(std::min(_allocated, allocated) - 1));
  }
  _bytes = std::move(bytes);
  _used = std::min(_used, allocated - 1);
  _allocated = allocated;
}

void ZRByteBuffer::setUsed(std::int32_t used) noexcept {
  if (_allocated == 0) return;
  const auto room = static_cast<std::size_t>(_allocated - 1);
  _used = used < 0 ? static_cast<std::int32_t>(strnlen(_bytes.get(), room)) : std::min(used, _allocated - 1);
  _bytes[static_cast<std::size_t>(_used)] = '\0';
}
