#pragma once

// fetchJSONRecord: how the membership and summary clients GET one JSON record
// for the signed-in user, on the endpoint's executor. The request carries the
// application's headers, "Accept: application/json" and a 30-second limit, and
// goes through performAuthenticatedRequest; a body that `decode` refuses
// becomes E::invalidResponse(), logged without its content. Include it in .cpp
// files only.

#include <chrono>
#include <exception>
#include <string>
#include <utility>

#include "base/async/run_on.h"
#include "base/log.h"
#include "core/membership/authenticated_endpoint.h"
#include "core/net/authenticated_request.h"
#include "core/net/server_api.h"

namespace trelvis {

inline constexpr Duration kJSONRecordTimeout = std::chrono::seconds(30);

template <AuthenticatedClientError E, class Decode>
auto fetchJSONRecord(const AuthenticatedEndpoint& endpoint, const LogCategory& log, Decode decode)
    -> Async<decltype(decode(std::string()))> {
  return runOn(
      endpoint.executor, [endpoint, &log, decode]() -> Async<decltype(decode(std::string()))> {
        HttpRequest request = ServerAPIRequest::make(endpoint.url);
        request.timeout = kJSONRecordTimeout;
        request.headers.set("Accept", "application/json");
        std::string body = co_await performAuthenticatedRequest<E>(
            *endpoint.auth, *endpoint.transport, std::move(request));
        try {
          co_return decode(body);
        } catch (const std::exception& error) {
          log.warning("GET {}: the reply is not usable: {}", endpoint.url.path(), error.what());
        }
        throw E::invalidResponse();
      });
}

}  // namespace trelvis
