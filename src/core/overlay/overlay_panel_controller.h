#pragma once

// OverlayPanelController: the owner of the one floating window in which both the
// lookup card and the Select card appear. It decides where the card goes (beside
// the pointer or a selected region, within the screen's free area), keeps the
// window in step with the card's height, lets the user drag the card, and
// decides when it goes away: a click elsewhere, Escape, a change of desktop, a
// drop on a screen edge. It never takes the focus from the application under
// the pointer.
//
// It lives on the main executor. The overlay keyboard tap asks it, on the tap's
// own thread, whether to act, whether the card is pinned and what text is
// selected; those answers come from a few fields published under a lock of
// their own, and the tap's actions hop back to the main executor.
//
// Build it with create(): its wiring holds it weakly. It borrows the models, the
// appearance store, the window, the screens and the event sources, which must
// outlive it, and owns the keyboard monitor.

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "base/async/executor.h"
#include "base/geometry.h"
#include "base/signal.h"
#include "core/capture/overlay_window_geometry.h"
#include "core/capture/screen_listing.h"
#include "core/overlay/overlay_panel_presenting.h"
#include "core/overlay/overlay_panel_windowing.h"
#include "core/select/select_copy_trigger_snapshot.h"
#include "core/triggers/global_event_monitoring.h"
#include "core/triggers/input_events.h"
#include "core/triggers/overlay_local_keyboard_state.h"

namespace trelvis {

class AppearanceStore;
class LookupOverlayModel;
class OverlayKeyboardMonitor;
class SelectOverlayCardModel;

class OverlayPanelController final : public OverlayPanelPresenting,
                                     public std::enable_shared_from_this<OverlayPanelController> {
 public:
  struct Dependencies {
    std::shared_ptr<Executor> mainExecutor;
    LookupOverlayModel& model;
    SelectOverlayCardModel& selectModel;
    AppearanceStore& appearance;
    OverlayPanelWindowing& window;
    const ScreenListing& screens;
    LocalEventMonitoring& localEvents;
    GlobalEventMonitoring& globalEvents;
    AccessibilityPermissionProviding& accessibility;
    // The overlay keyboard tap; none leaves Escape and copy to the event monitors.
    OverlayKeyboardEventTapManaging* keyboardTap = nullptr;
    // Writes text to the clipboard; called on the main thread.
    std::function<void(const std::string& text)> copyToPasteboard;
  };

  // The window waits this long, transparent, after it first shows, so that the
  // content can lay out before anyone sees it at a wrong size.
  static constexpr Duration kRevealDelay = std::chrono::milliseconds(40);
  // How far the card stays from the pointer, and from a selected region.
  static constexpr double kPointerGap = 48;
  static constexpr double kRegionGap = 16;
  // A press that moves less than this is a click, not a drag.
  static constexpr double kDragThreshold = 3;
  // A drop this close to a screen's edge is the window system tiling the card.
  static constexpr double kTilingEdge = 2;
  // A point this close to a screen, outside every screen, belongs to it.
  static constexpr double kNearScreenDistance = 64;

  static std::shared_ptr<OverlayPanelController> create(Dependencies dependencies);
  ~OverlayPanelController() override;
  OverlayPanelController(const OverlayPanelController&) = delete;
  OverlayPanelController& operator=(const OverlayPanelController&) = delete;

  // ---- Presenting ---------------------------------------------------------
  void activateLookupContent() override;
  void activateSelectContent();
  OverlayPlacement show(const OverlayPresentationTarget& target,
                        const OverlayLayoutMetrics& layout) override;
  // Always places the Select card afresh, at the pointer of the trigger.
  OverlayPlacement showSelect(const SelectCopyTriggerSnapshot& trigger);
  void hideWindow() override;
  // Hides the window and, when it was visible, tells the feature it showed.
  void dismiss(const std::string& reason);

  // The visible card: the part of the card's box that its content fills.
  std::optional<Rect> visibleCardFrame() const;
  // The card's box as last applied; none while hidden.
  const std::optional<Rect>& currentCardFrame() const { return currentCardFrame_; }
  OverlayPresentedFeature presentedFeature() const { return presentedFeature_; }

  // ---- Input --------------------------------------------------------------
  // Each answers true to swallow the event.
  bool handleLocalMouseEvent(InputEventType type, uint64_t modifierFlags, Point location);
  void handleGlobalMouseEvent(Point location);
  bool handleLocalKeyEvent(InputEventType type, uint16_t keyCode, uint64_t modifierFlags,
                           bool isRepeat);
  void removeInputMonitors(bool preservingConsumedKeyUp);
  void handleActiveSpaceDidChange(bool isWindowOnActiveSpace);
  // The input panel took (true) or gave back the keyboard: while it has it,
  // neither the card's monitors nor the tap handle a key.
  void setKeyboardYielded(bool yielded);

  // The Select card was dismissed, with the reason.
  std::function<void(const std::string& reason)> onSelectDismiss;
  // Just before the window appears.
  std::function<void()> onWillPresent;

 private:
  // What the keyboard tap reads on its own thread.
  struct EventTapState {
    std::mutex lock;
    bool visible = false;
    bool pinned = false;
    std::optional<std::string> selectedText;
    bool keyboardYielded = false;
  };

  explicit OverlayPanelController(Dependencies dependencies);
  void connect();

  Rect placementBounds(Point point) const;
  std::optional<Screen> screenContaining(Point point) const;
  Rect resizedCardFrame(const Rect& cardFrame, double newHeight) const;
  double anchorEdge(const Rect& rect) const;
  // The window frame realized for `requested`, and the card moved with it.
  Rect followRealizedFrame(const Rect& requestedCard, const Rect& requestedWindow) const;
  // Resizes the window; with `preserveRealizedPlacement` the card stays where it
  // was asked to be, wherever the window system put the window.
  void applyWindowFrame(const Rect& requestedCard, const Rect& requestedWindow,
                        bool preserveRealizedPlacement, bool display,
                        bool displayWhileResizing = false);
  void applyWindowOrigin(const Rect& requestedCard, const Rect& requestedWindow);
  void handleCardHeightChange(double height);
  void presentWindow(bool wasVisible);
  double presentedCardHeight() const;
  bool isPinned() const;
  // Gives both cards the pin, and tells the keyboard tap.
  void sharePin(bool pinned);
  // Replaces the content when the feature changes.
  void activateContent(OverlayPresentedFeature feature);

  void beginDrag(Point point);
  bool updateDrag(Point mouse);
  bool endDrag(Point cursor);
  bool beginSecondaryClick(Point point);
  // A press outside the card: a pinned card loses its selection, another goes.
  void handlePressOutsideCard(Point point);

  void installInputMonitors();
  void installKeyboardMonitor();
  void removeKeyboardMonitors(bool keepLocalForConsumedKeyUp);

  const std::shared_ptr<Executor> main_;
  LookupOverlayModel& model_;
  SelectOverlayCardModel& selectModel_;
  AppearanceStore& appearance_;
  OverlayPanelWindowing& window_;
  const ScreenListing& screens_;
  LocalEventMonitoring& localEvents_;
  GlobalEventMonitoring& globalEvents_;
  AccessibilityPermissionProviding& accessibility_;
  OverlayKeyboardEventTapManaging* const keyboardTap_;
  const std::function<void(const std::string& text)> copyToPasteboard_;

  std::optional<LocalEventMonitoring::Token> localMouseMonitor_;
  std::optional<GlobalEventMonitoring::Token> globalMouseMonitor_;
  std::optional<LocalEventMonitoring::Token> localKeyMonitor_;
  std::optional<GlobalEventMonitoring::Token> globalKeyMonitor_;
  Connection appearanceObservation_;
  OverlayLocalKeyboardState localKeyboardState_;
  std::shared_ptr<OverlayKeyboardMonitor> keyboardMonitor_;
  bool keyboardMonitorRunning_ = false;
  const std::shared_ptr<EventTapState> eventTapState_ = std::make_shared<EventTapState>();
  bool keyboardYielded_ = false;

  uint64_t presentationGeneration_ = 0;
  uint64_t frameApplicationID_ = 0;
  std::optional<Rect> currentCardFrame_;
  double currentShadowPadding_ = 0;
  OverlayAnchor currentAnchor_ = OverlayAnchor::top;
  double currentMaxCardHeight_ = 0;
  std::optional<Rect> currentPlacementBounds_;
  Size slotWindowSize_;
  OverlayPresentedFeature presentedFeature_ = OverlayPresentedFeature::lookup;
  std::vector<Rect> dragExclusionRects_;
  std::optional<OverlayDragSession> dragSession_;
  bool isSuppressingSecondaryClick_ = false;
  OverlayPendingResize pendingResize_;
  bool panelIsOnActiveSpace_ = false;
};

}  // namespace trelvis
