#include "tools/packager/Digest.h"

#include <stdexcept>

#include "runtime/NewCrypto/ZRHash.h"

namespace packager {

std::string md5OfFile(const std::filesystem::path& path) {
  ZRString text;
  if (const ZRResult result = ZRHash::fileDigestText(path.string(), text); result.isFailure()) {
    throw std::runtime_error(path.string() + " cannot be hashed: " + result.codeText().str() + " " +
                             result.message().str());
  }
  return text.str();
}

}  // namespace packager
