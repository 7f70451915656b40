#include "ui/qt_main_executor.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QTimer>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/async/run_on.h"
#include "base/async/sleep.h"
#include "base/async/task.h"
#include "base/async/thread_pool.h"

namespace trelvis {
namespace {

using namespace std::chrono_literals;

class QtMainExecutorTest : public ::testing::Test {
 protected:
  QtMainExecutorTest() : app_(std::make_unique<QCoreApplication>(argc_, argv_)) {
    // Wakes the event loop now and then, so that runUntil notices its deadline.
    tick_.start(5);
    executor_ = QtMainExecutor::create();
  }

  bool runUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout = 10s) {
    QDeadlineTimer deadline(timeout);
    while (!done()) {
      if (deadline.hasExpired()) return false;
      QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    }
    return true;
  }

  int argc_ = 1;
  char name_[8] = "test";
  char* argv_[2] = {name_, nullptr};
  std::unique_ptr<QCoreApplication> app_;
  QTimer tick_;
  std::shared_ptr<QtMainExecutor> executor_;
  const std::thread::id mainThread_ = std::this_thread::get_id();
};

TEST_F(QtMainExecutorTest, RunsJobsOnTheMainThreadInPostOrderAndTimersInDueOrder) {
  std::vector<std::string> log;
  bool wrongPlace = false;
  auto note = [&](std::string what) {
    return [&, what] {
      if (!executor_->isCurrent() || std::this_thread::get_id() != mainThread_) wrongPlace = true;
      log.push_back(what);
    };
  };
  executor_->postAfter(90ms, note("+90"));
  executor_->postAfter(60ms, note("+60 first"));
  executor_->postAfter(60ms, note("+60 second"));
  executor_->postAfter(70ms, note("cancelled")).cancel();
  executor_->post(note("now 1"));
  std::thread([&] {
    executor_->post(note("now 2, from a thread"));
    executor_->postAfter(5ms, note("+5, from a thread"));
  }).join();
  // A due job waits behind jobs posted before it became due.
  std::this_thread::sleep_for(10ms);

  ASSERT_TRUE(runUntil([&] { return log.size() == 6; }));
  EXPECT_EQ(log, (std::vector<std::string>{"now 1", "now 2, from a thread", "+5, from a thread",
                                           "+60 first", "+60 second", "+90"}));
  EXPECT_FALSE(wrongPlace);
  EXPECT_FALSE(runUntil([&] { return log.size() > 6; }, 50ms));
}

// A main-thread task comes back to the main thread after work on a pool.
TEST_F(QtMainExecutorTest, TasksResumeOnTheMainThread) {
  ThreadPool pool("qttest", 2);
  auto worker = pool.makeSequencedExecutor();
  std::vector<std::thread::id> seen;
  auto task = spawn(executor_, [&]() -> Async<int> {
    seen.push_back(std::this_thread::get_id());
    int n = co_await runOn(worker, []() -> Async<int> { co_return 20; });
    seen.push_back(std::this_thread::get_id());
    co_await sleepFor(5ms);
    seen.push_back(std::this_thread::get_id());
    co_return n + 1;
  });
  ASSERT_TRUE(runUntil([&] { return task.isDone(); }));
  EXPECT_EQ(task.value(), 21);
  EXPECT_EQ(seen, std::vector<std::thread::id>(3, mainThread_));
}

// Tasks waiting on the executor are destroyed, not leaked, when it shuts down
// or when the application object goes.
TEST_F(QtMainExecutorTest, ShutdownOrTheApplicationGoingDropsWaitingTasks) {
  for (bool byShutdown : {true, false}) {
    SCOPED_TRACE(byShutdown ? "shutdown" : "application destroyed");
    if (!app_) {
      app_ = std::make_unique<QCoreApplication>(argc_, argv_);
      executor_ = QtMainExecutor::create();
    }
    auto sentinel = std::make_shared<int>();
    std::weak_ptr<int> frameAlive = sentinel;
    bool started = false;
    auto sleeper = spawn(executor_, [&, sentinel = std::move(sentinel)]() -> Async<void> {
      started = true;
      co_await sleepFor(1h);
    });
    auto neverStarted = spawn(executor_, []() -> Async<void> { co_return; });
    ASSERT_TRUE(runUntil([&] { return started; }));
    executor_->post([] {});  // queued behind the shutdown, never run
    if (byShutdown) {
      executor_->shutdown();
      runUntil([] { return false; }, 20ms);
    } else {
      app_.reset();
    }
    // Later posts are dropped at once.
    bool late = false;
    executor_->post([&] { late = true; });
    EXPECT_TRUE(frameAlive.expired());
    EXPECT_THROW(sleeper.value(), BrokenContinuationError);
    EXPECT_TRUE(neverStarted.isDone());
    EXPECT_FALSE(late);
    executor_.reset();
    app_.reset();
  }
}

}  // namespace
}  // namespace trelvis
