#pragma once

// What every client of the server's HTTP API shares: where the server is, the
// headers that identify the application, and how a base URL is normalised.
// Dates in replies are read by the json decoding helpers (ISO-8601 with or
// without a fraction of a second).

#include <string>
#include <string_view>

#include "base/environment.h"
#include "core/net/http_transport.h"

namespace trelvis {

// The built-in server root, a build option; its path is "/trelvis".
const Url& defaultBaseURL();

// "TRELVIS_API_BASE_URL", trimmed, when it is not empty and parses as a URL;
// otherwise the built-in default.
Url effectiveBaseURL(const EnvironmentLookup& environment = processEnvironment());

// The URL without any trailing "/"; the URL as given when that does not parse.
Url stripTrailingSlash(const Url& url);

namespace ServerAPIRequest {

// A GET request to `url` with a timeout of 60 seconds and the headers that
// identify the application ("X-Trelvis-Platform", and "X-Trelvis-Version" when
// the build has a version).
HttpRequest make(Url url);
// The same with a given version; an empty one leaves the header out.
HttpRequest make(Url url, std::string_view version);

// The build's version string; empty when the build has none.
std::string_view appVersion();

}  // namespace ServerAPIRequest

}  // namespace trelvis
