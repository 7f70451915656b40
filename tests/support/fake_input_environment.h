#pragma once

// Fakes of the small platform questions of the trigger logic: whether the process
// is trusted for accessibility, where the pointer is, and which process is in
// front. Each answers what the test last set; safe to read from any thread.

#include <atomic>
#include <mutex>
#include <optional>

#include "core/triggers/input_events.h"

namespace trelvis {

class FakeAccessibilityPermission final : public AccessibilityPermissionProviding {
 public:
  bool isProcessTrusted() const override { return trusted.load(); }
  std::atomic<bool> trusted{true};
};

class FakePointerLocator final : public PointerLocating {
 public:
  Point mouseLocation() const override {
    std::lock_guard lock(mutex_);
    return location_;
  }
  void setLocation(Point location) {
    std::lock_guard lock(mutex_);
    location_ = location;
  }

 private:
  mutable std::mutex mutex_;
  Point location_;
};

class FakeFrontmostApplication final : public FrontmostApplicationProviding {
 public:
  std::optional<int32_t> frontmostProcessIdentifier() const override {
    std::lock_guard lock(mutex_);
    return processIdentifier_;
  }
  void setProcessIdentifier(std::optional<int32_t> processIdentifier) {
    std::lock_guard lock(mutex_);
    processIdentifier_ = processIdentifier;
  }

 private:
  mutable std::mutex mutex_;
  std::optional<int32_t> processIdentifier_;
};

}  // namespace trelvis
