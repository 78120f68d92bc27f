#include "tools/codesign/Signer.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "platform/FileContents.h"
#include "tools/codesign/BundleContents.h"

namespace codesign {
namespace {

namespace fs = std::filesystem;

constexpr const char* kCertificateFile = "certificate.pem";
constexpr const char* kKeyFile = "key.pem";
constexpr std::uint64_t kMaxPemBytes = 64 << 10;

void check(const platform::Error& error) {
  if (error.failed()) throw CodeSignatureError(error.description);
}

bool hasNameOfBundle(const std::string& path) {
  constexpr std::array<std::string_view, 6> kExtensions = {".app",       ".appex",  ".bundle",
                                                           ".framework", ".plugin", ".xpc"};
  return std::find(kExtensions.begin(), kExtensions.end(), fs::path(path).extension()) != kExtensions.end();
}

Seal describe(const fs::path& bundle, const std::vector<BundleItem>& items) {
  Seal seal;
  for (const auto& item : items)
    seal.emplace(item.path, describeItem(bundle, item));
  return seal;
}

/// The list form cannot hold every name that a file system can.
std::string toVerifiableList(const Seal& seal) {
  std::string bytes = toPropertyList(seal);
  if (sealFromPropertyList(bytes) != seal) throw CodeSignatureError("a name in the bundle cannot be sealed");
  return bytes;
}

}  // namespace

void signBundle(const fs::path& bundle, const SigningIdentity& identity) {
  const fs::path folder = bundle / signatureFolder(bundle);
  fs::remove_all(folder);
  const auto items = listBundle(bundle, hasNameOfBundle);
  for (const auto& item : items) {
    if (item.kind == SealedItem::Kind::bundle) signBundle(bundle / item.path, identity);
  }
  const std::string seal = toVerifiableList(describe(bundle, items));
  fs::create_directory(folder);
  check(platform::writeFileAtomically(folder / kSealFile, seal));
  check(platform::writeFileAtomically(folder / kSignatureFile, signDetached(seal, identity)));
}

void writeIdentity(const fs::path& folder, const SigningIdentity& identity) {
  fs::create_directories(folder);
  check(platform::writeFileAtomically(folder / kCertificateFile, identity.certificate));
  // Empty and closed to others before the key is in it.
  check(platform::writeFileAtomically(folder / kKeyFile, {}));
  fs::permissions(folder / kKeyFile, fs::perms::owner_read | fs::perms::owner_write);
  check(platform::writeFileAtomically(folder / kKeyFile, identity.privateKey));
}

SigningIdentity readIdentity(const fs::path& folder) {
  SigningIdentity identity;
  check(platform::readFile(folder / kCertificateFile, kMaxPemBytes, identity.certificate));
  check(platform::readFile(folder / kKeyFile, kMaxPemBytes, identity.privateKey));
  return identity;
}

}  // namespace codesign
