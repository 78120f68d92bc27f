#include "tools/codesign/Crypto.h"

#include <fcntl.h>
#include <openssl/cms.h>
#include <openssl/crypto.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>

#include "tools/certificates/OpenSsl.h"

namespace codesign {
namespace {

using certificates::Bio;
using certificates::CertificateHandle;
using certificates::contents;
using certificates::KeyHandle;
using certificates::Release;

using Cms = std::unique_ptr<CMS_ContentInfo, Release<CMS_ContentInfo_free>>;
using DigestContext = std::unique_ptr<EVP_MD_CTX, Release<EVP_MD_CTX_free>>;
using Store = std::unique_ptr<X509_STORE, Release<X509_STORE_free>>;

void require(bool done, const char* what) {
  if (!done) throw CodeSignatureError(certificates::failureText(what));
}

template <typename Handle>
Handle required(Handle handle, const char* what) {
  require(handle != nullptr, what);
  return handle;
}

Bio readingBio(const std::string& bytes) {
  return required(certificates::readingBio(bytes), "no memory");
}

CertificateHandle readCertificate(const std::string& pem) {
  return required(certificates::parseCertificate(pem), "the certificate cannot be read");
}

DigestContext beginSha256() {
  DigestContext context = required(DigestContext(EVP_MD_CTX_new()), "no memory");
  require(EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) == 1, "no SHA-256");
  return context;
}

Digest finish(const DigestContext& context) {
  Digest digest(32);
  require(EVP_DigestFinal_ex(context.get(), digest.data(), nullptr) == 1, "no SHA-256");
  return digest;
}

class OpenFile {
 public:
  explicit OpenFile(const std::string& path)
      : _path(path), _number(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)) {
    if (_number < 0) throw failure(std::strerror(errno));
    struct stat status {};
    if (fstat(_number, &status) != 0 || !S_ISREG(status.st_mode)) {
      close(_number);
      throw failure("not a regular file");
    }
  }
  ~OpenFile() { close(_number); }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  /// 0 at the end.
  template <std::size_t size>
  std::size_t read(std::array<char, size>& buffer) {
    ssize_t count = 0;
    do {
      count = ::read(_number, buffer.data(), buffer.size());
    } while (count < 0 && errno == EINTR);
    if (count < 0) throw failure(std::strerror(errno));
    return static_cast<std::size_t>(count);
  }

 private:
  [[nodiscard]] CodeSignatureError failure(const std::string& reason) const {
    return CodeSignatureError(_path + ": " + reason);
  }

  std::string _path;
  int _number;
};

Cms readSignature(const std::string& der) {
  const auto* next = reinterpret_cast<const unsigned char*>(der.data());
  const auto* end = next + der.size();
  Cms cms = required(Cms(d2i_CMS_ContentInfo(nullptr, &next, static_cast<long>(der.size()))),
                     "the signature cannot be read");
  if (next != end) throw CodeSignatureError("the signature is followed by something else");
  return cms;
}

bool isStrongDigest(CMS_SignerInfo* signer) {
  X509_ALGOR* algorithm = nullptr;
  CMS_SignerInfo_get0_algs(signer, nullptr, nullptr, &algorithm, nullptr);
  const int kind = algorithm != nullptr ? OBJ_obj2nid(algorithm->algorithm) : NID_undef;
  return kind == NID_sha256 || kind == NID_sha384 || kind == NID_sha512;
}

/// What the library's check of signatures lets pass: it finds nothing wrong with a signature by nobody.
void checkShape(CMS_ContentInfo* cms) {
  if (OBJ_obj2nid(CMS_get0_type(cms)) != NID_pkcs7_signed || CMS_is_detached(cms) != 1) {
    throw CodeSignatureError("the signature is no detached signature");
  }
  auto* signers = CMS_get0_SignerInfos(cms);
  if (signers == nullptr || sk_CMS_SignerInfo_num(signers) != 1) {
    throw CodeSignatureError("the signature is not by exactly one signer");
  }
  CMS_SignerInfo* signer = sk_CMS_SignerInfo_value(signers, 0);
  if (!isStrongDigest(signer)) throw CodeSignatureError("the signature's digest is too weak");
  if (CMS_signed_get_attr_count(signer) <= 0)
    throw CodeSignatureError("the signature has no signed attributes");
}

Store makeStore(const std::vector<std::string>& trusted) {
  Store store = required(Store(X509_STORE_new()), "no memory");
  for (const auto& pem : trusted)
    require(X509_STORE_add_cert(store.get(), readCertificate(pem).get()) == 1, "no memory");
  // A certificate in the store is trusted as it is, also when it is not self-signed. The purpose is checked
  // on the signer's certificate below: the library would ask for one that signs mail.
  X509_VERIFY_PARAM* rules = X509_STORE_get0_param(store.get());
  require(X509_VERIFY_PARAM_set_flags(rules, X509_V_FLAG_PARTIAL_CHAIN | X509_V_FLAG_X509_STRICT) == 1 &&
              X509_VERIFY_PARAM_set_purpose(rules, X509_PURPOSE_ANY) == 1,
          "no memory");
  X509_VERIFY_PARAM_set_auth_level(rules, 2);  // 112 bits: RSA of 2048, SHA-256
  return store;
}

void checkMeantForCode(CMS_ContentInfo* cms) {
  const auto releaseList = [](STACK_OF(X509) * list) { sk_X509_free(list); };
  const std::unique_ptr<STACK_OF(X509), decltype(releaseList)> signers(CMS_get0_signers(cms), releaseList);
  X509* certificate = sk_X509_num(signers.get()) == 1 ? sk_X509_value(signers.get(), 0) : nullptr;
  if (certificate == nullptr) throw CodeSignatureError("the signer's certificate is not there");
  const bool saysWhatFor = (X509_get_extension_flags(certificate) & EXFLAG_XKUSAGE) != 0;
  if (!saysWhatFor || (X509_get_extended_key_usage(certificate) & XKU_CODE_SIGN) == 0 ||
      (X509_get_key_usage(certificate) & KU_DIGITAL_SIGNATURE) == 0) {
    throw CodeSignatureError("the signer's certificate is not for code signing");
  }
}

}  // namespace

void ignoreLibrarySettings() {
  require(OPENSSL_init_crypto(OPENSSL_INIT_NO_LOAD_CONFIG, nullptr) == 1,
          "the cryptographic library does not start");
}

Digest sha256(const std::string& bytes) {
  const DigestContext context = beginSha256();
  require(EVP_DigestUpdate(context.get(), bytes.data(), bytes.size()) == 1, "no SHA-256");
  return finish(context);
}

Digest sha256OfFile(const std::string& path) {
  OpenFile file(path);
  const DigestContext context = beginSha256();
  std::array<char, 128 * 1024> buffer;
  while (const std::size_t count = file.read(buffer))
    require(EVP_DigestUpdate(context.get(), buffer.data(), count) == 1, "no SHA-256");
  return finish(context);
}

SigningIdentity makeSigningIdentity(const IdentityRequest& request) {
  return certificates::makeSelfSigned(
      {.commonName = request.commonName,
       .notBefore = request.notBefore,
       .notAfter = request.notAfter,
       .extensions = {{"basicConstraints", "critical,CA:FALSE"},
                      {"keyUsage", "critical,digitalSignature"},
                      {"extendedKeyUsage", request.forCodeSigning ? "codeSigning" : "serverAuth"},
                      {"subjectKeyIdentifier", "hash"}}});
}

SigningIdentity makeSigningIdentity(const std::string& commonName) {
  using namespace std::chrono_literals;
  const auto now = std::chrono::system_clock::now();
  // A little before now, for machines whose clocks are behind.
  return makeSigningIdentity(
      IdentityRequest{.commonName = commonName, .notBefore = now - 1h, .notAfter = now + 365 * 24h});
}

std::string signDetached(const std::string& bytes, const SigningIdentity& identity) {
  const CertificateHandle certificate = readCertificate(identity.certificate);
  const KeyHandle key =
      required(certificates::parsePrivateKey(identity.privateKey), "the private key cannot be read");
  const unsigned flags = CMS_DETACHED | CMS_BINARY | CMS_PARTIAL | CMS_NOSMIMECAP;
  const Cms cms = required(Cms(CMS_sign(nullptr, nullptr, nullptr, nullptr, flags)), "no memory");
  require(CMS_add1_signer(cms.get(), certificate.get(), key.get(), EVP_sha256(), flags) != nullptr,
          "the key does not belong to the certificate");
  require(CMS_final(cms.get(), readingBio(bytes).get(), nullptr, flags) == 1, "the bytes cannot be signed");
  const Bio der = required(certificates::writingBio(), "no memory");
  require(i2d_CMS_bio(der.get(), cms.get()) == 1, "no memory");
  return contents(der);
}

void verifyDetached(const std::string& bytes, const std::string& signature,
                    const std::vector<std::string>& trusted) {
  const Cms cms = readSignature(signature);
  checkShape(cms.get());
  const Store store = makeStore(trusted);
  const int good = CMS_verify(cms.get(), nullptr, store.get(), readingBio(bytes).get(), nullptr, CMS_BINARY);
  require(good == 1, "the signature does not hold");
  checkMeantForCode(cms.get());
}

}  // namespace codesign
