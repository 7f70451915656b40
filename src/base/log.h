#pragma once

// Logging by named category. Each subsystem keeps one LogCategory, usually a
// namespace-scope constant, and logs through it from any thread:
//
//   const LogCategory kLog("lookup");
//   kLog.notice("lookup started");
//   kLog.warning("reply took {} ms", elapsed);
//
// Lines go to stderr and to syslog (ident "trelvis") with the category name. The
// output is set up on first use, so a category may be defined, and even used, while
// statics are being constructed. Tests read what was logged through LogCapture.

#include <fmt/core.h>

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace trelvis {

enum class LogLevel : uint8_t { debug, info, notice, warning, error };

std::string_view toString(LogLevel level);
std::optional<LogLevel> logLevelFromString(std::string_view text);

// Lines below `level` are not written out (LogCapture still records them). The
// initial level is info, or the TRELVIS_LOG_LEVEL environment variable ("debug",
// "info", ...) when it is set.
void setMinimumLogLevel(LogLevel level);

class LogCategory {
 public:
  explicit LogCategory(std::string_view name) : name_(name) {}

  const std::string& name() const { return name_; }

  // Whether a line at `level` goes anywhere; callers can skip costly preparation.
  bool isEnabled(LogLevel level) const;

  void log(LogLevel level, std::string_view message) const;

  void debug(std::string_view message) const { log(LogLevel::debug, message); }
  void info(std::string_view message) const { log(LogLevel::info, message); }
  void notice(std::string_view message) const { log(LogLevel::notice, message); }
  void warning(std::string_view message) const { log(LogLevel::warning, message); }
  void error(std::string_view message) const { log(LogLevel::error, message); }

  // fmt-style formatting, done only when the line goes somewhere.
  template <class... Args>
  void log(LogLevel level, fmt::format_string<Args...> format, Args&&... args) const {
    if (isEnabled(level)) log(level, fmt::vformat(format, fmt::make_format_args(args...)));
  }
  template <class... Args>
  void debug(fmt::format_string<Args...> format, Args&&... args) const {
    log(LogLevel::debug, format, std::forward<Args>(args)...);
  }
  template <class... Args>
  void info(fmt::format_string<Args...> format, Args&&... args) const {
    log(LogLevel::info, format, std::forward<Args>(args)...);
  }
  template <class... Args>
  void notice(fmt::format_string<Args...> format, Args&&... args) const {
    log(LogLevel::notice, format, std::forward<Args>(args)...);
  }
  template <class... Args>
  void warning(fmt::format_string<Args...> format, Args&&... args) const {
    log(LogLevel::warning, format, std::forward<Args>(args)...);
  }
  template <class... Args>
  void error(fmt::format_string<Args...> format, Args&&... args) const {
    log(LogLevel::error, format, std::forward<Args>(args)...);
  }

 private:
  std::string name_;
};

struct LogRecord {
  std::string category;
  LogLevel level;
  std::string message;

  friend bool operator==(const LogRecord&, const LogRecord&) = default;
};

// "[category] level: message", as the line is written out.
std::ostream& operator<<(std::ostream& stream, const LogRecord& record);

// Lets tests read what was logged: while a LogCapture exists, every line logged on
// any thread, at any level, is also recorded in it. Lines still go to the output.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // The lines recorded so far, in the order they were logged.
  std::vector<LogRecord> records() const;
  // The recorded lines of one category.
  std::vector<LogRecord> records(std::string_view category) const;
  void clear();

 private:
  friend class LogCategory;
  std::vector<LogRecord> records_;
};

}  // namespace trelvis
