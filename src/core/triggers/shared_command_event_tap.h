#pragma once

// SharedCommandEventTap: one global command tap serving two kinds of listener,
// so that no second thread watches the same input. The command tap monitor sees
// it as its CommandEventTapManaging, and its handler is called on the tap's
// thread as before; the floating card's click-outside and Escape watchers see it
// as GlobalEventMonitoring, and their handlers are called on the main executor.
// The platform tap runs while either kind wants it.
//
// A global monitor watches other applications: input that went to this
// application's own windows (a click on one of them, a key while one has the
// focus) belongs to its in-process monitors, and `isOwnInput`, asked on the
// main thread, keeps such events from the global handlers.
//
// Start, stop and the monitors are for the main thread; the tap's thread reads
// only a copy of what it needs, taken under a lock. Own it through
// std::shared_ptr: the tap's handler and the hops to the main thread hold it
// weakly. Borrows the platform tap, which must outlive it.

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "base/async/executor.h"
#include "core/triggers/global_event_monitoring.h"
#include "core/triggers/input_events.h"

namespace trelvis {

class SharedCommandEventTap final : public CommandEventTapManaging,
                                    public GlobalEventMonitoring,
                                    public std::enable_shared_from_this<SharedCommandEventTap> {
 public:
  using IsOwnInput = std::function<bool(const LocalInputEvent& event)>;

  SharedCommandEventTap(CommandEventTapManaging& tap, std::shared_ptr<Executor> mainExecutor,
                        IsOwnInput isOwnInput = {});
  ~SharedCommandEventTap() override;
  SharedCommandEventTap(const SharedCommandEventTap&) = delete;
  SharedCommandEventTap& operator=(const SharedCommandEventTap&) = delete;

  // The command listener: a second start replaces its handler.
  bool start(EventHandler handler) override;
  void stop() override;
  void enable() override;

  std::optional<Token> addGlobalMonitor(uint64_t eventMask, Handler handler) override;
  void removeMonitor(Token token) override;

  bool isTapRunning() const { return tapRunning_; }

 private:
  struct Monitor {
    Token token;
    uint64_t mask;
    std::shared_ptr<const Handler> handler;
  };

  // On the tap's thread.
  void dispatch(InputEventType type, uint16_t keyCode, uint64_t modifierFlags, Point location);
  // On the main thread.
  void deliver(const LocalInputEvent& event);
  bool ensureTapRunning();
  void stopTapWhenUnused();
  void publishGlobalMask();

  CommandEventTapManaging& tap_;
  const std::shared_ptr<Executor> main_;
  const IsOwnInput isOwnInput_;

  // Main thread only.
  bool tapRunning_ = false;
  bool commandStarted_ = false;
  std::vector<Monitor> monitors_;
  Token nextToken_ = 1;

  std::mutex mutex_;
  // Guarded by mutex_: what the tap's thread reads.
  std::shared_ptr<const EventHandler> commandHandler_;
  uint64_t globalMask_ = 0;
};

}  // namespace trelvis
