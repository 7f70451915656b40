#include "core/account/auth_session_coordinator.h"

#include <exception>
#include <utility>

#include "base/async/run_on.h"
#include "base/check.h"
#include "base/text.h"
#include "core/account/auth_user_store.h"
#include "core/account/refresh_token_storing.h"
#include "core/net/server_api.h"

namespace trelvis {
namespace {

using Kind = AuthSessionError::Kind;

// The URL with its path's empty segments dropped: "/api//v1/" becomes "/api/v1",
// "/" becomes "".
Url withoutEmptySegments(const Url& url) {
  const std::string path = url.path();
  std::string kept;
  std::size_t start = 0;
  while (start < path.size()) {
    std::size_t slash = path.find('/', start);
    if (slash == std::string::npos) slash = path.size();
    if (slash > start) kept += "/" + path.substr(start, slash - start);
    start = slash + 1;
  }
  return url.settingPath(kept);
}

// A refresh token that is rejected (or a request the server cannot read) ends
// the session; any other failure leaves it for a later try.
bool rejectsRefreshToken(const AuthSessionError& failure) {
  switch (failure.kind()) {
    case Kind::invalidRequest:
    case Kind::invalidCredentials:
    case Kind::unauthenticated:
      return true;
    default:
      return false;
  }
}

AuthSessionError credentialFailure(const std::exception_ptr& error) {
  return authSessionErrorFrom(error, &AuthSessionError::keychain);
}

}  // namespace

AuthSessionCoordinator::AuthSessionCoordinator(
    std::shared_ptr<Executor> executor, const Url& baseURL,
    std::shared_ptr<AuthHTTPClient> httpClient,
    std::shared_ptr<RefreshTokenStoring> refreshTokenStore,
    std::shared_ptr<AuthUserStoring> userStore, std::string service)
    : AuthSessionCoordinator(std::move(executor), baseURL, std::move(httpClient),
                             std::move(refreshTokenStore), std::move(userStore), std::move(service),
                             AsyncStream<AuthSessionSnapshot>::make(StreamBuffering::newestOnly)) {}

AuthSessionCoordinator::AuthSessionCoordinator(
    std::shared_ptr<Executor> executor, const Url& baseURL,
    std::shared_ptr<AuthHTTPClient> httpClient,
    std::shared_ptr<RefreshTokenStoring> refreshTokenStore,
    std::shared_ptr<AuthUserStoring> userStore, std::string service, SessionUpdates sessionUpdates)
    : executor_(std::move(executor)),
      // Endpoints are segments appended to the base's own; a trailing slash would
      // make an empty one.
      baseURL_(withoutEmptySegments(baseURL)),
      httpClient_(std::move(httpClient)),
      refreshTokenStore_(std::move(refreshTokenStore)),
      userStore_(std::move(userStore)),
      service_(std::move(service)),
      sessionUpdates_(std::move(sessionUpdates.first)),
      sessionUpdateContinuation_(std::move(sessionUpdates.second)) {}

Url AuthSessionCoordinator::effectiveBaseURL(const EnvironmentLookup& environment) {
  return trelvis::effectiveBaseURL(environment);
}

std::string AuthSessionCoordinator::serviceName(std::optional<std::string_view> bundleIdentifier) {
  std::string identifier = bundleIdentifier ? trimmed(*bundleIdentifier) : std::string();
  if (identifier.empty()) identifier = "me.mossgrove.trelvis";
  return identifier + ".auth.refreshToken";
}

AsyncStream<AuthSessionSnapshot> AuthSessionCoordinator::sessionUpdates() {
  TRELVIS_DCHECK(sessionUpdates_.has_value(), "the session updates are taken once");
  AsyncStream<AuthSessionSnapshot> stream = std::move(*sessionUpdates_);
  sessionUpdates_.reset();
  return stream;
}

std::optional<AuthUser> AuthSessionCoordinator::storedUser() const {
  return userStore_->readUser(service_);
}

// The public operations hop to the coordinator's executor; cancelling the caller
// cancels the operation's network wait, never a refresh that others share.

Async<AuthResult<bool>> AuthSessionCoordinator::canAttemptAuthenticatedRequest() {
  return runOn(executor_, [self = shared_from_this()]() -> Async<AuthResult<bool>> {
    co_return co_await self->canAttemptOnContext();
  });
}

Async<AuthResult<AuthSessionSnapshot>> AuthSessionCoordinator::restore() {
  return runOn(executor_, [self = shared_from_this()]() -> Async<AuthResult<AuthSessionSnapshot>> {
    co_return co_await self->restoreOnContext();
  });
}

Async<AuthResult<AuthSessionSnapshot>> AuthSessionCoordinator::registerAccount(std::string email,
                                                                               std::string password,
                                                                               std::string code) {
  return runOn(executor_,
               [self = shared_from_this(), email = std::move(email), password = std::move(password),
                code = std::move(code)]() -> Async<AuthResult<AuthSessionSnapshot>> {
                 co_return co_await self->signInOnContext(
                     self->endpoint({"v1", "auth", "register"}),
                     {{"email", email}, {"password", password}, {"code", code}}, true);
               });
}

Async<AuthResult<AuthSessionSnapshot>> AuthSessionCoordinator::login(std::string email,
                                                                     std::string password) {
  return runOn(executor_,
               [self = shared_from_this(), email = std::move(email),
                password = std::move(password)]() -> Async<AuthResult<AuthSessionSnapshot>> {
                 co_return co_await self->signInOnContext(
                     self->endpoint({"v1", "auth", "login"}),
                     {{"email", email}, {"password", password}}, false);
               });
}

Async<AuthResult<int64_t>> AuthSessionCoordinator::sendEmailCode(std::string email,
                                                                 EmailCodePurpose purpose,
                                                                 std::string languageCode) {
  return runOn(executor_,
               [self = shared_from_this(), email = std::move(email), purpose,
                languageCode = std::move(languageCode)]() -> Async<AuthResult<int64_t>> {
                 auto outcome = co_await self->send(self->endpoint({"v1", "auth", "email-codes"}),
                                                    {{"email", email},
                                                     {"purpose", std::string(toString(purpose))},
                                                     {"locale", languageCode}});
                 co_return emailCodeResult(outcome);
               });
}

Async<AuthResult<void>> AuthSessionCoordinator::resetPassword(std::string email, std::string code,
                                                              std::string newPassword) {
  return runOn(executor_,
               [self = shared_from_this(), email = std::move(email), code = std::move(code),
                newPassword = std::move(newPassword)]() -> Async<AuthResult<void>> {
                 auto outcome = co_await self->send(
                     self->endpoint({"v1", "auth", "password", "reset"}),
                     {{"email", email}, {"code", code}, {"newPassword", newPassword}});
                 co_return passwordResetResult(outcome);
               });
}

Async<AuthResult<AuthSessionSnapshot>> AuthSessionCoordinator::logout() {
  return runOn(executor_, [self = shared_from_this()]() -> Async<AuthResult<AuthSessionSnapshot>> {
    co_return co_await self->logoutOnContext();
  });
}

Async<AuthResult<std::optional<std::string>>> AuthSessionCoordinator::getAccessToken(
    bool forceRefresh) {
  return runOn(
      executor_,
      [self = shared_from_this(), forceRefresh]() -> Async<AuthResult<std::optional<std::string>>> {
        co_return co_await self->getAccessTokenOnContext(forceRefresh);
      });
}

Async<AuthResult<bool>> AuthSessionCoordinator::canAttemptOnContext() {
  if (accessToken_) co_return true;
  auto stored = readStoredRefreshToken();
  if (!stored) co_return tl::unexpected(stored.error());
  co_return stored->has_value();
}

Async<AuthResult<std::optional<std::string>>> AuthSessionCoordinator::getAccessTokenOnContext(
    bool forceRefresh) {
  if (!forceRefresh && accessToken_) co_return accessToken_;
  auto stored = readStoredRefreshToken();
  if (!stored) co_return tl::unexpected(stored.error());
  if (!*stored) {
    markSessionSignedOut();
    co_return std::nullopt;
  }
  auto refreshed = co_await refreshAndSave(std::move(**stored));
  // Someone else changed the session meanwhile: what they left is the answer.
  if (!refreshed) co_return accessToken_;
  if (!*refreshed) co_return tl::unexpected(refreshed->error());
  co_return (*refreshed)->accessToken;
}

Async<AuthResult<AuthSessionSnapshot>> AuthSessionCoordinator::restoreOnContext() {
  auto stored = readStoredRefreshToken();
  if (!stored) co_return tl::unexpected(stored.error());
  if (!*stored) {
    markSessionSignedOut();
    co_return AuthSessionSnapshot::signedOut();
  }
  auto refreshed = co_await refreshAndSave(std::move(**stored));
  if (!refreshed) co_return presentSnapshot();
  if (!*refreshed) co_return tl::unexpected(refreshed->error());
  const AuthTokenPair& pair = **refreshed;
  co_return AuthSessionSnapshot::signedIn(pair.user ? pair.user : userStore_->readUser(service_));
}

Async<AuthResult<AuthSessionSnapshot>> AuthSessionCoordinator::signInOnContext(
    Url url, AuthRequestBody body, bool isRegistration) {
  const uint64_t generation = sessionGeneration_;
  auto outcome = co_await send(std::move(url), std::move(body));
  // A logout or another sign-in finished during the wait: this reply is stale and
  // its tokens are not kept.
  if (generation != sessionGeneration_) co_return presentSnapshot();
  auto pair = tokenPairResult(outcome);
  if (!pair) co_return tl::unexpected(pair.error());
  if (isRegistration && onRegistrationAccepted) onRegistrationAccepted();
  if (auto saved = saveSession(*pair); !saved) co_return tl::unexpected(saved.error());
  co_return AuthSessionSnapshot::signedIn(pair->user);
}

Async<AuthResult<AuthSessionSnapshot>> AuthSessionCoordinator::logoutOnContext() {
  auto stored = readStoredRefreshToken();
  if (!stored) co_return tl::unexpected(stored.error());
  if (auto cleared = clearLocalSession(); !cleared) co_return tl::unexpected(cleared.error());
  if (*stored) {
    // Whatever the server says, this machine is signed out already.
    (void)co_await send(endpoint({"v1", "auth", "logout"}), {{"refreshToken", **stored}});
  }
  co_return AuthSessionSnapshot::signedOut();
}

Url AuthSessionCoordinator::endpoint(std::initializer_list<std::string_view> segments) const {
  Url url = baseURL_.settingQueryItems({});
  for (std::string_view segment : segments) url = url.appendingPathComponent(segment);
  return url;
}

Async<AuthSendOutcome> AuthSessionCoordinator::send(Url url, AuthRequestBody body) {
  try {
    co_return co_await httpClient_->postJSON(std::move(url), std::move(body), std::nullopt);
  } catch (const CancellationError&) {
    throw;
  } catch (...) {
    co_return tl::unexpected(std::current_exception());
  }
}

AuthResult<std::optional<std::string>> AuthSessionCoordinator::readStoredRefreshToken() {
  TRELVIS_DCHECK(executor_->isCurrent(), "the credential store is used on the coordinator");
  try {
    auto token = refreshTokenStore_->readRefreshToken(service_, account_);
    if (token && token->empty()) return std::nullopt;
    return token;
  } catch (...) {
    return tl::unexpected(credentialFailure(std::current_exception()));
  }
}

AuthResult<void> AuthSessionCoordinator::saveSession(const AuthTokenPair& pair) {
  TRELVIS_DCHECK(executor_->isCurrent(), "the credential store is used on the coordinator");
  try {
    refreshTokenStore_->saveRefreshToken(pair.refreshToken, service_, account_);
  } catch (...) {
    accessToken_.reset();
    advanceSessionGeneration();
    return tl::unexpected(credentialFailure(std::current_exception()));
  }
  accessToken_ = pair.accessToken;
  // A pair without a user leaves the stored one as it was.
  if (pair.user) userStore_->saveUser(*pair.user, service_);
  advanceSessionGeneration();
  publish(AuthSessionSnapshot::signedIn(userStore_->readUser(service_)));
  return {};
}

AuthResult<void> AuthSessionCoordinator::clearLocalSession() {
  TRELVIS_DCHECK(executor_->isCurrent(), "the credential store is used on the coordinator");
  accessToken_.reset();
  advanceSessionGeneration();
  try {
    refreshTokenStore_->deleteRefreshToken(service_, account_);
  } catch (...) {
    // The token may still be stored: the user stays, and nobody is told of a
    // sign-out that did not happen.
    return tl::unexpected(credentialFailure(std::current_exception()));
  }
  userStore_->deleteUser(service_);
  publish(AuthSessionSnapshot::signedOut());
  return {};
}

void AuthSessionCoordinator::markSessionSignedOut() {
  accessToken_.reset();
  userStore_->deleteUser(service_);
  advanceSessionGeneration();
  publish(AuthSessionSnapshot::signedOut());
}

void AuthSessionCoordinator::advanceSessionGeneration() {
  ++sessionGeneration_;
  // Whoever waits on the refresh sees the new generation and drops its result.
  if (inFlightRefresh_) std::exchange(inFlightRefresh_, std::nullopt)->task.cancel();
}

AuthSessionSnapshot AuthSessionCoordinator::presentSnapshot() const {
  if (!accessToken_) return AuthSessionSnapshot::signedOut();
  return AuthSessionSnapshot::signedIn(userStore_->readUser(service_));
}

void AuthSessionCoordinator::publish(AuthSessionSnapshot snapshot) {
  sessionUpdateContinuation_.yield(std::move(snapshot));
}

Async<AuthResult<AuthTokenPair>> AuthSessionCoordinator::refreshTokenPair(
    std::string refreshToken) {
  if (inFlightRefresh_) {
    // Joins the running request; this caller's token is the same or older.
    auto running = inFlightRefresh_->task;
    co_return co_await running;
  }
  const uint64_t id = ++nextRefreshID_;
  auto task = spawn(
      executor_,
      [httpClient = httpClient_, url = endpoint({"v1", "auth", "refresh"}),
       refreshToken = std::move(refreshToken)]() -> Async<AuthResult<AuthTokenPair>> {
        try {
          co_return tokenPairResult(
              co_await httpClient->postJSON(url, {{"refreshToken", refreshToken}}, std::nullopt));
        } catch (const CancellationError&) {
          // Only a change of session cancels a refresh, and that
          // change makes every waiter drop this result.
          co_return tl::unexpected(AuthSessionError::network("The token refresh was cancelled."));
        } catch (...) {
          co_return tokenPairResult(tl::unexpected(std::current_exception()));
        }
      });
  inFlightRefresh_ = InFlightRefresh{id, task};
  auto result = co_await task;
  // A newer refresh may have been installed after a change of session; it is not
  // this one's to clear.
  if (inFlightRefresh_ && inFlightRefresh_->id == id) inFlightRefresh_.reset();
  co_return result;
}

AuthSessionError AuthSessionCoordinator::handleRefreshFailure(AuthSessionError failure) {
  if (!rejectsRefreshToken(failure)) {
    // The outcome is unknown: keep the refresh token and the user for a later try.
    accessToken_.reset();
    return failure;
  }
  if (auto cleared = clearLocalSession(); !cleared) return cleared.error();
  return failure;
}

Async<std::optional<AuthResult<AuthTokenPair>>> AuthSessionCoordinator::refreshAndSave(
    std::string refreshToken) {
  const uint64_t generation = sessionGeneration_;
  AuthResult<AuthTokenPair> result = co_await refreshTokenPair(std::move(refreshToken));
  if (generation != sessionGeneration_) co_return std::nullopt;
  if (!result) co_return tl::unexpected(handleRefreshFailure(result.error()));
  if (auto saved = saveSession(*result); !saved) {
    // The server has rotated the token; without it stored the session is lost.
    (void)clearLocalSession();
    co_return tl::unexpected(saved.error());
  }
  co_return result;
}

}  // namespace trelvis
