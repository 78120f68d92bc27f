#include "tools/codesign/Verifier.h"

#include "tools/codesign/BundleContents.h"

namespace codesign {
namespace {

namespace fs = std::filesystem;

/// The seal, believed only because someone trusted signed it.
Seal readTrustedSeal(const fs::path& bundle, const std::vector<std::string>& trustedCertificates) {
  const std::string bytes = readSealFile(bundle);
  verifyDetached(bytes, readSignatureFile(bundle), trustedCertificates);
  return sealFromPropertyList(bytes);
}

std::vector<BundleItem> listAsSealed(const fs::path& bundle, const Seal& seal) {
  return listBundle(bundle, [&seal](const std::string& path) {
    const auto sealed = seal.find(path);
    return sealed != seal.end() && sealed->second.kind == SealedItem::Kind::bundle;
  });
}

/// Before anything is read: what is not sealed may be of any size.
void checkNames(const std::vector<BundleItem>& items, const Seal& seal) {
  auto sealed = seal.begin();
  for (const auto& item : items) {
    if (sealed == seal.end() || item.path < sealed->first) {
      throw CodeSignatureError(item.path + " was added: it is not sealed");
    }
    if (item.path != sealed->first) break;
    ++sealed;
  }
  if (sealed != seal.end()) throw CodeSignatureError(sealed->first + " is sealed but missing");
}

void checkItem(const fs::path& bundle, const BundleItem& item, const SealedItem& sealed, bool strict) {
  if (strict && item.changesUser) throw CodeSignatureError(item.path + " runs as another user");
  if (item.kind != sealed.kind || describeItem(bundle, item) != sealed) {
    throw CodeSignatureError(item.path + " was altered");
  }
}

void verifyNested(const fs::path& bundle, const std::string& path,
                  const std::vector<std::string>& trustedCertificates, const VerifyOptions& options) {
  try {
    verifyBundle(bundle / path, trustedCertificates, options);
  } catch (const CodeSignatureError& error) {
    throw CodeSignatureError("in " + path + ": " + error.what());
  }
}

}  // namespace

void verifyBundle(const fs::path& bundle, const std::vector<std::string>& trustedCertificates,
                  const VerifyOptions& options) {
  if (fs::symlink_status(bundle).type() != fs::file_type::directory) throw CodeSignatureError("not a bundle");
  const Seal seal = readTrustedSeal(bundle, trustedCertificates);
  const auto items = listAsSealed(bundle, seal);
  checkNames(items, seal);
  for (const auto& item : items) {
    checkItem(bundle, item, seal.at(item.path), options.strict);
    if (options.deep && item.kind == SealedItem::Kind::bundle) {
      verifyNested(bundle, item.path, trustedCertificates, options);
    }
  }
}

}  // namespace codesign
