#pragma once

// Async<T>: a lazily started child coroutine. It runs when awaited, inside the
// awaiting task: on the same executor, sharing its cancellation. Awaiting it
// gives its value or raises its error.
//
//   Async<int> fetchCount();
//   Async<void> refresh() { int n = co_await fetchCount(); ... }
//
// A lambda coroutine's captures live in the lambda object, not in the coroutine
// frame; pass lambdas to spawn() or withCancellationHandler(), which keep them
// alive, rather than calling a temporary lambda and awaiting the result later.

#include <coroutine>
#include <exception>
#include <utility>

#include "base/async/result.h"

namespace trelvis {

template <class T = void>
class [[nodiscard]] Async {
 public:
  using value_type = T;

  struct promise_type : detail::ReturnsValue<T, promise_type> {
    Async get_return_object() {
      return Async(std::coroutine_handle<promise_type>::from_promise(*this));
    }
    std::suspend_always initial_suspend() noexcept { return {}; }

    // Hands control back to the awaiting coroutine by symmetric transfer, a tail
    // call, so nesting depth costs no native stack.
    struct FinalAwaiter {
      bool await_ready() noexcept { return false; }
      std::coroutine_handle<> await_suspend(std::coroutine_handle<promise_type> h) noexcept {
        return h.promise().continuation_;
      }
      void await_resume() noexcept {}
    };
    FinalAwaiter final_suspend() noexcept { return {}; }

    void unhandled_exception() { result_.setError(std::current_exception()); }
    detail::Result<T>& result() { return result_; }

    std::coroutine_handle<> continuation_;
    detail::Result<T> result_;
  };

  Async(Async&& other) noexcept : coroutine_(std::exchange(other.coroutine_, {})) {}
  Async& operator=(Async&& other) noexcept {
    if (this != &other) {
      destroy();
      coroutine_ = std::exchange(other.coroutine_, {});
    }
    return *this;
  }
  ~Async() { destroy(); }

  // The awaiter takes the frame over and frees it once the value is read.
  auto operator co_await() && noexcept {
    class Awaiter {
     public:
      explicit Awaiter(std::coroutine_handle<promise_type> coroutine) : coroutine_(coroutine) {}
      Awaiter(Awaiter&& other) noexcept : coroutine_(std::exchange(other.coroutine_, {})) {}
      Awaiter& operator=(Awaiter&&) = delete;
      ~Awaiter() {
        if (coroutine_) coroutine_.destroy();
      }
      bool await_ready() noexcept { return false; }
      // The child starts by symmetric transfer and comes back the same way.
      std::coroutine_handle<> await_suspend(std::coroutine_handle<> awaiting) noexcept {
        coroutine_.promise().continuation_ = awaiting;
        return coroutine_;
      }
      T await_resume() { return coroutine_.promise().result_.take(); }

     private:
      std::coroutine_handle<promise_type> coroutine_;
    };
    TRELVIS_DCHECK(coroutine_, "an Async is awaited at most once");
    return Awaiter(std::exchange(coroutine_, {}));
  }

 private:
  explicit Async(std::coroutine_handle<promise_type> coroutine) : coroutine_(coroutine) {}
  void destroy() {
    if (coroutine_) std::exchange(coroutine_, {}).destroy();
  }

  std::coroutine_handle<promise_type> coroutine_;
};

}  // namespace trelvis
