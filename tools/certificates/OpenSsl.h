#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

/// @file
/// Handles of the cryptographic library. Those that hold null could not be made; `failureText` says why.

namespace certificates {

template <auto release>
struct Release {
  template <typename Object>
  void operator()(Object* object) const {
    release(object);
  }
};

using Bio = std::unique_ptr<BIO, Release<BIO_free_all>>;
using CertificateHandle = std::unique_ptr<X509, Release<X509_free>>;
using KeyHandle = std::unique_ptr<EVP_PKEY, Release<EVP_PKEY_free>>;

/// Reads from the text, which outlives it.
[[nodiscard]] Bio readingBio(const std::string& bytes);
[[nodiscard]] Bio writingBio();
[[nodiscard]] std::string contents(const Bio& bio);

[[nodiscard]] CertificateHandle parseCertificate(const std::string& pem);
/// A key with a passphrase is refused: there is nobody to ask.
[[nodiscard]] KeyHandle parsePrivateKey(const std::string& pem);

/// `what` with the library's own reason, which is the newest of its queue. Empties the queue.
[[nodiscard]] std::string failureText(const std::string& what);

}  // namespace certificates
