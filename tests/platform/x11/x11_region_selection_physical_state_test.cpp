// The physical keys and button that the region overlay's failsafe reads, held
// down on a private Xvfb with XTest.

#include <gtest/gtest.h>
// After gtest, whose names X's macros (None, Bool) would replace.
#include <X11/keysym.h>

#include <set>

#include "core/triggers/modifier_keys.h"
#include "platform/x11/x11_region_selection_physical_state.h"
#include "platform/x11/x11_test_display.h"

namespace trelvis {
namespace {

class X11RegionSelectionPhysicalStateTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_FALSE(server_.displayName().empty()); }

  testing::Xvfb& server_ = testing::Xvfb::shared();
  testing::TestDisplay desktop_{server_.displayName()};
  X11RegionSelectionPhysicalState state_{server_.displayName()};
};

TEST_F(X11RegionSelectionPhysicalStateTest, KeysReadAsTheirVirtualCodes) {
  struct Case {
    std::set<KeySym> held;
    std::set<uint16_t> down;  // of 58, 59, 61, 62, 56
    bool chordHeld;
  };
  const Case cases[] = {
      {{}, {}, false},
      {{XK_Alt_L}, {58}, false},
      {{XK_Alt_R}, {61}, false},
      {{XK_Control_L, XK_Alt_R}, {59, 61}, true},
      {{XK_Control_R, XK_Alt_L}, {58, 62}, true},
      {{XK_Shift_L, XK_Control_R}, {56, 62}, false},
  };
  const ShortcutBinding chord{"regionSelectionTrigger", ShortcutBindingKind::modifierChord,
                              kNoKeyCode, CarbonModifiers::chord};
  for (const Case& c : cases) {
    for (KeySym keysym : c.held) desktop_.key(keysym, true);
    for (uint16_t code : {58, 59, 61, 62, 56}) {
      EXPECT_EQ(state_.keyState(code), c.down.count(code) > 0)
          << "key " << code << " with " << c.held.size() << " held";
    }
    EXPECT_EQ(state_.source().isTriggerGesturePressed(chord), c.chordHeld) << c.held.size();
    for (KeySym keysym : c.held) desktop_.key(keysym, false);
  }
}

TEST_F(X11RegionSelectionPhysicalStateTest, OnlyThePrimaryButtonSetsBitZero) {
  EXPECT_EQ(state_.pressedMouseButtons(), 0);
  desktop_.button(1, true);
  EXPECT_EQ(state_.pressedMouseButtons(), 1);
  desktop_.button(1, false);
  desktop_.button(3, true);
  EXPECT_EQ(state_.pressedMouseButtons(), 0);
  desktop_.button(3, false);

  // Without a display nothing is held, so a selection there is given up.
  X11RegionSelectionPhysicalState gone(":65000");
  EXPECT_EQ(gone.pressedMouseButtons(), 0);
  EXPECT_FALSE(gone.keyState(KeyCodes::leftOption));
}

}  // namespace
}  // namespace trelvis
