#pragma once

#include "runtime/Code/ZRMemBlock.h"
#include "runtime/Code/ZRResult.h"
#include "runtime/Strings/ZRString.h"

/// Digests of whole files. Any thread; keeps nothing between calls.
class ZRHash {
 public:
  /// The MD5 digest of the file, 16 bytes. Memory does not grow with the file. The file is not created.
  /// Fails: as `ZRFile::open` (eNotFound for a missing file, eIOError for what is no regular file) and
  /// `ZRFile::read`; as `holcrypto::ZRMd5Local`.
  static ZRResult fileDigest(const ZRString& path, ZRMemBlock& digest);
  /// The same digest as text: 32 hexadecimal digits in lower case, as `md5sum` writes it. Fails: as
  /// `fileDigest`, unchanged; as `ZRMemBlock::toHex`, which is logged at level 2.
  static ZRResult fileDigestText(const ZRString& path, ZRString& text);
};
