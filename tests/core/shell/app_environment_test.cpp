#include "core/shell/app_environment.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/log.h"
#include "core/lookup/lookup_coordinator.h"
#include "core/overlay/lookup_overlay_model.h"
#include "core/prefs/appearance_store.h"
#include "support/test_environment.h"

namespace trelvis {
namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

const Lines kClearOverlay{"overlay reset", "overlay dismiss", "overlay cleanup"};

Lines concat(std::initializer_list<Lines> parts) {
  Lines all;
  for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

long countLogged(const LogCapture& logs, std::string_view category, std::string_view message) {
  const auto records = logs.records(category);
  return std::count_if(records.begin(), records.end(),
                       [&](const LogRecord& r) { return r.message.starts_with(message); });
}

class AppEnvironmentTest : public ::testing::Test {
 protected:
  AppEnvironmentTest() { env.app(); }

  HotKeyEvent tapAt(double x, double y) {
    return {x, y, "modifier_tap", env.scheduler.now(), std::nullopt};
  }
  void run() { env.scheduler.runUntilIdle(); }

  LogCapture logs;
  TestEnvironment env;
};

TEST_F(AppEnvironmentTest, TheLookupGateLetsATapThroughOnlyWhenTranslationMayRun) {
  const Lines capture{"session check", "playback reset", "capture 10,20",
                      "panel hide",    "panel activate", "panel show at 10,20"};
  struct Case {
    const char* name;
    bool available;
    bool availableAfterRecovery;
    bool signedIn;
    bool sessionCheckFails;
    Lines after;
    bool captures() const {
      return std::find(after.begin(), after.end(), "capture 10,20") != after.end();
    }
  } cases[] = {
      {"available", true, false, true, false, capture},
      {"permission missing", false, false, true, false, {"recover permissions"}},
      {"permission recovered", false, true, true, false,
       concat({{"recover permissions"}, capture})},
      {"signed out",
       true,
       false,
       false,
       false,
       {"session check", "home summary refresh", "membership status refresh",
        "activate application"}},
      {"session check fails", true, false, true, true, capture},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    env.mainWindow->available = c.available;
    env.mainWindow->availableAfterRecovery = c.availableAfterRecovery;
    env.signIn->signedIn = c.signedIn;
    env.signIn->failure.reset();
    if (c.sessionCheckFails) env.signIn->failure = AuthSessionError::keychain("locked");
    env.app().handleLookupTrigger(tapAt(10, 20));
    run();
    EXPECT_EQ(env.log.take(),
              concat({kClearOverlay, {"select cancel", "refresh permissions"}, c.after}));
    if (!c.captures()) EXPECT_EQ(env.app().overlayModel().state(), LookupViewState::idle());
    env.app().lookupCoordinator().cancelCurrent();
    run();
    env.log.take();
  }
}

TEST_F(AppEnvironmentTest, LosingTranslationWhileACardStreamsStopsEverything) {
  env.mainWindow->setAvailable(true);  // starts the triggers
  EXPECT_TRUE(env.app().shortcutController().isStarted());
  env.app().handleLookupTrigger(tapAt(10, 20));
  run();
  ASSERT_EQ(env.http->exchanges().size(), 1u);
  EXPECT_EQ(env.http->last().request().url.path(), "/trelvis/v1/lookup/stream");
  env.log.take();

  env.mainWindow->setAvailable(false);
  run();
  EXPECT_EQ(env.log.take(),
            concat({{"overlay cleanup", "select cancel", "input cancel", "input hide",
                     "input clear draft", "input forget submitted", "input reset result"},
                    kClearOverlay,
                    {"panel hide", "membership refresh after translation"}}));
  EXPECT_TRUE(env.http->last().isCancelled());
  EXPECT_EQ(env.app().overlayModel().state(), LookupViewState::idle());
  EXPECT_FALSE(env.app().shortcutController().isStarted());
  EXPECT_TRUE(env.hotKeys.registrations().empty());
}

TEST_F(AppEnvironmentTest, RegionSelectionUpdatesPassTheSameGate) {
  const RegionSelectionGesture gesture{{100, 100}, {300, 200}, {}};
  using Update = RegionSelectionGestureUpdate;
  struct Case {
    const char* name;
    Update update;
    bool available;
    bool tooSmall;
    Lines expected;
  } cases[] = {
      {"armed", Update::armed(), true, false, {"overlay arm"}},
      {"armed, unavailable", Update::armed(), false, false, {}},
      {"began",
       Update::began(gesture),
       true,
       false,
       {"select cancel", "refresh permissions", "overlay begin"}},
      {"began, unavailable", Update::began(gesture), false, false,
       concat({{"select cancel", "refresh permissions", "recover permissions"}, kClearOverlay})},
      {"changed", Update::changed(gesture), true, false, {"overlay update"}},
      {"completed, too small", Update::completed(gesture), true, true, {"overlay finish"}},
      {"completed, unavailable",
       Update::completed(gesture),
       false,
       false,
       {"overlay finish", "refresh permissions", "recover permissions"}},
      {"completed",
       Update::completed(gesture),
       true,
       false,
       {"overlay finish", "refresh permissions", "session check", "playback reset",
        "capture region 100,100 200,100", "panel hide", "panel activate",
        "panel show region 100,100"}},
      {"cancelled", Update::cancelled(), true, false, kClearOverlay},
  };
  // The overlay watches the environment's appearance and reads the live binding.
  AppEnvironment& app = env.app();
  EXPECT_EQ(env.regionOverlayAppearance, &app.appearance());
  EXPECT_EQ(env.regionOverlayBinding(), app.shortcutController().regionBinding());
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    env.mainWindow->available = c.available;
    env.regionOverlay->tooSmall = c.tooSmall;
    env.regionOverlay->onGestureUpdate(c.update);  // the overlay's own report takes the same path
    env.scheduler.advanceBy(LookupCoordinator::kRegionCaptureDelay);
    EXPECT_EQ(env.log.take(), c.expected);
  }
}

TEST_F(AppEnvironmentTest, TheInputPanelMovesOnlyAnUnpinnedCardAside) {
  env.app().overlayModel().setPinned(true, false);
  env.input->show();
  EXPECT_EQ(env.log.take(), kClearOverlay);
  env.app().overlayModel().setPinned(false, false);
  env.input->show();
  EXPECT_EQ(env.log.take(), concat({kClearOverlay, {"select cancel", "panel hide"}}));
}

TEST_F(AppEnvironmentTest, StartHappensOnceAndStopTakesEverythingDown) {
  env.app().start();
  env.app().start();
  EXPECT_TRUE(env.app().started());
  EXPECT_EQ(countLogged(logs, "analytics", "configured"), 1);
  EXPECT_EQ(countLogged(logs, "new-user-journey", "app_launched"), 1);
  EXPECT_EQ(countLogged(logs, "analytics", "user properties membership_plan=free"), 1);
  EXPECT_EQ(countLogged(logs, "analytics", "user properties target_language="), 1);
  env.app().appearance().setMode(AppearanceMode::dark);
  EXPECT_EQ(countLogged(logs, "analytics", "user properties target_language="), 2);

  env.app().stop();
  EXPECT_EQ(
      env.log.take(),
      concat({{"main window stop", "select cancel", "input cancel", "input hide", "playback reset"},
              kClearOverlay,
              {"panel hide"}}));
}

TEST(AppEnvironmentWithoutLaterFeaturesTest, TheirTriggersAndTheShutDownPassThemBy) {
  LogCapture logs;
  TestEnvironment env;
  env.withLaterFeatures = false;
  env.app().start();
  env.app().handleSelectTrigger({1, 2, "modifier_tap", env.scheduler.now(), std::nullopt}, false);
  env.app().handleInputTrigger();
  env.app().handleTranslationAvailabilityChange(false);
  env.log.take();
  env.app().stop();
  EXPECT_EQ(countLogged(logs, "environment", "selection translation is not part of this build"),
            1);
  EXPECT_EQ(countLogged(logs, "environment", "the input panel is not part of this build"), 1);
  // The lookup side still goes down with the rest.
  EXPECT_EQ(env.log.take(), concat({{"playback reset"}, kClearOverlay, {"panel hide"}}));
}

TEST_F(AppEnvironmentTest, ATapOfTheModifierEndsInARecordedCard) {
  env.pointer.setLocation({40, 50});
  env.mainWindow->setAvailable(true);
  env.app().start();
  env.http->enqueueReply(
      200,
      "event: lookup.field.delta\ndata: "
      "{\"seq\":1,\"field\":\"entry.headword\",\"delta\":\"apple\"}\n\n"
      "event: lookup.completed\ndata: {\"selectedUnit\":{\"text\":\"apple\"},\"entry\":{"
      "\"headword\":\"apple\",\"partOfSpeech\":\"noun\",\"meaning\":\"a "
      "fruit\",\"lookupLang\":\"en\","
      "\"pronunciationUrl\":\"https://audio/apple.mp3\"}}\n\n");
  env.log.take();
  env.commandTap.send(InputEventType::flagsChanged, KeyCodes::leftOption, ModifierFlags::option);
  env.commandTap.send(InputEventType::flagsChanged, KeyCodes::leftOption, 0);
  run();
  EXPECT_EQ(env.log.take(),
            concat({{"overlay arm"},
                    kClearOverlay,
                    kClearOverlay,
                    {"select cancel", "refresh permissions", "session check", "playback reset",
                     "capture 40,50", "panel hide", "panel activate", "panel show at 40,50",
                     "history record apple", "panel activate", "panel show at 40,50",
                     "membership refresh after translation"}}));
  const LookupViewState& state = env.app().overlayModel().state();
  EXPECT_EQ(state.status, LookupStatus::success);
  EXPECT_EQ(state.entry->pronunciationUrl, "https://audio/apple.mp3");
  EXPECT_EQ(countLogged(logs, "analytics", "event translate_result status=success"), 1);
  EXPECT_EQ(countLogged(logs, "new-user-journey", "translation_succeeded method=hover"), 1);
}

}  // namespace
}  // namespace trelvis
