#include "base/clock.h"

#include <time.h>

namespace trelvis {
namespace {

Instant readClock(clockid_t id) {
  timespec ts{};
  clock_gettime(id, &ts);
  return Instant::fromNanoseconds(int64_t{ts.tv_sec} * 1'000'000'000 + ts.tv_nsec);
}

}  // namespace

Instant MonotonicClock::read() {
  return readClock(CLOCK_MONOTONIC);
}
Instant MonotonicClock::now() const {
  return read();
}

Instant ContinuousClock::read() {
  return readClock(CLOCK_BOOTTIME);
}
Instant ContinuousClock::now() const {
  return read();
}

}  // namespace trelvis
