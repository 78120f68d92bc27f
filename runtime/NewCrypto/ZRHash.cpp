#include "runtime/NewCrypto/ZRHash.h"

#include <algorithm>

#include "runtime/Code/ZRLog.h"
#include "runtime/File/ZRFile.h"
#include "runtime/NewCrypto/ZRMd5Local.h"

namespace {

constexpr std::size_t kPieceBytes = 4096;
// A buffer as large as the file, up to this: a system call for each piece shows in the time.
constexpr std::size_t kMaxStreamBufferBytes = 128 * 1024;

ZRResult openForDigest(const ZRString& path, ZRFile& file) {
  ZR_RETURN_FAILURE(file.open(path, ZRFile::eRead, ZRFile::eOpenExisting));
  std::uint64_t sizeBytes = 0;
  ZR_RETURN_FAILURE(file.getSize(sizeBytes));
  if (sizeBytes > kPieceBytes) {
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(sizeBytes, kMaxStreamBufferBytes));
    ZR_RETURN_FAILURE(file.setBufferSize(wanted));
  }
  return ZRError::eNoError;
}

ZRResult hashStream(ZRFile& file, holcrypto::IHash& hash) {
  ZRMemBlock piece;
  ZR_RETURN_FAILURE(piece.resize(kPieceBytes));
  for (bool endOfFile = false; !endOfFile;) {
    std::size_t bytesRead = 0;
    ZR_RETURN_FAILURE(file.read(piece.data(), piece.size(), bytesRead, endOfFile));
    if (bytesRead == 0) continue;
    ZRMemReader input(piece.data(), bytesRead);
    ZR_RETURN_FAILURE(hash.update(input));
  }
  return ZRError::eNoError;
}

}  // namespace

ZRResult ZRHash::fileDigest(const ZRString& path, ZRMemBlock& digest) {
  boost::shared_ptr<holcrypto::IHash> hash;
  ZR_RETURN_FAILURE(holcrypto::ZRMd5Local::create(hash));
  ZRFile file;
  ZR_RETURN_FAILURE(openForDigest(path, file));
  ZR_RETURN_FAILURE(hashStream(file, *hash));
  ZR_RETURN_FAILURE(file.close());
  ZR_RETURN_FAILURE(hash->final(digest));
  return ZRError::eNoError;
}

ZRResult ZRHash::fileDigestText(const ZRString& path, ZRString& text) {
  ZRMemBlock digest;
  ZRResult result = fileDigest(path, digest);
  if (result.isFailure()) return result;
  result = digest.toHex(text);
  zrReport(ZRLogLevel::eWarning, result, "Error returned", ZR_HERE);
  text.toLower();
  return result;
}
