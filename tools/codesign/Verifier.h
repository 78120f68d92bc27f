#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tools/codesign/CodeSignatureError.h"

namespace codesign {

struct VerifyOptions {
  bool deep =
      false;  ///< nested bundles are verified too; otherwise only that their seals are the sealed ones
  bool strict = false;  ///< no file may have a set-user-ID or set-group-ID bit
};

/// Throws unless the bundle is signed by someone trusted (see verifyDetached) and is what was signed: every
/// sealed item is there and unchanged, and nothing else but empty folders is. Modes and times are not sealed.
void verifyBundle(const std::filesystem::path& bundle, const std::vector<std::string>& trustedCertificates,
                  const VerifyOptions& options);

}  // namespace codesign
