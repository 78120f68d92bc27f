#include "tools/certificates/OpenSsl.h"

#include <openssl/err.h>
#include <openssl/pem.h>

namespace certificates {

Bio readingBio(const std::string& bytes) {
  return Bio(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())));
}

Bio writingBio() {
  return Bio(BIO_new(BIO_s_mem()));
}

std::string contents(const Bio& bio) {
  char* bytes = nullptr;
  const long size = BIO_get_mem_data(bio.get(), &bytes);
  return {bytes, static_cast<std::size_t>(size)};
}

CertificateHandle parseCertificate(const std::string& pem) {
  return CertificateHandle(PEM_read_bio_X509(readingBio(pem).get(), nullptr, nullptr, nullptr));
}

KeyHandle parsePrivateKey(const std::string& pem) {
  std::string noPassphrase;
  return KeyHandle(PEM_read_bio_PrivateKey(readingBio(pem).get(), nullptr, nullptr, noPassphrase.data()));
}

std::string failureText(const std::string& what) {
  const unsigned long number = ERR_peek_last_error();
  const char* data = nullptr;
  int flags = 0;
  ERR_peek_last_error_data(&data, &flags);
  std::string message = what;
  if (const char* reason = number != 0 ? ERR_reason_error_string(number) : nullptr) {
    message += std::string(": ") + reason;
  }
  if (data != nullptr && (flags & ERR_TXT_STRING) != 0 && *data != '\0') {
    message += std::string(" (") + data + ")";
  }
  ERR_clear_error();
  return message;
}

}  // namespace certificates
