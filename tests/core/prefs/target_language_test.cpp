#include "core/prefs/target_language.h"

#include "core/prefs/preferred_languages.h"
#include "support/fake_environment.h"

#include <gtest/gtest.h>

namespace trelvis {
namespace {

TEST(TargetLanguageTest, PreferredTagsMapOntoSupportedCodes) {
  struct Case {
    const char* tag;
    std::optional<std::string_view> expected;
  };
  const Case cases[] = {
      {"zh_CN.UTF-8", "zh-Hans"},
      {"zh-Hans-HK", "zh-Hans"},
      {"zh", "zh-Hans"},
      {"zh-TW", std::nullopt},
      {"zh-Hant-CN", std::nullopt},
      {"pt-BR", "pt"},
      {"de_DE@euro", "de"},
      {"JA_jp", "ja"},
      {" ko-KR\n", "ko"},
      {"C.UTF-8", std::nullopt},
      {"", std::nullopt},
      {"eng", std::nullopt},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(supportedTargetLanguageForTag(c.tag), c.expected) << c.tag;
  }

  struct ListCase {
    std::vector<std::string> tags;
    std::string_view expected;
  };
  const ListCase lists[] = {
      {{"zh-TW", "C", "ja-JP", "en-US"}, "ja"},
      {{"it", "pt_BR.UTF-8"}, "pt"},
      {{"it", "zh-Hant", "POSIX"}, "zh-Hans"},
      {{}, "zh-Hans"},
  };
  for (const ListCase& c : lists) {
    EXPECT_EQ(targetLanguageForPreferredLanguages(c.tags), c.expected) << c.tags.size();
  }
  EXPECT_TRUE(isSupportedTargetLanguage("ko"));
  EXPECT_FALSE(isSupportedTargetLanguage(" ja"));
  EXPECT_FALSE(isSupportedTargetLanguage("zh-hans"));
}

TEST(TargetLanguageTest, PreferredLanguagesComeFromTheLocaleEnvironmentInPrecedence) {
  struct Case {
    EnvironmentTable environment;
    std::vector<std::string> expected;
  };
  const Case cases[] = {
      {{}, {}},
      {{{"LANG", "en_US.UTF-8"}}, {"en_US.UTF-8"}},
      {{{"LANGUAGE", "zh_TW:ja::de"}, {"LC_ALL", ""}, {"LC_MESSAGES", "fr_FR"}, {"LANG", "de"}},
       {"zh_TW", "ja", "de", "fr_FR"}},
      {{{"LC_ALL", "C"}, {"LANG", "ko_KR.UTF-8"}}, {"C", "ko_KR.UTF-8"}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(preferredLanguagesFromEnvironment(environmentOf(c.environment)), c.expected);
  }
}

}  // namespace
}  // namespace trelvis
