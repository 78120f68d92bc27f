#include "runtime/NewCrypto/ZRMd5Local.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <new>
#include <string_view>

#include "runtime/Code/ZRLog.h"

namespace holcrypto {
namespace {

constexpr std::size_t kMaxInputBytes = 268435455;

// The digest of "abc", from the test suite of RFC 1321.
constexpr std::array<std::uint8_t, kMd5DigestBytes> kDigestOfAbc = {
    0x90, 0x01, 0x50, 0x98, 0x3C, 0xD2, 0x4F, 0xB0, 0xD6, 0x96, 0x3F, 0x7D, 0x28, 0xE1, 0x7F, 0x72};

ZRResult reported(const ZRResult& result, const ZRLocation& location) {
  if (result.isSuccess()) return result;
  zrReport(ZRLogLevel::eError, result, "Error occurred", location);
  return result.wrapped("Error occurred", location);
}

}  // namespace

ZRResult ZRMd5Local::create(boost::shared_ptr<IHash>& hash) {
  try {
    auto created = boost::make_shared<ZRMd5Local>();
    ZR_RETURN_FAILURE(created->initialize());
    hash = created;
    return ZRError::eNoError;
  } catch (const std::bad_alloc&) {
    return ZRResult(ZRError::eNoMemory).wrapped("Error returned", ZR_HERE);
  }
}

ZRResult ZRMd5Local::initialize() {
  try {
    _context = boost::make_shared<ZR_MD5_CTX>();
  } catch (const std::bad_alloc&) {
    return ZRResult(ZRError::eNoMemory).wrapped("Error returned", ZR_HERE);
  }
  _initialized = true;
  const ZRResult tested = selfTest();
  _initialized = tested.isSuccess();
  ZR_RETURN_FAILURE(tested);
  reset();
  return ZRError::eNoError;
}

// In two pieces, so that it shows as well that split input is hashed the same as whole input.
ZRResult ZRMd5Local::selfTest() {
  reset();
  for (const std::string_view piece : {"a", "bc"}) {
    ZRMemReader input(piece.data(), piece.size());
    ZR_RETURN_FAILURE(update(input));
  }
  ZRMemBlock digest;
  ZR_RETURN_FAILURE(final(digest));
  const bool same =
      std::equal(kDigestOfAbc.begin(), kDigestOfAbc.end(), digest.data(), digest.data() + digest.size());
  return same ? ZRError::eNoError : ZRError::eUnexpected;
}

void ZRMd5Local::reset() {
  md5Reset(*_context);
  _ready = true;
}

ZRResult ZRMd5Local::update(ZRMemReader& input) {
  return reported(takeInput(input), ZR_HERE);
}

ZRResult ZRMd5Local::takeInput(ZRMemReader& input) {
  if (!_initialized) return ZRError::eBadState;
  const std::size_t size = input.unreadSize();
  if (size > kMaxInputBytes) {
    return ZRResult(ZRError::eBadParameter, "Input is too large: Max allowed <%zu>. Actual <%zu>.",
                    kMaxInputBytes, size);
  }
  if (!_ready) reset();
  md5Update(*_context, input.unreadData(), size);
  ZR_RETURN_FAILURE(input.advance(size));
  return ZRError::eNoError;
}

ZRResult ZRMd5Local::final(ZRMemBlock& output) {
  return reported(finish(output), ZR_HERE);
}

ZRResult ZRMd5Local::finish(ZRMemBlock& output) {
  if (!_initialized) return ZRError::eBadState;
  if (!_ready) reset();  // a digest of nothing
  ZR_RETURN_FAILURE(output.resize(kMd5DigestBytes));
  md5Final(*_context, output.data());
  _ready = false;
  return ZRError::eNoError;
}

ZRResult ZRMd5Local::hash(ZRMemReader& input, ZRMemBlock& output) {
  ZR_RETURN_FAILURE(update(input));
  ZR_RETURN_FAILURE(final(output));
  return ZRError::eNoError;
}

}  // namespace holcrypto
