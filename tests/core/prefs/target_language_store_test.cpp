#include "core/prefs/target_language_store.h"

#include "base/log.h"
#include "core/prefs/in_memory_preference_store.h"
#include "core/prefs/secondary_target_language_store.h"

#include <gtest/gtest.h>

namespace trelvis {
namespace {

TEST(TargetLanguageStoreTest, CodeFollowsStoredThenReturningUserThenPreferredLanguages) {
  struct Case {
    const char* name;
    std::optional<PreferenceValue> stored;
    bool returning;
    std::vector<std::string> preferred;
    std::string expected;
    bool logged;
  };
  const Case cases[] = {
      {"stored code", "es", true, {"ja"}, "es", false},
      {"stored with white space", " ja\n", false, {"de"}, "ja", false},
      {"unsupported stored", "it", false, {"ja"}, "zh-Hans", true},
      {"stored wrong type", true, false, {"ja"}, "zh-Hans", true},
      {"returning user", std::nullopt, true, {"ja"}, "zh-Hans", false},
      {"new user", std::nullopt, false, {"zh-TW", "pt-BR"}, "pt", false},
      {"new user, nothing maps", std::nullopt, false, {"it"}, "zh-Hans", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    InMemoryPreferenceStore defaults;
    if (c.stored) defaults.setValue(TargetLanguageStore::kStorageKey, *c.stored);
    const TargetLanguageStore store(
        defaults, [&] { return c.preferred; }, [&] { return c.returning; });
    LogCapture log;
    EXPECT_EQ(store.code(), c.expected);
    EXPECT_EQ(store.code(), c.expected);
    EXPECT_EQ(log.records("preferences").size(), c.logged ? 1u : 0u);
  }
}

TEST(TargetLanguageStoreTest, SettingEmitsOnlyRealChangesAndRefusesUnsupportedCodes) {
  InMemoryPreferenceStore defaults;
  TargetLanguageStore store(
      defaults, [] { return std::vector<std::string>{"ja_JP.UTF-8"}; }, [] { return false; });
  std::vector<std::string> emitted;
  const Connection connection =
      store.changed().connect([&](const auto& code) { emitted.push_back(code); });

  EXPECT_TRUE(store.setCode("ja"));  // what it already read: stored, not a change
  EXPECT_EQ(defaults.stringValue(TargetLanguageStore::kStorageKey), "ja");
  EXPECT_TRUE(store.setCode(" ko "));
  EXPECT_TRUE(store.setCode("ko"));
  EXPECT_FALSE(store.setCode("zh-TW"));
  EXPECT_EQ(store.code(), "ko");
  EXPECT_EQ(emitted, std::vector<std::string>{"ko"});
}

TEST(TargetLanguageStoreTest, SecondaryLanguageIsSavedOrRemoved) {
  InMemoryPreferenceStore defaults;
  SecondaryTargetLanguageStore store(defaults);
  std::vector<std::optional<std::string>> emitted;
  const Connection connection =
      store.changed().connect([&](const auto& code) { emitted.push_back(code); });

  EXPECT_EQ(store.code(), std::nullopt);
  EXPECT_TRUE(store.save("en"));
  EXPECT_TRUE(store.save("en"));
  EXPECT_FALSE(store.save("xx"));
  EXPECT_EQ(store.code(), "en");
  EXPECT_TRUE(store.save(std::nullopt));
  EXPECT_FALSE(defaults.value(SecondaryTargetLanguageStore::kStorageKey).has_value());
  EXPECT_EQ(emitted, (std::vector<std::optional<std::string>>{"en", std::nullopt}));

  defaults.setString(SecondaryTargetLanguageStore::kStorageKey, "\tfr ");
  EXPECT_EQ(store.code(), "fr");
  LogCapture log;
  defaults.setInteger(SecondaryTargetLanguageStore::kStorageKey, 3);
  EXPECT_EQ(store.code(), std::nullopt);
  EXPECT_EQ(store.code(), std::nullopt);
  EXPECT_EQ(log.records("preferences").size(), 1u);
}

}  // namespace
}  // namespace trelvis
