#pragma once

// The server's secrets: bearer tokens, email codes, and how each is kept. A token is
// 256 random bits, sent as unpadded base64url; the database keeps only its SHA-256
// digest, so a copy of the database opens no session. Codes are six random digits,
// kept as a digest bound to the address and purpose they were sent for.

#include <string>
#include <string_view>

#include "server/store/store.h"

namespace trelvis::server {

// A new random token, 43 characters of base64url.
std::string newSecretToken();

// The lowercase hex SHA-256 of a token, as the store keeps it.
std::string tokenDigest(std::string_view token);

// Six random decimal digits, uniformly drawn ("004271").
std::string newVerificationCode();

std::string verificationCodeDigest(std::string_view email, EmailCodePurpose purpose,
                                   std::string_view code);

// The lowercase hex HMAC-SHA-256 of `message` under `key`.
std::string hmacSha256Hex(std::string_view key, std::string_view message);

// Compares without an early exit, so the time taken tells nothing about where two
// secrets differ. Different lengths compare unequal.
bool constantTimeEquals(std::string_view a, std::string_view b);

}  // namespace trelvis::server
