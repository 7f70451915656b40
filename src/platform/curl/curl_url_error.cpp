#include "platform/curl/curl_url_error.h"

#include <fmt/core.h>
#include <openssl/x509_vfy.h>

#include <algorithm>

namespace trelvis {
namespace {

struct CurlFailure {
  CURLcode code;
  URLErrorCode urlCode;
  std::string_view sentence;
};

constexpr CurlFailure kCurlFailures[] = {
    {CURLE_OPERATION_TIMEDOUT, URLErrorCode::timedOut, "The request timed out."},
    {CURLE_COULDNT_RESOLVE_HOST, URLErrorCode::cannotFindHost,
     "A server with the specified hostname could not be found."},
    {CURLE_COULDNT_RESOLVE_PROXY, URLErrorCode::cannotFindHost,
     "The proxy server's hostname could not be found."},
    {CURLE_COULDNT_CONNECT, URLErrorCode::cannotConnectToHost, "Could not connect to the server."},
    {CURLE_RECV_ERROR, URLErrorCode::networkConnectionLost, "The network connection was lost."},
    {CURLE_SEND_ERROR, URLErrorCode::networkConnectionLost, "The network connection was lost."},
    {CURLE_PARTIAL_FILE, URLErrorCode::networkConnectionLost,
     "The network connection was lost before the whole reply arrived."},
    {CURLE_GOT_NOTHING, URLErrorCode::networkConnectionLost,
     "The server closed the connection without replying."},
    {CURLE_SSL_CONNECT_ERROR, URLErrorCode::secureConnectionFailed,
     "A TLS error occurred and a secure connection to the server could not be made."},
    {CURLE_URL_MALFORMAT, URLErrorCode::badURL, "The URL is not valid."},
    {CURLE_UNSUPPORTED_PROTOCOL, URLErrorCode::badURL, "The URL's scheme is not supported."},
};

// A certificate that fails verification (CURLE_PEER_FAILED_VERIFICATION), by the
// X509_V_ERR_* code that OpenSSL reported for it.
struct CertificateFailure {
  long verifyResult;
  URLErrorCode urlCode;
  std::string_view sentence;
};

constexpr CertificateFailure kCertificateFailures[] = {
    {X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT, URLErrorCode::serverCertificateUntrusted,
     "The server's certificate is self-signed and not trusted."},
    {X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN, URLErrorCode::serverCertificateHasUnknownRoot,
     "The server's certificate was issued by an authority that is not trusted."},
    {X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT, URLErrorCode::serverCertificateHasUnknownRoot,
     "The server's certificate was issued by an unknown authority."},
    {X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY, URLErrorCode::serverCertificateHasUnknownRoot,
     "The server's certificate was issued by an unknown authority."},
    {X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE, URLErrorCode::serverCertificateHasUnknownRoot,
     "The server's certificate was issued by an unknown authority."},
    {X509_V_ERR_CERT_HAS_EXPIRED, URLErrorCode::serverCertificateHasBadDate,
     "The server's certificate has expired."},
    {X509_V_ERR_CERT_NOT_YET_VALID, URLErrorCode::serverCertificateNotYetValid,
     "The server's certificate is not yet valid."},
};

// Every other verification failure, a name that does not match the host included.
constexpr CertificateFailure kOtherCertificateFailure{
    X509_V_OK, URLErrorCode::serverCertificateUntrusted,
    "The server's certificate is not valid for this server."};

constexpr std::string_view kUnknownFailure = "The request failed.";

URLError describe(URLErrorCode code, std::string_view sentence, CURLcode curlCode,
                  std::string_view detail) {
  while (!detail.empty() && (detail.back() == '\n' || detail.back() == ' '))
    detail.remove_suffix(1);
  std::string_view reason = detail.empty() ? curl_easy_strerror(curlCode) : detail;
  return URLError(code, fmt::format("{} ({})", sentence, reason));
}

}  // namespace

URLError urlErrorFromCurl(CURLcode code, long verifyResult, std::string_view detail) {
  if (code == CURLE_PEER_FAILED_VERIFICATION) {
    const auto* found =
        std::ranges::find(kCertificateFailures, verifyResult, &CertificateFailure::verifyResult);
    const auto& failure =
        found != std::ranges::end(kCertificateFailures) ? *found : kOtherCertificateFailure;
    return describe(failure.urlCode, failure.sentence, code, detail);
  }
  const auto* found = std::ranges::find(kCurlFailures, code, &CurlFailure::code);
  if (found == std::ranges::end(kCurlFailures)) {
    return describe(URLErrorCode::unknown, kUnknownFailure, code, detail);
  }
  return describe(found->urlCode, found->sentence, code, detail);
}

}  // namespace trelvis
