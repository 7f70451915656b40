#pragma once

// URLError: a failure of URL loading (connection, DNS, TLS, timeout), in the
// classes that the lookup error rules tell apart. Transports raise it; the
// lookup error classification maps it.

#include <stdexcept>
#include <string>
#include <string_view>

namespace trelvis {

enum class URLErrorCode {
  timedOut,
  cannotFindHost,
  cannotConnectToHost,
  dnsLookupFailed,
  networkConnectionLost,
  notConnectedToInternet,
  internationalRoamingOff,
  callIsActive,
  dataNotAllowed,
  secureConnectionFailed,
  serverCertificateHasBadDate,
  serverCertificateUntrusted,
  serverCertificateHasUnknownRoot,
  serverCertificateNotYetValid,
  clientCertificateRejected,
  clientCertificateRequired,
  badURL,
  unknown,
};

std::string_view toString(URLErrorCode code);

class URLError : public std::runtime_error {
 public:
  URLError(URLErrorCode code, const std::string& localizedDescription)
      : std::runtime_error(localizedDescription), code_(code) {}

  URLErrorCode code() const { return code_; }
  // A readable sentence for logs, never shown as the only explanation to a user.
  std::string localizedDescription() const { return what(); }

 private:
  URLErrorCode code_;
};

}  // namespace trelvis
