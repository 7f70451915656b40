#include "core/triggers/shared_command_event_tap.h"

#include <algorithm>
#include <utility>

#include "base/check.h"

namespace trelvis {

SharedCommandEventTap::SharedCommandEventTap(CommandEventTapManaging& tap,
                                             std::shared_ptr<Executor> mainExecutor,
                                             IsOwnInput isOwnInput)
    : tap_(tap), main_(std::move(mainExecutor)), isOwnInput_(std::move(isOwnInput)) {}

SharedCommandEventTap::~SharedCommandEventTap() {
  if (tapRunning_) tap_.stop();
}

bool SharedCommandEventTap::start(EventHandler handler) {
  {
    std::lock_guard lock(mutex_);
    commandHandler_ = std::make_shared<const EventHandler>(std::move(handler));
  }
  commandStarted_ = ensureTapRunning();
  if (!commandStarted_) {
    std::lock_guard lock(mutex_);
    commandHandler_.reset();
  }
  return commandStarted_;
}

void SharedCommandEventTap::stop() {
  {
    std::lock_guard lock(mutex_);
    commandHandler_.reset();
  }
  commandStarted_ = false;
  stopTapWhenUnused();
}

void SharedCommandEventTap::enable() {
  if (tapRunning_) tap_.enable();
}

std::optional<GlobalEventMonitoring::Token> SharedCommandEventTap::addGlobalMonitor(
    uint64_t eventMask, Handler handler) {
  if (!ensureTapRunning()) return std::nullopt;
  const Token token = nextToken_++;
  monitors_.push_back({token, eventMask, std::make_shared<const Handler>(std::move(handler))});
  publishGlobalMask();
  return token;
}

void SharedCommandEventTap::removeMonitor(Token token) {
  std::erase_if(monitors_, [token](const Monitor& m) { return m.token == token; });
  publishGlobalMask();
  stopTapWhenUnused();
}

bool SharedCommandEventTap::ensureTapRunning() {
  if (tapRunning_) return true;
  std::weak_ptr<SharedCommandEventTap> weak = weak_from_this();
  TRELVIS_DCHECK(!weak.expired(), "a SharedCommandEventTap must be owned by a std::shared_ptr");
  tapRunning_ = tap_.start([weak](InputEventType type, uint16_t keyCode, uint64_t modifierFlags,
                                  Point location) {
    if (const auto self = weak.lock()) self->dispatch(type, keyCode, modifierFlags, location);
  });
  return tapRunning_;
}

void SharedCommandEventTap::stopTapWhenUnused() {
  if (!tapRunning_ || commandStarted_ || !monitors_.empty()) return;
  tap_.stop();
  tapRunning_ = false;
}

void SharedCommandEventTap::publishGlobalMask() {
  uint64_t mask = 0;
  for (const Monitor& monitor : monitors_) mask |= monitor.mask;
  std::lock_guard lock(mutex_);
  globalMask_ = mask;
}

void SharedCommandEventTap::dispatch(InputEventType type, uint16_t keyCode,
                                     uint64_t modifierFlags, Point location) {
  std::shared_ptr<const EventHandler> command;
  uint64_t globalMask = 0;
  {
    std::lock_guard lock(mutex_);
    command = commandHandler_;
    globalMask = globalMask_;
  }
  if (command) (*command)(type, keyCode, modifierFlags, location);
  if ((globalMask & eventMaskBit(type)) == 0) return;
  const LocalInputEvent event{type, keyCode, modifierFlags, false, location};
  main_->post([weak = weak_from_this(), event] {
    if (const auto self = weak.lock()) self->deliver(event);
  });
}

void SharedCommandEventTap::deliver(const LocalInputEvent& event) {
  if (isOwnInput_ && isOwnInput_(event)) return;
  // A handler may remove monitors, its own or others: a removed one hears no more.
  const std::vector<Monitor> monitors = monitors_;
  for (const Monitor& monitor : monitors) {
    if ((monitor.mask & eventMaskBit(event.type)) == 0) continue;
    const bool installed = std::any_of(monitors_.begin(), monitors_.end(),
                                       [&](const Monitor& m) { return m.token == monitor.token; });
    if (installed) (*monitor.handler)(event);
  }
}

}  // namespace trelvis
