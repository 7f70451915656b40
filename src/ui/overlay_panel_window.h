#pragma once

// QtOverlayPanelWindow: the translation card's floating window on Qt. A
// frameless tool window that stays on top, never takes the keyboard focus and
// does not activate the application when it shows; its background is
// transparent, and it draws the card's shadow in the margin round the card.
// The composition root creates it once and the panel controller reuses it for
// every card; hiding it only unmaps it.
//
// It hosts one content widget at a time, made by the factory it is given when
// the controller installs a card, and lays it out against the card's anchor
// edge at the height the widget asks for (see CardContent).
//
// Frames are the core's bottom-left global points, which on X11 are the X
// server's pixels with y counted up from the bottom of the primary monitor;
// the window turns them into Qt's device-independent coordinates. On X11 it
// also tells when the desktop the user sees changes. Main thread only; needs a
// QApplication.

#include <functional>
#include <memory>

#include "core/overlay/overlay_panel_windowing.h"
#include "core/triggers/input_events.h"

class QWidget;

namespace trelvis {

class QtOverlayPanelWindow final : public OverlayPanelWindowing {
 public:
  // Makes the content of a card of `feature`, without a parent; the window
  // takes it. None leaves the window empty.
  using ContentFactory = std::function<QWidget*(OverlayPresentedFeature feature)>;

  explicit QtOverlayPanelWindow(ContentFactory makeContent);
  ~QtOverlayPanelWindow() override;
  QtOverlayPanelWindow(const QtOverlayPanelWindow&) = delete;
  QtOverlayPanelWindow& operator=(const QtOverlayPanelWindow&) = delete;

  Rect frame() const override;
  void setFrame(const Rect& frame, bool display) override;
  void setFrameOrigin(Point origin) override;
  void displayIfNeeded() override;
  void setAlphaValue(double alpha) override;
  void orderFrontRegardless() override;
  void orderOut() override;
  bool isVisible() const override;
  bool isOnActiveSpace() const override;
  void setAppearance(AppearanceMode mode) override;
  void installContent(OverlayPresentedFeature feature) override;
  void setCardLayout(OverlayAnchor anchor, double shadowPadding) override;
  bool containsCopySelection(Point point) const override;

  // The top-level widget, and the hosted content (null before the first card).
  QWidget* widget() const;
  QWidget* content() const;
  AppearanceMode appearance() const;

 private:
  class Widget;
  class DesktopWatcher;

  std::unique_ptr<Widget> widget_;
  std::unique_ptr<DesktopWatcher> desktopWatcher_;
};

// Whether `event`, seen by a global monitor, went to one of this application's
// own windows: a pointer event over one of them (or while a button pressed in
// one is held), a key while one of them has the focus. The global monitors
// leave such events to the in-process ones. Main thread.
bool isInputToOwnWindows(const LocalInputEvent& event);

}  // namespace trelvis
