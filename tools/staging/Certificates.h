#pragma once

#include <memory>
#include <string>

#include "tools/staging/StagingServer.h"

namespace staging {

/// A certificate and its private key, both as PEM text.
struct Identity {
  std::string certificate;
  std::string privateKey;
};

/// A throw-away certificate authority. Throws std::runtime_error when the cryptographic library refuses.
class CertificateAuthority {
 public:
  CertificateAuthority();
  ~CertificateAuthority();

  [[nodiscard]] std::string certificate() const;
  /// A host's certificate, good or with the given defect.
  [[nodiscard]] Identity issue(const std::string& host, Certificate kind) const;

 private:
  struct Signer;
  std::unique_ptr<Signer> _signer;
  std::unique_ptr<Signer> _stranger;  // whom nobody trusts
};

}  // namespace staging
