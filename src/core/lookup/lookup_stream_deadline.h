#pragma once

// LookupStreamDeadline: a re-armable deadline over a running event stream. The
// API client arms it for the first event and re-arms it after every dispatched
// block; when it expires, the stream ends with LookupTransportError::timeout
// of the armed phase and the worker that feeds the stream is cancelled. Its
// timers run on the given executor (the client's) and hold it weakly.

#include <cstdint>
#include <memory>
#include <mutex>

#include "base/async/async_stream.h"
#include "base/async/task.h"
#include "core/lookup/lookup_model.h"

namespace trelvis {

class LookupStreamDeadline : public std::enable_shared_from_this<LookupStreamDeadline> {
 public:
  using EventContinuation = AsyncStream<LookupStreamEvent>::Continuation;

  LookupStreamDeadline(std::shared_ptr<Executor> executor, EventContinuation continuation);

  // Starts a new deadline `after` from now, replacing the armed one.
  void arm(Duration after, LookupTimeoutPhase phase);
  // The stream has ended by itself: no deadline any more.
  void stop();
  // The consumer has gone: no deadline, and the worker is cancelled.
  void cancel();
  // The task that feeds the stream; cancelled at once when already stopped.
  void bind(Task<void> worker);

 private:
  void expire(uint64_t generation, LookupTimeoutPhase phase);

  std::shared_ptr<Executor> executor_;
  EventContinuation continuation_;
  std::mutex mutex_;
  uint64_t generation_ = 0;
  bool stopped_ = false;
  Task<void> timer_;
  Task<void> worker_;
};

}  // namespace trelvis
