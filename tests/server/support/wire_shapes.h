#pragma once

// The replies of the reference server decoded strictly into the shapes the desktop
// client reads: the token pair and its user, the send-code reply, the membership
// status with the client's rules of trust, and the home summary with its rule of
// form. A reply the client would refuse raises json::DecodeError, or shows in
// `problem()`; so a server test that passes these speaks what the client accepts.

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "base/iso8601.h"

namespace trelvis::wire {

struct User {
  std::string id;
  std::string email;
};

struct TokenPair {
  std::string accessToken;
  std::string refreshToken;
  int64_t expiresIn = 0;
  // Taken only when both members are non-empty strings.
  std::optional<User> user;
};

struct MembershipStatus {
  std::string plan;  // "free", "pro", "seed"
  std::string mode;  // "metered", "unlimited"
  std::optional<int64_t> used, limit, remaining;
  std::optional<Timestamp> periodStart, resetAt, proExpiresAt, seedGrantedAt;
  Timestamp serverTime;

  // Why the client would not trust this status; empty when it would.
  std::string problem() const;
};

struct HomeSummary {
  int64_t lookupCount = 0, savedCount = 0, masteredCount = 0, dueReviewCount = 0;
  std::optional<Timestamp> nextReviewDueAt;
  Timestamp snapshotAt;

  bool wellFormed() const;
};

// A request body as the client sends it: a JSON object of strings.
std::string requestBody(std::initializer_list<std::pair<std::string, std::string>> members);

TokenPair decodeTokenPair(std::string_view body);
int64_t decodeCooldownSeconds(std::string_view body);
MembershipStatus decodeMembershipStatus(std::string_view body);
HomeSummary decodeHomeSummary(std::string_view body);
// The wait a 429 asks for, by the client's rule: the integer `retryAfterSeconds`,
// at least 1; 60 when the body has none.
int64_t retryAfterSeconds(std::string_view body);
// The `detail` of an error reply; raises when there is none.
std::string decodeDetail(std::string_view body);

}  // namespace trelvis::wire
