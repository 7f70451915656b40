// The ISO-8601 reader on arbitrary text. What it accepts must name the same
// instant as the C library's calendar arithmetic (timegm) gives for the date, the
// time and the zone offset; what it refuses gets the one fixed message. A
// timestamp in the years 0...9999 must read back unchanged from what
// formatIso8601 writes, with the fraction, and to the second without it.

#include <time.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/iso8601.h"
#include "fuzz_check.h"

namespace {

using namespace std::chrono;

int digits(std::string_view text, size_t at, size_t count) {
  int value = 0;
  for (size_t i = at; i < at + count; ++i) value = value * 10 + (text[i] - '0');
  return value;
}

// The instant the accepted `text` names, from its fields: "YYYY-MM-DDTHH:MM:SS",
// an optional fraction, then "Z" or "+HH:MM" / "-HH:MM".
trelvis::Timestamp expectedInstant(std::string_view text) {
  tm fields{};
  fields.tm_year = digits(text, 0, 4) - 1900;
  fields.tm_mon = digits(text, 5, 2) - 1;
  fields.tm_mday = digits(text, 8, 2);
  fields.tm_hour = digits(text, 11, 2);
  fields.tm_min = digits(text, 14, 2);
  fields.tm_sec = digits(text, 17, 2);
  const sys_seconds local{seconds(timegm(&fields))};
  milliseconds fraction{0};
  if (text[19] == '.') {
    // The first three digits count; fewer are filled with zeros.
    for (size_t i = 20, scale = 100; i < text.size() && text[i] >= '0' && text[i] <= '9' && scale;
         ++i, scale /= 10) {
      fraction += milliseconds((text[i] - '0') * static_cast<int>(scale));
    }
  }
  minutes offset{0};
  if (text.back() != 'Z') {
    const std::string_view zone = text.substr(text.size() - 6);
    offset = hours(digits(zone, 1, 2)) + minutes(digits(zone, 4, 2));
    if (zone[0] == '-') offset = -offset;
  }
  return local + fraction - offset;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto parsed = trelvis::parseIso8601(text);
  if (!parsed) {
    FUZZ_CHECK(parsed.error() == "Expected an ISO-8601 timestamp.");
    return 0;
  }
  FUZZ_CHECK(*parsed == expectedInstant(text));

  const int year = static_cast<int>(year_month_day(floor<days>(*parsed)).year());
  if (year < 0 || year > 9999) return 0;
  const auto precise = trelvis::parseIso8601(trelvis::formatIso8601(*parsed, true));
  FUZZ_CHECK(precise && *precise == *parsed);
  const auto whole = trelvis::parseIso8601(trelvis::formatIso8601(*parsed, false));
  FUZZ_CHECK(whole && *whole == floor<seconds>(*parsed));
  return 0;
}
