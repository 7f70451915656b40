#pragma once

// The delayed jobs of an executor implementation, ordered by due time and then
// by the order they were added. Not thread-safe: the owner locks.

#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "base/async/executor.h"

namespace trelvis::detail {

class TimerQueue {
 public:
  // `job` is taken when due unless `handle` has been cancelled by then. The
  // owner guards the job itself (TimerHandle::guard) where it hands it on.
  void add(Instant due, TimerHandle handle, Job job) {
    entries_.emplace(Key{due, nextSequence_++}, Entry{std::move(handle), std::move(job)});
  }

  // The due time of the earliest job that is not cancelled.
  std::optional<Instant> nextDue() {
    dropCancelledFront();
    if (entries_.empty()) return std::nullopt;
    return entries_.begin()->first.due;
  }

  // Removes the jobs due at or before `now`, in order.
  std::vector<Job> takeDue(Instant now) {
    std::vector<Job> due;
    for (auto it = entries_.begin(); it != entries_.end() && it->first.due <= now;) {
      auto node = entries_.extract(it++);
      auto& entry = node.mapped();
      if (entry.isCancelled()) {
        garbage_.push_back(std::move(entry.job));
        continue;
      }
      due.push_back(std::move(entry.job));
    }
    return due;
  }

  // Cancelled jobs that were dropped. Destroying a job can post (a dropped
  // continuation resumes its task), so the owner destroys them outside its lock.
  std::vector<Job> takeGarbage() { return std::exchange(garbage_, {}); }

  std::size_t activeCount() const {
    std::size_t n = 0;
    for (const auto& [key, entry] : entries_) n += entry.isCancelled() ? 0 : 1;
    return n;
  }

  // Hands every job over, for destruction outside the owner's lock.
  std::vector<Job> takeAll() {
    std::vector<Job> all;
    for (auto& [key, entry] : entries_) all.push_back(std::move(entry.job));
    entries_.clear();
    return all;
  }

 private:
  struct Key {
    Instant due;
    uint64_t sequence;
    bool operator<(const Key& other) const {
      return due != other.due ? due < other.due : sequence < other.sequence;
    }
  };
  struct Entry {
    TimerHandle handle;
    Job job;
    bool isCancelled() const { return handle.isCancelled(); }
  };

  void dropCancelledFront() {
    while (!entries_.empty() && entries_.begin()->second.isCancelled()) {
      garbage_.push_back(std::move(entries_.begin()->second.job));
      entries_.erase(entries_.begin());
    }
  }

  std::map<Key, Entry> entries_;
  std::vector<Job> garbage_;
  uint64_t nextSequence_ = 0;
};

}  // namespace trelvis::detail
