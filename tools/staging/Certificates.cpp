#include "tools/staging/Certificates.h"

#include <chrono>

namespace staging {
namespace {

using certificates::CertificateRequest;
using certificates::Identity;

/// The days, counted from now, in which a certificate counts.
CertificateRequest validFor(int firstDay, int lastDay) {
  constexpr std::chrono::hours kDay{24};
  const auto now = std::chrono::system_clock::now();
  CertificateRequest request;
  request.notBefore = now + firstDay * kDay;
  request.notAfter = now + lastDay * kDay;
  return request;
}

CertificateRequest validAs(Certificate kind) {
  if (kind == Certificate::expired) return validFor(-30, -1);
  if (kind == Certificate::notYetValid) return validFor(1, 30);
  return validFor(-1, 30);
}

Identity makeAuthority(const char* name) {
  CertificateRequest request = validFor(-1, 30);
  request.commonName = name;
  request.extensions = {{"basicConstraints", "critical,CA:TRUE"},
                        {"keyUsage", "critical,keyCertSign,cRLSign"}};
  return certificates::makeSelfSigned(request);
}

}  // namespace

CertificateAuthority::CertificateAuthority()
    : _authority(makeAuthority("Vantora staging authority")), _stranger(makeAuthority("A stranger")) {}

Identity CertificateAuthority::issue(const std::string& host, Certificate kind) const {
  CertificateRequest request = validAs(kind);
  request.commonName = kind == Certificate::wrongHost ? "another.invalid" : host;
  request.extensions = {{"subjectAltName", "DNS:" + request.commonName}, {"extendedKeyUsage", "serverAuth"}};
  if (kind == Certificate::selfSigned) return certificates::makeSelfSigned(request);
  return certificates::issue(request, kind == Certificate::unknownIssuer ? _stranger : _authority);
}

}  // namespace staging
