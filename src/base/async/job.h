#pragma once

// Job: a move-only `void()` callable, the unit of work that executors run.
// Unlike std::function it accepts move-only captures (coroutine handles with
// owned state, unique_ptr).

#include <concepts>
#include <memory>
#include <type_traits>
#include <utility>

namespace trelvis {

class Job {
 public:
  Job() = default;

  template <class F>
  requires(!std::same_as<std::decay_t<F>, Job> && std::invocable<std::decay_t<F>&>)
      Job(F&& f)  // NOLINT(google-explicit-constructor): lambdas convert implicitly
      : impl_(std::make_unique<Model<std::decay_t<F>>>(std::forward<F>(f))) {}

  Job(Job&&) noexcept = default;
  Job& operator=(Job&&) noexcept = default;

  explicit operator bool() const { return impl_ != nullptr; }
  void operator()() { impl_->call(); }

 private:
  struct Concept {
    virtual ~Concept() = default;
    virtual void call() = 0;
  };
  template <class F>
  struct Model final : Concept {
    template <class G>
    explicit Model(G&& g) : f(std::forward<G>(g)) {}
    void call() override { f(); }
    F f;
  };

  std::unique_ptr<Concept> impl_;
};

}  // namespace trelvis
