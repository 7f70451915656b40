#include "core/permissions/system_permission_coordinator.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/prefs/in_memory_preference_store.h"
#include "support/call_log.h"

namespace trelvis {
namespace {

using Kind = SystemPermissionKind;
using State = SystemPermissionState;

class SystemPermissionCoordinatorTest : public ::testing::Test {
 protected:
  SystemPermissionCoordinator make() {
    return SystemPermissionCoordinator(
        defaults_, {
                       .screenRecordingPreflight = [this] { return screenGranted_; },
                       .screenRecordingRequest = [] { return false; },
                       .accessibilityPreflight = [this] { return accessibilityGranted_; },
                       .accessibilityRequest = [] {},
                       .openURL =
                           [this](const std::string& url) {
                             opened_.push_back(url);
                             return opened_.size() > failingOpens_;
                           },
                   });
  }

  InMemoryPreferenceStore defaults_;
  bool screenGranted_ = false;
  bool accessibilityGranted_ = false;
  std::size_t failingOpens_ = 0;
  std::vector<std::string> opened_;
};

TEST_F(SystemPermissionCoordinatorTest, StatesFollowTheGrantsAndWhetherTheUserWasSentToAsk) {
  auto coordinator = make();
  struct Step {
    const char* name;
    bool screen;
    bool accessibility;
    SystemPermissionSnapshot expected;
  };
  const Step steps[] = {
      {"fresh profile", false, false, {State::notRequested, State::notRequested}},
      {"screen recording granted outside the flow",
       true,
       false,
       {State::allowed, State::notRequested}},
      {"accessibility granted outside the flow", true, true, {State::allowed, State::allowed}},
      {"both revoked later", false, false, {State::needsSettings, State::needsSettings}},
  };
  for (const Step& step : steps) {
    SCOPED_TRACE(step.name);
    screenGranted_ = step.screen;
    accessibilityGranted_ = step.accessibility;
    EXPECT_EQ(coordinator.snapshot(), step.expected);
  }
  EXPECT_EQ(defaults_.boolValue("permissions.screen-recording.requested"), true);
  EXPECT_EQ(defaults_.boolValue("permissions.accessibility.requested"), true);
}

TEST_F(SystemPermissionCoordinatorTest, SettingsPagesAreTriedInOrderUntilOneOpens) {
  struct Case {
    Kind kind;
    std::size_t failingOpens;
    bool opened;
    std::size_t calls;
  };
  const Case cases[] = {
      {Kind::screenRecording, 0, true, 1},
      {Kind::accessibility, 2, true, 3},
      {Kind::accessibility, 3, false, 3},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.failingOpens);
    for (Kind kind : kAllSystemPermissionKinds) {
      defaults_.remove(SystemPermissionCoordinator::requestedKey(kind));
    }
    opened_.clear();
    failingOpens_ = c.failingOpens;
    auto coordinator = make();
    EXPECT_EQ(coordinator.openSettings(c.kind), c.opened);
    EXPECT_EQ(opened_.size(), c.calls);
    // Asked, whether or not a page opened.
    EXPECT_EQ(defaults_.boolValue(SystemPermissionCoordinator::requestedKey(c.kind)), true);
    EXPECT_EQ(coordinator.snapshot().state(c.kind), State::needsSettings);
  }
  // Each kind's first page is its own.
  EXPECT_TRUE(SystemPermissionCoordinator::settingsURLs(Kind::screenRecording)[0].ends_with(
      "Privacy_ScreenCapture"));
  EXPECT_TRUE(SystemPermissionCoordinator::settingsURLs(Kind::accessibility)[0].ends_with(
      "Privacy_Accessibility"));
}

TEST_F(SystemPermissionCoordinatorTest, ARestartEndsThisInstanceOnlyOnceANewOneRuns) {
  struct Case {
    const char* name;
    bool handler;
    std::optional<bool> launches;  // absent: the platform cannot launch
    std::vector<std::string> expected;
  };
  const Case cases[] = {
      {"injected handler", true, true, {"handler"}},
      {"new instance started", false, true, {"launch", "terminate"}},
      {"new instance failed", false, false, {"launch"}},
      {"no way to launch", false, std::nullopt, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    CallLog log;
    SystemPermissionCoordinator::SystemCalls calls;
    if (c.handler) calls.restartHandler = log.note("handler");
    if (c.launches) {
      calls.launchNewInstance = [&log, launches = *c.launches] {
        log.add("launch");
        return launches;
      };
    }
    calls.terminate = log.note("terminate");
    SystemPermissionCoordinator(defaults_, calls).restartApplication();
    EXPECT_EQ(log.take(), c.expected);
  }
  EXPECT_TRUE(SystemPermissionCoordinator::isTranslocated(
      "/private/var/folders/x/AppTranslocation/1234/d/Trelvis.app"));
  EXPECT_FALSE(SystemPermissionCoordinator::isTranslocated("/Applications/Trelvis.app"));
}

}  // namespace
}  // namespace trelvis
