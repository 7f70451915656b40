#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "base/async/async_stream.h"
#include "base/async/task.h"
#include "base/async/test_scheduler.h"

namespace trelvis {
namespace {

using Log = std::vector<std::string>;

class AsyncStreamTest : public ::testing::Test {
 protected:
  // Consumes `stream` in a task, logging each element, the end, or the error.
  Task<void> consume(AsyncStream<int> stream, Log& log) {
    return spawn(main_, [&log, stream = std::move(stream)]() mutable -> Async<void> {
      try {
        while (auto element = co_await stream.next()) log.push_back(std::to_string(*element));
        log.push_back("end");
      } catch (const std::exception& e) {
        log.push_back(std::string("error: ") + e.what());
      }
      checkCancellation();
    });
  }

  TestScheduler scheduler_;
  std::shared_ptr<Executor> main_ = scheduler_.makeExecutor();
};

TEST_F(AsyncStreamTest, DeliversBufferedAndLaterElementsThenTheEnd) {
  auto [stream, continuation] = AsyncStream<int>::make();
  std::vector<StreamTermination> terminations;
  continuation.setOnTermination([&](StreamTermination t) { terminations.push_back(t); });
  EXPECT_EQ(continuation.yield(1), YieldResult::enqueued);
  EXPECT_EQ(continuation.yield(2), YieldResult::enqueued);
  Log log;
  auto task = consume(std::move(stream), log);
  scheduler_.runUntilIdle();
  EXPECT_EQ(log, (Log{"1", "2"}));

  std::thread([c = continuation] { c.yield(3); }).join();
  scheduler_.runUntilIdle();
  continuation.finish();
  EXPECT_EQ(continuation.yield(4), YieldResult::terminated);
  scheduler_.runUntilIdle();
  EXPECT_EQ(log, (Log{"1", "2", "3", "end"}));
  EXPECT_EQ(terminations, std::vector<StreamTermination>{StreamTermination::finished});
  EXPECT_TRUE(task.isDone());
}

TEST_F(AsyncStreamTest, FinishingErrorIsRaisedAfterTheBufferedElements) {
  auto [stream, continuation] = AsyncStream<int>::make();
  continuation.yield(1);
  continuation.yield(2);
  continuation.finishThrowing(std::runtime_error("lost"));
  continuation.finish();  // a second finish changes nothing
  Log log;
  auto task = consume(std::move(stream), log);
  scheduler_.runUntilIdle();
  EXPECT_EQ(log, (Log{"1", "2", "error: lost"}));
}

// A producer that vanishes without finishing must not look like a complete stream.
TEST_F(AsyncStreamTest, DroppingEveryProducerEndsTheStreamAsBrokenAfterItsElements) {
  for (bool waiting : {true, false}) {
    SCOPED_TRACE(waiting ? "consumer waiting" : "consumer not started");
    auto [stream, continuation] = AsyncStream<int>::make();
    Log log;
    Task<void> task;
    {
      auto copy = continuation;
      auto moved = std::move(continuation);
      copy.yield(1);
      if (waiting) {
        task = consume(std::move(stream), log);
        scheduler_.runUntilIdle();
      }
    }
    if (!waiting) task = consume(std::move(stream), log);
    scheduler_.runUntilIdle();
    EXPECT_EQ(log, (Log{"1", "error: every producer of a stream was dropped before finishing it"}));
  }
}

TEST_F(AsyncStreamTest, NewestOnlyBufferingDeliversTheLastElement) {
  auto [stream, continuation] = AsyncStream<int>::make(StreamBuffering::newestOnly);
  EXPECT_EQ(continuation.yield(1), YieldResult::enqueued);
  EXPECT_EQ(continuation.yield(2), YieldResult::dropped);
  EXPECT_EQ(continuation.yield(3), YieldResult::dropped);
  Log log;
  auto task = consume(std::move(stream), log);
  scheduler_.runUntilIdle();
  EXPECT_EQ(continuation.yield(4), YieldResult::enqueued);  // straight to the waiting consumer
  continuation.yield(5);
  continuation.finish();
  scheduler_.runUntilIdle();
  EXPECT_EQ(log, (Log{"3", "4", "5", "end"}));
}

// Cancelling the consumer ends its wait as the end of the stream, runs the
// termination callback once, and drops later yields; the task itself then
// ends with CancellationError at its next check.
TEST_F(AsyncStreamTest, CancellingTheConsumerTerminatesTheStream) {
  struct Case {
    const char* name;
    bool waiting;  // cancelled while waiting, or before its first wait
  };
  for (const Case& c : {Case{"while waiting", true}, Case{"before waiting", false}}) {
    SCOPED_TRACE(c.name);
    auto [stream, continuation] = AsyncStream<int>::make();
    std::vector<StreamTermination> terminations;
    continuation.setOnTermination([&](StreamTermination t) { terminations.push_back(t); });
    continuation.yield(1);
    Log log;
    auto task = consume(std::move(stream), log);
    if (c.waiting) scheduler_.runUntilIdle();
    task.cancel();
    scheduler_.runUntilIdle();
    EXPECT_EQ(continuation.yield(2), YieldResult::terminated);
    continuation.finish();
    scheduler_.runUntilIdle();
    EXPECT_EQ(log, c.waiting ? (Log{"1", "end"}) : (Log{"end"}));
    EXPECT_EQ(terminations, std::vector<StreamTermination>{StreamTermination::cancelled});
    EXPECT_THROW(task.value(), CancellationError);
  }
}

TEST_F(AsyncStreamTest, DroppingTheStreamTerminatesItAndLateCallbacksRunAtOnce) {
  auto [stream, continuation] = AsyncStream<std::string>::make();
  { auto dropped = std::move(stream); }
  EXPECT_EQ(continuation.yield("late"), YieldResult::terminated);
  std::optional<StreamTermination> reason;
  continuation.setOnTermination([&](StreamTermination t) { reason = t; });
  EXPECT_EQ(reason, StreamTermination::cancelled);
}

}  // namespace
}  // namespace trelvis
