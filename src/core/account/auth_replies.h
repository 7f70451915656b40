#pragma once

// How the replies of the "/v1/auth" endpoints become session results: the
// token-pair rule of login, registration and refresh, the reply of the email-code
// request, the reply of a password reset, and the status-to-error table they share.
// Pure functions; the session coordinator calls them on its executor.

#include <cstdint>
#include <exception>
#include <string_view>

#include "core/account/auth_http_client.h"
#include "core/account/auth_session_types.h"

namespace trelvis {

// What sending a request gave: the reply, or the error that stopped it.
using AuthSendOutcome = tl::expected<AuthHTTPResponse, std::exception_ptr>;

// An AuthSessionError as it is; any other error becomes the case that `otherwise`
// makes (network, keychain) with the error's description.
AuthSessionError authSessionErrorFrom(const std::exception_ptr& error,
                                      AuthSessionError (*otherwise)(std::string detail));

// A send that failed: an AuthSessionError as it is, anything else `network` with
// the error's description.
AuthSessionError authSendFailure(const std::exception_ptr& error);

// The failure a non-2xx status stands for, with the reply's "detail" where the
// case carries one.
AuthSessionError authError(int statusCode, std::string_view body);

// A 2xx reply with a well-formed token pair, or the failure.
AuthResult<AuthTokenPair> tokenPairResult(const AuthSendOutcome& outcome);

// The cooldown in seconds that a 2xx email-code reply gives, or the failure; 502
// and 503 mean the code could not be delivered.
AuthResult<int64_t> emailCodeResult(const AuthSendOutcome& outcome);

// Any 2xx is success; the body is not read.
AuthResult<void> passwordResetResult(const AuthSendOutcome& outcome);

}  // namespace trelvis
