#include "runtime/NewCrypto/Md5.h"

#include <algorithm>
#include <cstring>

namespace holcrypto {
namespace {

// The four rounds are one chain of dependent operations, 64 steps long, and its length is the time that a
// block takes. So each step adds early whatever does not depend on the step before (`b`), and the term with
// `b` last. The two halves of G never have a bit in common, so they may be added one by one instead of being
// OR-ed first.

constexpr std::uint32_t rotateLeft(std::uint32_t value, int bits) {
  return (value << bits) | (value >> (32 - bits));
}

// Keeps a compiler from putting what was added early behind what comes last.
inline void keepOrder([[maybe_unused]] std::uint32_t& sum) {
#ifdef __clang__
  __asm__("" : "+r"(sum));
#endif
}

inline void stepF(std::uint32_t& a, std::uint32_t b, std::uint32_t c, std::uint32_t d, std::uint32_t word,
                  std::uint32_t constant, int bits) {
  a += word + constant;
  keepOrder(a);
  a += d ^ (b & (c ^ d));
  a = rotateLeft(a, bits) + b;
}

inline void stepG(std::uint32_t& a, std::uint32_t b, std::uint32_t c, std::uint32_t d, std::uint32_t word,
                  std::uint32_t constant, int bits) {
  a += word + constant;
  a += ~d & c;
  keepOrder(a);
  a += d & b;
  a = rotateLeft(a, bits) + b;
}

inline void stepH(std::uint32_t& a, std::uint32_t b, std::uint32_t c, std::uint32_t d, std::uint32_t word,
                  std::uint32_t constant, int bits) {
  a += word + constant;
  keepOrder(a);
  a += (c ^ d) ^ b;
  a = rotateLeft(a, bits) + b;
}

inline void stepI(std::uint32_t& a, std::uint32_t b, std::uint32_t c, std::uint32_t d, std::uint32_t word,
                  std::uint32_t constant, int bits) {
  a += word + constant;
  keepOrder(a);
  a += c ^ (b | ~d);
  a = rotateLeft(a, bits) + b;
}

std::uint32_t loadWord(const std::uint8_t* bytes) {
  return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
         static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

void storeWord(std::uint32_t word, std::uint8_t* bytes) {
  for (int i = 0; i < 4; ++i)
    bytes[i] = static_cast<std::uint8_t>(word >> (8 * i));
}

// Four steps of a round: the words of the block that they take, their constants.
#define MD5_FOUR_STEPS(step, x0, k0, s0, x1, k1, s1, x2, k2, s2, x3, k3, s3) \
  step(a, b, c, d, word(x0), k0, s0);                                        \
  step(d, a, b, c, word(x1), k1, s1);                                        \
  step(c, d, a, b, word(x2), k2, s2);                                        \
  step(b, c, d, a, word(x3), k3, s3)

void transform(std::array<std::uint32_t, 4>& state, const std::uint8_t* bytes, std::size_t blocks) {
  std::uint32_t a = state[0];
  std::uint32_t b = state[1];
  std::uint32_t c = state[2];
  std::uint32_t d = state[3];
  for (; blocks > 0; --blocks, bytes += kMd5BlockBytes) {
    const auto word = [bytes](int index) { return loadWord(bytes + 4 * index); };
    const std::uint32_t beforeA = a;
    const std::uint32_t beforeB = b;
    const std::uint32_t beforeC = c;
    const std::uint32_t beforeD = d;
    MD5_FOUR_STEPS(stepF, 0, 0xd76aa478, 7, 1, 0xe8c7b756, 12, 2, 0x242070db, 17, 3, 0xc1bdceee, 22);
    MD5_FOUR_STEPS(stepF, 4, 0xf57c0faf, 7, 5, 0x4787c62a, 12, 6, 0xa8304613, 17, 7, 0xfd469501, 22);
    MD5_FOUR_STEPS(stepF, 8, 0x698098d8, 7, 9, 0x8b44f7af, 12, 10, 0xffff5bb1, 17, 11, 0x895cd7be, 22);
    MD5_FOUR_STEPS(stepF, 12, 0x6b901122, 7, 13, 0xfd987193, 12, 14, 0xa679438e, 17, 15, 0x49b40821, 22);
    MD5_FOUR_STEPS(stepG, 1, 0xf61e2562, 5, 6, 0xc040b340, 9, 11, 0x265e5a51, 14, 0, 0xe9b6c7aa, 20);
    MD5_FOUR_STEPS(stepG, 5, 0xd62f105d, 5, 10, 0x02441453, 9, 15, 0xd8a1e681, 14, 4, 0xe7d3fbc8, 20);
    MD5_FOUR_STEPS(stepG, 9, 0x21e1cde6, 5, 14, 0xc33707d6, 9, 3, 0xf4d50d87, 14, 8, 0x455a14ed, 20);
    MD5_FOUR_STEPS(stepG, 13, 0xa9e3e905, 5, 2, 0xfcefa3f8, 9, 7, 0x676f02d9, 14, 12, 0x8d2a4c8a, 20);
    MD5_FOUR_STEPS(stepH, 5, 0xfffa3942, 4, 8, 0x8771f681, 11, 11, 0x6d9d6122, 16, 14, 0xfde5380c, 23);
    MD5_FOUR_STEPS(stepH, 1, 0xa4beea44, 4, 4, 0x4bdecfa9, 11, 7, 0xf6bb4b60, 16, 10, 0xbebfbc70, 23);
    MD5_FOUR_STEPS(stepH, 13, 0x289b7ec6, 4, 0, 0xeaa127fa, 11, 3, 0xd4ef3085, 16, 6, 0x04881d05, 23);
    MD5_FOUR_STEPS(stepH, 9, 0xd9d4d039, 4, 12, 0xe6db99e5, 11, 15, 0x1fa27cf8, 16, 2, 0xc4ac5665, 23);
    MD5_FOUR_STEPS(stepI, 0, 0xf4292244, 6, 7, 0x432aff97, 10, 14, 0xab9423a7, 15, 5, 0xfc93a039, 21);
    MD5_FOUR_STEPS(stepI, 12, 0x655b59c3, 6, 3, 0x8f0ccc92, 10, 10, 0xffeff47d, 15, 1, 0x85845dd1, 21);
    MD5_FOUR_STEPS(stepI, 8, 0x6fa87e4f, 6, 15, 0xfe2ce6e0, 10, 6, 0xa3014314, 15, 13, 0x4e0811a1, 21);
    MD5_FOUR_STEPS(stepI, 4, 0xf7537e82, 6, 11, 0xbd3af235, 10, 2, 0x2ad7d2bb, 15, 9, 0xeb86d391, 21);
    a += beforeA;
    b += beforeB;
    c += beforeC;
    d += beforeD;
  }
  state = {a, b, c, d};
}

#undef MD5_FOUR_STEPS

}  // namespace

void md5Reset(ZR_MD5_CTX& context) {
  context = ZR_MD5_CTX{};
  context.state = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
}

void md5Update(ZR_MD5_CTX& context, const std::uint8_t* bytes, std::size_t size) {
  if (size == 0) return;
  const std::size_t held = context.bitCount / 8 % kMd5BlockBytes;
  context.bitCount += static_cast<std::uint64_t>(size) * 8;
  if (held > 0) {
    const std::size_t taken = std::min(size, kMd5BlockBytes - held);
    std::memcpy(context.buffer.data() + held, bytes, taken);
    if (held + taken < kMd5BlockBytes) return;
    transform(context.state, context.buffer.data(), 1);
    bytes += taken;
    size -= taken;
  }
  const std::size_t whole = size / kMd5BlockBytes;
  transform(context.state, bytes, whole);
  const std::size_t rest = size % kMd5BlockBytes;
  if (rest > 0) std::memcpy(context.buffer.data(), bytes + whole * kMd5BlockBytes, rest);
}

void md5Final(ZR_MD5_CTX& context, std::uint8_t* digest) {
  static constexpr std::array<std::uint8_t, kMd5BlockBytes> kPadding = {0x80};
  const std::uint64_t bitCount = context.bitCount;
  const std::size_t held = bitCount / 8 % kMd5BlockBytes;
  md5Update(context, kPadding.data(), (held < 56 ? 56 : 120) - held);
  std::array<std::uint8_t, 8> length;
  storeWord(static_cast<std::uint32_t>(bitCount), length.data());
  storeWord(static_cast<std::uint32_t>(bitCount >> 32), length.data() + 4);
  md5Update(context, length.data(), length.size());
  for (std::size_t i = 0; i < context.state.size(); ++i)
    storeWord(context.state[i], digest + 4 * i);
}

}  // namespace holcrypto
