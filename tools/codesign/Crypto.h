#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/certificates/Certificates.h"
#include "tools/codesign/CodeSignatureError.h"

namespace codesign {

/// 32 bytes.
using Digest = std::vector<std::uint8_t>;

/// Keeps settings files that the environment names from changing what the cryptographic library does. To be
/// called before anything else of this header in a program whose answer others trust.
void ignoreLibrarySettings();

[[nodiscard]] Digest sha256(const std::string& bytes);

/// Throws when the path is no regular file (a link is none) or cannot be read.
[[nodiscard]] Digest sha256OfFile(const std::string& path);

/// A maker's certificate and private key.
using SigningIdentity = certificates::Identity;

struct IdentityRequest {
  std::string commonName;
  std::chrono::system_clock::time_point notBefore;
  std::chrono::system_clock::time_point notAfter;
  bool forCodeSigning = true;  ///< the certificate says so, by its extended key usage
};

/// A fresh P-256 key and a self-signed certificate for it: for staging, and for makers who hand their
/// certificate to their users themselves. Throws std::runtime_error.
[[nodiscard]] SigningIdentity makeSigningIdentity(const IdentityRequest& request);
/// The same, for a year from now.
[[nodiscard]] SigningIdentity makeSigningIdentity(const std::string& commonName);

/// A detached CMS signature (RFC 5652 SignedData, DER) over the bytes, with SHA-256 and signed attributes.
/// The identity's certificate is in it.
[[nodiscard]] std::string signDetached(const std::string& bytes, const SigningIdentity& identity);

/// Throws unless `signature` is such a signature over the bytes, by one signer whose certificate is one of
/// `trusted` (PEM) or was issued, directly or through certificates in the signature, by one of them; is meant
/// for code signing; and is valid now. The signing time in a signature is its signer's own claim and without
/// weight: what was signed before its certificate expired has to be signed anew.
void verifyDetached(const std::string& bytes, const std::string& signature,
                    const std::vector<std::string>& trusted);

}  // namespace codesign
