#pragma once

#include <string>

#include "tools/certificates/Certificates.h"
#include "tools/staging/StagingServer.h"

namespace staging {

/// A throw-away certificate authority. Throws std::runtime_error when the cryptographic library refuses.
class CertificateAuthority {
 public:
  CertificateAuthority();

  /// As PEM text.
  [[nodiscard]] const std::string& certificate() const { return _authority.certificate; }
  /// A host's certificate, good or with the given defect.
  [[nodiscard]] certificates::Identity issue(const std::string& host, Certificate kind) const;

 private:
  certificates::Identity _authority;
  certificates::Identity _stranger;  // whom nobody trusts
};

}  // namespace staging
