#include "base/log.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace trelvis {
namespace {

// Logging works while statics are constructed, before main() sets anything up.
const std::vector<LogRecord> recordsBeforeMain = [] {
  LogCapture capture;
  LogCategory("early").notice("before main");
  return capture.records();
}();

// Restores the process-wide level that a test changes.
class MinimumLevelScope {
 public:
  explicit MinimumLevelScope(LogLevel level) { setMinimumLogLevel(level); }
  ~MinimumLevelScope() { setMinimumLogLevel(LogLevel::info); }
};

TEST(LogTest, CaptureRecordsEveryLineInOrderWhateverTheLevel) {
  EXPECT_EQ(recordsBeforeMain,
            (std::vector<LogRecord>{{"early", LogLevel::notice, "before main"}}));

  const MinimumLevelScope level(LogLevel::error);
  const LogCategory lookup("lookup");
  const LogCategory net("net");
  lookup.info("before the capture");
  LogCapture capture;
  lookup.debug("started");
  net.info("GET {} -> {}", "/v1/lookup", 200);
  lookup.notice(std::string("plain {} text"));
  net.warning("retry {} of {}", 2, 3);
  {
    LogCapture inner;
    net.error("inner");
    EXPECT_EQ(inner.records(), (std::vector<LogRecord>{{"net", LogLevel::error, "inner"}}));
  }
  const std::vector<LogRecord> expected = {
      {"lookup", LogLevel::debug, "started"},
      {"net", LogLevel::info, "GET /v1/lookup -> 200"},
      {"lookup", LogLevel::notice, "plain {} text"},
      {"net", LogLevel::warning, "retry 2 of 3"},
      {"net", LogLevel::error, "inner"},
  };
  EXPECT_EQ(capture.records(), expected);
  EXPECT_EQ(capture.records("net"),
            (std::vector<LogRecord>{expected[1], expected[3], expected[4]}));
  capture.clear();
  EXPECT_TRUE(capture.records().empty());

  std::ostringstream printed;
  printed << expected[2];
  EXPECT_EQ(printed.str(), "[lookup] notice: plain {} text");
}

TEST(LogTest, MinimumLevelFiltersTheOutputButNotCaptures) {
  struct Case {
    LogLevel minimum;
    LogLevel level;
    bool written;
  };
  const Case cases[] = {
      {LogLevel::warning, LogLevel::notice, false},
      {LogLevel::info, LogLevel::info, true},
      {LogLevel::warning, LogLevel::error, true},
      {LogLevel::debug, LogLevel::debug, true},
  };
  const LogCategory category("filter");
  for (const Case& c : cases) {
    const std::string line = "[filter] " + std::string(toString(c.level)) + ": x = 42\n";
    SCOPED_TRACE(std::string(toString(c.minimum)) + " " + line);
    const MinimumLevelScope level(c.minimum);
    EXPECT_EQ(category.isEnabled(c.level), c.written);
    testing::internal::CaptureStderr();
    category.log(c.level, "x = {}", 42);
    const std::string output = testing::internal::GetCapturedStderr();
    if (c.written) {
      // One line: the time, then the category, level and message.
      EXPECT_TRUE(output.ends_with(line)) << output;
      EXPECT_EQ(output.find('\n'), output.size() - 1) << output;
    } else {
      EXPECT_EQ(output, "");
    }
    LogCapture capture;
    EXPECT_TRUE(category.isEnabled(c.level));
  }
  EXPECT_EQ(logLevelFromString("warning"), LogLevel::warning);
  EXPECT_EQ(logLevelFromString("warn"), std::nullopt);
}

TEST(LogTest, LinesFromManyThreadsAreAllRecordedInTheirThreadOrder) {
  const MinimumLevelScope level(LogLevel::error);
  constexpr int kThreads = 4;
  constexpr int kLines = 200;
  LogCapture capture;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      const LogCategory category("thread" + std::to_string(t));
      for (int i = 0; i < kLines; ++i) category.debug("{}", i);
    });
  }
  for (auto& thread : threads) thread.join();

  EXPECT_EQ(capture.records().size(), static_cast<std::size_t>(kThreads * kLines));
  for (int t = 0; t < kThreads; ++t) {
    const auto records = capture.records("thread" + std::to_string(t));
    ASSERT_EQ(records.size(), static_cast<std::size_t>(kLines));
    for (int i = 0; i < kLines; ++i) EXPECT_EQ(records[i].message, std::to_string(i));
  }
}

}  // namespace
}  // namespace trelvis
