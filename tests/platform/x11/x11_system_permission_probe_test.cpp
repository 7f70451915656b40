// The permission probe against private Xvfb servers, and the coordinator over
// the calls it supplies.

#include "platform/x11/x11_system_permission_probe.h"

#include <map>
#include <string>

#include <gtest/gtest.h>

#include "core/prefs/in_memory_preference_store.h"
#include "platform/x11/x11_test_display.h"

namespace trelvis {
namespace {

EnvironmentLookup environment(std::map<std::string, std::string> values) {
  return [values = std::move(values)](std::string_view name) -> std::optional<std::string> {
    auto found = values.find(std::string(name));
    if (found == values.end()) return std::nullopt;
    return found->second;
  };
}

TEST(X11SystemPermissionProbeTest, BothPermissionsNeedAnX11SessionWithXInputAndXTest) {
  testing::Xvfb& full = testing::Xvfb::shared();
  testing::Xvfb withoutXTest(testing::Xvfb::Options{.xtest = false});
  ASSERT_FALSE(full.displayName().empty());
  ASSERT_FALSE(withoutXTest.displayName().empty());
  struct Case {
    const char* name;
    std::string display;
    std::map<std::string, std::string> environment;
    X11PermissionProbeResult expected;
  };
  const std::string wayland =
      "This is a Wayland session; capturing the screen and watching global input need an X11 "
      "session.";
  const Case cases[] = {
      {"X11 session", full.displayName(), {{"XDG_SESSION_TYPE", "x11"}}, {true, ""}},
      {"no session type", full.displayName(), {}, {true, ""}},
      {"Wayland by session type",
       full.displayName(),
       {{"XDG_SESSION_TYPE", "wayland"}},
       {false, wayland}},
      {"Wayland by its display",
       full.displayName(),
       {{"WAYLAND_DISPLAY", "wayland-0"}},
       {false, wayland}},
      {"empty Wayland display", full.displayName(), {{"WAYLAND_DISPLAY", ""}}, {true, ""}},
      {"no X display", ":65000", {}, {false, "No X display could be opened."}},
      {"no XTEST", withoutXTest.displayName(), {}, {false, "The X server does not offer XTEST."}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const X11PermissionProbeResult result =
        X11SystemPermissionProbe(c.display, environment(c.environment)).probe();
    EXPECT_EQ(result.granted, c.expected.granted);
    EXPECT_EQ(result.reason, c.expected.reason);
  }
}

TEST(X11SystemPermissionProbeTest, TheCoordinatorReadsTheProbeAndFindsNoSettingsPage) {
  InMemoryPreferenceStore defaults;
  const std::string display = testing::Xvfb::shared().displayName();
  SystemPermissionCoordinator granted(
      defaults, X11SystemPermissionProbe(display, environment({})).systemCalls());
  EXPECT_EQ(granted.snapshot(), (SystemPermissionSnapshot{SystemPermissionState::allowed,
                                                          SystemPermissionState::allowed}));

  InMemoryPreferenceStore freshDefaults;
  SystemPermissionCoordinator wayland(
      freshDefaults,
      X11SystemPermissionProbe(display, environment({{"WAYLAND_DISPLAY", "wayland-0"}}))
          .systemCalls());
  EXPECT_EQ(wayland.snapshot(), (SystemPermissionSnapshot{SystemPermissionState::notRequested,
                                                          SystemPermissionState::notRequested}));
  EXPECT_FALSE(wayland.openSettings(SystemPermissionKind::accessibility));
  EXPECT_EQ(wayland.snapshot().accessibility, SystemPermissionState::needsSettings);
  wayland.restartApplication();  // nothing to start: this instance stays
}

}  // namespace
}  // namespace trelvis
