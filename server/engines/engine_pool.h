#pragma once

// A fixed set of warm engine instances (OCR recognisers, translation pipelines)
// lent to request threads one at a time. Concurrency is bounded twice: at most
// `size` requests use an instance, and at most `maxWaiting` more wait for one, for
// no longer than `maxWait`. Anyone beyond that is told at once that the pool is
// saturated, which the HTTP layer answers with 503. Thread-safe.

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace trelvis::server {

template <class Engine>
class EnginePool {
 public:
  class Lease {
   public:
    Lease() = default;
    Lease(Lease&& other) noexcept : pool_(std::exchange(other.pool_, nullptr)), engine_(other.engine_) {}
    Lease& operator=(Lease&& other) noexcept {
      if (this != &other) {
        release();
        pool_ = std::exchange(other.pool_, nullptr);
        engine_ = other.engine_;
      }
      return *this;
    }
    ~Lease() { release(); }

    Engine& operator*() const { return *engine_; }
    Engine* operator->() const { return engine_; }
    explicit operator bool() const { return pool_ != nullptr; }

   private:
    friend class EnginePool;
    Lease(EnginePool* pool, Engine* engine) : pool_(pool), engine_(engine) {}
    void release() {
      if (pool_) std::exchange(pool_, nullptr)->giveBack(engine_);
    }
    EnginePool* pool_ = nullptr;
    Engine* engine_ = nullptr;
  };

  EnginePool(std::vector<std::unique_ptr<Engine>> engines, size_t maxWaiting, std::chrono::milliseconds maxWait)
      : engines_(std::move(engines)), maxWaiting_(maxWaiting), maxWait_(maxWait) {
    for (auto& engine : engines_) idle_.push_back(engine.get());
  }
  EnginePool(const EnginePool&) = delete;
  EnginePool& operator=(const EnginePool&) = delete;

  size_t size() const { return engines_.size(); }
  // Requests waiting for an engine now, for health reports.
  size_t waiting() const {
    std::lock_guard lock(mutex_);
    return waiting_;
  }

  // An instance, or nothing when the pool is saturated. Leases must end before the
  // pool does.
  std::optional<Lease> acquire() {
    std::unique_lock lock(mutex_);
    if (idle_.empty()) {
      if (waiting_ >= maxWaiting_) return std::nullopt;
      ++waiting_;
      bool got = available_.wait_for(lock, maxWait_, [this] { return !idle_.empty(); });
      --waiting_;
      if (!got) return std::nullopt;
    }
    Engine* engine = idle_.back();
    idle_.pop_back();
    return Lease(this, engine);
  }

 private:
  void giveBack(Engine* engine) {
    {
      std::lock_guard lock(mutex_);
      idle_.push_back(engine);
    }
    available_.notify_one();
  }

  std::vector<std::unique_ptr<Engine>> engines_;
  const size_t maxWaiting_;
  const std::chrono::milliseconds maxWait_;
  mutable std::mutex mutex_;
  std::condition_variable available_;
  std::vector<Engine*> idle_;
  size_t waiting_ = 0;
};

}  // namespace trelvis::server
