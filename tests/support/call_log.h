#pragma once

// CallLog: the ordered record of what the fakes were asked to do, in one list,
// so that a test compares whole sequences of calls across several fakes.

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace trelvis {

class CallLog {
 public:
  void add(std::string entry) { entries_.push_back(std::move(entry)); }
  // A callback that adds `entry` each time it is called.
  std::function<void()> note(std::string entry) {
    return [this, entry] {
      add(entry);
    };
  }
  // The entries so far, leaving the log empty.
  std::vector<std::string> take() { return std::exchange(entries_, {}); }
  const std::vector<std::string>& entries() const { return entries_; }

 private:
  std::vector<std::string> entries_;
};

// The base of the fakes that write what they are asked into a CallLog.
class LogsCalls {
 public:
  explicit LogsCalls(CallLog& log) : log_(log) {}

 protected:
  CallLog& log_;
};

}  // namespace trelvis
