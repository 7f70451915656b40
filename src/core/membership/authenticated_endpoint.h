#pragma once

// AuthenticatedEndpoint: what a client that GETs one record for the signed-in
// user is built with: its serial executor, the session's tokens, the transport,
// and the record's URL under the server's base URL.

#include <initializer_list>
#include <memory>
#include <string_view>

#include "base/url.h"

namespace trelvis {

class AccessTokenProviding;
class Executor;
class HttpTransport;

struct AuthenticatedEndpoint {
  // `path` is appended to the base URL, without its trailing slashes, one
  // component at a time.
  AuthenticatedEndpoint(std::shared_ptr<Executor> executor,
                        std::shared_ptr<AccessTokenProviding> auth,
                        std::shared_ptr<HttpTransport> transport, const Url& baseURL,
                        std::initializer_list<std::string_view> path);

  std::shared_ptr<Executor> executor;
  std::shared_ptr<AccessTokenProviding> auth;
  std::shared_ptr<HttpTransport> transport;
  Url url;
};

}  // namespace trelvis
