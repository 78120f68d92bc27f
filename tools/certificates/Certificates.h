#pragma once

#include <chrono>
#include <string>
#include <vector>

/// Keys and certificates that are made here: those of makers, and throw-away ones for staging. What the
/// cryptographic library refuses throws std::runtime_error.
namespace certificates {

/// A certificate and its private key, both as PEM text.
struct Identity {
  std::string certificate;
  std::string privateKey;
};

/// An X.509 extension in the words of OpenSSL's configuration files: "keyUsage", "critical,digitalSignature".
struct Extension {
  std::string name;
  std::string value;
};

struct CertificateRequest {
  std::string commonName;
  std::chrono::system_clock::time_point notBefore;
  std::chrono::system_clock::time_point notAfter;
  std::vector<Extension> extensions;
};

/// A fresh P-256 key and a certificate for it that it has signed itself, with SHA-256.
[[nodiscard]] Identity makeSelfSigned(const CertificateRequest& request);

/// The same, signed by another.
[[nodiscard]] Identity issue(const CertificateRequest& request, const Identity& issuer);

}  // namespace certificates
