#pragma once

// What the route handlers share: the replies of a refused request and the bearer
// token's account.

#include <optional>

#include "server/http/http_server.h"
#include "server/http/request_error.h"
#include "server/store/store.h"

namespace trelvis::server {

class AccountService;

// The 4xx of a request that did not parse.
Reply rejected(const RequestError& error);

// 401 with "WWW-Authenticate: Bearer".
const Reply& unauthorized();

// The account of the request's bearer token, named in the request log; nothing
// when there is no token or it is not live.
std::optional<UserRecord> authorizedUser(AccountService& accounts, const IncomingRequest& request,
                                         RequestLogContext& log);

}  // namespace trelvis::server
