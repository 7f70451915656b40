#include "base/log.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/sinks/syslog_sink.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <mutex>
#include <ostream>

namespace trelvis {
namespace {

struct LevelName {
  LogLevel level;
  std::string_view name;
};

constexpr std::array<LevelName, 5> kLevelNames{{
    {LogLevel::debug, "debug"},
    {LogLevel::info, "info"},
    {LogLevel::notice, "notice"},
    {LogLevel::warning, "warning"},
    {LogLevel::error, "error"},
}};

// syslog has a notice priority but spdlog has no notice level; notice lines go out
// as info, and the level name in the line tells them apart.
spdlog::level::level_enum toSpdlog(LogLevel level) {
  switch (level) {
    case LogLevel::debug:
      return spdlog::level::debug;
    case LogLevel::info:
    case LogLevel::notice:
      return spdlog::level::info;
    case LogLevel::warning:
      return spdlog::level::warn;
    case LogLevel::error:
      return spdlog::level::err;
  }
  return spdlog::level::err;
}

// The process-wide state is created on first use and never destroyed, so that
// logging works while statics are constructed and destroyed.

constexpr int kLevelUnset = -1;
std::atomic<int> minimumLevel{kLevelUnset};
std::atomic<int> activeCaptures{0};

LogLevel currentMinimumLevel() {
  int level = minimumLevel.load(std::memory_order_relaxed);
  if (level == kLevelUnset) {
    LogLevel initial = LogLevel::info;
    if (const char* text = std::getenv("TRELVIS_LOG_LEVEL")) {
      initial = logLevelFromString(text).value_or(initial);
    }
    // A concurrent setMinimumLogLevel wins over the environment.
    int expected = kLevelUnset;
    minimumLevel.compare_exchange_strong(expected, static_cast<int>(initial));
    level = minimumLevel.load(std::memory_order_relaxed);
  }
  return static_cast<LogLevel>(level);
}

struct CaptureRegistry {
  std::mutex mutex;
  std::vector<LogCapture*> captures;
};

CaptureRegistry& captureRegistry() {
  static auto* registry = new CaptureRegistry;
  return *registry;
}

spdlog::logger& output() {
  static spdlog::logger* logger = [] {
    auto stderrSink = std::make_shared<spdlog::sinks::stderr_sink_mt>();
    stderrSink->set_pattern("%Y-%m-%d %H:%M:%S.%e %v");
    auto syslogSink = std::make_shared<spdlog::sinks::syslog_sink_mt>("trelvis", LOG_PID, LOG_USER,
                                                                      /*enable_formatting=*/false);
    auto* logger = new spdlog::logger("trelvis", {std::move(stderrSink), std::move(syslogSink)});
    // Lines are filtered before they get here.
    logger->set_level(spdlog::level::trace);
    return logger;
  }();
  return *logger;
}

std::string formatLine(std::string_view category, LogLevel level, std::string_view message) {
  std::string line;
  line.reserve(category.size() + message.size() + 12);
  line += '[';
  line += category;
  line += "] ";
  line += toString(level);
  line += ": ";
  line += message;
  return line;
}

}  // namespace

std::string_view toString(LogLevel level) {
  for (const LevelName& entry : kLevelNames) {
    if (entry.level == level) return entry.name;
  }
  return "unknown";
}

std::optional<LogLevel> logLevelFromString(std::string_view text) {
  for (const LevelName& entry : kLevelNames) {
    if (entry.name == text) return entry.level;
  }
  return std::nullopt;
}

void setMinimumLogLevel(LogLevel level) {
  minimumLevel.store(static_cast<int>(level), std::memory_order_relaxed);
}

bool LogCategory::isEnabled(LogLevel level) const {
  return level >= currentMinimumLevel() || activeCaptures.load(std::memory_order_acquire) > 0;
}

void LogCategory::log(LogLevel level, std::string_view message) const {
  if (activeCaptures.load(std::memory_order_acquire) > 0) {
    CaptureRegistry& registry = captureRegistry();
    const std::lock_guard lock(registry.mutex);
    for (LogCapture* capture : registry.captures) {
      capture->records_.push_back({name_, level, std::string(message)});
    }
  }
  if (level >= currentMinimumLevel()) {
    output().log(toSpdlog(level), formatLine(name_, level, message));
  }
}

std::ostream& operator<<(std::ostream& stream, const LogRecord& record) {
  return stream << formatLine(record.category, record.level, record.message);
}

LogCapture::LogCapture() {
  CaptureRegistry& registry = captureRegistry();
  const std::lock_guard lock(registry.mutex);
  registry.captures.push_back(this);
  activeCaptures.fetch_add(1, std::memory_order_release);
}

LogCapture::~LogCapture() {
  CaptureRegistry& registry = captureRegistry();
  const std::lock_guard lock(registry.mutex);
  std::erase(registry.captures, this);
  activeCaptures.fetch_sub(1, std::memory_order_release);
}

std::vector<LogRecord> LogCapture::records() const {
  CaptureRegistry& registry = captureRegistry();
  const std::lock_guard lock(registry.mutex);
  return records_;
}

std::vector<LogRecord> LogCapture::records(std::string_view category) const {
  CaptureRegistry& registry = captureRegistry();
  const std::lock_guard lock(registry.mutex);
  std::vector<LogRecord> result;
  std::copy_if(records_.begin(), records_.end(), std::back_inserter(result),
               [category](const LogRecord& record) { return record.category == category; });
  return result;
}

void LogCapture::clear() {
  CaptureRegistry& registry = captureRegistry();
  const std::lock_guard lock(registry.mutex);
  records_.clear();
}

}  // namespace trelvis
