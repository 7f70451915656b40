// Many tasks on several sequenced executors of a real pool, cancelled from other
// threads while they sleep, stream and await each other. Meant for the
// ThreadSanitizer build; under the other builds it still checks the outcome.

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "base/async/async_stream.h"
#include "base/async/cancellation.h"
#include "base/async/continuation.h"
#include "base/async/run_loop.h"
#include "base/async/sleep.h"
#include "base/async/task.h"
#include "base/async/thread_pool.h"

namespace trelvis {
namespace {

using namespace std::chrono_literals;

TEST(AsyncStressTest, TasksStreamsAndCancellationAcrossPoolThreads) {
  constexpr int kTasks = 200;
  RunLoop loop;
  auto pool = std::make_unique<ThreadPool>("stress", 4);
  std::vector<std::shared_ptr<Executor>> executors;
  for (int i = 0; i < 4; ++i) executors.push_back(pool->makeSequencedExecutor());
  auto producer = pool->parallelExecutor();

  std::atomic<int> elements{0};
  std::atomic<int> terminations{0};
  std::atomic<int> handlers{0};
  std::vector<Task<int>> tasks;
  for (int i = 0; i < kTasks; ++i) {
    auto [stream, continuation] =
        AsyncStream<int>::make(i % 2 ? StreamBuffering::unbounded : StreamBuffering::newestOnly);
    continuation.setOnTermination([&](StreamTermination) { terminations.fetch_add(1); });
    for (int k = 0; k < 20; ++k) producer->post([c = continuation, k] { c.yield(k); });
    producer->postAfter(std::chrono::microseconds(i * 10), [c = continuation] { c.finish(); });

    tasks.push_back(spawn(executors[i % executors.size()],
                          [&, i, stream = std::move(stream)]() mutable -> Async<int> {
                            int seen = 0;
                            co_await withCancellationHandler(
                                [&]() -> Async<void> {
                                  while (auto e = co_await stream.next()) {
                                    ++seen;
                                    elements.fetch_add(1);
                                    if (*e % 7 == 0)
                                      co_await sleepFor(std::chrono::microseconds(i % 50));
                                  }
                                },
                                [&]() noexcept { handlers.fetch_add(1); });
                            int extra = co_await withContinuation<int>([&](Continuation<int> c) {
                              producer->post([c, i] { c.resume(i); });
                            });
                            co_return seen + extra - i;
                          }));
  }
  // Cancel every third task from a foreign thread while they run.
  std::thread canceller([&tasks] {
    for (std::size_t i = 0; i < tasks.size(); i += 3) {
      tasks[i].cancel();
      std::this_thread::yield();
    }
  });
  canceller.join();

  auto waiter = spawn(loop.executor(), [&tasks]() -> Async<int> {
    int finished = 0;
    for (auto& t : tasks) {
      try {
        int seen = co_await t;
        EXPECT_LE(seen, 20);
        ++finished;
      } catch (const CancellationError&) {
      }
    }
    co_return finished;
  });
  ASSERT_TRUE(loop.runUntil([&] { return waiter.isDone(); }, 60s));
  EXPECT_GE(waiter.value(), kTasks - (kTasks + 2) / 3);
  // A producer may still be inside finish() when its consumer has seen the end.
  pool.reset();
  EXPECT_EQ(terminations.load(), kTasks);  // once per stream, whatever ended it
  EXPECT_LE(handlers.load(), (kTasks + 2) / 3);
}

}  // namespace
}  // namespace trelvis
