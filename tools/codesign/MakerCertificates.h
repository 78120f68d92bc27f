#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tools/codesign/CodeSignatureError.h"

namespace codesign {

/// Where the certificates of the makers whose signatures count are installed:
/// "../share/vantora/signing-certificates" beside the folder of the verifier's executable. Nothing else adds
/// to them: no variable and no file of a user.
[[nodiscard]] std::filesystem::path makerCertificateFolder(const std::filesystem::path& verifier);

/// The folder's "*.pem" files, one certificate each. Throws when there is none, when one cannot be read, and
/// when somebody else than root and the user this runs for could have put them there: the files, the folder
/// and every folder above it must belong to one of the two and be writable for nobody else (for a group only
/// when it is the owner's private one; above the folder also where the sticky bit protects what is in it),
/// and none of them may be a link.
[[nodiscard]] std::vector<std::string> readMakerCertificates(const std::filesystem::path& folder);

}  // namespace codesign
