#include "core/overlay/overlay_panel_controller.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "core/overlay/lookup_overlay_model.h"
#include "core/overlay/select_overlay_card_model.h"
#include "core/prefs/appearance_store.h"
#include "core/triggers/overlay_keyboard_monitor.h"

namespace trelvis {
namespace {

using T = InputEventType;

// Presses, releases and drags of every button in the card's own windows.
constexpr uint64_t kLocalMouseMask =
    eventMaskBit(T::leftMouseDown) | eventMaskBit(T::leftMouseUp) |
    eventMaskBit(T::leftMouseDragged) | eventMaskBit(T::rightMouseDown) |
    eventMaskBit(T::rightMouseUp) | eventMaskBit(T::rightMouseDragged) |
    eventMaskBit(T::otherMouseDown);
// Presses in other applications.
constexpr uint64_t kGlobalMouseMask =
    eventMaskBit(T::leftMouseDown) | eventMaskBit(T::rightMouseDown) |
    eventMaskBit(T::otherMouseDown);
constexpr uint64_t kLocalKeyMask = eventMaskBit(T::keyDown) | eventMaskBit(T::keyUp);
constexpr uint64_t kGlobalKeyMask = eventMaskBit(T::keyDown);

// The Select card's fixed size and margin.
constexpr double kSelectCardWidth = 380;
constexpr double kSelectCardMaxHeight = 400;
constexpr double kSelectShadowPadding = 64;

Rect grown(const Rect& rect, double by) {
  return Rect{{rect.minX() - by, rect.minY() - by},
              {rect.width() + 2 * by, rect.height() + 2 * by}};
}

Rect moved(const Rect& rect, double dx, double dy) {
  return Rect{{rect.minX() + dx, rect.minY() + dy}, rect.size};
}

// The region in which a card may lie on `screen`: its free area, stretched up
// to the top of the screen, so that the card may cover the menu strip but never
// a dock.
Rect cardBounds(const Rect& frame, const Rect& visibleFrame) {
  return Rect{visibleFrame.origin,
              {visibleFrame.width(), std::max(0.0, frame.maxY() - visibleFrame.minY())}};
}

struct PointerPlacement {
  Rect slot;
  Rect card;
  OverlayAnchor anchor;
  double cardHeight;
};

// A slot `maxHeight` high beside the pointer: below it when it fits there, else
// above when it fits there, else on the roomier side (below on a tie). The card
// in it is as high as the side allows, at least `minHeight`; without a minimum
// (the Select card) a side's room counts no less than nothing.
PointerPlacement placeAtPointer(Point pointer, const Rect& bounds, double width, double maxHeight,
                                std::optional<double> minHeight, double gap) {
  double below = pointer.y - gap - bounds.minY();
  double above = bounds.maxY() - pointer.y - gap;
  if (!minHeight) {
    below = std::max(0.0, below);
    above = std::max(0.0, above);
  }
  const bool goesBelow = below >= maxHeight || (above < maxHeight && below >= above);
  double height = std::min(goesBelow ? below : above, maxHeight);
  if (minHeight) height = std::max(*minHeight, height);
  const double x = bounds.width() >= width
                       ? std::min(std::max(pointer.x - width / 2, bounds.minX()),
                                  bounds.maxX() - width)
                       : bounds.midX() - width / 2;
  if (goesBelow) {
    const double top = std::min(bounds.maxY(), pointer.y - gap);
    return {Rect{{x, top - maxHeight}, {width, maxHeight}}, Rect{{x, top - height}, {width, height}},
            OverlayAnchor::top, height};
  }
  const double y = std::max(bounds.minY(), pointer.y + gap);
  return {Rect{{x, y}, {width, maxHeight}}, Rect{{x, y}, {width, height}}, OverlayAnchor::bottom,
          height};
}

// Straight distance from `point` to `rect`; 0 along an axis on which it lies within.
double distanceTo(Point point, const Rect& rect) {
  const double dx = point.x < rect.minX()   ? rect.minX() - point.x
                    : point.x > rect.maxX() ? point.x - rect.maxX()
                                            : 0;
  const double dy = point.y < rect.minY()   ? rect.minY() - point.y
                    : point.y > rect.maxY() ? point.y - rect.maxY()
                                            : 0;
  return std::hypot(dx, dy);
}

}  // namespace

std::shared_ptr<OverlayPanelController> OverlayPanelController::create(Dependencies dependencies) {
  auto controller =
      std::shared_ptr<OverlayPanelController>(new OverlayPanelController(std::move(dependencies)));
  controller->connect();
  return controller;
}

OverlayPanelController::OverlayPanelController(Dependencies d)
    : main_(std::move(d.mainExecutor)),
      model_(d.model),
      selectModel_(d.selectModel),
      appearance_(d.appearance),
      window_(d.window),
      screens_(d.screens),
      localEvents_(d.localEvents),
      globalEvents_(d.globalEvents),
      accessibility_(d.accessibility),
      keyboardTap_(d.keyboardTap),
      copyToPasteboard_(std::move(d.copyToPasteboard)) {
  // The window starts as the slot of a lookup card at its largest.
  const OverlayLayoutMetrics layout;
  slotWindowSize_ = {layout.width + 2 * layout.shadowPadding,
                     layout.maxHeight + 2 * layout.shadowPadding};
  window_.setFrame(Rect{{0, 0}, slotWindowSize_}, false);
  window_.setAppearance(appearance_.mode());
  window_.installContent(presentedFeature_);
}

OverlayPanelController::~OverlayPanelController() {
  window_.onActiveSpaceChange = nullptr;
  removeInputMonitors(false);
}

void OverlayPanelController::connect() {
  const std::weak_ptr<OverlayPanelController> weak = weak_from_this();
  const auto weakly = [weak](auto action) {
    return [weak, action](auto&&... args) {
      if (const auto self = weak.lock()) action(*self, args...);
    };
  };
  using Self = OverlayPanelController;

  const auto storeExclusions = weakly(
      [](Self& self, const std::vector<Rect>& rects) { self.dragExclusionRects_ = rects; });
  model_.onDragExclusionRectsChange = storeExclusions;
  selectModel_.onDragExclusionRectsChange = storeExclusions;

  // One pin serves both cards.
  const auto sharePin = weakly([](Self& self, bool pinned) { self.sharePin(pinned); });
  model_.onPinStateChange = sharePin;
  selectModel_.onPinStateChange = sharePin;
  model_.onTextSelectionChange = weakly([](Self& self, const std::optional<std::string>& text) {
    std::lock_guard lock(self.eventTapState_->lock);
    self.eventTapState_->selectedText = text;
  });
  const auto copy = weakly([](Self& self, const std::string& text) {
    if (!text.empty() && self.copyToPasteboard_) self.copyToPasteboard_(text);
  });
  model_.onCopyTextSelection = copy;
  model_.onCopyParagraphTranslation = copy;
  selectModel_.onCopySentenceTranslation = copy;
  const auto heightChanged =
      weakly([](Self& self, double height) { self.handleCardHeightChange(height); });
  model_.onCardHeightChange = heightChanged;
  selectModel_.onCardHeightChange = heightChanged;

  window_.onActiveSpaceChange = [weak, main = main_] {
    main->post([weak] {
      if (const auto self = weak.lock()) {
        self->handleActiveSpaceDidChange(self->window_.isOnActiveSpace());
      }
    });
  };
  appearanceObservation_ = appearance_.changed().connect(weakly([](Self& self, AppearanceMode mode) {
    self.window_.setAppearance(mode);
    self.window_.displayIfNeeded();
  }));
  sharePin(model_.isPinned());

  if (!keyboardTap_) return;
  // The tap asks these on its own thread: they read only the published fields.
  OverlayKeyboardMonitor::Closures closures;
  closures.isOverlayVisible = [state = eventTapState_] {
    std::lock_guard lock(state->lock);
    return state->visible && !state->keyboardYielded;
  };
  closures.isOverlayPinned = [state = eventTapState_] {
    std::lock_guard lock(state->lock);
    return state->pinned;
  };
  closures.selectedText = [state = eventTapState_] {
    std::lock_guard lock(state->lock);
    return state->selectedText;
  };
  // Its actions go to the main thread, which looks at the window again.
  closures.onEscape = [weak, main = main_] {
    main->post([weak] {
      const auto self = weak.lock();
      if (self && self->window_.isVisible() && !self->isPinned()) self->dismiss("escape");
    });
  };
  closures.onCopy = [weak, main = main_](const std::string& text) {
    main->post([weak, text] {
      const auto self = weak.lock();
      if (self && !text.empty() && self->copyToPasteboard_) self->copyToPasteboard_(text);
    });
  };
  keyboardMonitor_ =
      std::make_shared<OverlayKeyboardMonitor>(accessibility_, *keyboardTap_, std::move(closures));
}

void OverlayPanelController::sharePin(bool pinned) {
  if (model_.isPinned() != pinned) model_.setPinned(pinned, false);
  if (selectModel_.isPinned() != pinned) selectModel_.setPinned(pinned, false);
  std::lock_guard lock(eventTapState_->lock);
  eventTapState_->pinned = pinned;
}

bool OverlayPanelController::isPinned() const {
  return model_.isPinned();
}

void OverlayPanelController::setKeyboardYielded(bool yielded) {
  keyboardYielded_ = yielded;
  std::lock_guard lock(eventTapState_->lock);
  eventTapState_->keyboardYielded = yielded;
}

// ---- Content -------------------------------------------------------------------

void OverlayPanelController::activateLookupContent() {
  activateContent(OverlayPresentedFeature::lookup);
}

void OverlayPanelController::activateSelectContent() {
  activateContent(OverlayPresentedFeature::selectTranslate);
}

void OverlayPanelController::activateContent(OverlayPresentedFeature feature) {
  if (presentedFeature_ == feature) return;
  // The card that comes keeps the pin of the one that goes.
  const bool pinned = feature == OverlayPresentedFeature::lookup ? selectModel_.isPinned()
                                                                 : model_.isPinned();
  presentedFeature_ = feature;
  sharePin(pinned);
  window_.installContent(feature);
}

double OverlayPanelController::presentedCardHeight() const {
  return presentedFeature_ == OverlayPresentedFeature::selectTranslate ? selectModel_.cardHeight()
                                                                       : model_.cardHeight();
}

// ---- Placement -----------------------------------------------------------------

std::optional<Screen> OverlayPanelController::screenContaining(Point point) const {
  const std::vector<Screen> screens = screens_.screens();
  for (const Screen& screen : screens) {
    if (screen.frame.contains(point)) return screen;
  }
  const Screen* nearest = nullptr;
  double nearestDistance = std::numeric_limits<double>::infinity();
  for (const Screen& screen : screens) {
    const double distance = distanceTo(point, screen.frame);
    if (distance <= kNearScreenDistance && distance < nearestDistance) {
      nearest = &screen;
      nearestDistance = distance;
    }
  }
  if (!nearest) return std::nullopt;
  return *nearest;
}

Rect OverlayPanelController::placementBounds(Point point) const {
  if (const std::optional<Screen> screen = screenContaining(point)) {
    return cardBounds(screen->frame, screen->visibleFrame);
  }
  // Beyond every screen: the whole desktop.
  const std::vector<Screen> screens = screens_.screens();
  if (screens.empty()) return Rect{};
  double left = screens.front().frame.minX(), bottom = screens.front().frame.minY();
  double right = screens.front().frame.maxX(), top = screens.front().frame.maxY();
  for (const Screen& screen : screens) {
    left = std::min(left, screen.frame.minX());
    bottom = std::min(bottom, screen.frame.minY());
    right = std::max(right, screen.frame.maxX());
    top = std::max(top, screen.frame.maxY());
  }
  return Rect{{left, bottom}, {right - left, top - bottom}};
}

double OverlayPanelController::anchorEdge(const Rect& rect) const {
  // Where a card of no height would rest: the rectangle's top, bottom or middle.
  return OverlayWindowGeometry::anchoredY(rect, currentAnchor_, 0);
}

Rect OverlayPanelController::resizedCardFrame(const Rect& cardFrame, double newHeight) const {
  const Rect bounds = currentPlacementBounds_.value_or(placementBounds(cardFrame.center()));
  const double y = OverlayWindowGeometry::anchoredY(cardFrame, currentAnchor_, newHeight);
  return OverlayWindowGeometry::clamped(Rect{{cardFrame.minX(), y}, {cardFrame.width(), newHeight}},
                                        bounds);
}

OverlayPlacement OverlayPanelController::show(const OverlayPresentationTarget& target,
                                              const OverlayLayoutMetrics& layout) {
  if (!window_.isVisible() && onWillPresent) onWillPresent();
  const double shadow = std::max(0.0, layout.shadowPadding);
  const bool wasVisible = window_.isVisible();
  const auto placement = [&] {
    return OverlayPlacement{currentAnchor_,
                            currentMaxCardHeight_ > 0 ? currentMaxCardHeight_ : layout.maxHeight};
  };

  Rect requestedCard;
  Rect requestedWindow;
  if (wasVisible && currentCardFrame_) {
    // The card stays where it is; only its height is reconsidered.
    const double height = currentMaxCardHeight_ > 0
                              ? std::min(layout.maxHeight, currentMaxCardHeight_)
                              : layout.maxHeight;
    if (dragSession_ && dragSession_->didDrag) {
      pendingResize_.height = height;
      return placement();
    }
    requestedCard = resizedCardFrame(*currentCardFrame_, height);
    requestedWindow = grown(requestedCard, shadow);
  } else {
    const auto* region = std::get_if<Rect>(&target.value);
    const Point point = region ? region->center() : std::get<Point>(target.value);
    const Rect bounds = placementBounds(point);
    currentPlacementBounds_ = bounds;
    Rect slot;
    if (region) {
      const OverlayRegionPlacement p = OverlayWindowGeometry::regionPlacement(
          *region, {layout.width, layout.maxHeight}, bounds, kRegionGap);
      slot = p.frame;
      requestedCard = p.cardFrame;
      currentAnchor_ = p.anchor;
      currentMaxCardHeight_ = p.maxCardHeight;
    } else {
      const PointerPlacement p =
          placeAtPointer(point, bounds, layout.width, layout.maxHeight,
                         std::max(0.0, layout.minHeight), kPointerGap);
      slot = p.slot;
      requestedCard = p.card;
      currentAnchor_ = p.anchor;
      currentMaxCardHeight_ = p.cardHeight;
    }
    requestedWindow = grown(slot, shadow);
    slotWindowSize_ = requestedWindow.size;
  }

  ++presentationGeneration_;
  currentShadowPadding_ = shadow;
  model_.setAnchor(currentAnchor_);
  model_.setMaxCardHeight(
      std::max(layout.minHeight, std::min(currentMaxCardHeight_, layout.maxHeight)));
  window_.setCardLayout(currentAnchor_, shadow);
  applyWindowFrame(requestedCard, requestedWindow, wasVisible, true);
  presentWindow(wasVisible);
  return placement();
}

OverlayPlacement OverlayPanelController::showSelect(const SelectCopyTriggerSnapshot& trigger) {
  if (onWillPresent) onWillPresent();
  if (window_.isVisible()) hideWindow();
  activateSelectContent();

  const Rect bounds = cardBounds(trigger.screenFrame, trigger.visibleFrame);
  currentPlacementBounds_ = bounds;
  const PointerPlacement p = placeAtPointer(trigger.mouseLocation, bounds, kSelectCardWidth,
                                            kSelectCardMaxHeight, std::nullopt, kPointerGap);
  currentAnchor_ = p.anchor;
  currentMaxCardHeight_ = p.cardHeight;
  const Rect requestedWindow = grown(p.slot, kSelectShadowPadding);
  slotWindowSize_ = requestedWindow.size;

  ++presentationGeneration_;
  currentShadowPadding_ = kSelectShadowPadding;
  selectModel_.setAnchor(currentAnchor_);
  selectModel_.setMaxCardHeight(currentMaxCardHeight_);
  window_.setCardLayout(currentAnchor_, kSelectShadowPadding);
  applyWindowFrame(p.card, requestedWindow, true, true, /*displayWhileResizing=*/true);
  presentWindow(false);
  return {currentAnchor_, currentMaxCardHeight_ > 0 ? currentMaxCardHeight_ : kSelectCardMaxHeight};
}

void OverlayPanelController::presentWindow(bool wasVisible) {
  if (wasVisible) {
    window_.setAlphaValue(1);
    // A pinned card on another desktop is not brought forward.
    if (!panelIsOnActiveSpace_) return;
    window_.orderFrontRegardless();
  } else {
    window_.setAlphaValue(0);
    window_.orderFrontRegardless();
    panelIsOnActiveSpace_ = true;
    // Transparent at first, so that the content lays out before it is seen.
    main_->postAfter(kRevealDelay, [weak = weak_from_this(), generation = presentationGeneration_] {
      const auto self = weak.lock();
      if (self && self->window_.isVisible() && self->presentationGeneration_ == generation) {
        self->window_.setAlphaValue(1);
      }
    });
  }
  removeInputMonitors(true);
  installInputMonitors();
  installKeyboardMonitor();
}

// ---- Frames --------------------------------------------------------------------

Rect OverlayPanelController::followRealizedFrame(const Rect& requestedCard,
                                                 const Rect& requestedWindow) const {
  const Rect realized = window_.frame();
  return moved(requestedCard, realized.midX() - requestedWindow.midX(),
               anchorEdge(realized) - anchorEdge(requestedWindow));
}

void OverlayPanelController::applyWindowFrame(const Rect& requestedCard,
                                              const Rect& requestedWindow,
                                              bool preserveRealizedPlacement, bool display,
                                              bool displayWhileResizing) {
  // Setting a frame can lead back here (the content answers its new size with a
  // new height): work that a later application has overtaken stops.
  const uint64_t id = ++frameApplicationID_;
  currentCardFrame_ = requestedCard;
  window_.setFrame(requestedWindow,
                   displayWhileResizing || (display && !preserveRealizedPlacement));
  if (frameApplicationID_ != id) return;
  if (preserveRealizedPlacement) {
    // The window system may have put the window elsewhere while resizing it:
    // move it back so that the card lies exactly where it was asked to.
    const Rect realized = window_.frame();
    const Rect shifted = followRealizedFrame(requestedCard, requestedWindow);
    window_.setFrameOrigin({realized.minX() - (shifted.minX() - requestedCard.minX()),
                            realized.minY() - (shifted.minY() - requestedCard.minY())});
    if (frameApplicationID_ != id) return;
    if (display) {
      window_.displayIfNeeded();
      if (frameApplicationID_ != id) return;
    }
  }
  // The stored card follows what is on the screen.
  currentCardFrame_ = followRealizedFrame(requestedCard, requestedWindow);
}

void OverlayPanelController::applyWindowOrigin(const Rect& requestedCard,
                                               const Rect& requestedWindow) {
  const uint64_t id = ++frameApplicationID_;
  currentCardFrame_ = requestedCard;
  window_.setFrameOrigin(requestedWindow.origin);
  if (frameApplicationID_ != id) return;
  currentCardFrame_ = followRealizedFrame(requestedCard, requestedWindow);
}

void OverlayPanelController::handleCardHeightChange(double height) {
  if (height <= 0 || !window_.isVisible() || !currentCardFrame_) return;
  if (dragSession_ && dragSession_->didDrag) {
    pendingResize_.height = height;
    return;
  }
  const Rect card = resizedCardFrame(*currentCardFrame_, height);
  applyWindowFrame(card, grown(card, currentShadowPadding_), true, true);
}

std::optional<Rect> OverlayPanelController::visibleCardFrame() const {
  if (!currentCardFrame_) return std::nullopt;
  return OverlayWindowGeometry::visibleContentRect(*currentCardFrame_, currentAnchor_,
                                                   presentedCardHeight());
}

// ---- Hiding --------------------------------------------------------------------

void OverlayPanelController::hideWindow() {
  // Voids the pending reveal and any frame work under way.
  ++presentationGeneration_;
  ++frameApplicationID_;
  panelIsOnActiveSpace_ = false;
  removeInputMonitors(true);
  currentCardFrame_.reset();
  currentShadowPadding_ = 0;
  currentAnchor_ = OverlayAnchor::top;
  currentMaxCardHeight_ = 0;
  currentPlacementBounds_.reset();
  dragSession_.reset();
  model_.invalidateTextSelection();
  pendingResize_.height.reset();

  window_.setAlphaValue(0);
  const Rect frame = window_.frame();
  if (frame.size != slotWindowSize_) window_.setFrame(Rect{frame.origin, slotWindowSize_}, false);
  window_.orderOut();
  window_.setAlphaValue(1);
}

void OverlayPanelController::dismiss(const std::string& reason) {
  const bool wasVisible = window_.isVisible();
  const OverlayPresentedFeature feature = presentedFeature_;
  hideWindow();
  if (!wasVisible) return;
  if (feature == OverlayPresentedFeature::selectTranslate) {
    if (onSelectDismiss) onSelectDismiss(reason);
  } else if (onDismiss) {
    onDismiss(reason);
  }
}

void OverlayPanelController::handleActiveSpaceDidChange(bool isWindowOnActiveSpace) {
  if (!window_.isVisible()) return;
  if (!isPinned()) {
    dismiss("active_space");
    return;
  }
  if (isWindowOnActiveSpace == panelIsOnActiveSpace_) return;
  panelIsOnActiveSpace_ = isWindowOnActiveSpace;
  model_.invalidateTextSelection();
  if (isWindowOnActiveSpace) {
    removeInputMonitors(true);
    installInputMonitors();
    installKeyboardMonitor();
  } else {
    // A pinned card on a desktop that the user isn't looking at listens to nothing.
    removeInputMonitors(false);
  }
}

// ---- Drag ----------------------------------------------------------------------

void OverlayPanelController::beginDrag(Point point) {
  if (dragSession_ || !currentCardFrame_) return;
  const double contentHeight = presentedCardHeight();
  const Rect content =
      OverlayWindowGeometry::visibleContentRect(*currentCardFrame_, currentAnchor_, contentHeight);
  if (!content.contains(point)) return;
  // The card's own space: origin at the content's top left, y growing downward.
  const Point inCard{point.x - content.minX(), content.maxY() - point.y};
  for (const Rect& excluded : dragExclusionRects_) {
    if (excluded.contains(inCard)) return;
  }
  const Rect region = currentPlacementBounds_.value_or(placementBounds(currentCardFrame_->center()));
  if (!window_.isVisible() || !currentCardFrame_) return;
  dragSession_ = OverlayDragSession{point, *currentCardFrame_, region, contentHeight, false};
}

bool OverlayPanelController::updateDrag(Point mouse) {
  if (!dragSession_) return false;
  OverlayDragSession& session = *dragSession_;
  const double dx = mouse.x - session.startMouse.x;
  const double dy = mouse.y - session.startMouse.y;
  // A press that barely moves is a click, for the text or button under it.
  if (!session.didDrag && dx * dx + dy * dy < kDragThreshold * kDragThreshold) return false;
  session.didDrag = true;
  if (!window_.isVisible()) return true;
  Rect card = moved(session.startCardFrame, dx, dy);
  // What has to stay on the screen is the visible card, not the slot.
  const Rect visible =
      OverlayWindowGeometry::visibleContentRect(card, currentAnchor_, session.contentHeight);
  const Rect held = OverlayWindowGeometry::clamped(visible, session.dragRegion);
  card = moved(card, held.minX() - visible.minX(), held.minY() - visible.minY());
  applyWindowOrigin(card, grown(card, currentShadowPadding_));
  return true;
}

bool OverlayPanelController::endDrag(Point cursor) {
  bool consumed = false;
  if (const std::optional<OverlayDragSession> session = std::exchange(dragSession_, std::nullopt);
      session && session->didDrag) {
    consumed = true;
    // A card dropped at a screen's edge was seized by the window system's tiling.
    for (const Screen& screen : screens_.screens()) {
      if (!screen.frame.contains(cursor)) continue;
      const Rect& f = screen.frame;
      if (cursor.x <= f.minX() + kTilingEdge || cursor.x >= f.maxX() - kTilingEdge ||
          cursor.y <= f.minY() + kTilingEdge || cursor.y >= f.maxY() - kTilingEdge) {
        dismiss("tiling");
        return true;
      }
      break;
    }
  }
  if (const std::optional<double> height = std::exchange(pendingResize_.height, std::nullopt)) {
    handleCardHeightChange(*height);
  }
  return consumed;
}

// ---- Pointer -------------------------------------------------------------------

void OverlayPanelController::handlePressOutsideCard(Point point) {
  if (!window_.isVisible() || !currentCardFrame_ || currentCardFrame_->contains(point)) return;
  if (isPinned()) {
    model_.invalidateTextSelection();
  } else {
    dismiss("click_outside");
  }
}

bool OverlayPanelController::handleLocalMouseEvent(InputEventType type, uint64_t modifierFlags,
                                                   Point location) {
  switch (type) {
    case T::leftMouseDown:
      if ((modifierFlags & ModifierFlags::control) != 0) return beginSecondaryClick(location);
      dragSession_.reset();
      isSuppressingSecondaryClick_ = false;
      handlePressOutsideCard(location);
      beginDrag(location);
      return false;
    case T::leftMouseDragged:
      return isSuppressingSecondaryClick_ || updateDrag(location);
    case T::leftMouseUp:
      if (isSuppressingSecondaryClick_) {
        isSuppressingSecondaryClick_ = false;
        dragSession_.reset();
        return true;
      }
      return endDrag(location);
    case T::rightMouseDown:
      return beginSecondaryClick(location);
    case T::rightMouseDragged:
      return isSuppressingSecondaryClick_;
    case T::rightMouseUp: {
      const bool suppressed = std::exchange(isSuppressingSecondaryClick_, false);
      dragSession_.reset();
      return suppressed;
    }
    case T::otherMouseDown:
      dragSession_.reset();
      isSuppressingSecondaryClick_ = false;
      handlePressOutsideCard(location);
      return false;
    default:
      return false;
  }
}

bool OverlayPanelController::beginSecondaryClick(Point point) {
  dragSession_.reset();
  handlePressOutsideCard(point);
  // On selected text the platform's menu with Copy opens.
  if (window_.containsCopySelection(point)) {
    isSuppressingSecondaryClick_ = false;
    return false;
  }
  // Elsewhere on the card the click does nothing, and the application behind
  // does not see it either.
  isSuppressingSecondaryClick_ =
      window_.isVisible() && currentCardFrame_ && currentCardFrame_->contains(point);
  return isSuppressingSecondaryClick_;
}

void OverlayPanelController::handleGlobalMouseEvent(Point location) {
  handlePressOutsideCard(location);
}

// ---- Keyboard ------------------------------------------------------------------

bool OverlayPanelController::handleLocalKeyEvent(InputEventType type, uint16_t keyCode,
                                                 uint64_t modifierFlags, bool isRepeat) {
  const bool canHandle = window_.isVisible() && !keyboardYielded_;
  // The half of a consumed key that is still to come is consumed too, even
  // after the card has gone; then the local monitor has done its work.
  const auto finishConsumedKey = [this] {
    if (!window_.isVisible()) removeKeyboardMonitors(false);
    return true;
  };
  if (type == T::keyUp) {
    if (!localKeyboardState_.consumeKeyUp(keyCode)) return false;
    return finishConsumedKey();
  }
  if (type != T::keyDown) return false;
  if (isRepeat && localKeyboardState_.consumesRepeat(keyCode)) return finishConsumedKey();
  if (!canHandle) return false;
  if (keyCode == KeyCodes::escape) {
    if (isPinned()) return false;
    localKeyboardState_.recordConsumedKeyDown(keyCode);
    dismiss("escape");
    return true;
  }
  if (isCopyChord(keyCode, modifierFlags)) {
    const std::optional<OverlayTextSelection>& selection = model_.textSelection();
    if (!selection || selection->text.empty()) return false;
    const std::string text = selection->text;
    localKeyboardState_.recordConsumedKeyDown(keyCode);
    if (copyToPasteboard_) copyToPasteboard_(text);
    return true;
  }
  return false;
}

void OverlayPanelController::installInputMonitors() {
  const std::weak_ptr<OverlayPanelController> weak = weak_from_this();
  localMouseMonitor_ =
      localEvents_.addLocalMonitor(kLocalMouseMask, [weak](const LocalInputEvent& event) {
        const auto self = weak.lock();
        return !(self && self->handleLocalMouseEvent(event.type, event.modifierFlags,
                                                     event.location));
      });
  globalMouseMonitor_ =
      globalEvents_.addGlobalMonitor(kGlobalMouseMask, [weak](const LocalInputEvent& event) {
        if (const auto self = weak.lock()) self->handleGlobalMouseEvent(event.location);
      });
}

void OverlayPanelController::installKeyboardMonitor() {
  {
    std::lock_guard lock(eventTapState_->lock);
    eventTapState_->visible = true;
  }
  if (keyboardMonitor_ && keyboardMonitorRunning_) return;
  if (keyboardMonitor_ && accessibility_.isProcessTrusted() && keyboardMonitor_->start()) {
    keyboardMonitorRunning_ = true;
    return;
  }
  // Without the tap, the in-process monitor swallows what it can, and the
  // global one can only watch: a global Escape then goes on to its application.
  const std::weak_ptr<OverlayPanelController> weak = weak_from_this();
  if (!localKeyMonitor_) {
    localKeyMonitor_ =
        localEvents_.addLocalMonitor(kLocalKeyMask, [weak](const LocalInputEvent& event) {
          const auto self = weak.lock();
          return !(self && self->handleLocalKeyEvent(event.type, event.keyCode,
                                                     event.modifierFlags, event.isRepeat));
        });
  }
  if (!globalKeyMonitor_) {
    globalKeyMonitor_ =
        globalEvents_.addGlobalMonitor(kGlobalKeyMask, [weak](const LocalInputEvent& event) {
          const auto self = weak.lock();
          if (self && event.keyCode == KeyCodes::escape && self->window_.isVisible() &&
              !self->isPinned()) {
            self->dismiss("escape");
          }
        });
  }
}

void OverlayPanelController::removeKeyboardMonitors(bool keepLocalForConsumedKeyUp) {
  if (!keepLocalForConsumedKeyUp) {
    if (const auto token = std::exchange(localKeyMonitor_, std::nullopt)) {
      localEvents_.removeMonitor(*token);
    }
  }
  if (const auto token = std::exchange(globalKeyMonitor_, std::nullopt)) {
    globalEvents_.removeMonitor(*token);
  }
  if (!keepLocalForConsumedKeyUp) localKeyboardState_.clear();
}

void OverlayPanelController::removeInputMonitors(bool preservingConsumedKeyUp) {
  if (const auto token = std::exchange(localMouseMonitor_, std::nullopt)) {
    localEvents_.removeMonitor(*token);
  }
  if (const auto token = std::exchange(globalMouseMonitor_, std::nullopt)) {
    globalEvents_.removeMonitor(*token);
  }
  removeKeyboardMonitors(preservingConsumedKeyUp &&
                         localKeyboardState_.pendingKeyUpCode.has_value());
  if (keyboardMonitor_) keyboardMonitor_->stop();
  keyboardMonitorRunning_ = false;
  {
    std::lock_guard lock(eventTapState_->lock);
    eventTapState_->visible = false;
  }
  dragSession_.reset();
  isSuppressingSecondaryClick_ = false;
}

}  // namespace trelvis
