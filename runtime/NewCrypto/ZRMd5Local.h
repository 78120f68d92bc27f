#pragma once

#include <boost/shared_ptr.hpp>

#include "runtime/NewCrypto/IHash.h"
#include "runtime/NewCrypto/Md5.h"

namespace holcrypto {

/// MD5 (RFC 1321), computed here.
class ZRMd5Local : public IHash {
 public:
  /// Makes a hash that has passed its self-test and is ready for input.
  /// Fails: eNoMemory; eUnexpected when the self-test does not give the digest of "abc".
  static ZRResult create(boost::shared_ptr<IHash>& hash);

  /// What `create` does for a hash that was made by its constructor; before that nothing else works.
  ZRResult initialize();

  ZRResult update(ZRMemReader& input) override;
  ZRResult final(ZRMemBlock& output) override;
  ZRResult hash(ZRMemReader& input, ZRMemBlock& output) override;
  [[nodiscard]] std::size_t getDigestSize() const override { return kMd5DigestBytes; }
  [[nodiscard]] std::size_t getBlockSize() const override { return kMd5BlockBytes; }

 private:
  void reset();
  [[nodiscard]] ZRResult selfTest();
  ZRResult takeInput(ZRMemReader& input);
  ZRResult finish(ZRMemBlock& output);

  boost::shared_ptr<ZR_MD5_CTX> _context;
  bool _initialized = false;
  bool _ready = false;  ///< the context has been reset and takes input
};

}  // namespace holcrypto
