#include "runtime/Strings/ZRByteBuffer.h"

#include <algorithm>
#include <cstring>

bool ZRByteBuffer::holdsZero() const noexcept {
  return std::memchr(c_str(), '\0', static_cast<std::size_t>(_used)) != nullptr;
}

void ZRByteBuffer::allocate(std::int32_t size) {
  const std::int32_t allocated = std::max(size, 1);
  auto bytes = std::make_unique<char[]>(static_cast<std::size_t>(allocated));
  const std::int32_t kept = std::min(_used, allocated - 1);
  std::memcpy(bytes.get(), c_str(), static_cast<std::size_t>(kept));
  _bytes = std::move(bytes);
  _used = kept;
  _allocated = allocated;
}

void ZRByteBuffer::setUsed(std::int32_t used) noexcept {
  if (_allocated == 0) return;
  const auto room = static_cast<std::size_t>(_allocated - 1);
  _used = used < 0 ? static_cast<std::int32_t>(strnlen(_bytes.get(), room)) : std::min(used, _allocated - 1);
  _bytes[static_cast<std::size_t>(_used)] = '\0';
}
