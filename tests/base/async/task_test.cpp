#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "base/async/async.h"
#include "base/async/async_stream.h"
#include "base/async/cancellation.h"
#include "base/async/continuation.h"
#include "base/async/run_loop.h"
#include "base/async/run_on.h"
#include "base/async/sleep.h"
#include "base/async/task.h"
#include "base/async/test_scheduler.h"
#include "base/async/thread_pool.h"

namespace trelvis {
namespace {

using namespace std::chrono_literals;
using Log = std::vector<std::string>;

class TaskTest : public ::testing::Test {
 protected:
  TestScheduler scheduler_;
  std::shared_ptr<Executor> main_ = scheduler_.makeExecutor();
  std::shared_ptr<Executor> other_ = scheduler_.makeExecutor();
};

Async<int> twice(int n) {
  co_return 2 * n;
}

Async<int> failing() {
  throw std::runtime_error("boom");
  co_return 0;
}

TEST_F(TaskTest, ErrorsPropagateThroughChildrenAndAwaitedTasks) {
  auto inner = spawn(other_, [] { return failing(); });
  auto outer = spawn(main_, [inner]() -> Async<std::string> {
    try {
      co_await failing();
    } catch (const std::runtime_error& e) {
      EXPECT_STREQ(e.what(), "boom");
    }
    try {
      co_await inner;
    } catch (const std::runtime_error& e) {
      co_return std::string("inner: ") + e.what();
    }
    co_return "no error";
  });
  scheduler_.runUntilIdle();
  EXPECT_EQ(outer.value(), "inner: boom");
  EXPECT_THROW(inner.value(), std::runtime_error);
}

// A task on the test thread's loop that awaits work completing on a pool thread
// must come back to the test thread.
TEST(TaskThreadTest, MainTaskResumesOnItsLoopThreadAfterWorkOnAPoolThread) {
  RunLoop loop;
  ThreadPool pool("resume", 2);
  auto worker = pool.makeSequencedExecutor();
  std::thread::id workThread, before, after;
  auto work = spawn(worker, [&]() -> Async<int> {
    workThread = std::this_thread::get_id();
    co_return 5;
  });
  auto task = spawn(loop.executor(), [&, work]() -> Async<int> {
    before = std::this_thread::get_id();
    int n = co_await work;
    int m = co_await withContinuation<int>(
        [&](Continuation<int> c) { worker->post([c] { c.resume(6); }); });
    after = std::this_thread::get_id();
    EXPECT_EQ(Executor::current(), loop.executor().get());
    co_return n + m;
  });
  ASSERT_TRUE(loop.runUntil([&] { return task.isDone(); }, 10s));
  EXPECT_EQ(task.value(), 11);
  EXPECT_EQ(before, std::this_thread::get_id());
  EXPECT_EQ(after, std::this_thread::get_id());
  EXPECT_NE(workThread, std::this_thread::get_id());
}

TEST_F(TaskTest, CancelWakesSleepAndReachesAwaitedChildren) {
  Log log;
  auto child = [&]() -> Async<void> {
    try {
      co_await sleepFor(30s);
      log.push_back("child slept");
    } catch (const CancellationError&) {
      log.push_back("child cancelled");
      throw;
    }
  };
  auto task = spawn(main_, [&]() -> Async<void> {
    co_await child();
    log.push_back("after child");
  });
  scheduler_.advanceBy(1s);
  task.cancel();
  task.cancel();  // idempotent
  scheduler_.runUntilIdle();
  EXPECT_EQ(log, (Log{"child cancelled"}));
  ASSERT_TRUE(task.isDone());
  EXPECT_TRUE(task.isCancelled());
  EXPECT_THROW(task.value(), CancellationError);
  EXPECT_EQ(scheduler_.now() - Instant(), 1s);
  EXPECT_EQ(scheduler_.pendingCount(), 0u);  // the sleep's timer is gone too
}

TEST_F(TaskTest, CancelBeforeStartAndCheckCancellation) {
  Log log;
  auto task = spawn(main_, [&]() -> Async<void> {
    log.push_back(isCancelled() ? "sees cancelled" : "not cancelled");
    checkCancellation();
    log.push_back("unreachable");
    co_return;
  });
  task.cancel();
  scheduler_.runUntilIdle();
  EXPECT_EQ(log, (Log{"sees cancelled"}));
  EXPECT_THROW(task.value(), CancellationError);
  EXPECT_FALSE(isCancelled());  // outside any task
}

TEST_F(TaskTest, DroppedHandleLetsTheTaskRunOn) {
  bool finished = false;
  spawn(main_, [&]() -> Async<void> {
    co_await sleepFor(1s);
    finished = true;
  }).detach();
  {
    auto dropped = spawn(main_, []() -> Async<void> { co_return; });
  }
  scheduler_.advanceBy(1s);
  EXPECT_TRUE(finished);
}

TEST_F(TaskTest, CancellationHandlerRunsExactlyOnce) {
  struct Case {
    const char* name;
    bool cancelBeforeInstall;
    bool cancelTwice;
  };
  for (const Case& c : {Case{"during the operation", false, false},
                        Case{"before the handler is installed", true, false},
                        Case{"cancelled twice", false, true}}) {
    SCOPED_TRACE(c.name);
    Log log;
    int handled = 0;
    auto subject = spawn(main_, [&]() -> Async<void> {
      co_await withCancellationHandler(
          [&]() -> Async<void> {
            log.push_back("operation");
            co_await withContinuation<void>(
                [&](Continuation<void> k) { other_->postAfter(5s, [k] { k.resume(); }); });
            log.push_back("operation done");
          },
          [&]() noexcept {
            ++handled;
            log.push_back("handler");
          });
      log.push_back("after");
    });
    if (c.cancelBeforeInstall) subject.cancel();
    scheduler_.advanceBy(1s);
    subject.cancel();
    if (c.cancelTwice) subject.cancel();
    scheduler_.advanceBy(10s);
    EXPECT_EQ(handled, 1);
    Log expected = c.cancelBeforeInstall ? Log{"handler", "operation", "operation done", "after"}
                                         : Log{"operation", "handler", "operation done", "after"};
    EXPECT_EQ(log, expected);
  }
}

TEST_F(TaskTest, CancellationHandlerDoesNotRunAfterTheOperationFinished) {
  int handled = 0;
  auto task = spawn(main_, [&]() -> Async<void> {
    co_await withCancellationHandler(twice(1), [&]() noexcept { ++handled; });
    co_await sleepFor(10s);
  });
  scheduler_.advanceBy(1s);
  task.cancel();
  scheduler_.runUntilIdle();
  EXPECT_EQ(handled, 0);
  EXPECT_THROW(task.value(), CancellationError);
}

TEST_F(TaskTest, ContinuationBridgesCallbacksFromAnyThread) {
  std::function<void(int)> pendingCallback;
  auto task = spawn(main_, [&]() -> Async<int> {
    int b = co_await withContinuation<int>([&](Continuation<int> c) {
      pendingCallback = [c](int v) {
        c.resume(v);
      };
    });
    try {
      co_await withContinuation<int>(
          [](Continuation<int> c) { c.resumeThrowing(std::runtime_error("failed")); });
    } catch (const std::runtime_error&) {
      b += 100;
    }
    co_return b;
  });
  scheduler_.runUntilIdle();
  ASSERT_TRUE(pendingCallback);
  std::thread([&] { pendingCallback(20); }).join();
  pendingCallback = nullptr;
  scheduler_.runUntilIdle();
  EXPECT_EQ(task.value(), 120);
}

TEST_F(TaskTest, DroppedContinuationRaisesInsteadOfHanging) {
  auto task = spawn(
      main_, [&]() -> Async<void> { co_await withContinuation<void>([](Continuation<void>) {}); });
  scheduler_.runUntilIdle();
  EXPECT_THROW(task.value(), BrokenContinuationError);
}

TEST_F(TaskTest, ContinuationResumedTwiceIsCaughtInDebugBuilds) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  auto resumeTwice = [this] {
    auto task = spawn(main_, [&]() -> Async<void> {
      co_await withContinuation<void>([](Continuation<void> c) {
        c.resume();
        c.resume();
      });
    });
    scheduler_.runUntilIdle();
  };
  EXPECT_DEBUG_DEATH(resumeTwice(), "continuation is resumed more than once");
}

TEST_F(TaskTest, RunOnAwaitsWorkOnAnotherExecutorAndPassesCancellationOn) {
  std::vector<Executor*> seen;
  Task<int> inner;
  auto outer = spawn(main_, [&]() -> Async<int> {
    int n = co_await runOn(other_, [&]() -> Async<int> {
      seen.push_back(Executor::current());
      co_return 3;
    });
    seen.push_back(Executor::current());
    co_return n + co_await runOn(other_, [&]() -> Async<int> {
      co_await sleepFor(10s);
      co_return 100;
    });
  });
  scheduler_.advanceBy(1s);
  EXPECT_EQ(seen, (std::vector<Executor*>{other_.get(), main_.get()}));
  outer.cancel();
  scheduler_.runUntilIdle();
  EXPECT_THROW(outer.value(), CancellationError);
  EXPECT_EQ(scheduler_.pendingCount(), 0u);  // the inner sleep was cancelled too
}

Async<int> nest(int depth) {
  if (depth == 0) co_return 0;
  co_return 1 + co_await nest(depth - 1);
}

// Children hand control over by symmetric transfer: neither a long loop of
// children that finish at once nor deep nesting may grow the native stack.
TEST_F(TaskTest, LongLoopsAndDeepNestingOfChildrenDoNotExhaustTheStack) {
  auto task = spawn(main_, []() -> Async<long> {
    long sum = 0;
    for (int i = 0; i < 1'000'000; ++i) sum += co_await twice(1);
    co_return sum + co_await nest(200'000);
  });
  scheduler_.runUntilIdle();
  EXPECT_EQ(task.value(), 2'200'000);
}

TEST_F(TaskTest, MoveOnlyValuesAreReadByReferenceOrMovedOutOnce) {
  auto make = [] { return []() -> Async<std::unique_ptr<int>> { co_return std::make_unique<int>(7); }; };
  auto produced = spawn(main_, make());
  auto consumer = spawn(main_, [produced]() mutable -> Async<int> {
    std::unique_ptr<int> value = co_await std::move(produced);
    co_return *value + 1;
  });
  auto read = spawn(main_, make());
  scheduler_.runUntilIdle();
  EXPECT_EQ(consumer.value(), 8);
  EXPECT_EQ(*read.value(), 7);
  std::unique_ptr<int> owned = std::move(read).value();
  EXPECT_EQ(*owned, 7);
}

TEST_F(TaskTest, AnErrorOfStartIsTheResultOnlyWhileNobodyElseCanResume) {
  auto task = spawn(main_, []() -> Async<int> {
    int n = 0;
    try {
      co_await withContinuation<int>([](Continuation<int>) { throw std::runtime_error("start"); });
    } catch (const std::runtime_error&) {
      n += 10;
    }
    // Resumed, then threw: the value counts.
    n += co_await withContinuation<int>([](Continuation<int> c) {
      c.resume(5);
      throw std::runtime_error("late");
    });
    co_return n;
  });
  scheduler_.runUntilIdle();
  EXPECT_EQ(task.value(), 15);

  // Passed on, then threw: the holder owns the resumption, and start broke that.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  auto throwAfterPassingOn = [this] {
    std::optional<Continuation<void>> held;
    auto task = spawn(main_, [&]() -> Async<void> {
      co_await withContinuation<void>([&](Continuation<void> c) {
        held = c;
        throw std::runtime_error("after passing on");
      });
    });
    scheduler_.runUntilIdle();
  };
  EXPECT_DEBUG_DEATH(throwAfterPassingOn(), "threw after passing the continuation on");
}

template <class H>
concept AcceptedAsCancellationHandler =
    requires(H handler) { withCancellationHandler(twice(1), std::move(handler)); };
constexpr auto kNoexceptHandler = []() noexcept {};
constexpr auto kThrowingHandler = [] {};
static_assert(AcceptedAsCancellationHandler<std::remove_const_t<decltype(kNoexceptHandler)>>);
static_assert(!AcceptedAsCancellationHandler<std::remove_const_t<decltype(kThrowingHandler)>>,
              "a handler that may throw is refused at compile time");

// Forwards to another executor; a test watches it to see who still holds it.
class ForwardingExecutor final : public Executor {
 public:
  explicit ForwardingExecutor(std::shared_ptr<Executor> target) : target_(std::move(target)) {}
  void post(Job job) override { target_->post(std::move(job)); }
  TimerHandle postAfter(Duration delay, Job job) override {
    return target_->postAfter(delay, std::move(job));
  }
  Instant now() const override { return target_->now(); }

 private:
  std::shared_ptr<Executor> target_;
};

TEST_F(TaskTest, ACancelledLongSleepReleasesTheTaskAtOnce) {
  auto executor = std::make_shared<ForwardingExecutor>(main_);
  std::weak_ptr<Executor> heldByTheTask = executor;
  auto task = spawn(std::move(executor), []() -> Async<void> { co_await sleepFor(24h); });
  scheduler_.runUntilIdle();
  task.cancel();
  task = Task<void>();
  scheduler_.runUntilIdle();
  EXPECT_TRUE(heldByTheTask.expired());
}

// What a sleeping task's frame owns: a sentinel, and a stream whose producer
// hears of its termination.
Async<void> sleepHolding(std::shared_ptr<int> sentinel, AsyncStream<int> stream,
                         std::atomic<bool>& started) {
  started = true;
  co_await sleepFor(1h);
  co_await stream.next();
  *sentinel = 1;
}

// When an executor goes away with a task suspended on it, the task's frame and
// its children's frames are destroyed, and the task ends as broken.
TEST(TaskLifetimeTest, FramesAreDestroyedWhenTheirExecutorGoesAway) {
  enum class Where { testScheduler, neverStarted, runLoop, poolSequence };
  for (Where where : {Where::testScheduler, Where::neverStarted, Where::runLoop,
                      Where::poolSequence}) {
    SCOPED_TRACE(static_cast<int>(where));
    auto sentinel = std::make_shared<int>(0);
    std::weak_ptr<int> frameAlive = sentinel;
    auto [stream, producer] = AsyncStream<int>::make();
    std::vector<StreamTermination> terminations;
    producer.setOnTermination([&](StreamTermination t) { terminations.push_back(t); });
    std::atomic<bool> started{false};
    auto body = [&started, sentinel = std::move(sentinel),
                 stream = std::move(stream)]() mutable -> Async<void> {
      co_await sleepHolding(std::move(sentinel), std::move(stream), started);
    };
    Task<void> task;
    switch (where) {
      case Where::testScheduler:
      case Where::neverStarted: {
        TestScheduler scheduler;
        task = spawn(scheduler.makeExecutor(), std::move(body));
        if (where == Where::testScheduler) scheduler.runUntilIdle();
        break;
      }
      case Where::runLoop: {
        RunLoop loop;
        task = spawn(loop.executor(), std::move(body));
        loop.runUntil([&] { return started.load(); }, 10s);
        break;
      }
      case Where::poolSequence: {
        ThreadPool pool("lifetime", 2);
        task = spawn(pool.makeSequencedExecutor(), std::move(body));
        for (auto deadline = std::chrono::steady_clock::now() + 10s;
             !started && std::chrono::steady_clock::now() < deadline;) {
          std::this_thread::yield();
        }
        break;
      }
    }
    EXPECT_EQ(started, where != Where::neverStarted);
    EXPECT_TRUE(frameAlive.expired());
    EXPECT_EQ(terminations, std::vector<StreamTermination>{StreamTermination::cancelled});
    ASSERT_TRUE(task.isDone());
    EXPECT_THROW(task.value(), BrokenContinuationError);
  }
}

}  // namespace
}  // namespace trelvis
