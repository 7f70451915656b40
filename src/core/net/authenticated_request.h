#pragma once

// performAuthenticatedRequest: the one rule by which every REST client acts for
// the signed-in user. Ask the session for a token, send the request with
// "Authorization: Bearer <token>", and on a 401 force one refresh and send once
// more. Every failure becomes a case of the client's own closed error type E:
//
//   - the session fails to give a token          -> E::auth(AuthSessionError)
//   - nobody is signed in, or a blank token       -> E::unauthenticated()
//   - a reply that is not HTTP                    -> E::invalidResponse()
//   - a second 401                                -> E::unauthenticated()
//   - any other status outside 200...299          -> E::http(status, body as UTF-8 or "")
//   - the transport fails                         -> E::network(its description)
//
// A cancellation stays a cancellation and an E raised underneath passes through.
// A 2xx gives the body. Include it in the .cpp of the client only.

#include <concepts>
#include <exception>
#include <string>
#include <utility>

#include "base/async/task_context.h"
#include "base/text.h"
#include "core/account/auth_session_error.h"
#include "core/net/access_token_provider.h"
#include "core/net/http_transport.h"

namespace trelvis {

template <class E>
concept AuthenticatedClientError = requires(AuthSessionError failure, int status,
                                            std::string text) {
  { E::auth(failure) } -> std::same_as<E>;
  { E::unauthenticated() } -> std::same_as<E>;
  { E::invalidResponse() } -> std::same_as<E>;
  { E::http(status, text) } -> std::same_as<E>;
  { E::network(text) } -> std::same_as<E>;
};

// `request` is complete apart from "Authorization", which is set here for each try.
template <AuthenticatedClientError E>
Async<std::string> performAuthenticatedRequest(AccessTokenProviding& auth, HttpTransport& transport,
                                               HttpRequest request, bool forceRefresh = false,
                                               bool retryOnUnauthorized = true) {
  auto token = co_await auth.getAccessToken(forceRefresh);
  if (!token) throw E::auth(token.error());
  if (!*token || isBlank(**token)) throw E::unauthenticated();

  HttpRequest attempt = request;
  attempt.headers.set("Authorization", "Bearer " + **token);
  HttpDataReply reply;
  try {
    reply = co_await load(transport, std::move(attempt));
  } catch (const CancellationError&) {
    throw;
  } catch (const E&) {
    throw;
  } catch (const std::exception& error) {
    throw E::network(error.what());
  }

  const int status = reply.head.status;
  if (status < 100) throw E::invalidResponse();
  if (status == 401) {
    if (!retryOnUnauthorized) throw E::unauthenticated();
    co_return co_await performAuthenticatedRequest<E>(auth, transport, std::move(request), true,
                                                      false);
  }
  if (status >= 200 && status <= 299) co_return std::move(reply.body);
  throw E::http(status, isValidUTF8(reply.body) ? std::move(reply.body) : std::string());
}

}  // namespace trelvis
