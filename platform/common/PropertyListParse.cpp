#include "platform/PropertyList.h"
#include "platform/common/PropertyListFormats.h"

namespace platform::plist {

Error parse(const std::string& bytes, Value& value) {
  if (bytes.size() > kMaxFileBytes) return malformed("it is too large");
  if (bytes.compare(0, kBinaryMagic.size(), kBinaryMagic) == 0) return parseBinary(bytes, value);
  return parseXml(bytes, value);
}

}  // namespace platform::plist
