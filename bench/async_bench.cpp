// Costs of the async runtime's building blocks: what one posted job, one task,
// one awaited child and one streamed element cost, on virtual time and on a
// real pool.

#include <benchmark/benchmark.h>

#include "base/async/async_stream.h"
#include "base/async/run_loop.h"
#include "base/async/task.h"
#include "base/async/test_scheduler.h"
#include "base/async/thread_pool.h"

namespace trelvis {
namespace {

void BM_TestSchedulerPostAndRun(benchmark::State& state) {
  TestScheduler scheduler;
  auto executor = scheduler.makeExecutor();
  int64_t n = 0;
  for (auto _ : state) {
    for (int i = 0; i < 1000; ++i) executor->post([&n] { ++n; });
    scheduler.runUntilIdle();
  }
  benchmark::DoNotOptimize(n);
  state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(BM_TestSchedulerPostAndRun);

Async<int> one() {
  co_return 1;
}

void BM_SpawnTask(benchmark::State& state) {
  TestScheduler scheduler;
  auto executor = scheduler.makeExecutor();
  for (auto _ : state) {
    auto task = spawn(executor, []() -> Async<int> { co_return co_await one(); });
    scheduler.runUntilIdle();
    benchmark::DoNotOptimize(task.value());
  }
}
BENCHMARK(BM_SpawnTask);

void BM_AwaitSynchronousChild(benchmark::State& state) {
  TestScheduler scheduler;
  auto executor = scheduler.makeExecutor();
  for (auto _ : state) {
    auto task = spawn(executor, []() -> Async<int> {
      int sum = 0;
      for (int i = 0; i < 1000; ++i) sum += co_await one();
      co_return sum;
    });
    scheduler.runUntilIdle();
    benchmark::DoNotOptimize(task.value());
  }
  state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(BM_AwaitSynchronousChild);

// Elements handed from a pool thread to a task on the benchmark thread's loop.
void BM_StreamAcrossThreads(benchmark::State& state) {
  RunLoop loop;
  ThreadPool pool("bench", 1);
  auto producer = pool.makeSequencedExecutor();
  constexpr int kElements = 1000;
  for (auto _ : state) {
    auto [stream, continuation] = AsyncStream<int>::make();
    producer->post([c = continuation] {
      for (int i = 0; i < kElements; ++i) c.yield(i);
      c.finish();
    });
    auto task = spawn(loop.executor(), [stream = std::move(stream)]() mutable -> Async<int> {
      int count = 0;
      while (co_await stream.next()) ++count;
      co_return count;
    });
    loop.runUntil([&] { return task.isDone(); }, std::chrono::seconds(10));
    benchmark::DoNotOptimize(task.value());
  }
  state.SetItemsProcessed(state.iterations() * kElements);
}
BENCHMARK(BM_StreamAcrossThreads);

}  // namespace
}  // namespace trelvis
