#pragma once

// CallLog: the ordered record of what the fakes were asked to do, in one list,
// so that a test compares whole sequences of calls across several fakes.

#include <string>
#include <utility>
#include <vector>

namespace trelvis {

class CallLog {
 public:
  void add(std::string entry) { entries_.push_back(std::move(entry)); }
  // The entries so far, leaving the log empty.
  std::vector<std::string> take() { return std::exchange(entries_, {}); }
  const std::vector<std::string>& entries() const { return entries_; }

 private:
  std::vector<std::string> entries_;
};

}  // namespace trelvis
