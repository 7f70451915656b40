#include "ui/qt_main_executor.h"

#include <QBasicTimer>
#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <QTimerEvent>

#include <algorithm>
#include <chrono>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "base/async/timer_queue.h"
#include "base/check.h"

namespace trelvis {
namespace {

const QEvent::Type kJobEvent = static_cast<QEvent::Type>(QEvent::registerEventType());
const QEvent::Type kRearmEvent = static_cast<QEvent::Type>(QEvent::registerEventType());

class JobEvent final : public QEvent {
 public:
  explicit JobEvent(Job job) : QEvent(kJobEvent), job(std::move(job)) {}
  Job job;  // destroyed unrun when the event is discarded
};

}  // namespace

struct QtMainExecutor::State {
  std::mutex mutex;
  Receiver* receiver = nullptr;  // main-thread object; null once closed
  detail::TimerQueue timers;

  bool isClosed() {
    std::lock_guard lock(mutex);
    return receiver == nullptr;
  }

  // Drops the delayed jobs and refuses later posts.
  void close() {
    std::vector<Job> dropped;  // destroyed after the lock
    std::lock_guard lock(mutex);
    receiver = nullptr;
    dropped = timers.takeAll();
    for (auto& job : timers.takeGarbage()) dropped.push_back(std::move(job));
  }
};

// The main-thread object the jobs are posted to. It belongs to the application
// object, so it goes with it; Qt then discards its pending events.
class QtMainExecutor::Receiver final : public QObject {
 public:
  Receiver(std::shared_ptr<State> state, std::weak_ptr<QtMainExecutor> executor)
      : QObject(QCoreApplication::instance()),
        state_(std::move(state)),
        executor_(std::move(executor)) {}

  // Its pending events are discarded by ~QObject after this, jobs and all.
  ~Receiver() override { state_->close(); }

  void rearm(std::optional<Instant> due, Instant now) {
    if (!due) {
      timer_.stop();
      return;
    }
    // Whole milliseconds, rounded up: a timer never fires before its due time.
    auto wait = std::chrono::ceil<std::chrono::milliseconds>(*due - now);
    timer_.start(static_cast<int>(std::max<int64_t>(wait.count(), 0)), Qt::PreciseTimer, this);
  }

 protected:
  bool event(QEvent* event) override {
    if (event->type() == kJobEvent) {
      // After shutdown, jobs still queued before the receiver's deletion are dropped.
      Job job = std::move(static_cast<JobEvent*>(event)->job);
      auto executor = executor_.lock();
      if (executor && !state_->isClosed()) executor->run(job);
      return true;
    }
    if (event->type() == kRearmEvent) {
      if (auto executor = executor_.lock()) executor->postDueTimers();
      return true;
    }
    return QObject::event(event);
  }

  void timerEvent(QTimerEvent* event) override {
    if (event->timerId() != timer_.timerId()) return;
    if (auto executor = executor_.lock()) executor->postDueTimers();
  }

 private:
  std::shared_ptr<State> state_;
  std::weak_ptr<QtMainExecutor> executor_;
  QBasicTimer timer_;
};

std::shared_ptr<QtMainExecutor> QtMainExecutor::create() {
  TRELVIS_DCHECK(QCoreApplication::instance() != nullptr, "the UI executor needs an application");
  std::shared_ptr<QtMainExecutor> executor(new QtMainExecutor());
  executor->state_ = std::make_shared<State>();
  executor->state_->receiver = new Receiver(executor->state_, executor);
  return executor;
}

QtMainExecutor::~QtMainExecutor() {
  // Whoever drops the last reference, the receiver is deleted on its own thread.
  std::lock_guard lock(state_->mutex);
  if (state_->receiver != nullptr) state_->receiver->deleteLater();
}

void QtMainExecutor::post(Job job) {
  std::lock_guard lock(state_->mutex);
  if (state_->receiver == nullptr) return;  // `job` is destroyed after the lock
  QCoreApplication::postEvent(state_->receiver, new JobEvent(std::move(job)));
}

TimerHandle QtMainExecutor::postAfter(Duration delay, Job job) {
  auto handle = TimerHandle::make();
  std::lock_guard lock(state_->mutex);
  if (state_->receiver == nullptr) return handle;
  Instant due = now() + delay;
  auto earliest = state_->timers.nextDue();
  state_->timers.add(due, handle, handle.guard(std::move(job)));
  // Only an earlier due time moves the timer, which lives on the main thread.
  if (!earliest || due < *earliest) {
    QCoreApplication::postEvent(state_->receiver, new QEvent(kRearmEvent));
  }
  return handle;
}

Instant QtMainExecutor::now() const {
  return MonotonicClock::read();
}

void QtMainExecutor::shutdown() {
  {
    std::lock_guard lock(state_->mutex);
    if (state_->receiver == nullptr) return;
    // Its pending events, jobs and all, are discarded with it.
    state_->receiver->deleteLater();
  }
  state_->close();
}

void QtMainExecutor::run(Job& job) {
  ScopedCurrent scope(this);
  job();
}

void QtMainExecutor::postDueTimers() {
  std::vector<Job> garbage;  // destroyed after the lock
  std::lock_guard lock(state_->mutex);
  if (state_->receiver == nullptr) return;
  // A due job is posted behind what is already queued, as if posted just now.
  for (auto& job : state_->timers.takeDue(now())) {
    QCoreApplication::postEvent(state_->receiver, new JobEvent(std::move(job)));
  }
  garbage = state_->timers.takeGarbage();
  state_->receiver->rearm(state_->timers.nextDue(), now());
}

}  // namespace trelvis
