#pragma once

// Turns a failed libcurl transfer into the URLError that transports raise. Only
// CurlHttpTransport calls it, on its I/O thread; the whole classification is the
// tables in the .cpp file, so that every failure is classified in one place.

#include <curl/curl.h>

#include <string_view>

#include "core/net/url_error.h"

namespace trelvis {

// `verifyResult` is the transfer's CURLINFO_SSL_VERIFYRESULT (an X509_V_ERR_* code),
// which tells the certificate failures apart; `detail` is curl's error buffer, which
// names the host and the system error and ends up in the description.
URLError urlErrorFromCurl(CURLcode code, long verifyResult, std::string_view detail);

}  // namespace trelvis
