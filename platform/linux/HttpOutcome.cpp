#include "platform/linux/HttpOutcome.h"

#include <curl/curl.h>
#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>

#include <cerrno>
#include <optional>

namespace platform {
namespace {

UrlErrorCode certificateProblem(long verifyResult) {
  switch (verifyResult) {
    case X509_V_ERR_CERT_HAS_EXPIRED:
      return UrlErrorCode::certificateHasBadDate;
    case X509_V_ERR_CERT_NOT_YET_VALID:
      return UrlErrorCode::certificateNotYetValid;
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
      return UrlErrorCode::certificateHasUnknownRoot;
    default:  // a self-signed leaf, another host's certificate, a wrong purpose
      return UrlErrorCode::certificateUntrusted;
  }
}

UrlErrorCode connectProblem(long systemError) {
  switch (systemError) {
    case ENETUNREACH:
    case ENETDOWN:
      return UrlErrorCode::notConnectedToInternet;
    case ETIMEDOUT:
      return UrlErrorCode::timedOut;
    default:
      return UrlErrorCode::cannotConnectToHost;
  }
}

/// A failure while receiving: a lost connection, unless the bytes that came make no sense.
UrlErrorCode receiveProblem(const HttpOutcome& outcome) {
  if (outcome.connectStatus >= 400) return UrlErrorCode::cannotConnectToHost;
  // A connection that ends without the closing message of TLS has no error number of the system.
  const bool lost = outcome.systemError != 0 || outcome.text.find("unexpected eof") != std::string::npos;
  return lost ? UrlErrorCode::networkConnectionLost : UrlErrorCode::badServerResponse;
}

/// A head that is longer than the network library takes, in its newer versions; older headers lack the name.
constexpr int kTooLarge = 100;

/// What a server that asks for a client certificate (we have none) ends the connection with, in the handshake
/// or, with TLS 1.3, after it.
std::optional<UrlErrorCode> clientCertificateProblem(const HttpOutcome& outcome) {
  switch (outcome.tlsAlert) {
    case SSL_AD_CERTIFICATE_REQUIRED:
      return UrlErrorCode::clientCertificateRequired;
    case SSL_AD_HANDSHAKE_FAILURE:  // TLS 1.2 has no alert of its own for it
      if (outcome.wasAskedForCertificate) return UrlErrorCode::clientCertificateRequired;
      return std::nullopt;
    case SSL_AD_BAD_CERTIFICATE:
    case SSL_AD_UNSUPPORTED_CERTIFICATE:
    case SSL_AD_CERTIFICATE_REVOKED:
    case SSL_AD_CERTIFICATE_EXPIRED:
    case SSL_AD_CERTIFICATE_UNKNOWN:
    case SSL_AD_UNKNOWN_CA:
    case SSL_AD_ACCESS_DENIED:
      return UrlErrorCode::clientCertificateRejected;
    default:
      return std::nullopt;
  }
}

}  // namespace

UrlErrorCode translate(const HttpOutcome& outcome) {
  if (const auto problem = clientCertificateProblem(outcome)) return *problem;
  switch (outcome.code) {
    case CURLE_URL_MALFORMAT:
      return UrlErrorCode::badUrl;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
      return UrlErrorCode::cannotFindHost;
    case CURLE_COULDNT_CONNECT:
      return connectProblem(outcome.systemError);
    case CURLE_PROXY:
      return UrlErrorCode::cannotConnectToHost;
    case CURLE_OPERATION_TIMEDOUT:
      return UrlErrorCode::timedOut;
    case CURLE_RECV_ERROR:
      return receiveProblem(outcome);
    case CURLE_SEND_ERROR:
    case CURLE_PARTIAL_FILE:
    case CURLE_GOT_NOTHING:
      return UrlErrorCode::networkConnectionLost;
    case CURLE_UNSUPPORTED_PROTOCOL:  // our URL's scheme is fine: the answer is not HTTP
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_BAD_CONTENT_ENCODING:
    case CURLE_OUT_OF_MEMORY:  // also a head that is too long
    case kTooLarge:
    case CURLE_BAD_FUNCTION_ARGUMENT:  // a line of a head that is no field
      return UrlErrorCode::badServerResponse;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_CRL_BADFILE:
      return UrlErrorCode::secureConnectionFailed;
    case CURLE_PEER_FAILED_VERIFICATION:
      return certificateProblem(outcome.verifyResult);
    case CURLE_WRITE_ERROR:
      return UrlErrorCode::cannotWriteToFile;
    default:
      return UrlErrorCode::unknown;
  }
}

}  // namespace platform
