#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "base/async/run_loop.h"
#include "base/async/test_scheduler.h"
#include "base/async/thread_pool.h"

namespace trelvis {
namespace {

using namespace std::chrono_literals;

TEST(TestSchedulerTest, RunsJobsInPostOrderAndTimersByDueTimeThenPostOrder) {
  TestScheduler scheduler;
  auto a = scheduler.makeExecutor();
  auto b = scheduler.makeExecutor();
  std::vector<std::string> log;
  auto note = [&](std::string what) {
    return [&log, what] {
      log.push_back(what);
    };
  };

  a->postAfter(20ms, note("a+20"));
  b->postAfter(10ms, note("b+10 first"));
  a->postAfter(10ms, note("a+10 second"));
  auto cancelled = b->postAfter(15ms, note("cancelled"));
  a->post(note("a now"));
  b->post([&] {
    log.push_back("b now");
    b->post(note("posted by b"));
  });
  cancelled.cancel();

  EXPECT_EQ(scheduler.pendingCount(), 5u);
  scheduler.runUntilIdle();
  EXPECT_EQ(log, (std::vector<std::string>{"a now", "b now", "posted by b"}));
  EXPECT_EQ(scheduler.now(), Instant());

  scheduler.advanceBy(10ms);
  EXPECT_EQ(log.size(), 5u);
  EXPECT_EQ(log[3], "b+10 first");
  EXPECT_EQ(log[4], "a+10 second");

  scheduler.advanceBy(100ms);
  EXPECT_EQ(log.back(), "a+20");
  EXPECT_EQ(log.size(), 6u);
  EXPECT_EQ(scheduler.now() - Instant(), 110ms);
  EXPECT_EQ(scheduler.pendingCount(), 0u);
}

TEST(TestSchedulerTest, TimersSetByTimersFireAtTheirOwnDueTimeWithinOneAdvance) {
  TestScheduler scheduler;
  auto executor = scheduler.makeExecutor();
  std::vector<Duration> firedAt;
  std::function<void()> rearm = [&] {
    firedAt.push_back(executor->now() - Instant());
    if (firedAt.size() < 3) executor->postAfter(7ms, rearm);
  };
  executor->postAfter(7ms, rearm);

  scheduler.advanceBy(30ms);
  EXPECT_EQ(firedAt, (std::vector<Duration>{7ms, 14ms, 21ms}));
  EXPECT_EQ(scheduler.now() - Instant(), 30ms);

  // A timer cancelled after it became due but before its job ran does not run.
  bool ran = false;
  TimerHandle handle;
  executor->post([&] { handle.cancel(); });
  handle = executor->postAfter(0ms, [&] { ran = true; });
  scheduler.runUntilIdle();
  EXPECT_FALSE(ran);
}

TEST(TestSchedulerTest, AdvanceUntilIdleStopsAtTheLimitForTimersThatNeverEnd) {
  TestScheduler scheduler;
  auto executor = scheduler.makeExecutor();
  int ticks = 0;
  std::function<void()> tick = [&] {
    ++ticks;
    executor->postAfter(1s, tick);
  };
  executor->postAfter(1s, tick);
  scheduler.advanceUntilIdle(10s);
  EXPECT_EQ(ticks, 10);
  EXPECT_EQ(scheduler.pendingCount(), 1u);
}

TEST(TestSchedulerTest, AdvancingByANegativeDurationIsAProgrammingError) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  TestScheduler scheduler;
  EXPECT_DEBUG_DEATH(scheduler.advanceBy(-1ms), "time only moves forward");
}

TEST(ExecutorTest, CurrentIsTheExecutorRunningTheJob) {
  TestScheduler scheduler;
  auto a = scheduler.makeExecutor();
  auto b = scheduler.makeExecutor();
  std::vector<Executor*> seen;
  a->post([&] { seen.push_back(Executor::current()); });
  b->postAfter(1ms, [&] { seen.push_back(Executor::current()); });
  scheduler.advanceBy(1ms);
  EXPECT_EQ(seen, (std::vector<Executor*>{a.get(), b.get()}));
  EXPECT_EQ(Executor::current(), nullptr);
}

// Several sequences on a pool with more threads than sequences: each sequence
// must still run its jobs one at a time and in post order.
TEST(ThreadPoolTest, SequencedExecutorsRunJobsInOrderAndOneAtATime) {
  constexpr int kSequences = 3;
  constexpr int kJobs = 2000;
  RunLoop loop;  // outlives the pool, whose jobs post to it
  ThreadPool pool("seqtest", 4);
  struct Sequence {
    std::shared_ptr<Executor> executor;
    std::vector<int> order;  // only touched by the sequence's jobs
    std::atomic<int> running{0};
    std::atomic<bool> overlapped{false};
    std::atomic<bool> wrongCurrent{false};
  };
  std::vector<Sequence> sequences(kSequences);
  for (auto& s : sequences) s.executor = pool.makeSequencedExecutor();

  // The last job of each sequence reports to the test's loop.
  int finished = 0;
  std::vector<std::thread> posters;
  for (auto& s : sequences) {
    posters.emplace_back([&s, &finished, loop = loop.executor()] {
      for (int i = 0; i < kJobs; ++i) {
        s.executor->post([&s, &finished, loop, i] {
          if (s.running.fetch_add(1) != 0) s.overlapped = true;
          if (Executor::current() != s.executor.get()) s.wrongCurrent = true;
          s.order.push_back(i);
          s.running.fetch_sub(1);
          if (i == kJobs - 1) loop->post([&finished] { ++finished; });
        });
      }
    });
  }
  for (auto& t : posters) t.join();

  ASSERT_TRUE(loop.runUntil([&] { return finished == kSequences; }, 20s));
  for (auto& s : sequences) {
    EXPECT_FALSE(s.overlapped);
    EXPECT_FALSE(s.wrongCurrent);
    ASSERT_EQ(s.order.size(), std::size_t{kJobs});
    for (int i = 0; i < kJobs; ++i) ASSERT_EQ(s.order[i], i);
  }
}

// Due timers of one sequence are fired by whichever workers are free; they must
// still enter the sequence in due order, then post order. Workers racing to hand
// them over show up in most rounds on two cores.
TEST(ThreadPoolTest, DelayedJobsOfASequenceRunInDueThenPostOrder) {
  constexpr int kSameDelay = 200;
  std::vector<int> expected{1000};
  for (int i = 0; i < kSameDelay; ++i) expected.push_back(i);
  expected.push_back(1001);
  for (int round = 0; round < 10; ++round) {
    ThreadPool pool("delaytest", 4);
    auto executor = pool.makeSequencedExecutor();
    std::mutex mutex;
    std::vector<int> order;
    auto record = [&](int n) {
      return [&, n] {
        std::lock_guard lock(mutex);
        order.push_back(n);
      };
    };
    executor->postAfter(10ms, record(1000));
    executor->postAfter(15ms, record(-1)).cancel();
    for (int i = 0; i < kSameDelay; ++i) executor->postAfter(20ms, record(i));
    executor->postAfter(20ms, record(1001));
    for (auto deadline = std::chrono::steady_clock::now() + 10s;
         std::chrono::steady_clock::now() < deadline;) {
      std::this_thread::sleep_for(1ms);
      std::lock_guard lock(mutex);
      if (order.size() == expected.size()) break;
    }
    std::this_thread::sleep_for(10ms);  // nothing else may arrive
    std::lock_guard lock(mutex);
    ASSERT_EQ(order, expected) << "round " << round;
  }
}

TEST(RunLoopTest, RunsPostedAndDelayedJobsOnItsThreadAndTimesOut) {
  RunLoop owner;
  auto loop = owner.executor();
  std::vector<std::string> log;
  std::thread::id jobThread;
  loop->postAfter(5ms, [&] { log.push_back("delayed"); });
  std::thread poster([&] {
    loop->post([&] {
      jobThread = std::this_thread::get_id();
      log.push_back("posted");
    });
  });
  poster.join();
  EXPECT_TRUE(owner.runUntil([&] { return log.size() == 2; }, 5s));
  EXPECT_EQ(log, (std::vector<std::string>{"posted", "delayed"}));
  EXPECT_EQ(jobThread, std::this_thread::get_id());
  EXPECT_FALSE(owner.runUntil([] { return false; }, 1ms));
}

}  // namespace
}  // namespace trelvis
