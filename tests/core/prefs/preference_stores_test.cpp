#include "base/log.h"
#include "core/prefs/app_language_store.h"
#include "core/prefs/appearance_store.h"
#include "core/prefs/dock_presence_store.h"
#include "core/prefs/english_pronunciation_store.h"
#include "core/prefs/in_memory_preference_store.h"
#include "core/prefs/pronunciation_settings_store.h"
#include "core/prefs/setup_completion_store.h"
#include "core/prefs/sign_in_history_store.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace trelvis {
namespace {

std::string text(bool value) {
  return value ? "true" : "false";
}

TEST(PreferenceStoresTest, ChoicesHaveDefaultsAndReadUnusableValuesAsTheDefault) {
  using Read = std::function<std::string(PreferenceStore&)>;
  struct Case {
    std::string_view key;
    Read read;
    std::string defaultValue;
    PreferenceValue other;
    std::string otherValue;
    PreferenceValue unusable;
  };
  const Case cases[] = {
      {AppLanguageStore::kStorageKey,
       [](PreferenceStore& d) { return std::string(toString(AppLanguageStore(d).preference())); },
       "system", "simplifiedChinese", "simplifiedChinese", "klingon"},
      {AppearanceStore::kStorageKey,
       [](PreferenceStore& d) { return std::string(toString(AppearanceStore(d).mode())); }, "light",
       "dark", "dark", 1},
      {EnglishPronunciationStore::kStorageKey,
       [](PreferenceStore& d) {
         return std::string(toString(EnglishPronunciationStore(d).accent()));
       },
       "american", "british", "british", "British"},
      {DockPresenceStore::kStorageKey,
       [](PreferenceStore& d) { return text(DockPresenceStore(d).showInDock()); }, "false", true,
       "true", "true"},
      {PronunciationSettingsStore::kStorageKey,
       [](PreferenceStore& d) { return text(PronunciationSettingsStore(d).autoplayEnabled()); },
       "false", true, "true", 1},
      {SignInHistoryStore::kStorageKey,
       [](PreferenceStore& d) { return text(SignInHistoryStore(d).hasSignedInOnThisMac()); },
       "false", true, "true", "yes"},
      {SetupCompletionStore::kCompletedKey,
       [](PreferenceStore& d) { return text(SetupCompletionStore(d).isCompleted()); }, "false",
       true, "true", 0.0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.key);
    InMemoryPreferenceStore defaults;
    EXPECT_EQ(c.read(defaults), c.defaultValue);
    defaults.setValue(c.key, c.other);
    EXPECT_EQ(c.read(defaults), c.otherValue);

    LogCapture log;
    defaults.setValue(c.key, c.unusable);
    EXPECT_EQ(c.read(defaults), c.defaultValue);
    ASSERT_EQ(log.records("preferences").size(), 1u);
    EXPECT_NE(log.records("preferences")[0].message.find(c.key), std::string::npos);
    EXPECT_EQ(defaults.value(c.key), c.unusable) << "reading must not destroy what is stored";
  }
}

TEST(PreferenceStoresTest, SettersEmitOnlyRealChangesAndRepairUnusableValues) {
  InMemoryPreferenceStore defaults;
  defaults.setInteger(AppearanceStore::kStorageKey, 7);
  AppearanceStore appearance(defaults);
  DockPresenceStore dock(defaults);
  AppLanguageStore language(defaults);
  std::vector<std::string> events;
  const Connection c1 = appearance.changed().connect(
      [&](AppearanceMode mode) { events.push_back(std::string(toString(mode))); });
  const Connection c2 = dock.changed().connect([&](bool show) { events.push_back(text(show)); });
  const Connection c3 = language.changed().connect(
      [&](AppLanguagePreference p) { events.push_back(std::string(toString(p))); });

  LogCapture log;
  appearance.setMode(AppearanceMode::light);  // already what it reads as
  EXPECT_EQ(defaults.stringValue(AppearanceStore::kStorageKey), "light");
  appearance.setMode(AppearanceMode::dark);
  appearance.setMode(AppearanceMode::dark);
  dock.setShowInDock(false);
  dock.setShowInDock(true);
  dock.setShowInDock(true);
  language.setPreference(AppLanguagePreference::english);
  language.setPreference(AppLanguagePreference::system);
  EXPECT_EQ(events, (std::vector<std::string>{"dark", "true", "english", "system"}));
  EXPECT_EQ(log.records("preferences").size(), 1u);
  EXPECT_EQ(defaults.boolValue(DockPresenceStore::kStorageKey), true);
}

TEST(PreferenceStoresTest, EnglishAccentChangesRaiseTheRevisionBeforeObserversRun) {
  InMemoryPreferenceStore defaults;
  EnglishPronunciationStore store(defaults);
  std::vector<std::pair<EnglishPronunciationAccent, int64_t>> seen;
  const Connection connection = store.observers().connect(
      [&](EnglishPronunciationAccent accent) { seen.emplace_back(accent, store.revision()); });

  store.setAccent(EnglishPronunciationAccent::american);
  EXPECT_EQ(store.revision(), 0);
  store.setAccent(EnglishPronunciationAccent::british);
  store.setAccent(EnglishPronunciationAccent::british);
  EXPECT_EQ(store.revision(), 1);
  store.setAccent(EnglishPronunciationAccent::american);
  using Seen = std::vector<std::pair<EnglishPronunciationAccent, int64_t>>;
  EXPECT_EQ(seen, (Seen{{EnglishPronunciationAccent::british, 1},
                        {EnglishPronunciationAccent::american, 2}}));

  store.setAccent(EnglishPronunciationAccent::british);
  const EnglishPronunciationStore relaunched(defaults);
  EXPECT_EQ(relaunched.accent(), EnglishPronunciationAccent::british);
  EXPECT_EQ(relaunched.revision(), 0);

  struct Case {
    const char* language;
    bool english;
  };
  const Case cases[] = {
      {" EN_gb\n", true}, {"en-US", true}, {"eng", false}, {"de-EN", false}, {"", false}};
  for (const Case& c : cases) {
    EXPECT_EQ(EnglishPronunciationStore::isEnglish(c.language), c.english) << c.language;
  }
}

TEST(PreferenceStoresTest, SetupAndSignInMarksOnlyEverGetSet) {
  InMemoryPreferenceStore defaults;
  SetupCompletionStore setup(defaults);
  SignInHistoryStore history(defaults);
  setup.markCompleted();
  EXPECT_EQ(defaults.boolValue(SetupCompletionStore::kStartedKey), true);
  EXPECT_TRUE(setup.isCompleted());
  history.markSignedIn();
  history.markSignedIn();
  EXPECT_TRUE(history.hasSignedInOnThisMac());
  EXPECT_EQ(defaults.snapshot().size(), 3u);
}

}  // namespace
}  // namespace trelvis
