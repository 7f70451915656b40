#include "core/membership/authenticated_endpoint.h"

#include <utility>

#include "core/net/server_api.h"

namespace trelvis {

AuthenticatedEndpoint::AuthenticatedEndpoint(std::shared_ptr<Executor> executor,
                                             std::shared_ptr<AccessTokenProviding> auth,
                                             std::shared_ptr<HttpTransport> transport,
                                             const Url& baseURL,
                                             std::initializer_list<std::string_view> path)
    : executor(std::move(executor)),
      auth(std::move(auth)),
      transport(std::move(transport)),
      url(stripTrailingSlash(baseURL)) {
  for (std::string_view component : path) url = url.appendingPathComponent(component);
}

}  // namespace trelvis
