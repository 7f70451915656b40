#pragma once

// Fakes around the floating card's panel: its window, which writes each call
// into a CallLog ("frame 446,288 508x528 display", "origin 446,288", "alpha 0",
// "front", "out", "content lookup", ...) and can play a window system that puts
// the window elsewhere than asked; and the Select card's model. Main thread only.

#include <fmt/format.h>

#include <functional>
#include <optional>
#include <string>

#include "core/overlay/overlay_panel_windowing.h"
#include "core/overlay/select_overlay_card_model.h"
#include "support/call_log.h"

namespace trelvis {

inline std::string describeFrame(const Rect& r) {
  return fmt::format("{},{} {}x{}", r.minX(), r.minY(), r.width(), r.height());
}

class FakeOverlayPanelWindow final : public OverlayPanelWindowing, LogsCalls {
 public:
  using LogsCalls::LogsCalls;

  Rect frame() const override { return frame_; }
  void setFrame(const Rect& frame, bool display) override {
    log_.add("frame " + describeFrame(frame) + (display ? " display" : ""));
    frame_ = realize ? realize(frame) : frame;
    if (afterSetFrame) afterSetFrame();
  }
  void setFrameOrigin(Point origin) override {
    log_.add(fmt::format("origin {},{}", origin.x, origin.y));
    frame_.origin = origin;
  }
  void displayIfNeeded() override { log_.add("display"); }
  void setAlphaValue(double value) override { log_.add(fmt::format("alpha {}", value)); }
  void orderFrontRegardless() override {
    log_.add("front");
    visible_ = true;
  }
  void orderOut() override {
    log_.add("out");
    visible_ = false;
  }
  bool isVisible() const override { return visible_; }
  bool isOnActiveSpace() const override { return onActiveSpace; }
  void setAppearance(AppearanceMode mode) override {
    log_.add(mode == AppearanceMode::dark ? "appearance dark" : "appearance light");
  }
  void installContent(OverlayPresentedFeature feature) override {
    log_.add(feature == OverlayPresentedFeature::lookup ? "content lookup" : "content select");
  }
  void setCardLayout(OverlayAnchor anchor, double shadowPadding) override {
    static const char* const kAnchors[] = {"top", "bottom", "center"};
    log_.add(fmt::format("layout {} {}", kAnchors[static_cast<int>(anchor)], shadowPadding));
  }
  bool containsCopySelection(Point point) const override {
    return copySelection && copySelection->contains(point);
  }

  // Where the window system puts a window asked to take `frame` by setFrame.
  std::function<Rect(const Rect& frame)> realize;
  // Runs after each setFrame, as a resize that the content answers would.
  std::function<void()> afterSetFrame;
  bool onActiveSpace = true;
  // Where a selected text lies in the content.
  std::optional<Rect> copySelection;

 private:
  Rect frame_;
  bool visible_ = false;
};

class FakeSelectCard final : public SelectOverlayCardModel {
 public:
  bool isPinned() const override { return pinned; }
  void setPinned(bool value, bool notify) override {
    if (pinned == value) return;
    pinned = value;
    if (notify && onPinStateChange) onPinStateChange(value);
  }
  double cardHeight() const override { return height; }
  void setAnchor(OverlayAnchor value) override { anchor = value; }
  void setMaxCardHeight(double value) override { maxCardHeight = value; }

  bool pinned = false;
  double height = 137;
  OverlayAnchor anchor = OverlayAnchor::top;
  double maxCardHeight = 0;
};

}  // namespace trelvis
