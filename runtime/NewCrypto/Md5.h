#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace holcrypto {

/// The working context of MD5 (RFC 1321): the state words A to D, the number of bits taken so far, and the
/// bytes that do not fill a block yet. Zero-filled when made; to be reset before use.
struct ZR_MD5_CTX {
  std::array<std::uint32_t, 4> state{};
  std::uint64_t bitCount = 0;
  std::array<std::uint8_t, 64> buffer{};
};

inline constexpr std::size_t kMd5DigestBytes = 16;
inline constexpr std::size_t kMd5BlockBytes = 64;

void md5Reset(ZR_MD5_CTX& context);
void md5Update(ZR_MD5_CTX& context, const std::uint8_t* bytes, std::size_t size);
/// Writes the 16 bytes of the digest. The context must be reset before it takes input again.
void md5Final(ZR_MD5_CTX& context, std::uint8_t* digest);

}  // namespace holcrypto
