#include "server/engines/engine_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace trelvis::server {
namespace {

std::vector<std::unique_ptr<int>> engines(int count) {
  std::vector<std::unique_ptr<int>> out;
  for (int i = 0; i < count; ++i) out.push_back(std::make_unique<int>(i));
  return out;
}

// Whether acquiring is refused without waiting for the pool's limit.
bool refusedAtOnce(EnginePool<int>& pool) {
  auto start = std::chrono::steady_clock::now();
  bool refused = !pool.acquire().has_value();
  return refused && std::chrono::steady_clock::now() - start < std::chrono::milliseconds(1000);
}

TEST(EnginePoolTest, LendsEachEngineOnceAndRefusesBeyondTheQueue) {
  EnginePool<int> pool(engines(2), 0, std::chrono::milliseconds(3000));
  auto first = pool.acquire();
  auto second = pool.acquire();
  ASSERT_TRUE(first && second);
  EXPECT_NE(&**first, &**second);
  EXPECT_TRUE(refusedAtOnce(pool)) << "no engine free and no room to wait";
  first.reset();
  auto third = pool.acquire();
  ASSERT_TRUE(third);
  // A moved lease gives its engine back once, when the last owner ends.
  EnginePool<int>::Lease moved = std::move(*third);
  third.reset();
  EXPECT_TRUE(refusedAtOnce(pool));
  moved = EnginePool<int>::Lease();
  EXPECT_TRUE(pool.acquire());
}

TEST(EnginePoolTest, WaitersGetAnEngineWhenOneComesBackAndTimeOutOtherwise) {
  EnginePool<int> pool(engines(1), 1, std::chrono::milliseconds(3000));
  auto held = pool.acquire();
  ASSERT_TRUE(held);
  std::atomic<bool> got{false};
  std::thread waiter([&] { got = pool.acquire().has_value(); });
  while (pool.waiting() == 0) std::this_thread::yield();
  // Only one may wait: a second waiter is refused at once.
  EXPECT_TRUE(refusedAtOnce(pool));
  held.reset();
  waiter.join();
  EXPECT_TRUE(got);

  EnginePool<int> slow(engines(1), 4, std::chrono::milliseconds(20));
  auto busy = slow.acquire();
  EXPECT_FALSE(slow.acquire()) << "the wait ends after its limit";
}

TEST(EnginePoolTest, ManyThreadsNeverShareAnEngine) {
  EnginePool<int> pool(engines(3), 64, std::chrono::milliseconds(5000));
  std::vector<std::atomic<int>> users(3);
  std::atomic<int> overlaps{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 200; ++i) {
        auto lease = pool.acquire();
        if (!lease) continue;
        if (users[**lease].fetch_add(1) != 0) ++overlaps;
        users[**lease].fetch_sub(1);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(overlaps, 0);
}

}  // namespace
}  // namespace trelvis::server
