#include "core/capture/region_selection_overlay_controller.h"

#include <chrono>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "base/async/test_scheduler.h"
#include "core/prefs/appearance_store.h"
#include "core/prefs/in_memory_preference_store.h"
#include "core/triggers/modifier_keys.h"
#include "support/fake_region_selection.h"
#include "support/fake_screen_capture.h"
#include "support/geometry_printers.h"

namespace trelvis {
namespace {

using namespace std::chrono_literals;
using Phase = RegionSelectionPointerPhase;
using Update = RegionSelectionGestureUpdate;
using Log = std::vector<std::string>;

Rect R(double x, double y, double w, double h) {
  return Rect{{x, y}, {w, h}};
}

// A is the main display; B, right of it, has no display id, so its top-left
// bounds come from the main display's height.
const Screen kA{R(0, 0, 1000, 800), R(0, 0, 1000, 770), "A", 1};
const Screen kB{R(1000, 100, 600, 500), R(1000, 100, 600, 500), "B", std::nullopt};
const ShortcutBinding kLeftOptionTap{"regionSelectionTrigger", ShortcutBindingKind::modifierTap,
                                     KeyCodes::leftOption, 0};

std::string describeResult(const std::optional<RegionSelectionGesture>& gesture) {
  if (!gesture) return "result none";
  std::ostringstream out;
  out << "result " << gesture->start << " -> " << gesture->end;
  return out.str();
}

class RegionSelectionOverlayControllerTest : public ::testing::Test {
 protected:
  RegionSelectionOverlayControllerTest() {
    screens_.list = {kA, kB};
    screens_.main = kA;
    screens_.bounds = {{1, R(0, 0, 1000, 800)}};
    input_.keysDown = {KeyCodes::leftOption};
    controller_ = RegionSelectionOverlayController::create(
        {scheduler_.makeExecutor(), scheduler_, screens_, windowing_, input_.source()},
        appearance_, [this] { return binding_; },
        [this](RegionSelectionFailsafeReason reason, int64_t elapsed) {
          log_.add("record " + std::string(toString(reason)) + " " + std::to_string(elapsed));
        });
    // The gate of the composition root, with translation available: the
    // monitors' reports and the views' own take this one path.
    controller_->onGestureUpdate = [this](const Update& update) { handle(update); };
    controller_->onFailsafeCancel = log_.note("failsafe cancel");
  }

  void handle(const Update& update) {
    log_.add("update " + describe(update));
    switch (update.kind()) {
      case Update::Kind::armed:
        controller_->arm();
        break;
      case Update::Kind::began:
        controller_->begin(*update.gesture());
        break;
      case Update::Kind::changed:
        controller_->update(*update.gesture());
        break;
      case Update::Kind::completed:
        results_.push_back(describeResult(controller_->finish(*update.gesture())));
        break;
      case Update::Kind::cancelled:
        controller_->resetDrag();
        controller_->dismissCaptureSurfaces();
        controller_->cleanupOrphanCaptureWindows();
        break;
      case Update::Kind::none:
        break;
    }
  }

  // A report of the global monitors.
  void monitor(Update::Kind kind, Point start, Point end) {
    const RegionSelectionGesture gesture{start, end, scheduler_.now()};
    handle(kind == Update::Kind::began     ? Update::began(gesture)
           : kind == Update::Kind::changed ? Update::changed(gesture)
                                           : Update::completed(gesture));
  }

  FakeRegionSelectionWindow& window(size_t number) { return windowing_.window(number); }

  TestScheduler scheduler_;
  CallLog log_;
  FakeScreens screens_;
  FakeRegionSelectionWindowing windowing_{log_};
  FakePhysicalInput input_;
  InMemoryPreferenceStore defaults_;
  AppearanceStore appearance_{defaults_};
  ShortcutBinding binding_ = kLeftOptionTap;
  std::shared_ptr<RegionSelectionOverlayController> controller_;
  Log results_;  // what each completion gave
};

TEST_F(RegionSelectionOverlayControllerTest, ArmingTwiceMakesOneWindowPerScreenAndSweepsFirst) {
  controller_->arm();
  controller_->arm();
  EXPECT_EQ(log_.take(), (Log{"make w1", "make w2", "w1 front", "w2 front"}));
  EXPECT_EQ(window(1).frame, kA.frame);
  EXPECT_EQ(window(1).displayBounds, R(0, 0, 1000, 800));
  EXPECT_EQ(window(2).displayBounds, R(1000, 200, 600, 500));
  EXPECT_FALSE(window(1).view.isSelectionActive);

  controller_->dismissCaptureSurfaces();
  EXPECT_EQ(log_.take(), (Log{"w1 out", "w2 out"}));
  EXPECT_TRUE(controller_->captureSurfaces().empty());

  // A window that stayed up without the controller knowing goes before new ones come.
  window(2).visible = true;
  scheduler_.advanceBy(40ms);
  controller_->arm();
  EXPECT_EQ(log_.take(), (Log{"w2 out", "record orphan_window 0", "make w3", "make w4", "w3 front",
                              "w4 front"}));
}

// The drag reaches the controller from the monitors and from the view of the
// window under the pointer, in either order: one region comes out of it.
TEST_F(RegionSelectionOverlayControllerTest, ADragReportedTwiceGivesOneRegion) {
  for (bool viewFirst : {false, true}) {
    SCOPED_TRACE(viewFirst ? "view first" : "monitors first");
    controller_->arm();
    FakeRegionSelectionWindow& a = window(windowing_.made.size() - 1);
    log_.take();
    auto both = [&](Phase phase, Update::Kind kind, Point end) {
      for (bool view : {viewFirst, !viewFirst}) {
        view ? a.report(phase, end) : monitor(kind, {100, 100}, end);
      }
    };
    both(Phase::began, Update::Kind::began, {100, 100});
    both(Phase::changed, Update::Kind::changed, {400, 300});
    EXPECT_EQ(a.view.selectionRect, R(100, 100, 300, 200));
    both(Phase::completed, Update::Kind::completed, {400, 300});

    // A second completion finds the surfaces gone and gives nothing; the view
    // of a window that went no longer reports.
    const Log once{"result (100, 100) -> (400, 300)"};
    const Log twice{"result (100, 100) -> (400, 300)", "result none"};
    EXPECT_EQ(std::exchange(results_, {}), viewFirst ? twice : once);
    EXPECT_TRUE(controller_->captureSurfaces().empty());
    EXPECT_FALSE(a.visible);
  }
}

TEST_F(RegionSelectionOverlayControllerTest, RegionIsClippedToItsDisplayAndAtLeastEightByEight) {
  struct Case {
    Point start, end;
    Rect localSelection;  // what the view draws
    std::string result;
  };
  const Case cases[] = {
      {{100, 100}, {107, 400}, R(100, 100, 7, 300), "result none"},
      {{100, 100}, {108, 108}, R(100, 100, 8, 8), "result (100, 100) -> (108, 108)"},
      {{400, 300}, {100, 100}, R(100, 100, 300, 200), "result (100, 100) -> (400, 300)"},
      // Off the top right of A into B: cut to A, where it began.
      {{900, 700}, {1200, 900}, R(900, 700, 100, 100), "result (900, 700) -> (1000, 800)"},
      // On B, below its bottom edge: in B's own coordinates.
      {{1100, 150}, {1700, 50}, R(100, 0, 500, 50), "result (1100, 100) -> (1600, 150)"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.start << " -> " << c.end);
    controller_->arm();
    const size_t onB = c.start.x >= 1000 ? 1 : 0;
    FakeRegionSelectionWindow& used = window(windowing_.made.size() - 1 + onB);
    const Instant pressedAt = scheduler_.now();
    monitor(Update::Kind::began, c.start, c.start);
    scheduler_.advanceBy(10ms);
    monitor(Update::Kind::changed, c.start, c.end);
    EXPECT_EQ(used.view.selectionRect, c.localSelection);
    const auto result = controller_->finish({c.start, c.end, pressedAt});
    EXPECT_EQ(describeResult(result), c.result);
    if (result) EXPECT_EQ(result->triggeredAt, pressedAt);
    EXPECT_TRUE(controller_->captureSurfaces().empty());
    log_.take();
  }
}

TEST_F(RegionSelectionOverlayControllerTest, TheDragBelongsToTheDisplayItBeganOn) {
  controller_->arm();
  log_.take();
  window(1).report(Phase::began, {10, 20});
  window(2).report(Phase::changed, {50, 50});
  window(2).report(Phase::completed, {50, 50});
  window(1).report(Phase::changed, {30, 40});
  EXPECT_EQ(log_.take(), (Log{"update began((10, 20) -> (10, 20) @ 0ns)", "w2 out", "w1 front",
                              "update changed((10, 20) -> (30, 40) @ 0ns)"}));
  EXPECT_EQ(window(1).view.selectionRect, R(10, 20, 20, 20));

  // A press on no display we cover (one that has just gone) takes everything down.
  controller_->dismissCaptureSurfaces();
  controller_->arm();
  log_.take();
  monitor(Update::Kind::began, {-50, 300}, {-50, 300});
  EXPECT_EQ(log_.take(),
            (Log{"update began((-50, 300) -> (-50, 300) @ 0ns)", "w3 out", "w4 out"}));
  EXPECT_TRUE(controller_->captureSurfaces().empty());
  EXPECT_EQ(controller_->finish({{-50, 300}, {100, 400}, {}}), std::nullopt);
}

// The gesture's end was lost: the failsafe reads keys and button every 250 ms.
TEST_F(RegionSelectionOverlayControllerTest, FailsafeGivesUpOnAGestureWhoseEndWasLost) {
  // Armed: the key's release ends it at the next check.
  controller_->arm();
  log_.take();
  scheduler_.advanceBy(500ms);
  input_.keysDown.clear();
  scheduler_.advanceBy(250ms);
  EXPECT_EQ(log_.take(),
            (Log{"w1 out", "w2 out", "record armed_gesture_up 750", "failsafe cancel"}));
  scheduler_.advanceBy(250ms);
  EXPECT_EQ(scheduler_.pendingCount(), 0u) << "the timer dies with the surfaces";

  // Dragging: the button must be seen up on two checks in a row; the time counts
  // from the press.
  controller_->arm();
  scheduler_.advanceBy(100ms);
  input_.buttons = 1;
  monitor(Update::Kind::began, {100, 100}, {100, 100});
  scheduler_.advanceBy(50ms);
  window(3).report(Phase::began, {100, 100});  // the same press, as the view saw it
  log_.take();
  for (int buttons : {1, 0, 1, 0}) {
    input_.buttons = buttons;
    scheduler_.advanceBy(250ms);
  }
  EXPECT_EQ(log_.take(), Log{}) << "one look at a released button is not enough";
  scheduler_.advanceBy(250ms);
  EXPECT_EQ(log_.take(),
            (Log{"w3 out", "w4 out", "record drag_button_up 1150", "failsafe cancel"}));
  EXPECT_EQ(controller_->finish({{100, 100}, {300, 300}, {}}), std::nullopt);
}

// Surfaces that come and go between two checks share one timer.
TEST_F(RegionSelectionOverlayControllerTest, OneTimerServesSurfacesThatComeAgain) {
  controller_->arm();
  scheduler_.advanceBy(100ms);
  controller_->dismissCaptureSurfaces();
  controller_->arm();
  scheduler_.advanceBy(150ms);
  EXPECT_EQ(input_.keyQueries.size(), 1u);
  scheduler_.advanceBy(250ms);
  EXPECT_EQ(input_.keyQueries.size(), 2u);
}

TEST_F(RegionSelectionOverlayControllerTest, TriggerGesturePressedReadsOnlyTheBindingsKeys) {
  constexpr uint16_t kNone = kNoKeyCode;
  struct Case {
    ShortcutBindingKind kind;
    uint16_t keyCode;
    uint32_t modifiers;
    std::set<uint16_t> down;
    bool pressed;
    std::vector<uint16_t> queries;
  };
  using K = ShortcutBindingKind;
  const Case cases[] = {
      {K::modifierTap, 58, 0, {58}, true, {58}},
      {K::modifierTap, 58, 0, {61}, false, {58}},  // the other Option key is another key
      {K::modifierTap, 60, 0, {}, true, {}},       // right Shift cannot be read: held
      {K::modifierChord, kNone, 0x1800, {61, 62}, true, {58, 61, 59, 62}},
      {K::modifierChord, kNone, 0x1800, {58, 59}, true, {58, 59}},
      {K::modifierChord, kNone, 0x1800, {58}, false, {58, 59, 62}},
      {K::modifierChord, kNone, 0x1800, {59, 62}, false, {58, 61}},
      {K::modifierChord, kNone, 0x800, {}, true, {}},
      {K::keyCombo, 0, 0x100, {}, true, {}},
  };
  for (const Case& c : cases) {
    FakePhysicalInput input;
    input.keysDown = c.down;
    const ShortcutBinding binding{"regionSelectionTrigger", c.kind, c.keyCode, c.modifiers};
    EXPECT_EQ(input.source().isTriggerGesturePressed(binding), c.pressed)
        << toString(c.kind) << " " << c.keyCode;
    EXPECT_EQ(input.keyQueries, c.queries) << toString(c.kind) << " " << c.keyCode;
  }

  // A binding the check cannot read never cancels an armed selection.
  binding_ = {"regionSelectionTrigger", K::keyCombo, 0, 0x100};
  input_.keysDown.clear();
  controller_->arm();
  scheduler_.advanceBy(1s);
  EXPECT_EQ(controller_->captureSurfaces().size(), 2u);
}

TEST_F(RegionSelectionOverlayControllerTest, SweepClosesOnlyVisibleSelectionWindowsNotTracked) {
  controller_->arm();
  scheduler_.advanceBy(100ms);
  const auto stray = [&](bool visible, std::string_view identifier) {
    windowing_.makeWindow(kA.frame, kA.frame, AppearanceMode::light);
    windowing_.made.back()->visible = visible;
    windowing_.made.back()->windowIdentifier = identifier;
  };
  stray(true, RegionSelectionWindow::kIdentifier);
  stray(true, "lookup-card");
  stray(false, RegionSelectionWindow::kIdentifier);
  log_.take();
  EXPECT_EQ(controller_->cleanupOrphanCaptureWindows(), 1);
  EXPECT_EQ(log_.take(), (Log{"w3 out", "record orphan_window 100"}));
  EXPECT_TRUE(window(1).visible && window(2).visible && window(4).visible);
  EXPECT_EQ(controller_->cleanupOrphanCaptureWindows(), 0);
  EXPECT_EQ(log_.take(), Log{});
}

TEST_F(RegionSelectionOverlayControllerTest, ViewsFollowTheAppearanceWhileSurfacesExist) {
  appearance_.setMode(AppearanceMode::dark);
  controller_->arm();
  EXPECT_EQ(window(1).view.appearance, AppearanceMode::dark);
  appearance_.setMode(AppearanceMode::light);
  EXPECT_EQ(window(1).view.appearance, AppearanceMode::light);
  EXPECT_EQ(window(2).view.appearance, AppearanceMode::light);
  controller_->dismissCaptureSurfaces();
  appearance_.setMode(AppearanceMode::dark);
  EXPECT_EQ(window(1).view.appearance, AppearanceMode::light);
}

}  // namespace
}  // namespace trelvis
