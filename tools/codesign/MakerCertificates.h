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
/// when anyone could have written them.
[[nodiscard]] std::vector<std::string> readMakerCertificates(const std::filesystem::path& folder);

}  // namespace codesign
