#include "core/prefs/preferred_languages.h"

#include <algorithm>

namespace trelvis {

std::vector<std::string> preferredLanguagesFromEnvironment(const EnvironmentLookup& environment) {
  std::vector<std::string> tags;
  const auto add = [&tags](std::string_view tag) {
    if (!tag.empty() && std::find(tags.begin(), tags.end(), tag) == tags.end()) {
      tags.emplace_back(tag);
    }
  };
  if (const std::optional<std::string> list = environment("LANGUAGE")) {
    std::string_view rest = *list;
    while (!rest.empty()) {
      const std::size_t colon = rest.find(':');
      add(rest.substr(0, colon));
      rest = colon == std::string_view::npos ? std::string_view() : rest.substr(colon + 1);
    }
  }
  // Precedence order of the POSIX locale categories for messages.
  for (const std::string_view name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    if (const std::optional<std::string> value = environment(name)) add(*value);
  }
  return tags;
}

}  // namespace trelvis
