#pragma once

// Reading and writing the internet date-time form of ISO 8601 that the server uses,
// "2026-01-02T03:04:05.678Z" or "2026-01-02T04:04:05+01:00", at millisecond
// precision.

#include <chrono>
#include <string>
#include <string_view>

#include <tl/expected.hpp>

namespace trelvis {

using Timestamp = std::chrono::sys_time<std::chrono::milliseconds>;

// Accepts "YYYY-MM-DDTHH:MM:SS[.fraction](Z|+HH:MM|-HH:MM)". The fraction may have
// any number of digits; digits beyond milliseconds are dropped. A date alone, a
// missing zone or an impossible date or time is an error.
tl::expected<Timestamp, std::string> parseIso8601(std::string_view text);

// UTC text ending in "Z", with three fraction digits when `withFraction` is set and
// none otherwise (the milliseconds are then dropped). Years must be 0...9999.
std::string formatIso8601(Timestamp timestamp, bool withFraction);

}  // namespace trelvis
