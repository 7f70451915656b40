#include "server/http/api_routes.h"

#include "server/auth/account_service.h"
#include "server/http/auth_requests.h"
#include "server/http/http_server.h"
#include "server/http/replies.h"
#include "server/http/route_replies.h"
#include "server/membership/membership_service.h"

#include <array>
#include <string>
#include <utility>

namespace trelvis::server {
namespace {

using Kind = AuthFailure::Kind;

constexpr std::array<std::pair<Kind, int>, 7> kFailureStatus{{
    {Kind::invalidRequest, 400},
    {Kind::invalidCredentials, 401},
    {Kind::verificationCodeInvalid, 403},
    {Kind::emailNotRegistered, 404},
    {Kind::emailAlreadyRegistered, 409},
    {Kind::rateLimited, 429},
    {Kind::deliveryFailed, 503},
}};

Reply failed(const AuthFailure& failure) {
  int status = 500;
  for (const auto& [kind, code] : kFailureStatus) {
    if (kind == failure.kind) status = code;
  }
  if (failure.kind == Kind::rateLimited) {
    return Reply{status,
                 retryLaterBody(failure.detail, failure.retryAfter),
                 {{"Retry-After", std::to_string(failure.retryAfter.count())}}};
  }
  return Reply{status, errorBody(failure.detail), {}};
}

Reply tokens(const AuthResult<TokenPair>& result, RequestLogContext& log) {
  if (!result) return failed(result.error());
  log.userId = result->userId;
  return Reply{200, tokenPairBody(*result), {}};
}

Reply done(const AuthResult<void>& result) {
  if (!result) return failed(result.error());
  return Reply{200, emptyObjectBody(), {}};
}

// Runs `respond` for the account of the request's bearer token, or answers 401.
template <class Respond>
RouteHandler authorized(AccountService& accounts, Respond respond) {
  return [&accounts, respond](const IncomingRequest& request, RequestLogContext& log) {
    const std::optional<UserRecord> user = authorizedUser(accounts, request, log);
    if (!user) return unauthorized();
    return respond(*user);
  };
}

}  // namespace

Reply rejected(const RequestError& error) {
  return Reply{error.status, errorBody(error.detail), {}};
}

const Reply& unauthorized() {
  static const Reply reply{
      401, errorBody("a valid access token is required"), {{"WWW-Authenticate", "Bearer"}}};
  return reply;
}

std::optional<UserRecord> authorizedUser(AccountService& accounts, const IncomingRequest& request,
                                         RequestLogContext& log) {
  if (!request.bearerToken) return std::nullopt;
  std::optional<UserRecord> user = accounts.authenticate(*request.bearerToken);
  if (user) log.userId = user->id;
  return user;
}

void addApiRoutes(HttpServer& server, AccountService& accounts, MembershipService& membership) {
  server.route("POST", "/v1/auth/email-codes", BodyKind::json,
               [&accounts](const IncomingRequest& request, RequestLogContext&) {
                 const auto parsed = parseEmailCodeRequest(request.body);
                 if (!parsed) return rejected(parsed.error());
                 const auto cooldown =
                     accounts.sendEmailCode(parsed->email, parsed->purpose, request.clientAddress);
                 if (!cooldown) return failed(cooldown.error());
                 return Reply{200, cooldownBody(*cooldown), {}};
               });

  server.route("POST", "/v1/auth/register", BodyKind::json,
               [&accounts](const IncomingRequest& request, RequestLogContext& log) {
                 const auto parsed = parseRegisterRequest(request.body);
                 if (!parsed) return rejected(parsed.error());
                 return tokens(
                     accounts.registerAccount(parsed->email, parsed->password, parsed->code), log);
               });

  server.route("POST", "/v1/auth/login", BodyKind::json,
               [&accounts](const IncomingRequest& request, RequestLogContext& log) {
                 const auto parsed = parseLoginRequest(request.body);
                 if (!parsed) return rejected(parsed.error());
                 return tokens(
                     accounts.login(parsed->email, parsed->password, request.clientAddress), log);
               });

  server.route("POST", "/v1/auth/refresh", BodyKind::json,
               [&accounts](const IncomingRequest& request, RequestLogContext& log) {
                 const auto parsed = parseRefreshTokenRequest(request.body);
                 if (!parsed) return rejected(parsed.error());
                 return tokens(accounts.refresh(parsed->refreshToken), log);
               });

  server.route("POST", "/v1/auth/logout", BodyKind::json,
               [&accounts](const IncomingRequest& request, RequestLogContext&) {
                 const auto parsed = parseRefreshTokenRequest(request.body);
                 if (!parsed) return rejected(parsed.error());
                 return done(accounts.logout(parsed->refreshToken));
               });

  server.route(
      "POST", "/v1/auth/password/reset", BodyKind::json,
      [&accounts](const IncomingRequest& request, RequestLogContext&) {
        const auto parsed = parsePasswordResetRequest(request.body);
        if (!parsed) return rejected(parsed.error());
        return done(accounts.resetPassword(parsed->email, parsed->code, parsed->newPassword));
      });

  server.route("GET", "/v1/account/status", BodyKind::json,
               authorized(accounts, [&membership](const UserRecord& user) {
                 return Reply{200, membershipStatusBody(membership.status(user)), {}};
               }));

  server.route("GET", "/v1/home/summary", BodyKind::json,
               authorized(accounts, [&membership](const UserRecord& user) {
                 return Reply{200, homeSummaryBody(membership.summary(user)), {}};
               }));
}

}  // namespace trelvis::server
