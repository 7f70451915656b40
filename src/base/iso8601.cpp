#include "base/iso8601.h"

#include "base/check.h"

#include <cstdio>
#include <optional>

namespace trelvis {
namespace {

using std::chrono::days;
using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;

constexpr const char* kParseError = "Expected an ISO-8601 timestamp.";

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

// Reads the text from left to right; every read fails once anything is missing.
class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}

  bool atEnd() const { return position_ == text_.size(); }
  std::optional<char> peek() const {
    if (atEnd()) return std::nullopt;
    return text_[position_];
  }

  bool literal(char c) {
    if (peek() != c) return false;
    ++position_;
    return true;
  }

  // Exactly `count` digits.
  std::optional<int> number(int count) {
    int value = 0;
    for (int i = 0; i < count; ++i) {
      const std::optional<char> c = peek();
      if (!c || !isDigit(*c)) return std::nullopt;
      value = value * 10 + (*c - '0');
      ++position_;
    }
    return value;
  }

  // One or more digits, read as milliseconds: the first three count, the rest are
  // dropped.
  std::optional<milliseconds> fraction() {
    int value = 0;
    int digits = 0;
    for (std::optional<char> c = peek(); c && isDigit(*c); c = peek()) {
      if (digits < 3) value = value * 10 + (*c - '0');
      ++digits;
      ++position_;
    }
    if (digits == 0) return std::nullopt;
    for (int i = digits; i < 3; ++i) value *= 10;
    return milliseconds(value);
  }

 private:
  std::string_view text_;
  std::size_t position_ = 0;
};

std::optional<Timestamp> parse(std::string_view text) {
  Reader reader(text);
  const auto year = reader.number(4);
  if (!year || !reader.literal('-')) return std::nullopt;
  const auto month = reader.number(2);
  if (!month || !reader.literal('-')) return std::nullopt;
  const auto day = reader.number(2);
  if (!day || !reader.literal('T')) return std::nullopt;
  const auto hour = reader.number(2);
  if (!hour || !reader.literal(':')) return std::nullopt;
  const auto minute = reader.number(2);
  if (!minute || !reader.literal(':')) return std::nullopt;
  const auto second = reader.number(2);
  if (!second) return std::nullopt;

  milliseconds fraction{0};
  if (reader.literal('.')) {
    const auto digits = reader.fraction();
    if (!digits) return std::nullopt;
    fraction = *digits;
  }

  minutes offset{0};
  if (!reader.literal('Z')) {
    int sign;
    if (reader.literal('+')) {
      sign = 1;
    } else if (reader.literal('-')) {
      sign = -1;
    } else {
      return std::nullopt;
    }
    const auto offsetHours = reader.number(2);
    if (!offsetHours || !reader.literal(':')) return std::nullopt;
    const auto offsetMinutes = reader.number(2);
    if (!offsetMinutes || *offsetHours > 23 || *offsetMinutes > 59) return std::nullopt;
    offset = sign * (hours(*offsetHours) + minutes(*offsetMinutes));
  }
  if (!reader.atEnd()) return std::nullopt;

  const std::chrono::year_month_day date{std::chrono::year(*year),
                                         std::chrono::month(static_cast<unsigned>(*month)),
                                         std::chrono::day(static_cast<unsigned>(*day))};
  if (!date.ok() || *hour > 23 || *minute > 59 || *second > 59) return std::nullopt;

  // The text is local time at `offset` east of UTC.
  return std::chrono::sys_days(date) + hours(*hour) + minutes(*minute) + seconds(*second) +
         fraction - offset;
}

}  // namespace

tl::expected<Timestamp, std::string> parseIso8601(std::string_view text) {
  if (const auto timestamp = parse(text)) return *timestamp;
  return tl::make_unexpected(std::string(kParseError));
}

std::string formatIso8601(Timestamp timestamp, bool withFraction) {
  const auto day = std::chrono::floor<days>(timestamp);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss time(timestamp - day);
  const int year = static_cast<int>(date.year());
  TRELVIS_DCHECK(year >= 0 && year <= 9999, "the year does not fit four digits");
  char text[32];
  const int length = std::snprintf(
      text, sizeof(text), "%04d-%02u-%02uT%02d:%02d:%02d", year,
      static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
      static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
      static_cast<int>(time.seconds().count()));
  std::string result(text, static_cast<std::size_t>(length));
  if (withFraction) {
    std::snprintf(text, sizeof(text), ".%03d", static_cast<int>(time.subseconds().count()));
    result += text;
  }
  result += 'Z';
  return result;
}

}  // namespace trelvis
