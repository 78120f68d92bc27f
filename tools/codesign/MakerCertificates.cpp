#include "tools/codesign/MakerCertificates.h"

#include "platform/FileManager.h"

namespace codesign {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kMaxPemBytes = 64 << 10;

void checkNotOpenToAll(const fs::path& path) {
  if ((fs::status(path).permissions() & fs::perms::others_write) != fs::perms::none) {
    throw CodeSignatureError(path.string() + " can be written by anyone");
  }
}

}  // namespace

fs::path makerCertificateFolder(const fs::path& verifier) {
  return verifier.parent_path().parent_path() / "share/vantora/signing-certificates";
}

std::vector<std::string> readMakerCertificates(const fs::path& folder) {
  std::vector<std::string> certificates;
  if (!fs::is_directory(folder)) throw CodeSignatureError("no maker certificates in " + folder.string());
  checkNotOpenToAll(folder);
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (entry.path().extension() != ".pem") continue;
    checkNotOpenToAll(entry.path());
    const auto error = platform::readFile(entry.path(), kMaxPemBytes, certificates.emplace_back());
    if (error.failed()) throw CodeSignatureError(error.description);
  }
  if (certificates.empty()) throw CodeSignatureError("no maker certificates in " + folder.string());
  return certificates;
}

}  // namespace codesign
