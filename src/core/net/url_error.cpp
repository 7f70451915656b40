#include "core/net/url_error.h"

namespace trelvis {

std::string_view toString(URLErrorCode code) {
  switch (code) {
    case URLErrorCode::timedOut:
      return "timedOut";
    case URLErrorCode::cannotFindHost:
      return "cannotFindHost";
    case URLErrorCode::cannotConnectToHost:
      return "cannotConnectToHost";
    case URLErrorCode::dnsLookupFailed:
      return "dnsLookupFailed";
    case URLErrorCode::networkConnectionLost:
      return "networkConnectionLost";
    case URLErrorCode::notConnectedToInternet:
      return "notConnectedToInternet";
    case URLErrorCode::internationalRoamingOff:
      return "internationalRoamingOff";
    case URLErrorCode::callIsActive:
      return "callIsActive";
    case URLErrorCode::dataNotAllowed:
      return "dataNotAllowed";
    case URLErrorCode::secureConnectionFailed:
      return "secureConnectionFailed";
    case URLErrorCode::serverCertificateHasBadDate:
      return "serverCertificateHasBadDate";
    case URLErrorCode::serverCertificateUntrusted:
      return "serverCertificateUntrusted";
    case URLErrorCode::serverCertificateHasUnknownRoot:
      return "serverCertificateHasUnknownRoot";
    case URLErrorCode::serverCertificateNotYetValid:
      return "serverCertificateNotYetValid";
    case URLErrorCode::clientCertificateRejected:
      return "clientCertificateRejected";
    case URLErrorCode::clientCertificateRequired:
      return "clientCertificateRequired";
    case URLErrorCode::badURL:
      return "badURL";
    case URLErrorCode::unknown:
      return "unknown";
  }
  return "unknown";
}

}  // namespace trelvis
