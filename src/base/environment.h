#pragma once

// Reading environment variables through an injectable lookup, so that code that
// depends on them is tested without touching the process environment.

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace trelvis {

// The value of an environment variable, or nothing when it is not set.
using EnvironmentLookup = std::function<std::optional<std::string>(std::string_view name)>;

// Reads the process environment.
EnvironmentLookup processEnvironment();

}  // namespace trelvis
