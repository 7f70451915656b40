#pragma once

// GlobalEventMonitoring: observation of the input that goes to other
// applications, for surfaces that must react to a click or a key elsewhere (the
// floating card goes away on a click outside it). A global monitor only watches:
// the event goes on to its application whatever the handler does. Handlers run on
// the main thread; monitors are added and removed there.

#include <cstdint>
#include <functional>
#include <optional>

#include "core/triggers/input_events.h"

namespace trelvis {

class GlobalEventMonitoring {
 public:
  using Handler = std::function<void(const LocalInputEvent& event)>;
  using Token = uint64_t;
  virtual ~GlobalEventMonitoring() = default;
  // Calls `handler` for each event whose type is in `eventMask` (see
  // eventMaskBit); none when no monitor can be had. A handler may remove monitors.
  virtual std::optional<Token> addGlobalMonitor(uint64_t eventMask, Handler handler) = 0;
  virtual void removeMonitor(Token token) = 0;
};

}  // namespace trelvis
