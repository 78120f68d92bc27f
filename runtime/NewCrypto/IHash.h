#pragma once

#include <cstddef>

#include "runtime/Code/ZRMemBlock.h"
#include "runtime/Code/ZRResult.h"

namespace holcrypto {

/// A hash under way. One thread at a time. A failure is logged where it is found and returned.
class IHash {
 public:
  virtual ~IHash() = default;

  /// Adds the unread bytes of `input` and moves it to its end. After `final` this starts a new digest.
  /// Fails: eBadState before initialisation; eBadParameter for 268435456 bytes or more.
  virtual ZRResult update(ZRMemReader& input) = 0;
  /// Writes the digest, `getDigestSize()` bytes, into `output`. Without input since the last digest it is the
  /// digest of nothing. Fails: eBadState before initialisation; eNoMemory.
  virtual ZRResult final(ZRMemBlock& output) = 0;
  /// `update`, then `final`.
  virtual ZRResult hash(ZRMemReader& input, ZRMemBlock& output) = 0;
  /// Bytes.
  [[nodiscard]] virtual std::size_t getDigestSize() const = 0;
  /// Bytes.
  [[nodiscard]] virtual std::size_t getBlockSize() const = 0;
};

}  // namespace holcrypto
