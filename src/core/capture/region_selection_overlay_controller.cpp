#include "core/capture/region_selection_overlay_controller.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "base/log.h"
#include "core/prefs/appearance_store.h"

namespace trelvis {
namespace {

const LogCategory kLog("region-selection");

void logFailsafe(RegionSelectionFailsafeReason reason, int64_t elapsedMilliseconds) {
  kLog.error("region_failsafe_cancel reason={} elapsed_ms={}", toString(reason),
             elapsedMilliseconds);
}

// The spanned rectangle cut to `frame`; empty when they do not meet.
Rect clippedTo(const RegionSelectionGesture& gesture, const Rect& frame) {
  return intersection(gesture.selectedRect(), frame).value_or(Rect{});
}

}  // namespace

std::string_view toString(RegionSelectionFailsafeReason reason) {
  return enumToString(kRegionSelectionFailsafeReasonNames, reason);
}

std::shared_ptr<RegionSelectionOverlayController> RegionSelectionOverlayController::create(
    Platform platform, AppearanceStore& appearance, std::function<ShortcutBinding()> triggerBinding,
    RecordFailsafe recordFailsafe) {
  return std::shared_ptr<RegionSelectionOverlayController>(new RegionSelectionOverlayController(
      std::move(platform), appearance, std::move(triggerBinding), std::move(recordFailsafe)));
}

RegionSelectionOverlayController::RegionSelectionOverlayController(
    Platform platform, AppearanceStore& appearance, std::function<ShortcutBinding()> triggerBinding,
    RecordFailsafe recordFailsafe)
    : platform_(std::move(platform)),
      appearance_(appearance),
      triggerBinding_(std::move(triggerBinding)),
      recordFailsafe_(recordFailsafe ? std::move(recordFailsafe) : RecordFailsafe(logFailsafe)),
      failsafeTimer_(platform_.mainExecutor) {
  // The connection goes with this object, so the callback never outlives it.
  appearanceObservation_ =
      appearance_.changed().connect([this](AppearanceMode mode) { applyAppearance(mode); });
}

RegionSelectionOverlayController::~RegionSelectionOverlayController() = default;

void RegionSelectionOverlayController::arm() {
  if (!captureSurfaces_.empty()) return;
  cleanupOrphanCaptureWindows();
  for (const Screen& screen : platform_.screens.screens()) {
    std::shared_ptr<RegionSelectionWindow> window = makeWindow(screen);
    if (!window) continue;
    captureSurfaces_.push_back({screen.frame, std::move(window), {}});
    captureSurfaces_.back().view.appearance = appearance_.mode();
  }
  phaseStartedAt_ = platform_.clock.now();
  for (RegionSelectionCaptureSurface& surface : captureSurfaces_) {
    redraw(surface);
    surface.window->orderFrontRegardless();
  }
  if (!captureSurfaces_.empty() && !failsafeTimer_.isScheduled()) {
    failsafeTimer_.schedule(kFailsafeInterval, [weak = weak_from_this()] {
      if (auto self = weak.lock()) self->checkPhysicalState();
    });
  }
}

std::shared_ptr<RegionSelectionWindow> RegionSelectionOverlayController::makeWindow(
    const Screen& screen) {
  Rect bounds = screen.displayID ? platform_.screens.displayBounds(*screen.displayID) : Rect{};
  if (bounds.isEmpty()) {
    // Global points have their origin at the bottom left of the main screen.
    const std::optional<Screen> main = platform_.screens.mainScreen();
    const double originHeight = main ? main->frame.maxY() : screen.frame.maxY();
    bounds = Rect{{screen.frame.minX(), originHeight - screen.frame.maxY()}, screen.frame.size};
  }
  std::shared_ptr<RegionSelectionWindow> window =
      platform_.windowing.makeWindow(screen.frame, bounds, appearance_.mode());
  if (window) {
    window->onPointerEvent = [weak = weak_from_this(), from = window.get()](
                                 RegionSelectionPointerPhase phase, Point local) {
      if (auto self = weak.lock()) self->handlePointerEvent(phase, local, from);
    };
  }
  return window;
}

void RegionSelectionOverlayController::handlePointerEvent(RegionSelectionPointerPhase phase,
                                                          Point local,
                                                          const RegionSelectionWindow* from) {
  const auto found =
      std::find_if(captureSurfaces_.begin(), captureSurfaces_.end(),
                   [&](const RegionSelectionCaptureSurface& s) { return s.window.get() == from; });
  if (found == captureSurfaces_.end()) return;
  const size_t index = static_cast<size_t>(found - captureSurfaces_.begin());
  // The drag belongs to the display it began on.
  if (activeSurfaceIndex_ && *activeSurfaceIndex_ != index) return;
  // The report may end in the surfaces being taken down; the window whose event
  // this is (and the callback running now) stays alive until it returns.
  const std::shared_ptr<RegionSelectionWindow> keepAlive = found->window;
  const Point global{found->frame.minX() + local.x, found->frame.minY() + local.y};
  RegionSelectionGestureUpdate update;
  switch (phase) {
    case RegionSelectionPointerPhase::began:
      activeSurfaceIndex_ = index;
      update = dragRecognizer_.begin(global, platform_.clock.now());
      break;
    case RegionSelectionPointerPhase::changed:
      update = dragRecognizer_.update(global);
      break;
    case RegionSelectionPointerPhase::completed:
      update = dragRecognizer_.finish(global);
      break;
  }
  if (!update.isNone() && onGestureUpdate) onGestureUpdate(update);
}

void RegionSelectionOverlayController::begin(const RegionSelectionGesture& gesture) {
  if (!hasValidActiveSurface()) {
    const auto found = std::find_if(
        captureSurfaces_.begin(), captureSurfaces_.end(),
        [&](const RegionSelectionCaptureSurface& s) { return s.frame.contains(gesture.start); });
    if (found == captureSurfaces_.end()) {
      // A press on no screen we cover: the display may just have gone.
      clear();
      return;
    }
    activeSurfaceIndex_ = static_cast<size_t>(found - captureSurfaces_.begin());
  }
  const size_t index = *activeSurfaceIndex_;
  if (!screenFrame_) {
    phaseStartedAt_ = platform_.clock.now();
    dragButtonUpObservationCount_ = 0;
  }
  // Only the display in use stays dimmed.
  for (size_t i = 0; i < captureSurfaces_.size(); ++i) {
    if (i != index) captureSurfaces_[i].window->orderOut();
  }
  RegionSelectionCaptureSurface& surface = captureSurfaces_[index];
  screenFrame_ = surface.frame;
  surface.view.isSelectionActive = true;
  redraw(surface);
  update(gesture);
  surface.window->orderFrontRegardless();
}

void RegionSelectionOverlayController::update(const RegionSelectionGesture& gesture) {
  if (!screenFrame_ || !hasValidActiveSurface()) {
    begin(gesture);
    return;
  }
  RegionSelectionCaptureSurface& surface = captureSurfaces_[*activeSurfaceIndex_];
  const Rect clipped = clippedTo(gesture, *screenFrame_);
  surface.view.selectionRect =
      Rect{{clipped.minX() - screenFrame_->minX(), clipped.minY() - screenFrame_->minY()},
           clipped.size};
  redraw(surface);
}

std::optional<RegionSelectionGesture> RegionSelectionOverlayController::finish(
    const RegionSelectionGesture& gesture) {
  if (!screenFrame_) {
    clear();
    return std::nullopt;
  }
  update(gesture);
  const Rect clipped = clippedTo(gesture, *screenFrame_);
  clear();
  if (clipped.width() < kMinimumRegionSide || clipped.height() < kMinimumRegionSide) {
    return std::nullopt;
  }
  return RegionSelectionGesture{{clipped.minX(), clipped.minY()},
                                {clipped.maxX(), clipped.maxY()},
                                gesture.triggeredAt};
}

void RegionSelectionOverlayController::dismissCaptureSurfaces() {
  // Emptied first, so that a window that reports while it goes finds no surface.
  std::vector<RegionSelectionCaptureSurface> surfaces = std::exchange(captureSurfaces_, {});
  for (RegionSelectionCaptureSurface& surface : surfaces) surface.window->orderOut();
  activeSurfaceIndex_.reset();
  screenFrame_.reset();
  phaseStartedAt_.reset();
  dragButtonUpObservationCount_ = 0;
}

int RegionSelectionOverlayController::cleanupOrphanCaptureWindows() {
  int closed = 0;
  for (RegionSelectionWindow* window : platform_.windowing.windows()) {
    if (!window->isVisible() || window->identifier() != RegionSelectionWindow::kIdentifier) {
      continue;
    }
    const bool tracked = std::any_of(
        captureSurfaces_.begin(), captureSurfaces_.end(),
        [&](const RegionSelectionCaptureSurface& s) { return s.window.get() == window; });
    if (tracked) continue;
    window->orderOut();
    ++closed;
  }
  if (closed > 0) recordFailsafe_(RegionSelectionFailsafeReason::orphanWindow, elapsedMilliseconds());
  return closed;
}

void RegionSelectionOverlayController::checkPhysicalState() {
  if (captureSurfaces_.empty()) {
    failsafeTimer_.invalidate();
    return;
  }
  RegionSelectionFailsafeReason reason;
  if (activeSurfaceIndex_) {
    if (platform_.physicalState.pressedMouseButtons() & 1) {
      dragButtonUpObservationCount_ = 0;
      return;
    }
    // A slow button-up event may still be on its way, and finish should win:
    // the button must be seen up twice in a row.
    if (++dragButtonUpObservationCount_ < kDragButtonUpObservations) return;
    reason = RegionSelectionFailsafeReason::dragButtonUp;
  } else {
    // While armed no event can race the check: one look at the keys suffices.
    dragButtonUpObservationCount_ = 0;
    if (platform_.physicalState.isTriggerGesturePressed(triggerBinding_())) return;
    reason = RegionSelectionFailsafeReason::armedGestureUp;
  }
  const int64_t elapsed = elapsedMilliseconds();
  clear();
  recordFailsafe_(reason, elapsed);
  if (onFailsafeCancel) onFailsafeCancel();
}

void RegionSelectionOverlayController::clear() {
  resetDrag();
  dismissCaptureSurfaces();
  cleanupOrphanCaptureWindows();
}

void RegionSelectionOverlayController::redraw(RegionSelectionCaptureSurface& surface) {
  surface.window->display(surface.view);
}

void RegionSelectionOverlayController::applyAppearance(AppearanceMode mode) {
  for (RegionSelectionCaptureSurface& surface : captureSurfaces_) {
    surface.view.appearance = mode;
    redraw(surface);
  }
}

int64_t RegionSelectionOverlayController::elapsedMilliseconds() const {
  if (!phaseStartedAt_) return 0;
  const std::chrono::duration<double, std::milli> elapsed = platform_.clock.now() - *phaseStartedAt_;
  return static_cast<int64_t>(std::llround(elapsed.count()));
}

}  // namespace trelvis
