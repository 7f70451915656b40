#pragma once

// AsyncStream<T>: elements handed from a producer on any thread to one consuming
// task, with an end that may carry an error.
//
//   auto [stream, continuation] = AsyncStream<Chunk>::make();
//   transport.onChunk = [continuation](Chunk c) { continuation.yield(std::move(c)); };
//   while (auto chunk = co_await stream.next()) { ... }
//
// next() gives the next element, or nullopt at the end. A finishing error is
// raised by next() once the buffered elements have been consumed. When the
// consuming task is cancelled, the stream terminates: the on-termination callback
// runs (once, as for every termination), later yields are dropped, buffered
// elements are discarded and next() gives nullopt. Dropping the stream object
// terminates it the same way. When every copy of the producer's continuation is
// dropped without finish(), the stream finishes with BrokenContinuationError, so
// a consumer cannot mistake a lost producer for a complete stream.

#include <coroutine>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "base/async/result.h"
#include "base/async/task_context.h"
#include "base/check.h"

namespace trelvis {

enum class StreamBuffering {
  unbounded,   // every element is kept until consumed
  newestOnly,  // an unconsumed element is replaced by the next one
};

enum class StreamTermination { finished, cancelled };

enum class YieldResult {
  enqueued,    // the element will be delivered
  dropped,     // enqueued, and an older unconsumed element was discarded for it
  terminated,  // the stream has ended; the element was discarded
};

namespace detail {

template <class T>
class StreamState {
 public:
  using Slot = Result<std::optional<T>>;

  explicit StreamState(StreamBuffering buffering) : buffering_(buffering) {}

  YieldResult yield(T element) {
    std::unique_lock lock(mutex_);
    if (terminated_) return YieldResult::terminated;
    if (waiter_) {
      waiterSlot_->setValue(std::move(element));
      auto [context, coroutine] = takeWaiter();
      lock.unlock();
      context->resumeLater(coroutine);
      return YieldResult::enqueued;
    }
    bool dropped = buffering_ == StreamBuffering::newestOnly && !buffer_.empty();
    if (dropped) buffer_.clear();
    buffer_.push_back(std::move(element));
    return dropped ? YieldResult::dropped : YieldResult::enqueued;
  }

  void finish(std::exception_ptr error) {
    std::unique_lock lock(mutex_);
    if (terminated_) return;
    terminated_ = true;
    error_ = std::move(error);
    Waiter waiter;
    if (waiter_) {
      deliverEndLocked(*waiterSlot_);
      waiter = takeWaiter();
    }
    auto onTermination = takeOnTerminationLocked(StreamTermination::finished);
    lock.unlock();
    if (onTermination) onTermination(StreamTermination::finished);
    if (waiter.context) waiter.context->resumeLater(waiter.coroutine);
  }

  void producersGone() {
    {
      std::lock_guard lock(mutex_);
      if (terminated_) return;
    }
    finish(std::make_exception_ptr(
        BrokenContinuationError("every producer of a stream was dropped before finishing it")));
  }

  // The consumer has gone or its task was cancelled.
  void cancel() {
    std::unique_lock lock(mutex_);
    terminated_ = true;
    buffer_.clear();
    error_ = nullptr;
    Waiter waiter;
    if (waiter_) {
      waiterSlot_->setValue(std::nullopt);
      waiter = takeWaiter();
    }
    auto onTermination = takeOnTerminationLocked(StreamTermination::cancelled);
    lock.unlock();
    if (onTermination) onTermination(StreamTermination::cancelled);
    if (waiter.context) waiter.context->resumeLater(waiter.coroutine);
  }

  void setOnTermination(std::function<void(StreamTermination)> callback) {
    std::unique_lock lock(mutex_);
    if (!reported_) {
      onTermination_ = std::move(callback);
      return;
    }
    auto reason = *reported_;
    lock.unlock();
    callback(reason);
  }

  // Fills `slot` and returns false when an element or the end is available now;
  // otherwise registers `coroutine` as the waiting consumer and returns true.
  bool waitOrTake(TaskContext& context, std::coroutine_handle<> coroutine, Slot& slot) {
    std::unique_lock lock(mutex_);
    TRELVIS_DCHECK(!waiter_, "an AsyncStream has one consumer");
    if (!buffer_.empty()) {
      slot.setValue(std::move(buffer_.front()));
      buffer_.pop_front();
      return false;
    }
    if (terminated_) {
      deliverEndLocked(slot);
      return false;
    }
    waiter_ = coroutine;
    waiterContext_ = context.shared_from_this();
    waiterSlot_ = &slot;
    return true;
  }

 private:
  struct Waiter {
    std::shared_ptr<TaskContext> context;
    std::coroutine_handle<> coroutine;
  };

  Waiter takeWaiter() {
    Waiter w{std::move(waiterContext_), std::exchange(waiter_, {})};
    waiterSlot_ = nullptr;
    return w;
  }

  void deliverEndLocked(Slot& slot) {
    if (error_) {
      slot.setError(std::exchange(error_, nullptr));
    } else {
      slot.setValue(std::nullopt);
    }
  }

  std::function<void(StreamTermination)> takeOnTerminationLocked(StreamTermination reason) {
    if (reported_) return {};
    reported_ = reason;
    return std::exchange(onTermination_, {});
  }

  std::mutex mutex_;
  const StreamBuffering buffering_;
  std::deque<T> buffer_;
  bool terminated_ = false;
  std::exception_ptr error_;
  std::optional<StreamTermination> reported_;
  std::function<void(StreamTermination)> onTermination_;
  std::coroutine_handle<> waiter_;
  std::shared_ptr<TaskContext> waiterContext_;
  Slot* waiterSlot_ = nullptr;
};

}  // namespace detail

template <class T>
class AsyncStream {
 public:
  // The producer's side. Copyable; every operation is thread-safe.
  class Continuation {
   public:
    YieldResult yield(T element) const { return state().yield(std::move(element)); }
    void finish() const { state().finish(nullptr); }
    void finish(std::exception_ptr error) const { state().finish(std::move(error)); }
    template <class E>
    void finishThrowing(E error) const {
      state().finish(std::make_exception_ptr(std::move(error)));
    }
    // Runs once when the stream ends: finished by the producer, or cancelled by
    // the consumer. Runs at once when the stream has already ended.
    void setOnTermination(std::function<void(StreamTermination)> callback) const {
      state().setOnTermination(std::move(callback));
    }

   private:
    friend class AsyncStream;
    // Shared by all copies; the last one to go finishes a stream left open.
    struct Producer {
      explicit Producer(std::shared_ptr<detail::StreamState<T>> s) : state(std::move(s)) {}
      Producer(const Producer&) = delete;
      Producer& operator=(const Producer&) = delete;
      ~Producer() { state->producersGone(); }
      std::shared_ptr<detail::StreamState<T>> state;
    };
    explicit Continuation(std::shared_ptr<detail::StreamState<T>> state)
        : producer_(std::make_shared<Producer>(std::move(state))) {}
    detail::StreamState<T>& state() const { return *producer_->state; }
    std::shared_ptr<Producer> producer_;
  };

  static std::pair<AsyncStream, Continuation> make(
      StreamBuffering buffering = StreamBuffering::unbounded) {
    auto state = std::make_shared<detail::StreamState<T>>(buffering);
    return {AsyncStream(state), Continuation(state)};
  }

  AsyncStream(AsyncStream&&) noexcept = default;
  AsyncStream& operator=(AsyncStream&& other) noexcept {
    if (this != &other) {
      terminate();
      state_ = std::move(other.state_);
    }
    return *this;
  }
  ~AsyncStream() { terminate(); }

  // co_await stream.next(): the next element, or nullopt at the end.
  auto next() {
    class Awaiter {
     public:
      explicit Awaiter(std::shared_ptr<detail::StreamState<T>> state) : state_(std::move(state)) {}
      bool await_ready() const noexcept { return false; }
      bool await_suspend(std::coroutine_handle<> coroutine) {
        auto* context = TaskContext::current();
        TRELVIS_DCHECK(context != nullptr, "an AsyncStream is consumed inside a task");
        if (context->isCancelled()) {
          state_->cancel();
          slot_.setValue(std::nullopt);
          return false;
        }
        if (!state_->waitOrTake(*context, coroutine, slot_)) return false;
        registration_.emplace(*context, [state = state_]() noexcept { state->cancel(); });
        return true;
      }
      std::optional<T> await_resume() {
        registration_.reset();
        return slot_.take();
      }

     private:
      std::shared_ptr<detail::StreamState<T>> state_;
      detail::Result<std::optional<T>> slot_;
      std::optional<CancellationRegistration> registration_;
    };
    TRELVIS_DCHECK(state_ != nullptr, "a moved-from AsyncStream is consumed");
    return Awaiter(state_);
  }

 private:
  explicit AsyncStream(std::shared_ptr<detail::StreamState<T>> state) : state_(std::move(state)) {}
  void terminate() {
    if (state_) state_->cancel();
  }

  std::shared_ptr<detail::StreamState<T>> state_;
};

}  // namespace trelvis
