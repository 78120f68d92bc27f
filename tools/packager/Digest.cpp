#include "tools/packager/Digest.h"

#include "runtime/NewCrypto/ZRHash.h"
#include "tools/packager/Archive.h"

namespace packager {

std::string md5OfFile(const std::filesystem::path& path) {
  ZRMemBlock digest;
  ZRString text;
  ZRResult result = ZRHash::fileDigest(path.string(), digest);
  if (result.isSuccess()) result = digest.toHex(text);
  if (result.isFailure()) {
    throw PackagingError(path.string() + " cannot be hashed: " + result.codeText().str() + " " +
                         result.message().str());
  }
  text.toLower();
  return text.str();
}

}  // namespace packager
