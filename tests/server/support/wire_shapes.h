#pragma once

// The replies of the reference server read by the desktop client's own decoders,
// so that a server test that passes them speaks what the client accepts. The
// membership status and the home summary are read with the client's
// decodeMembershipStatus and decodeHomeSummary and held to their isValid and
// isWellFormed. Each function here raises where the client would refuse the reply.

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

#include "core/account/auth_session_types.h"

namespace trelvis::wire {

// A request body as the client sends it: a JSON object of strings.
std::string requestBody(std::initializer_list<std::pair<std::string, std::string>> members);

// The token pair of a 2xx reply to login, registration or refresh.
AuthTokenPair decodeTokenPair(std::string_view body);
// The cooldown of a 2xx reply to an email-code request.
int64_t decodeCooldownSeconds(std::string_view body);
// The wait the client takes from a 429 reply.
int64_t retryAfterSeconds(std::string_view body);
// The `detail` string of an error reply; raises when there is none.
std::string decodeDetail(std::string_view body);

}  // namespace trelvis::wire
