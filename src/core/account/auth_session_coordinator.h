#pragma once

// AuthSessionCoordinator: the single owner of the signed-in session. It keeps the
// short-lived access token in memory only, the refresh token in the credential
// store and the user's identity in the preferences; it registers, signs in, resets
// passwords, signs out and refreshes tokens against the "/v1/auth" endpoints, and
// publishes every change of session on sessionUpdates(). Every authenticated
// client gets its bearer token from getAccessToken() and from nowhere else.
//
// The composition root makes the one instance (owned by a shared_ptr) with a
// sequenced executor of its own. Every operation runs on that executor, one at a
// time, and gives it up only while waiting for the network; after such a wait any
// field may have changed, which the session generation tells. Callers on any
// executor await the operations. The credential store is only called here, on
// this executor, so its blocking calls never reach the UI thread.

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "base/async/async_stream.h"
#include "base/async/task.h"
#include "base/environment.h"
#include "base/url.h"
#include "core/account/auth_http_client.h"
#include "core/account/auth_replies.h"
#include "core/account/auth_session_types.h"
#include "core/account/authenticated_request_checking.h"
#include "core/net/access_token_provider.h"

namespace trelvis {

class AuthUserStoring;
class Executor;
class RefreshTokenStoring;

class AuthSessionCoordinator final : public AccessTokenProviding,
                                     public AuthenticatedRequestChecking,
                                     public std::enable_shared_from_this<AuthSessionCoordinator> {
 public:
  // The credential store's account name of the refresh token.
  static constexpr std::string_view kAccount = "refreshToken";

  AuthSessionCoordinator(std::shared_ptr<Executor> executor, const Url& baseURL,
                         std::shared_ptr<AuthHTTPClient> httpClient,
                         std::shared_ptr<RefreshTokenStoring> refreshTokenStore,
                         std::shared_ptr<AuthUserStoring> userStore, std::string service);

  // The server every API client is built for: "TRELVIS_API_BASE_URL" when it is set
  // and parses, else the built-in default.
  static Url effectiveBaseURL(const EnvironmentLookup& environment = processEnvironment());

  // The credential service name, also the prefix of the user's preference keys:
  // the trimmed identifier (or "me.mossgrove.trelvis") + ".auth.refreshToken".
  static std::string serviceName(std::optional<std::string_view> bundleIdentifier);

  // Called once a registration has been accepted, before its tokens are saved, on
  // the coordinator's executor. Set at composition, before the first operation.
  std::function<void()> onRegistrationAccepted;

  // Whether a token could be had without asking the user: an access token is held,
  // or a refresh token is stored. Never touches the network.
  Async<AuthResult<bool>> canAttemptAuthenticatedRequest() override;
  // Refreshes the session from the stored refresh token, if there is one.
  Async<AuthResult<AuthSessionSnapshot>> restore();
  // Registration ("register" is a keyword of the language).
  Async<AuthResult<AuthSessionSnapshot>> registerAccount(std::string email, std::string password,
                                                         std::string code);
  // The cooldown in seconds before another code may be requested.
  Async<AuthResult<int64_t>> sendEmailCode(std::string email, EmailCodePurpose purpose,
                                           std::string languageCode);
  // Sets a new password; signs nobody in.
  Async<AuthResult<void>> resetPassword(std::string email, std::string code,
                                        std::string newPassword);
  Async<AuthResult<AuthSessionSnapshot>> login(std::string email, std::string password);
  // Signs out here first, then tells the server; the server's answer changes nothing.
  Async<AuthResult<AuthSessionSnapshot>> logout();
  // The access token, refreshed first when forced or when none is held; nothing
  // when nobody is signed in.
  Async<AuthResult<std::optional<std::string>>> getAccessToken(bool forceRefresh) override;

  // Every change of session, newest only: a slow consumer sees the last snapshot.
  // There is one consumer, which takes the stream once.
  AsyncStream<AuthSessionSnapshot> sessionUpdates();

  // The stored user, read at once on the caller's thread (the store is thread-safe),
  // so that a window knows the account before the session is confirmed.
  std::optional<AuthUser> storedUser() const;

  const Url& baseURL() const { return baseURL_; }
  const std::string& service() const { return service_; }

 private:
  using SessionUpdates =
      std::pair<AsyncStream<AuthSessionSnapshot>, AsyncStream<AuthSessionSnapshot>::Continuation>;

  AuthSessionCoordinator(std::shared_ptr<Executor> executor, const Url& baseURL,
                         std::shared_ptr<AuthHTTPClient> httpClient,
                         std::shared_ptr<RefreshTokenStoring> refreshTokenStore,
                         std::shared_ptr<AuthUserStoring> userStore, std::string service,
                         SessionUpdates sessionUpdates);

  struct InFlightRefresh {
    uint64_t id;
    Task<AuthResult<AuthTokenPair>> task;  // never fails
  };

  // Everything below runs on executor_.
  Async<AuthResult<bool>> canAttemptOnContext();
  Async<AuthResult<AuthSessionSnapshot>> restoreOnContext();
  Async<AuthResult<AuthSessionSnapshot>> signInOnContext(Url url, AuthRequestBody body,
                                                         bool isRegistration);
  Async<AuthResult<AuthSessionSnapshot>> logoutOnContext();
  Async<AuthResult<std::optional<std::string>>> getAccessTokenOnContext(bool forceRefresh);

  // The URL of `segments` under the base URL's path, with no query.
  Url endpoint(std::initializer_list<std::string_view> segments) const;
  // Posts without a bearer token; the outcome holds any error but a cancellation.
  Async<AuthSendOutcome> send(Url url, AuthRequestBody body);

  AuthResult<std::optional<std::string>> readStoredRefreshToken();
  AuthResult<void> saveSession(const AuthTokenPair& pair);
  AuthResult<void> clearLocalSession();
  void markSessionSignedOut();
  void advanceSessionGeneration();
  // Signed in with the stored user while an access token is held, else signed out.
  AuthSessionSnapshot presentSnapshot() const;
  void publish(AuthSessionSnapshot snapshot);

  // One POST to the refresh endpoint however many callers wait for it.
  Async<AuthResult<AuthTokenPair>> refreshTokenPair(std::string refreshToken);
  AuthSessionError handleRefreshFailure(AuthSessionError failure);
  // Refreshes and saves the new pair. Nothing when the session changed during the
  // wait: the result was then discarded unseen.
  Async<std::optional<AuthResult<AuthTokenPair>>> refreshAndSave(std::string refreshToken);

  const std::shared_ptr<Executor> executor_;
  const Url baseURL_;  // without empty path segments
  const std::shared_ptr<AuthHTTPClient> httpClient_;
  const std::shared_ptr<RefreshTokenStoring> refreshTokenStore_;
  const std::shared_ptr<AuthUserStoring> userStore_;
  const std::string service_;
  const std::string account_{kAccount};

  std::optional<std::string> accessToken_;  // memory only, never persisted
  uint64_t sessionGeneration_ = 0;
  std::optional<InFlightRefresh> inFlightRefresh_;
  uint64_t nextRefreshID_ = 0;

  std::optional<AsyncStream<AuthSessionSnapshot>> sessionUpdates_;  // until taken
  AsyncStream<AuthSessionSnapshot>::Continuation sessionUpdateContinuation_;
};

}  // namespace trelvis
