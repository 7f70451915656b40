#include "core/prefs/target_language.h"

#include "base/text.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace trelvis {
namespace {

// Lower-case subtags of a tag or locale name, without codeset and modifier.
std::vector<std::string> subtags(std::string_view tag) {
  std::string text = trimmed(tag);
  text = text.substr(0, text.find_first_of(".@"));
  std::vector<std::string> parts;
  std::string current;
  for (const char c : text) {
    if (c == '-' || c == '_') {
      parts.push_back(std::move(current));
      current.clear();
    } else {
      current.push_back(c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c);
    }
  }
  parts.push_back(std::move(current));
  return parts;
}

bool isTraditionalChinese(const std::vector<std::string>& parts) {
  for (std::size_t i = 1; i < parts.size(); ++i) {
    // The script, when the tag names one, decides over the region.
    if (parts[i].size() == 4) return parts[i] != "hans";
  }
  for (std::size_t i = 1; i < parts.size(); ++i) {
    if (parts[i] == "tw" || parts[i] == "hk" || parts[i] == "mo") return true;
  }
  return false;
}

}  // namespace

bool isSupportedTargetLanguage(std::string_view code) {
  return std::find(kSupportedTargetLanguages.begin(), kSupportedTargetLanguages.end(), code) !=
         kSupportedTargetLanguages.end();
}

std::optional<std::string_view> supportedTargetLanguageForTag(std::string_view tag) {
  const std::vector<std::string> parts = subtags(tag);
  const std::string& language = parts.front();
  if (language == "zh") {
    if (isTraditionalChinese(parts)) return std::nullopt;
    return kDefaultTargetLanguage;
  }
  for (const std::string_view code : kSupportedTargetLanguages) {
    if (code == language) return code;
  }
  return std::nullopt;
}

std::string_view targetLanguageForPreferredLanguages(const std::vector<std::string>& tags) {
  for (const std::string& tag : tags) {
    if (const std::optional<std::string_view> code = supportedTargetLanguageForTag(tag)) {
      return *code;
    }
  }
  return kDefaultTargetLanguage;
}

}  // namespace trelvis
