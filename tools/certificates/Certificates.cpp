#include "tools/certificates/Certificates.h"

#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <stdexcept>

#include "tools/certificates/OpenSsl.h"

namespace certificates {
namespace {

void require(bool done, const char* what) {
  if (!done) throw std::runtime_error(failureText(what));
}

template <typename Handle>
Handle required(Handle handle, const char* what) {
  require(handle != nullptr, what);
  return handle;
}

void setRandomSerialNumber(X509* certificate) {
  using Number = std::unique_ptr<BIGNUM, Release<BN_free>>;
  const Number number = required(Number(BN_new()), "no memory");
  require(BN_rand(number.get(), 127, BN_RAND_TOP_ANY, BN_RAND_BOTTOM_ANY) == 1, "no random number");
  require(BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate)) != nullptr, "no memory");
}

void setValidity(X509* certificate, const CertificateRequest& request) {
  using std::chrono::system_clock;
  const auto set = [](ASN1_TIME* time, system_clock::time_point value) {
    require(ASN1_TIME_set(time, system_clock::to_time_t(value)) != nullptr,
            "the date cannot be in a certificate");
  };
  set(X509_getm_notBefore(certificate), request.notBefore);
  set(X509_getm_notAfter(certificate), request.notAfter);
}

void setName(X509* certificate, const std::string& commonName) {
  X509_NAME* name = X509_get_subject_name(certificate);
  const auto* text = reinterpret_cast<const unsigned char*>(commonName.data());
  require(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8, text, static_cast<int>(commonName.size()), -1,
                                     0) == 1,
          "the name cannot be in a certificate");
}

void addExtension(X509* certificate, const Extension& wanted) {
  using Handle = std::unique_ptr<X509_EXTENSION, Release<X509_EXTENSION_free>>;
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
  const int kind = OBJ_txt2nid(wanted.name.c_str());
  const Handle extension =
      required(Handle(X509V3_EXT_conf_nid(nullptr, &context, kind, wanted.value.c_str())), "bad extension");
  require(X509_add_ext(certificate, extension.get(), -1) == 1, "no memory");
}

CertificateHandle makeUnsigned(const CertificateRequest& request, EVP_PKEY* key) {
  CertificateHandle certificate = required(CertificateHandle(X509_new()), "no memory");
  require(X509_set_version(certificate.get(), X509_VERSION_3) == 1, "no memory");
  setRandomSerialNumber(certificate.get());
  setValidity(certificate.get(), request);
  setName(certificate.get(), request.commonName);
  require(X509_set_pubkey(certificate.get(), key) == 1, "no memory");
  for (const Extension& extension : request.extensions)
    addExtension(certificate.get(), extension);
  return certificate;
}

void sign(X509* certificate, X509_NAME* issuer, EVP_PKEY* issuersKey) {
  require(X509_set_issuer_name(certificate, issuer) == 1, "no memory");
  require(X509_sign(certificate, issuersKey, EVP_sha256()) > 0, "the certificate cannot be signed");
}

KeyHandle makeKey() {
  return required(KeyHandle(EVP_EC_gen("P-256")), "no key could be made");
}

Identity toPem(X509* certificate, EVP_PKEY* key) {
  const Bio certificateText = required(writingBio(), "no memory");
  const Bio keyText = required(writingBio(), "no memory");
  require(PEM_write_bio_X509(certificateText.get(), certificate) == 1 &&
              PEM_write_bio_PrivateKey(keyText.get(), key, nullptr, nullptr, 0, nullptr, nullptr) == 1,
          "no memory");
  return {.certificate = contents(certificateText), .privateKey = contents(keyText)};
}

}  // namespace

Identity makeSelfSigned(const CertificateRequest& request) {
  const KeyHandle key = makeKey();
  const CertificateHandle certificate = makeUnsigned(request, key.get());
  sign(certificate.get(), X509_get_subject_name(certificate.get()), key.get());
  return toPem(certificate.get(), key.get());
}

Identity issue(const CertificateRequest& request, const Identity& issuer) {
  const auto issuersCertificate =
      required(parseCertificate(issuer.certificate), "the issuer's certificate cannot be read");
  const KeyHandle issuersKey =
      required(parsePrivateKey(issuer.privateKey), "the issuer's key cannot be read");
  const KeyHandle key = makeKey();
  const CertificateHandle certificate = makeUnsigned(request, key.get());
  sign(certificate.get(), X509_get_subject_name(issuersCertificate.get()), issuersKey.get());
  return toPem(certificate.get(), key.get());
}

}  // namespace certificates
