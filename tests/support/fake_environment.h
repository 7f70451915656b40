#pragma once

// environmentOf: an EnvironmentLookup that answers from a fixed table, for tests of
// what reads the process environment.

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "base/environment.h"

namespace trelvis {

using EnvironmentTable = std::map<std::string, std::string, std::less<>>;

inline EnvironmentLookup environmentOf(EnvironmentTable variables) {
  return [variables = std::move(variables)](std::string_view name) -> std::optional<std::string> {
    const auto found = variables.find(name);
    if (found == variables.end()) return std::nullopt;
    return found->second;
  };
}

}  // namespace trelvis
