#pragma once

// The JSON bodies the server answers with, in the shapes the client decodes. Dates
// are ISO-8601 UTC with milliseconds; optional members that have no value are left
// out rather than sent as null.

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace trelvis::server {

struct TokenPair;
struct MembershipStatus;
struct HomeSummary;
struct QuotaSnapshot;

// {"detail": ...}: every failure.
std::string errorBody(std::string_view detail);
// A failure that may be retried later, with "retryAfterSeconds".
std::string retryLaterBody(std::string_view detail, std::chrono::seconds retryAfter);
// {"accessToken", "refreshToken", "expiresIn", "user": {"id", "email"}}
std::string tokenPairBody(const TokenPair& pair);
// {"cooldownSeconds": ...}
std::string cooldownBody(int64_t seconds);
std::string emptyObjectBody();
std::string membershipStatusBody(const MembershipStatus& status);
std::string homeSummaryBody(const HomeSummary& summary);
// The refusal of a translation whose quota is used up, sent with status 429:
// {"message", "code": "translation_quota_exhausted", "retryable", "detail", "quota"}.
std::string quotaExhaustedBody(const QuotaSnapshot& quota);

}  // namespace trelvis::server
