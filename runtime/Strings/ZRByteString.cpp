#include "runtime/Strings/ZRByteString.h"

#include <algorithm>
#include <type_traits>
#include <utility>

#include "runtime/Strings/ZRUtf8.h"

namespace zrrt {

bool AsciiEncoding::holds(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char c) { return (c & 0x80) != 0; });
}

bool Utf8Encoding::holds(std::string_view text) {
  return isUtf8(text);
}

}  // namespace zrrt

/// `text` may lie in the bytes that are given up.
template <typename Encoding>
void ZRByteString<Encoding>::reallocate(std::int32_t size, std::string_view text) {
  const std::int32_t allocated = std::max(size, 1);
  auto bytes = std::make_unique<char[]>(static_cast<std::size_t>(allocated));
  text.copy(bytes.get(), static_cast<std::size_t>(allocated - 1));
  _bytes = std::move(bytes);
  _allocated = allocated;
}

template <typename Encoding>
ZRResult ZRByteString<Encoding>::assign(const char* text) {
  ZR_CHECK_PARAMETER(text);
  const std::string_view taken(text);
  if (!Encoding::holds(taken)) return ZRError::eBadFormat;
  const auto used = static_cast<std::int32_t>(taken.size());
  reallocate(used + 1, taken);
  _used = used;
  return ZRError::eNoError;
}

template <typename Encoding>
void ZRByteString<Encoding>::setNumBytesAllocated(std::int32_t numBytes) {
  const std::string_view text(c_str(), static_cast<std::size_t>(_used));
  if (std::is_same_v<Encoding, zrrt::Utf8Encoding> && text.find('\0') != std::string_view::npos) {
    zrAssertionFailed(ZR_HERE,
                      "ZRUTF8String::setNumBytesAllocated - internal consistency BAD - found NULL prior to "
                      "_numBytesUsed");
  }
  reallocate(numBytes, text);
  _used = std::min(_used, _allocated - 1);
}

template <typename Encoding>
char* ZRByteString<Encoding>::getWritableBuffer(std::int32_t size) {
  if (_locked) zrAssertionFailed(ZR_HERE, "%s was already locked in %s", Encoding::kStringName, __func__);
  _locked = true;
  const std::int32_t needed = std::max(size, 0) + 1;
  // All that is allocated, not only what is used: the caller may be writing there already.
  const auto held = static_cast<std::size_t>(std::max(_allocated - 1, 0));
  if (needed > _allocated) reallocate(needed, {c_str(), held});
  return _bytes.get();
}

template <typename Encoding>
void ZRByteString<Encoding>::releaseBuffer(std::int32_t newLength) {
  _locked = false;
  if (_allocated == 0) return;
  const std::size_t used =
      zrrt::releasedLength(_bytes.get(), static_cast<std::size_t>(_allocated - 1), newLength);
  _used = static_cast<std::int32_t>(used);
  _bytes[used] = '\0';
}

template class ZRByteString<zrrt::AsciiEncoding>;
template class ZRByteString<zrrt::Utf8Encoding>;
