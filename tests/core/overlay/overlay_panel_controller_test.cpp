#include "core/overlay/overlay_panel_controller.h"

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "base/async/test_scheduler.h"
#include "core/overlay/lookup_overlay_model.h"
#include "core/prefs/appearance_store.h"
#include "core/prefs/in_memory_preference_store.h"
#include "core/prefs/pronunciation_settings_store.h"
#include "support/fake_input_environment.h"
#include "support/fake_local_event_monitor.h"
#include "support/fake_lookup_pipeline.h"
#include "support/fake_overlay_keyboard_tap.h"
#include "support/fake_overlay_panel.h"
#include "support/fake_screen_capture.h"
#include "support/geometry_printers.h"

namespace trelvis {
namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;
using T = InputEventType;

constexpr uint64_t kCommand = ModifierFlags::command;
constexpr uint16_t kEscape = KeyCodes::escape;
constexpr uint16_t kC = KeyCodes::c;

Rect rect(double x, double y, double w, double h) {
  return Rect{{x, y}, {w, h}};
}
Screen screen(Rect frame, std::optional<Rect> visible = std::nullopt) {
  return Screen{frame, visible.value_or(frame), "screen", std::nullopt};
}
// 1440 by 900, with a dock 70 high along the bottom and a menu strip 25 high on top.
const Screen kDesk = screen(rect(0, 0, 1440, 900), rect(0, 70, 1440, 805));

class OverlayPanelControllerTest : public ::testing::Test {
 protected:
  OverlayPanelControllerTest() {
    screens.list = {kDesk};
    controller->onDismiss = [this](const std::string& reason) { log.add("dismissed " + reason); };
    controller->onSelectDismiss = [this](const std::string& reason) {
      log.add("select dismissed " + reason);
    };
    controller->onWillPresent = log.note("will present");
    log.take();
  }

  OverlayPlacement show(OverlayPresentationTarget target) {
    return controller->show(target, model->layout());
  }
  // A card shown at `pointer`, revealed, with the log emptied.
  void shown(Point pointer = {700, 600}) {
    show(OverlayPresentationTarget::mouse(pointer));
    scheduler.advanceBy(OverlayPanelController::kRevealDelay);
    log.take();
  }
  // The view measures the content: the card becomes `cardHeight` high.
  void measured(double cardHeight) {
    model->requestPanelFit();
    model->reportNaturalContentHeight(cardHeight - 44, *model->pendingLayoutRequestID());
  }
  // True when a monitor swallowed the event.
  bool mouse(T type, Point at, uint64_t flags = 0) {
    return !local.send({type, 0, flags, false, at});
  }
  bool key(T type, uint16_t code, uint64_t flags = 0, bool repeat = false) {
    return !local.send({type, code, flags, repeat, {}});
  }
  // Sends a key through the keyboard tap from a thread of its own, as the tap
  // does, then lets the main executor run.
  bool tapKey(uint16_t code, uint64_t flags = 0) {
    bool swallowed = false;
    std::thread([&] { swallowed = tap.send({T::keyDown, code, flags, false}); }).join();
    scheduler.runUntilIdle();
    return swallowed;
  }
  void select(const std::string& text) { model->updateTextSelection(text, owner); }
  bool monitorsInstalled() const {
    return local.monitorCount() > 0 || global.monitorCount() > 0 || tap.isStarted();
  }

  TestScheduler scheduler;
  CallLog log;
  CallLog playbackLog;
  InMemoryPreferenceStore preferences;
  AppearanceStore appearance{preferences};
  PronunciationSettingsStore settings{preferences};
  FakePronunciationPlayer playback{playbackLog};
  std::shared_ptr<LookupOverlayModel> model =
      std::make_shared<LookupOverlayModel>(playback, nullptr, &settings);
  FakeSelectCard selectCard;
  FakeOverlayPanelWindow window{log};
  FakeScreens screens;
  FakeLocalEventMonitor local;
  FakeGlobalEventMonitor global;
  FakeAccessibilityPermission accessibility;
  FakeOverlayKeyboardTap tap;
  Uuid owner = Uuid::random();
  std::shared_ptr<OverlayPanelController> controller = OverlayPanelController::create({
      scheduler.makeExecutor(),
      *model,
      selectCard,
      appearance,
      window,
      screens,
      local,
      global,
      accessibility,
      &tap,
      [this](const std::string& text) { log.add("copy " + text); },
  });
};

TEST_F(OverlayPanelControllerTest, PlacesTheCardBesideThePointerOrRegionWithinItsScreen) {
  using Target = OverlayPresentationTarget;
  const Screen right = screen(rect(2000, 0, 300, 900));
  struct Case {
    const char* name;
    std::vector<Screen> screens;
    Target target;
    Rect card;
    OverlayAnchor anchor;
  } cases[] = {
      {"room below wins over more room above", {screen(rect(0, 0, 1440, 1100))},
       Target::mouse({700, 450}), rect(510, 2, 380, 400), OverlayAnchor::top},
      {"a tie goes below", {screen(rect(0, 0, 800, 696))}, Target::mouse({400, 348}),
       rect(210, 0, 380, 300), OverlayAnchor::top},
      {"one point more above goes above", {screen(rect(0, 0, 800, 697))}, Target::mouse({400, 348}),
       rect(210, 396, 380, 301), OverlayAnchor::bottom},
      {"short of room both ways, still the minimum", {screen(rect(0, 0, 800, 300))},
       Target::mouse({400, 150}), rect(210, -35, 380, 137), OverlayAnchor::top},
      {"flush with the left edge", {kDesk}, Target::mouse({10, 600}), rect(0, 152, 380, 400),
       OverlayAnchor::top},
      {"a narrow screen centres it", {right}, Target::mouse({2100, 600}), rect(1960, 152, 380, 400),
       OverlayAnchor::top},
      {"within 64 of a screen, on that screen", {kDesk, right}, Target::mouse({1480, 600}),
       rect(1060, 152, 380, 400), OverlayAnchor::top},
      {"beyond every screen, on all of them", {kDesk, right}, Target::mouse({1700, 600}),
       rect(1510, 152, 380, 400), OverlayAnchor::top},
      {"over the menu strip", {kDesk}, Target::mouse({700, 460}), rect(510, 508, 380, 392),
       OverlayAnchor::bottom},
      {"never over the dock", {kDesk}, Target::mouse({700, 500}), rect(510, 70, 380, 382),
       OverlayAnchor::top},
      {"below a region", {kDesk}, Target::region(rect(600, 500, 300, 120)),
       rect(560, 84, 380, 400), OverlayAnchor::top},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    screens.list = c.screens;
    const OverlayPlacement placement = show(c.target);
    EXPECT_EQ(controller->currentCardFrame(), c.card);
    EXPECT_EQ(placement.anchor, c.anchor);
    EXPECT_EQ(model->anchor(), c.anchor);
    EXPECT_EQ(placement.maxCardHeight, c.card.height());
    // The window is the slot, as high as the card at its largest, plus the shadow.
    const double slotY = c.anchor == OverlayAnchor::top ? c.card.maxY() - 400 : c.card.minY();
    EXPECT_EQ(window.frame(), rect(c.card.minX() - 64, slotY - 64, 508, 528));
    controller->hideWindow();
  }
}

TEST_F(OverlayPanelControllerTest, RevealsTheWindowOnceItsContentHadTimeToLayOut) {
  show(OverlayPresentationTarget::mouse({700, 600}));
  EXPECT_EQ(log.take(), (Lines{"will present", "layout top 64", "frame 446,88 508x528 display",
                               "alpha 0", "front"}));
  EXPECT_TRUE(local.monitorCount() == 1 && global.monitorCount() == 1 && tap.isStarted());
  scheduler.advanceBy(39ms);
  EXPECT_EQ(log.take(), Lines{});
  scheduler.advanceBy(1ms);
  EXPECT_EQ(log.take(), Lines{"alpha 1"});

  // A hide and a new show within the delay: the first reveal is void.
  controller->hideWindow();
  EXPECT_EQ(log.take(), (Lines{"alpha 0", "out", "alpha 1"}));
  EXPECT_FALSE(monitorsInstalled());
  show(OverlayPresentationTarget::mouse({700, 600}));
  scheduler.advanceBy(10ms);
  controller->hideWindow();
  scheduler.advanceBy(10ms);
  show(OverlayPresentationTarget::mouse({700, 600}));
  log.take();
  scheduler.advanceBy(30ms);
  EXPECT_EQ(log.take(), Lines{});
  scheduler.advanceBy(10ms);
  EXPECT_EQ(log.take(), Lines{"alpha 1"});
}

TEST_F(OverlayPanelControllerTest, TheWindowFollowsTheCardsHeightAndAVisibleCardKeepsItsPlace) {
  shown({700, 600});
  measured(200);
  // The top edge stays; the window shrinks to the card and its shadow.
  EXPECT_EQ(log.take(), (Lines{"frame 446,288 508x328", "origin 446,288", "display"}));
  EXPECT_EQ(controller->visibleCardFrame(), rect(510, 352, 380, 200));

  // Shown again elsewhere while visible: the card stays and may grow again.
  show(OverlayPresentationTarget::mouse({100, 300}));
  EXPECT_EQ(log.take(), (Lines{"layout top 64", "frame 446,88 508x528", "origin 446,88", "display",
                               "alpha 1", "front"}));
  EXPECT_EQ(controller->currentCardFrame(), rect(510, 152, 380, 400));

  // Hidden, the window gets its slot's size back, and heights move nothing.
  measured(200);
  log.take();
  controller->hideWindow();
  EXPECT_EQ(log.take(), (Lines{"alpha 0", "frame 446,288 508x528", "out", "alpha 1"}));
  measured(300);
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(OverlayPanelControllerTest, TheCardStaysWhereAskedWhenTheWindowSystemMovesTheWindow) {
  // This window system puts a resized window 10 points lower than asked.
  window.realize = [](const Rect& frame) {
    return rect(frame.minX(), frame.minY() - 10, frame.width(), frame.height());
  };
  shown({700, 600});
  // A first placement is not corrected: the card follows the window.
  EXPECT_EQ(controller->currentCardFrame(), rect(510, 142, 380, 400));
  measured(200);
  EXPECT_EQ(log.take(), (Lines{"frame 446,278 508x328", "origin 446,278", "display"}));
  EXPECT_EQ(controller->currentCardFrame(), rect(510, 342, 380, 200));
}

TEST_F(OverlayPanelControllerTest, AFrameChangeThatLeadsBackToANewHeightWins) {
  shown({700, 600});
  bool once = true;
  window.afterSetFrame = [&] {
    if (std::exchange(once, false)) measured(250);
  };
  measured(200);
  // The nested resize runs whole; the outer one stops where it was overtaken.
  EXPECT_EQ(log.take(), (Lines{"frame 446,288 508x328", "frame 446,238 508x378",
                               "origin 446,238", "display"}));
  EXPECT_EQ(controller->currentCardFrame(), rect(510, 302, 380, 250));
}

TEST_F(OverlayPanelControllerTest, DraggingMovesTheCardWithinItsScreenAndHoldsHeightsUntilTheDrop) {
  shown({700, 600});
  measured(200);  // the card: (510, 352, 380, 200)
  log.take();

  EXPECT_FALSE(mouse(T::leftMouseDown, {600, 500}));
  // Less than 3 points is still a click.
  EXPECT_FALSE(mouse(T::leftMouseDragged, {602, 502}));
  EXPECT_EQ(log.take(), Lines{});
  EXPECT_TRUE(mouse(T::leftMouseDragged, {700, 450}));
  EXPECT_EQ(log.take(), Lines{"origin 546,238"});
  // Heights wait for the drop; the last one applies once.
  measured(250);
  measured(260);
  show(OverlayPresentationTarget::mouse({100, 100}));
  EXPECT_EQ(log.take(), Lines{});
  measured(260);
  // Far off the screen's left edge, the card stops at it.
  EXPECT_TRUE(mouse(T::leftMouseDragged, {-1000, 450}));
  EXPECT_EQ(log.take(), Lines{"origin -64,238"});
  EXPECT_TRUE(mouse(T::leftMouseUp, {-1000, 450}));
  EXPECT_EQ(log.take(), (Lines{"frame -64,178 508x388", "origin -64,178", "display"}));
  EXPECT_FALSE(mouse(T::leftMouseDragged, {-900, 450}));

  // A press on a part that takes no drag (a button row along the card's top).
  model->onDragExclusionRectsChange({rect(0, 0, 380, 40)});
  const Rect card = *controller->visibleCardFrame();
  EXPECT_FALSE(mouse(T::leftMouseDown, {card.midX(), card.maxY() - 10}));
  EXPECT_FALSE(mouse(T::leftMouseDragged, {card.midX() + 100, card.maxY() - 100}));
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(OverlayPanelControllerTest, ADropOnAScreenEdgeIsTakenAsTiling) {
  struct Case {
    Point drop;
    bool dismissed;
  } cases[] = {{{1438, 500}, true}, {{1437, 500}, false}, {{700, 2}, true}, {{700, 3}, false}};
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.drop);
    shown({700, 600});
    mouse(T::leftMouseDown, {600, 500});
    mouse(T::leftMouseDragged, c.drop);
    EXPECT_TRUE(mouse(T::leftMouseUp, c.drop));
    EXPECT_EQ(window.isVisible(), !c.dismissed);
    Lines lines = log.take();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "dismissed tiling"), c.dismissed ? 1 : 0);
    controller->hideWindow();
  }
}

TEST_F(OverlayPanelControllerTest, APressOutsideTheCardDismissesItUnlessPinned) {
  const Point outside{100, 100};
  struct Case {
    const char* name;
    std::function<void()> press;
  } cases[] = {
      {"left, here", [&] { EXPECT_FALSE(mouse(T::leftMouseDown, outside)); }},
      {"other, here", [&] { EXPECT_FALSE(mouse(T::otherMouseDown, outside)); }},
      {"right, here", [&] { EXPECT_FALSE(mouse(T::rightMouseDown, outside)); }},
      {"left, elsewhere", [&] { global.send({T::leftMouseDown, 0, 0, false, outside}); }},
      {"right, elsewhere", [&] { global.send({T::rightMouseDown, 0, 0, false, outside}); }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    for (bool pinned : {false, true}) {
      model->setPinned(pinned, true);
      shown({700, 600});
      select("apple");
      c.press();
      EXPECT_EQ(window.isVisible(), pinned);
      EXPECT_FALSE(model->textSelection().has_value());
      const Lines dismissed{"alpha 0", "out", "alpha 1", "dismissed click_outside"};
      EXPECT_EQ(log.take(), pinned ? Lines{} : dismissed);
      controller->hideWindow();
    }
  }
  model->setPinned(false, true);
  // On the card nothing goes; with the card hidden nobody is told.
  shown({700, 600});
  global.send({T::leftMouseDown, 0, 0, false, {700, 500}});
  EXPECT_TRUE(window.isVisible());
  controller->hideWindow();
  log.take();
  controller->dismiss("escape");
  EXPECT_EQ(log.take(), (Lines{"alpha 0", "out", "alpha 1"}));
}

TEST_F(OverlayPanelControllerTest, ASecondaryClickOnTheCardIsSwallowedExceptOnSelectedText) {
  shown({700, 600});
  const Point onCard{700, 500};
  for (T down : {T::rightMouseDown, T::leftMouseDown}) {
    const uint64_t flags = down == T::leftMouseDown ? ModifierFlags::control : 0;
    const T drag = down == T::leftMouseDown ? T::leftMouseDragged : T::rightMouseDragged;
    const T up = down == T::leftMouseDown ? T::leftMouseUp : T::rightMouseUp;
    EXPECT_TRUE(mouse(down, onCard, flags));
    EXPECT_TRUE(mouse(drag, {800, 300}));
    EXPECT_TRUE(mouse(up, {800, 300}));
    EXPECT_EQ(log.take(), Lines{});  // the drag moved nothing
  }
  // On selected text the menu with Copy may open.
  window.copySelection = rect(650, 480, 100, 40);
  EXPECT_FALSE(mouse(T::rightMouseDown, onCard));
  EXPECT_FALSE(mouse(T::rightMouseUp, onCard));
  EXPECT_TRUE(window.isVisible());
}

TEST_F(OverlayPanelControllerTest, WithoutTheTapTheCardsOwnMonitorsHandleEscapeAndCopy) {
  tap.startSucceeds = false;
  shown({700, 600});
  EXPECT_EQ(local.monitorCount(), 2u);
  EXPECT_EQ(global.monitorCount(), 2u);

  // Copy only with a selection, and only with Command alone.
  EXPECT_FALSE(key(T::keyDown, kC, kCommand));
  select("apple");
  EXPECT_FALSE(key(T::keyDown, kC, kCommand | ModifierFlags::shift));
  EXPECT_FALSE(key(T::keyDown, kC, ModifierFlags::control));
  EXPECT_TRUE(key(T::keyDown, kC, kCommand | ModifierFlags::capsLock));
  EXPECT_TRUE(key(T::keyDown, kC, kCommand, true));
  // Only the copied key's own repeats and release are held back.
  EXPECT_FALSE(key(T::keyDown, 0, 0, true));
  EXPECT_FALSE(key(T::keyUp, kEscape));
  EXPECT_TRUE(key(T::keyUp, kC, kCommand));
  EXPECT_FALSE(key(T::keyUp, kC, kCommand));
  EXPECT_EQ(log.take(), Lines{"copy apple"});

  // While the input panel has the keyboard, keys are not the card's.
  controller->setKeyboardYielded(true);
  EXPECT_FALSE(key(T::keyDown, kEscape));
  controller->setKeyboardYielded(false);
  // A pinned card lets Escape through.
  model->setPinned(true, true);
  EXPECT_FALSE(key(T::keyDown, kEscape));
  model->setPinned(false, true);

  // Escape goes with its release (or a repeat); then the local monitor goes too.
  for (bool repeat : {false, true}) {
    shown({700, 600});
    EXPECT_TRUE(key(T::keyDown, kEscape));
    EXPECT_EQ(log.take(), (Lines{"alpha 0", "out", "alpha 1", "dismissed escape"}));
    EXPECT_EQ(local.monitorCount(), 1u);
    EXPECT_EQ(global.monitorCount(), 0u);
    EXPECT_TRUE(repeat ? key(T::keyDown, kEscape, 0, true) : key(T::keyUp, kEscape));
    EXPECT_EQ(local.monitorCount(), 0u);
  }

  // Escape in another application can only be watched.
  shown({700, 600});
  global.send({T::keyDown, kC, kCommand, false, {}});
  EXPECT_TRUE(window.isVisible());
  global.send({T::keyDown, kEscape, 0, false, {}});
  EXPECT_EQ(log.take(), (Lines{"alpha 0", "out", "alpha 1", "dismissed escape"}));
}

TEST_F(OverlayPanelControllerTest, TheKeyboardTapActsOnWhatThePanelPublishes) {
  EXPECT_FALSE(tap.isStarted());
  shown({700, 600});
  ASSERT_TRUE(tap.isStarted());
  EXPECT_EQ(local.monitorCount() + global.monitorCount(), 2u);  // the mouse monitors only

  EXPECT_FALSE(tapKey(kC, kCommand));
  select("apple");
  EXPECT_TRUE(tapKey(kC, kCommand));
  controller->setKeyboardYielded(true);
  EXPECT_FALSE(tapKey(kEscape));
  controller->setKeyboardYielded(false);
  model->setPinned(true, true);
  EXPECT_FALSE(tapKey(kEscape));
  selectCard.setPinned(false, true);  // one pin serves both cards
  EXPECT_FALSE(model->isPinned());
  EXPECT_TRUE(tapKey(kEscape));
  EXPECT_EQ(log.take(), (Lines{"copy apple", "alpha 0", "out", "alpha 1", "dismissed escape"}));
  EXPECT_FALSE(tap.isStarted());

  // The tap's thread reads while the main thread changes what it reads.
  shown({700, 600});
  std::atomic<bool> done{false};
  std::thread tapThread([&] {
    while (!done) tap.send({T::keyDown, kC, kCommand, false});
  });
  for (int i = 0; i < 200; ++i) {
    select(i % 2 ? "apple" : "pear");
    model->setPinned(i % 2 == 0, true);
    controller->setKeyboardYielded(i % 3 == 0);
  }
  done = true;
  tapThread.join();
}

TEST_F(OverlayPanelControllerTest, ADesktopChangeDismissesOrSilencesACard) {
  shown({700, 600});
  window.onActiveSpaceChange();
  scheduler.runUntilIdle();
  EXPECT_EQ(log.take(), (Lines{"alpha 0", "out", "alpha 1", "dismissed active_space"}));

  // A pinned card stays, but listens to nothing while on another desktop.
  model->setPinned(true, true);
  shown({700, 600});
  select("apple");
  window.onActiveSpace = false;
  window.onActiveSpaceChange();
  scheduler.runUntilIdle();
  EXPECT_TRUE(window.isVisible());
  EXPECT_FALSE(monitorsInstalled());
  EXPECT_FALSE(model->textSelection().has_value());
  // Shown there again, it is not brought forward.
  show(OverlayPresentationTarget::mouse({700, 600}));
  EXPECT_EQ(log.take().back(), "alpha 1");
  EXPECT_FALSE(monitorsInstalled());
  window.onActiveSpace = true;
  window.onActiveSpaceChange();
  scheduler.runUntilIdle();
  EXPECT_TRUE(tap.isStarted());
  EXPECT_EQ(local.monitorCount() + global.monitorCount(), 2u);
}

TEST_F(OverlayPanelControllerTest, TheSelectCardSharesTheWindowAndThePin) {
  shown({700, 600});
  select("apple");
  const SelectCopyTriggerSnapshot trigger{7, 42, {700, 600}, kDesk.frame, kDesk.visibleFrame, {}};
  const OverlayPlacement placement = controller->showSelect(trigger);
  // A visible card goes first, without a word to the lookup; the new one is placed afresh.
  EXPECT_EQ(log.take(),
            (Lines{"will present", "alpha 0", "out", "alpha 1", "content select", "layout top 64",
                   "frame 446,88 508x528 display", "origin 446,88", "display", "alpha 0", "front"}));
  EXPECT_EQ(placement.maxCardHeight, 400);
  EXPECT_EQ(selectCard.maxCardHeight, 400);
  EXPECT_EQ(controller->visibleCardFrame(), rect(510, 415, 380, 137));

  // The pin is copied over when the lookup card comes back, with a fresh content.
  selectCard.setPinned(true, false);
  controller->activateLookupContent();
  controller->activateLookupContent();
  EXPECT_EQ(log.take(), Lines{"content lookup"});
  EXPECT_TRUE(model->isPinned());
  model->setPinned(false, true);
  EXPECT_FALSE(selectCard.isPinned());

  controller->showSelect(trigger);
  log.take();
  controller->dismiss("escape");
  EXPECT_EQ(log.take(), (Lines{"alpha 0", "out", "alpha 1", "select dismissed escape"}));

  // The cards' copy buttons reach the pasteboard, with something to copy.
  selectCard.onCopySentenceTranslation("");
  selectCard.onCopySentenceTranslation("a pear");
  model->onCopyParagraphTranslation("a plum");
  EXPECT_EQ(log.take(), (Lines{"copy a pear", "copy a plum"}));
}

}  // namespace
}  // namespace trelvis
