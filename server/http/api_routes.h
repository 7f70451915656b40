#pragma once

// The API the desktop client speaks: the six "/v1/auth" endpoints, the account's
// membership status and its home summary. Each handler reads as the steps of its
// request: parse the body (or authorise the bearer token), call the service, and
// turn the outcome into its reply.

namespace trelvis::server {

class AccountService;
class HttpServer;
class MembershipService;

void addApiRoutes(HttpServer& server, AccountService& accounts, MembershipService& membership);

}  // namespace trelvis::server
