#pragma once

// Points in time and the clocks that produce them. Core code never reads a system
// clock directly: it asks an injected Clock (usually its executor), so that tests
// can run on virtual time.

#include <chrono>
#include <compare>
#include <cstdint>

namespace trelvis {

using Duration = std::chrono::nanoseconds;

// A point on one clock's timeline, counted from that clock's arbitrary origin.
// Instants of different clocks must not be compared.
class Instant {
 public:
  constexpr Instant() = default;
  static constexpr Instant fromNanoseconds(int64_t ns) { return Instant(Duration(ns)); }

  constexpr Duration sinceOrigin() const { return sinceOrigin_; }

  constexpr Instant operator+(Duration d) const { return Instant(sinceOrigin_ + d); }
  constexpr Instant operator-(Duration d) const { return Instant(sinceOrigin_ - d); }
  constexpr Duration operator-(Instant other) const { return sinceOrigin_ - other.sinceOrigin_; }
  constexpr Instant& operator+=(Duration d) {
    sinceOrigin_ += d;
    return *this;
  }
  constexpr auto operator<=>(const Instant&) const = default;

 private:
  constexpr explicit Instant(Duration sinceOrigin) : sinceOrigin_(sinceOrigin) {}
  Duration sinceOrigin_{0};
};

class Clock {
 public:
  virtual ~Clock() = default;
  virtual Instant now() const = 0;
};

// Counts while the process runs; stops while the machine sleeps (CLOCK_MONOTONIC).
class MonotonicClock final : public Clock {
 public:
  Instant now() const override;
  static Instant read();
};

// Keeps counting while the machine sleeps (CLOCK_BOOTTIME), for waits that must
// span a suspend.
class ContinuousClock final : public Clock {
 public:
  Instant now() const override;
  static Instant read();
};

}  // namespace trelvis
