#pragma once

// FakeLocalEventMonitor: in-process event monitors that the test feeds. `send`
// offers an event to every monitor whose mask holds its type, oldest first, until
// one swallows it, and answers whether it went on to the application. A handler
// may add or remove monitors while it runs. `refuseMonitors` makes
// addLocalMonitor fail. Main thread only, like the real thing.

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

#include "core/triggers/input_events.h"

namespace trelvis {

class FakeLocalEventMonitor final : public LocalEventMonitoring {
 public:
  std::optional<Token> addLocalMonitor(uint64_t eventMask, Handler handler) override {
    if (refuseMonitors) return std::nullopt;
    const Token token = nextToken_++;
    monitors_.push_back({token, eventMask, std::move(handler)});
    return token;
  }
  void removeMonitor(Token token) override {
    std::erase_if(monitors_, [token](const Monitor& m) { return m.token == token; });
  }

  bool send(const LocalInputEvent& event) {
    const std::vector<Monitor> monitors = monitors_;  // handlers may change the list
    for (const Monitor& monitor : monitors) {
      if ((monitor.mask & eventMaskBit(event.type)) == 0) continue;
      if (!monitor.handler(event)) return false;
    }
    return true;
  }

  std::size_t monitorCount() const { return monitors_.size(); }

  bool refuseMonitors = false;

 private:
  struct Monitor {
    Token token;
    uint64_t mask;
    Handler handler;
  };
  std::vector<Monitor> monitors_;
  Token nextToken_ = 1;
};

}  // namespace trelvis
