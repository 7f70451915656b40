#pragma once

// The server's sense of the time of day (UTC, milliseconds), injected so that tests
// can move it: code expiry, cooldowns and quota periods all read it.

#include <functional>

#include "base/iso8601.h"

namespace trelvis::server {

using WallClock = std::function<Timestamp()>;

// The system's real-time clock.
Timestamp systemTime();

}  // namespace trelvis::server
