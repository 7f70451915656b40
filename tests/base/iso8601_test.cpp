#include "base/iso8601.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace trelvis {
namespace {

using namespace std::chrono;
using namespace std::chrono_literals;

TEST(Iso8601Test, ParsesInternetDateTimes) {
  const auto jan2 = sys_days(2026y / 1 / 2) + 3h + 4min + 5s;
  const std::pair<const char*, Timestamp> cases[] = {
      {"2026-01-02T03:04:05Z", jan2},
      {"2026-01-02T03:04:05.06Z", jan2 + 60ms},
      {"2026-01-02T03:04:05.999999999Z", jan2 + 999ms},
      {"2026-01-02T04:34:05+01:30", jan2},
      {"2026-01-01T23:04:05.5-04:00", jan2 + 500ms},
      {"2026-01-02T03:04:05-00:00", jan2},
      {"2024-02-29T00:00:00Z", sys_days(2024y / 2 / 29)},
      {"1969-12-31T23:59:59.5Z", Timestamp(-500ms)},
  };
  for (const auto& [text, expected] : cases) {
    SCOPED_TRACE(text);
    EXPECT_EQ(parseIso8601(text), expected);
  }
}

TEST(Iso8601Test, RejectsEverythingElseWithOneMessage) {
  const char* cases[] = {
      "2026-01-02T03:04:05",      "2026-01-02T03:04Z",        "2026-01-02 03:04:05Z",
      "2026-1-02T03:04:05Z",      "2026-13-02T03:04:05Z",     "2025-02-29T03:04:05Z",
      "2026-01-02T24:00:00Z",     "2026-01-02T03:60:05Z",     "2026-01-02T03:04:60Z",
      "2026-01-02T03:04:05.Z",    "2026-01-02T03:04:05+0100", "2026-01-02T03:04:05+24:00",
      "2026-01-02T03:04:05Zjunk",
  };
  for (const char* text : cases) {
    SCOPED_TRACE(text);
    EXPECT_EQ(parseIso8601(text),
              tl::make_unexpected(std::string("Expected an ISO-8601 timestamp.")));
  }
}

TEST(Iso8601Test, FormatsUtcTextThatParsesBack) {
  struct Case {
    Timestamp timestamp;
    const char* withFraction;
    const char* withoutFraction;
  };
  const Case cases[] = {
      {Timestamp(0ms), "1970-01-01T00:00:00.000Z", "1970-01-01T00:00:00Z"},
      {sys_days(2024y / 2 / 29) + 23h + 59min + 59s + 7ms, "2024-02-29T23:59:59.007Z",
       "2024-02-29T23:59:59Z"},
      {Timestamp(-1ms), "1969-12-31T23:59:59.999Z", "1969-12-31T23:59:59Z"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.withFraction);
    EXPECT_EQ(formatIso8601(c.timestamp, true), c.withFraction);
    EXPECT_EQ(formatIso8601(c.timestamp, false), c.withoutFraction);
    EXPECT_EQ(parseIso8601(c.withFraction), c.timestamp);
    EXPECT_EQ(parseIso8601(c.withoutFraction), floor<seconds>(c.timestamp));
  }
}

}  // namespace
}  // namespace trelvis
