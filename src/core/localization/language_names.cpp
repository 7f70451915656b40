#include "core/localization/language_names.h"

#include <algorithm>
#include <array>
#include <vector>

#include "base/text.h"

namespace trelvis {
namespace {

struct LanguageNames {
  std::string_view code;
  std::string_view english;
  std::string_view simplifiedChinese;
};

// Names that win over the general table for one interface language: the
// Chinese scripts are named as their readers name them, not as "Chinese,
// Simplified".
struct NameOverride {
  AppLanguage appLanguage;
  std::string_view code;
  std::string_view name;
};

constexpr std::array<NameOverride, 4> kOverrides{{
    {AppLanguage::english, "zh-Hans", "Simplified Chinese"},
    {AppLanguage::english, "zh-Hant", "Traditional Chinese"},
    {AppLanguage::simplifiedChinese, "zh-Hans", "简体中文"},
    {AppLanguage::simplifiedChinese, "zh-Hant", "繁體中文"},
}};

// The target languages the app offers, then others a lookup commonly detects.
constexpr std::array<LanguageNames, 29> kNames{{
    {"zh-Hans", "Chinese (Simplified)", "简体中文"},
    {"zh-Hant", "Chinese (Traditional)", "繁体中文"},
    {"en", "English", "英语"},
    {"es", "Spanish", "西班牙语"},
    {"ja", "Japanese", "日语"},
    {"de", "German", "德语"},
    {"fr", "French", "法语"},
    {"pt", "Portuguese", "葡萄牙语"},
    {"ko", "Korean", "韩语"},
    {"it", "Italian", "意大利语"},
    {"ru", "Russian", "俄语"},
    {"ar", "Arabic", "阿拉伯语"},
    {"nl", "Dutch", "荷兰语"},
    {"sv", "Swedish", "瑞典语"},
    {"pl", "Polish", "波兰语"},
    {"tr", "Turkish", "土耳其语"},
    {"vi", "Vietnamese", "越南语"},
    {"th", "Thai", "泰语"},
    {"id", "Indonesian", "印度尼西亚语"},
    {"hi", "Hindi", "印地语"},
    {"uk", "Ukrainian", "乌克兰语"},
    {"ms", "Malay", "马来语"},
    {"he", "Hebrew", "希伯来语"},
    {"el", "Greek", "希腊语"},
    {"cs", "Czech", "捷克语"},
    {"da", "Danish", "丹麦语"},
    {"fi", "Finnish", "芬兰语"},
    {"hu", "Hungarian", "匈牙利语"},
    {"ro", "Romanian", "罗马尼亚语"},
}};

// Deprecated language subtags that older detectors still send.
struct LanguageAlias {
  std::string_view alias;
  std::string_view code;
};

constexpr std::array<LanguageAlias, 4> kAliases{{
    {"iw", "he"},
    {"in", "id"},
    {"ji", "yi"},
    {"cmn", "zh"},
}};

// Tags that stand for no particular language.
constexpr std::array<std::string_view, 4> kNoLanguage{"und", "mul", "mis", "zxx"};

bool isAsciiAlpha(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isAsciiDigit(char c) {
  return c >= '0' && c <= '9';
}

char asciiLower(char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string asciiLowered(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), asciiLower);
  return result;
}

// The subtags of `tag`, or nothing when one is empty, longer than eight
// characters, or not ASCII letters and digits.
std::optional<std::vector<std::string>> splitSubtags(std::string_view tag) {
  std::vector<std::string> subtags;
  std::size_t start = 0;
  while (true) {
    const std::size_t end = tag.find_first_of("-_", start);
    const std::string_view subtag =
        tag.substr(start, end == std::string_view::npos ? std::string_view::npos : end - start);
    if (subtag.empty() || subtag.size() > 8) return std::nullopt;
    for (char c : subtag) {
      if (!isAsciiAlpha(c) && !isAsciiDigit(c)) return std::nullopt;
    }
    subtags.push_back(asciiLowered(subtag));
    if (end == std::string_view::npos) return subtags;
    start = end + 1;
  }
}

bool isRegion(const std::string& subtag) {
  return (subtag.size() == 2 && isAsciiAlpha(subtag[0]) && isAsciiAlpha(subtag[1])) ||
         (subtag.size() == 3 && std::all_of(subtag.begin(), subtag.end(), isAsciiDigit));
}

bool isScript(const std::string& subtag) {
  return subtag.size() == 4 && std::all_of(subtag.begin(), subtag.end(), isAsciiAlpha);
}

// "zh-Hant" or "zh-Hans" for the subtags after "zh": an explicit script wins,
// then the region, and a bare "zh" is simplified.
std::string chineseCode(const std::vector<std::string>& subtags) {
  for (std::size_t i = 1; i < subtags.size(); ++i) {
    if (subtags[i] == "hant") return "zh-Hant";
    if (subtags[i] == "hans") return "zh-Hans";
  }
  for (std::size_t i = 1; i < subtags.size(); ++i) {
    if (isScript(subtags[i])) continue;
    if (!isRegion(subtags[i])) break;
    const std::string& region = subtags[i];
    if (region == "tw" || region == "hk" || region == "mo") return "zh-Hant";
    break;
  }
  return "zh-Hans";
}

}  // namespace

std::optional<std::string> canonicalLanguageCode(std::string_view tag) {
  const std::string text = trimmed(tag);
  const std::optional<std::vector<std::string>> subtags = splitSubtags(text);
  if (!subtags) return std::nullopt;

  std::string language = subtags->front();
  if (language.size() < 2 || language.size() > 3 ||
      !std::all_of(language.begin(), language.end(), isAsciiAlpha)) {
    return std::nullopt;
  }
  if (std::find(kNoLanguage.begin(), kNoLanguage.end(), language) != kNoLanguage.end()) {
    return std::nullopt;
  }
  for (const LanguageAlias& alias : kAliases) {
    if (language == alias.alias) language = alias.code;
  }
  if (language == "zh") return chineseCode(*subtags);
  return language;
}

std::optional<std::string_view> languageDisplayName(std::string_view code,
                                                    AppLanguage appLanguage) {
  for (const NameOverride& entry : kOverrides) {
    if (entry.appLanguage == appLanguage && entry.code == code) return entry.name;
  }
  for (const LanguageNames& names : kNames) {
    if (names.code != code) continue;
    switch (appLanguage) {
      case AppLanguage::english:
        return names.english;
      case AppLanguage::simplifiedChinese:
        return names.simplifiedChinese;
    }
  }
  return std::nullopt;
}

}  // namespace trelvis
