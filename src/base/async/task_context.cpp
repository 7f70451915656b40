#include "base/async/task_context.h"

#include <utility>

#include "base/check.h"

namespace trelvis {
namespace {

thread_local TaskContext* currentContext = nullptr;

class ScopedCurrentContext {
 public:
  explicit ScopedCurrentContext(TaskContext* context) : previous_(currentContext) {
    currentContext = context;
  }
  ~ScopedCurrentContext() { currentContext = previous_; }
  ScopedCurrentContext(const ScopedCurrentContext&) = delete;
  ScopedCurrentContext& operator=(const ScopedCurrentContext&) = delete;

 private:
  TaskContext* previous_;
};

}  // namespace

TaskContext::TaskContext(std::shared_ptr<Executor> executor) : executor_(std::move(executor)) {
  TRELVIS_DCHECK(executor_ != nullptr, "a task needs an executor");
}

TaskContext::~TaskContext() = default;

TaskContext* TaskContext::current() {
  return currentContext;
}

void TaskContext::cancel() {
  std::unique_lock lock(mutex_);
  if (cancelled_.exchange(true, std::memory_order_acq_rel)) return;
  // Handlers run one at a time, taken off the list just before they run, so that
  // a registration ended meanwhile simply leaves the list.
  while (auto* r = handlers_) {
    handlers_ = r->next_;
    if (handlers_ != nullptr) handlers_->previous_ = nullptr;
    r->state_ = CancellationRegistration::State::running;
    r->runningOn_ = std::this_thread::get_id();
    lock.unlock();
    r->handler_();
    lock.lock();
    r->state_ = CancellationRegistration::State::finished;
    handlerFinished_.notify_all();
  }
}

void TaskContext::resumeLater(std::coroutine_handle<> coroutine) {
  executor_->post(ResumeJob(shared_from_this(), coroutine));
}

void TaskContext::resumeNow(std::coroutine_handle<> coroutine) {
  // Keeps the context alive even when the coroutine finishes and frees its frame.
  auto self = shared_from_this();
  {
    ScopedCurrentContext scope(this);
    coroutine.resume();
  }
  if (abandonWhenSuspended_) {
    abandonWhenSuspended_ = false;
    abandon();
  }
}

void TaskContext::abandon() {
  // Keeps the context alive while its frame, which owns a reference, goes.
  auto self = shared_from_this();
  if (current() == this) {
    abandonWhenSuspended_ = true;
    return;
  }
  void* root = root_.exchange(nullptr);
  if (root == nullptr) return;
  std::coroutine_handle<>::from_address(root).destroy();
  onAbandoned();
}

CancellationRegistration::CancellationRegistration(TaskContext& context, Job handler, int)
    : context_(context), handler_(std::move(handler)) {
  {
    std::lock_guard lock(context_.mutex_);
    if (!context_.isCancelled()) {
      next_ = context_.handlers_;
      if (next_ != nullptr) next_->previous_ = this;
      context_.handlers_ = this;
      return;
    }
    state_ = State::finished;
  }
  handler_();
}

CancellationRegistration::~CancellationRegistration() {
  std::unique_lock lock(context_.mutex_);
  switch (state_) {
    case State::registered:
      if (previous_ != nullptr) {
        previous_->next_ = next_;
      } else {
        context_.handlers_ = next_;
      }
      if (next_ != nullptr) next_->previous_ = previous_;
      break;
    case State::running:
      TRELVIS_DCHECK(runningOn_ != std::this_thread::get_id(),
                     "a cancellation handler must not end its own registration");
      context_.handlerFinished_.wait(lock, [this] { return state_ == State::finished; });
      break;
    case State::finished:
      break;
  }
}

bool isCancelled() {
  auto* context = TaskContext::current();
  return context != nullptr && context->isCancelled();
}

void checkCancellation() {
  if (isCancelled()) throw CancellationError();
}

}  // namespace trelvis
