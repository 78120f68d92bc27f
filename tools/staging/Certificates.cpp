#include "tools/staging/Certificates.h"

#include <openssl/bio.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <array>
#include <stdexcept>

namespace staging {
namespace {

template <auto Free>
struct Deleter {
  template <class Object>
  void operator()(Object* object) const {
    Free(object);
  }
};
using Key = std::unique_ptr<EVP_PKEY, Deleter<EVP_PKEY_free>>;
using X509Certificate = std::unique_ptr<X509, Deleter<X509_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, Deleter<X509_EXTENSION_free>>;
using Memory = std::unique_ptr<BIO, Deleter<BIO_free_all>>;

constexpr long kDay = 24L * 60 * 60;

/// The range of days, counted from now, in which a certificate counts.
struct Validity {
  long firstDay = -1;
  long lastDay = 30;
};

void check(bool succeeded, const char* what) {
  if (succeeded) return;
  std::array<char, 256> text{};
  ERR_error_string_n(ERR_get_error(), text.data(), text.size());
  throw std::runtime_error(std::string("staging certificates: ") + what + ": " + text.data());
}

Key makeKey() {
  Key key(EVP_EC_gen("P-256"));
  check(key != nullptr, "key");
  return key;
}

void setName(X509* certificate, const std::string& commonName) {
  X509_NAME* name = X509_get_subject_name(certificate);
  const auto* text = reinterpret_cast<const unsigned char*>(commonName.c_str());
  check(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8, text, -1, -1, 0) == 1, "name");
}

void setSerialNumber(X509* certificate) {
  std::uint64_t number = 0;
  std::array<unsigned char, 7> bytes{};
  check(RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) == 1, "random bytes");
  for (const unsigned char byte : bytes)
    number = number << 8 | byte;
  check(ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate), number) == 1, "serial number");
}

void addExtension(X509* certificate, int kind, const std::string& value) {
  const Extension extension(X509V3_EXT_conf_nid(nullptr, nullptr, kind, value.c_str()));
  check(extension && X509_add_ext(certificate, extension.get(), -1) == 1, "extension");
}

X509Certificate makeCertificate(const std::string& commonName, EVP_PKEY* key, Validity validity) {
  X509Certificate certificate(X509_new());
  check(certificate != nullptr, "certificate");
  X509_set_version(certificate.get(), X509_VERSION_3);
  setSerialNumber(certificate.get());
  setName(certificate.get(), commonName);
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), validity.firstDay * kDay);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), validity.lastDay * kDay);
  check(X509_set_pubkey(certificate.get(), key) == 1, "public key");
  return certificate;
}

template <class Write>
std::string pem(Write write) {
  const Memory memory(BIO_new(BIO_s_mem()));
  check(memory && write(memory.get()) == 1, "PEM");
  char* text = nullptr;
  const long length = BIO_get_mem_data(memory.get(), &text);
  return {text, static_cast<std::size_t>(length)};
}

std::string pem(X509* certificate) {
  return pem([&](BIO* memory) { return PEM_write_bio_X509(memory, certificate); });
}

std::string pem(EVP_PKEY* key) {
  return pem([&](BIO* memory) {
    return PEM_write_bio_PrivateKey(memory, key, nullptr, nullptr, 0, nullptr, nullptr);
  });
}

Validity validityOf(Certificate kind) {
  if (kind == Certificate::expired) return {.firstDay = -30, .lastDay = -1};
  if (kind == Certificate::notYetValid) return {.firstDay = 1, .lastDay = 30};
  return {};
}

}  // namespace

struct CertificateAuthority::Signer {
  explicit Signer(const std::string& name) : key(makeKey()), own(makeCertificate(name, key.get(), {})) {
    addExtension(own.get(), NID_basic_constraints, "critical,CA:TRUE");
    addExtension(own.get(), NID_key_usage, "critical,keyCertSign,cRLSign");
    sign(own.get());
  }

  void sign(X509* certificate) const {
    check(X509_set_issuer_name(certificate, X509_get_subject_name(own.get())) == 1, "issuer");
    check(X509_sign(certificate, key.get(), EVP_sha256()) != 0, "signature");
  }

  Key key;
  X509Certificate own;
};

CertificateAuthority::CertificateAuthority()
    : _signer(std::make_unique<Signer>("Vantora staging authority")),
      _stranger(std::make_unique<Signer>("A stranger")) {}

CertificateAuthority::~CertificateAuthority() = default;

std::string CertificateAuthority::certificate() const {
  return pem(_signer->own.get());
}

Identity CertificateAuthority::issue(const std::string& host, Certificate kind) const {
  const std::string name = kind == Certificate::wrongHost ? "another.invalid" : host;
  const Key key = makeKey();
  const X509Certificate certificate = makeCertificate(name, key.get(), validityOf(kind));
  addExtension(certificate.get(), NID_subject_alt_name, "DNS:" + name);
  addExtension(certificate.get(), NID_ext_key_usage, "serverAuth");
  if (kind == Certificate::selfSigned) {
    check(X509_set_issuer_name(certificate.get(), X509_get_subject_name(certificate.get())) == 1, "issuer");
    check(X509_sign(certificate.get(), key.get(), EVP_sha256()) != 0, "signature");
  } else {
    (kind == Certificate::unknownIssuer ? _stranger : _signer)->sign(certificate.get());
  }
  return {pem(certificate.get()), pem(key.get())};
}

}  // namespace staging
