#pragma once

// FakeTap<Seam>: what the fake command and overlay taps share: start, stop and
// enable that the test can count, fail or hook, and the installed handler.

#include <atomic>
#include <functional>
#include <utility>

namespace trelvis {

template <class Seam>
class FakeTap : public Seam {
 public:
  using EventHandler = typename Seam::EventHandler;

  bool start(EventHandler handler) override {
    ++startCount;
    if (!startSucceeds) return false;
    handler_ = std::move(handler);
    return true;
  }
  void stop() override { handler_ = nullptr; }
  void enable() override {
    ++enableCount;
    if (onEnable) onEnable();
  }

  bool isStarted() const { return static_cast<bool>(handler_); }

  bool startSucceeds = true;
  // Runs inside enable(), so that a test can place the re-enable in an ordered log.
  std::function<void()> onEnable;
  std::atomic<int> startCount{0};
  std::atomic<int> enableCount{0};

 protected:
  EventHandler handler_;
};

}  // namespace trelvis
