#pragma once

#include <filesystem>
#include <string>

#include "tools/codesign/Crypto.h"

namespace codesign {

/// Seals the bundle and signs the seal; what it had of both is replaced. A nested bundle is a folder in it
/// whose name ends in ".app", ".appex", ".bundle", ".framework", ".plugin" or ".xpc"; those are signed with
/// the same identity, innermost first. Throws for what could not be verified afterwards: links that lead
/// outside, special files, names that are no UTF-8 text.
void signBundle(const std::filesystem::path& bundle, const SigningIdentity& identity);

/// An identity as two files, "certificate.pem" and "key.pem", the latter for its owner only. Both throw.
void writeIdentity(const std::filesystem::path& folder, const SigningIdentity& identity);
[[nodiscard]] SigningIdentity readIdentity(const std::filesystem::path& folder);

}  // namespace codesign
