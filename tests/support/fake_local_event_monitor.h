#pragma once

// FakeLocalEventMonitor and FakeGlobalEventMonitor: in-process and global event
// monitors that the test feeds. The local `send` offers an event to every
// monitor whose mask holds its type, oldest first, until one swallows it, and
// answers whether it went on to the application; the global one only shows it
// to them. A handler may add or remove monitors while it runs.
// `refuseMonitors` makes adding fail. Main thread only, like the real things.

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

#include "core/triggers/global_event_monitoring.h"
#include "core/triggers/input_events.h"

namespace trelvis {

// The installed handlers of one fake, by token.
template <class Handler>
class FakeMonitorList {
 public:
  std::optional<uint64_t> add(uint64_t eventMask, Handler handler) {
    if (refuseMonitors) return std::nullopt;
    monitors_.push_back({nextToken_, eventMask, std::move(handler)});
    return nextToken_++;
  }
  void remove(uint64_t token) {
    std::erase_if(monitors_, [token](const Monitor& m) { return m.token == token; });
  }
  // The handlers for `type`, copied: handlers may change the list.
  std::vector<Handler> handlersFor(InputEventType type) const {
    std::vector<Handler> handlers;
    for (const Monitor& monitor : monitors_) {
      if ((monitor.mask & eventMaskBit(type)) != 0) handlers.push_back(monitor.handler);
    }
    return handlers;
  }
  std::size_t monitorCount() const { return monitors_.size(); }

  bool refuseMonitors = false;

 private:
  struct Monitor {
    uint64_t token;
    uint64_t mask;
    Handler handler;
  };
  std::vector<Monitor> monitors_;
  uint64_t nextToken_ = 1;
};

class FakeLocalEventMonitor final : public LocalEventMonitoring,
                                    public FakeMonitorList<LocalEventMonitoring::Handler> {
 public:
  std::optional<Token> addLocalMonitor(uint64_t eventMask, Handler handler) override {
    return add(eventMask, std::move(handler));
  }
  void removeMonitor(Token token) override { remove(token); }

  bool send(const LocalInputEvent& event) {
    for (const Handler& handler : handlersFor(event.type)) {
      if (!handler(event)) return false;
    }
    return true;
  }
};

class FakeGlobalEventMonitor final : public GlobalEventMonitoring,
                                     public FakeMonitorList<GlobalEventMonitoring::Handler> {
 public:
  std::optional<Token> addGlobalMonitor(uint64_t eventMask, Handler handler) override {
    return add(eventMask, std::move(handler));
  }
  void removeMonitor(Token token) override { remove(token); }

  void send(const LocalInputEvent& event) {
    for (const Handler& handler : handlersFor(event.type)) handler(event);
  }
};

}  // namespace trelvis
