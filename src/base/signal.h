#pragma once

// Signal<Args...> is how an observable model announces a change: observers connect a
// callback and keep the returned Connection for as long as they want to be called.
// Models and their observers live on the main thread, so nothing here locks.
//
// Emission is re-entrancy safe: a callback may disconnect itself or any other
// callback (a callback disconnected during an emission is not called afterwards),
// connect new callbacks (they are first called by the next emission), or destroy the
// signal itself (the rest of the emission is skipped). A Connection may outlive its
// signal; disconnecting it then does nothing.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace trelvis {

namespace detail {

// The callbacks of one signal. Shared with emissions in progress, so that the slots
// stay alive when a callback destroys the signal, and observed weakly by connections.
class SignalCore {
 public:
  struct Slot {
    virtual ~Slot() = default;
    uint64_t id = 0;
    bool connected = true;
  };

  // Slots are only marked while an emission walks the list and removed once the
  // outermost emission is over, so that indices stay valid and a running callback
  // is not destroyed under its own feet.
  class EmitScope {
   public:
    explicit EmitScope(SignalCore& core) : core_(core) { ++core_.emitDepth_; }
    ~EmitScope() {
      if (--core_.emitDepth_ == 0 && core_.hasDisconnected_) core_.removeDisconnected();
    }
    EmitScope(const EmitScope&) = delete;
    EmitScope& operator=(const EmitScope&) = delete;

   private:
    SignalCore& core_;
  };

  uint64_t add(std::unique_ptr<Slot> slot) {
    slot->id = nextId_++;
    const uint64_t id = slot->id;
    slots_.push_back(std::move(slot));
    return id;
  }

  void disconnect(uint64_t id) {
    for (auto& slot : slots_) {
      if (slot->id == id) {
        markDisconnected(*slot);
        break;
      }
    }
    if (emitDepth_ == 0) removeDisconnected();
  }

  void disconnectAll() {
    for (auto& slot : slots_) markDisconnected(*slot);
    if (emitDepth_ == 0) removeDisconnected();
  }

  bool isConnected(uint64_t id) const {
    for (const auto& slot : slots_) {
      if (slot->id == id) return slot->connected;
    }
    return false;
  }

  std::size_t slotCount() const { return slots_.size(); }
  Slot& slotAt(std::size_t index) const { return *slots_[index]; }

 private:
  void markDisconnected(Slot& slot) {
    slot.connected = false;
    hasDisconnected_ = true;
  }

  void removeDisconnected() {
    std::erase_if(slots_, [](const auto& slot) { return !slot->connected; });
    hasDisconnected_ = false;
  }

  std::vector<std::unique_ptr<Slot>> slots_;
  uint64_t nextId_ = 1;
  int emitDepth_ = 0;
  bool hasDisconnected_ = false;
};

}  // namespace detail

// Keeps one callback connected to a signal; disconnects it when destroyed. Move-only.
// A default-constructed Connection is empty.
class [[nodiscard]] Connection {
 public:
  Connection() = default;
  Connection(Connection&& other) noexcept
      : core_(std::move(other.core_)), id_(std::exchange(other.id_, 0)) {}
  Connection& operator=(Connection&& other) noexcept {
    if (this != &other) {
      disconnect();
      core_ = std::move(other.core_);
      id_ = std::exchange(other.id_, 0);
    }
    return *this;
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() { disconnect(); }

  void disconnect() {
    if (auto core = core_.lock()) core->disconnect(id_);
    core_.reset();
    id_ = 0;
  }

  // False once disconnected, when empty, and when the signal is gone.
  bool connected() const {
    auto core = core_.lock();
    return core && core->isConnected(id_);
  }

 private:
  template <class...>
  friend class Signal;
  Connection(std::weak_ptr<detail::SignalCore> core, uint64_t id)
      : core_(std::move(core)), id_(id) {}

  std::weak_ptr<detail::SignalCore> core_;
  uint64_t id_ = 0;
};

template <class... Args>
class Signal {
 public:
  using Callback = std::function<void(Args...)>;

  Signal() = default;
  Signal(const Signal&) = delete;
  Signal& operator=(const Signal&) = delete;
  // Existing connections follow the moved signal.
  Signal(Signal&&) noexcept = default;
  Signal& operator=(Signal&& other) noexcept {
    if (this != &other) {
      if (core_) core_->disconnectAll();
      core_ = std::move(other.core_);
    }
    return *this;
  }
  ~Signal() {
    if (core_) core_->disconnectAll();
  }

  [[nodiscard]] Connection connect(Callback callback) {
    if (!core_) core_ = std::make_shared<detail::SignalCore>();
    auto slot = std::make_unique<Slot>();
    slot->callback = std::move(callback);
    const uint64_t id = core_->add(std::move(slot));
    return Connection(core_, id);
  }

  void emit(const Args&... args) {
    if (!core_) return;
    // Only the local copy is used from here on: a callback may destroy this signal.
    const std::shared_ptr<detail::SignalCore> core = core_;
    detail::SignalCore::EmitScope scope(*core);
    const std::size_t count = core->slotCount();
    for (std::size_t i = 0; i < count; ++i) {
      auto& slot = static_cast<Slot&>(core->slotAt(i));
      if (slot.connected) slot.callback(args...);
    }
  }

 private:
  struct Slot : detail::SignalCore::Slot {
    Callback callback;
  };

  std::shared_ptr<detail::SignalCore> core_;
};

}  // namespace trelvis
