#pragma once

// The languages that lookups translate into, and how the languages a user prefers
// (BCP 47 tags such as "zh-Hans-CN", or POSIX locales such as "pt_BR.UTF-8") map onto
// them. Used by the target language stores and by whatever validates a language
// chosen in the settings. Plain functions over constants; callable on any thread.

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace trelvis {

// In the order the settings list them.
inline constexpr std::array<std::string_view, 8> kSupportedTargetLanguages = {
    "zh-Hans", "en", "es", "ja", "de", "fr", "pt", "ko"};

// What a user gets when nothing better is known.
inline constexpr std::string_view kDefaultTargetLanguage = "zh-Hans";

// Exact comparison: "ja" is supported, " ja" and "JA" are not.
bool isSupportedTargetLanguage(std::string_view code);

// The supported code that a preferred language tag stands for, if any. Case, "_" or
// "-" separators, a codeset (".UTF-8") and a modifier ("@euro") do not matter. Chinese
// maps to "zh-Hans" unless its script or region says Traditional Chinese ("zh-Hant",
// "zh-TW", "zh-HK", "zh-MO"), which is not offered; "C" and "POSIX" name no language.
std::optional<std::string_view> supportedTargetLanguageForTag(std::string_view tag);

// The first of `tags` that maps to a supported code, else kDefaultTargetLanguage.
std::string_view targetLanguageForPreferredLanguages(const std::vector<std::string>& tags);

}  // namespace trelvis
