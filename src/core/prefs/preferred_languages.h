#pragma once

// The languages the user prefers, most preferred first, as the session's locale
// environment states them: LANGUAGE (a colon-separated list), then LC_ALL,
// LC_MESSAGES and LANG. The composition root hands the result to the
// TargetLanguageStore. The environment is read through an injected lookup, so tests
// never touch the process environment.

#include <string>
#include <vector>

#include "base/environment.h"

namespace trelvis {

// The language tags in order of preference, empty entries and repeats left out.
// "C" and "POSIX" are kept: they mean "no language", which the mapping to a target
// language skips.
std::vector<std::string> preferredLanguagesFromEnvironment(const EnvironmentLookup& environment);

}  // namespace trelvis
