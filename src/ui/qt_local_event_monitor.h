#pragma once

// QtLocalEventMonitor: the in-process event monitors over Qt. One application-wide
// event filter sees the key, modifier and mouse events of this application's own
// windows as they arrive, before any widget; it translates them to the trigger
// logic's virtual key codes and modifier flags and offers each to the monitors
// whose mask holds its type, oldest first. A monitor that returns false swallows
// the event: neither later monitors nor the window see it. The filter is installed
// only while a monitor exists. LocalOptionTapMonitor, the shortcut recorder and the
// card's keyboard handling use it. Main thread, with the QApplication.
//
// On X11 (the xcb platform) key codes come from the X keycode of the event, so
// that a key reads the same whatever modifiers are down and whatever layout is
// active; elsewhere from Qt's key.

#include <QEvent>

#include <cstdint>
#include <memory>
#include <optional>

#include "core/triggers/input_events.h"

class QObject;

namespace trelvis {

class QtLocalEventMonitor final : public LocalEventMonitoring {
 public:
  QtLocalEventMonitor();
  ~QtLocalEventMonitor() override;
  QtLocalEventMonitor(const QtLocalEventMonitor&) = delete;
  QtLocalEventMonitor& operator=(const QtLocalEventMonitor&) = delete;

  std::optional<Token> addLocalMonitor(uint64_t eventMask, Handler handler) override;
  void removeMonitor(Token token) override;

  // The event as the trigger logic sees it; nothing for events it does not
  // watch (an auto-repeated modifier, a Caps Lock release, a move without the
  // left button, ...).
  static std::optional<LocalInputEvent> translate(const QEvent& event);

 private:
  class Filter;
  struct Monitor;

  // Whether the event goes on to the application.
  bool deliver(const LocalInputEvent& event);

  std::unique_ptr<Filter> filter_;
  std::shared_ptr<std::vector<Monitor>> monitors_;
  Token nextToken_ = 1;
};

}  // namespace trelvis
