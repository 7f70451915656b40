#include "platform/x11/x11_event_thread.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <utility>

#include "base/check.h"
#include "base/log.h"

namespace trelvis::x11 {
namespace {

const LogCategory kLog("x11");

}  // namespace

EventThread::EventThread() : wakeFd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

EventThread::~EventThread() {
  requestStop();
  join();
  if (wakeFd_ >= 0) close(wakeFd_);
}

bool EventThread::start(std::string displayName, std::string threadName, Hooks hooks) {
  TRELVIS_DCHECK(!thread_.joinable(), "an EventThread starts once");
  if (wakeFd_ < 0) {
    kLog.error("cannot create the wake-up eventfd of {}: errno {}", threadName, errno);
    return false;
  }
  hooks_ = std::move(hooks);
  std::promise<bool> started;
  std::future<bool> result = started.get_future();
  thread_ =
      std::thread(&EventThread::run, this, std::move(displayName), std::move(threadName), &started);
  if (result.get()) return true;
  join();
  return false;
}

void EventThread::requestStop() {
  stopRequested_.store(true, std::memory_order_release);
  wake();
}

void EventThread::join() {
  if (!thread_.joinable()) return;
  TRELVIS_DCHECK(thread_.get_id() != std::this_thread::get_id(),
                 "the event thread cannot wait for itself");
  thread_.join();
}

bool EventThread::invoke(const std::function<void(Connection&)>& work) {
  TRELVIS_DCHECK(thread_.get_id() != std::this_thread::get_id(),
                 "the event thread cannot wait for itself");
  Command command{&work};
  std::unique_lock lock(mutex_);
  if (!acceptingCommands_) return false;
  commands_.push_back(&command);
  lock.unlock();
  wake();
  lock.lock();
  commandFinished_.wait(lock, [&] { return command.finished; });
  return command.ran;
}

void EventThread::wake() {
  if (wakeFd_ < 0) return;
  const uint64_t one = 1;
  // A full counter (never in practice) still leaves the fd readable, which is all
  // that matters.
  [[maybe_unused]] ssize_t written = write(wakeFd_, &one, sizeof one);
}

void EventThread::run(std::string displayName, std::string threadName,
                      std::promise<bool>* started) {
  pthread_setname_np(pthread_self(), threadName.substr(0, 15).c_str());
  std::unique_ptr<Connection> connection = Connection::open(displayName);
  if (!connection) {
    kLog.error("{}: cannot open the X display \"{}\"", threadName, displayName);
  }
  if (!connection || !hooks_.setUp(*connection)) {
    connection.reset();
    exited_.store(true, std::memory_order_release);
    started->set_value(false);
    return;
  }
  {
    std::lock_guard lock(mutex_);
    acceptingCommands_ = true;
  }
  started->set_value(true);
  loop(*connection);
  refuseCommands();
  if (hooks_.tearDown) hooks_.tearDown(*connection);
  connection.reset();
  exited_.store(true, std::memory_order_release);
}

void EventThread::loop(Connection& connection) {
  Display* display = connection.display();
  const int xfd = ConnectionNumber(display);
  pollfd fds[2] = {{xfd, POLLIN | POLLRDHUP, 0}, {wakeFd_, POLLIN, 0}};
  while (!isStopRequested()) {
    runCommands(connection);
    // XPending flushes what the hooks sent and reads what has arrived; events
    // that a round trip queued earlier are in its count too, so nothing waits
    // in Xlib's queue while the thread sleeps.
    while (!isStopRequested() && !connection.isBroken() && XPending(display) > 0) {
      XEvent event;
      XNextEvent(display, &event);
      hooks_.handleEvent(connection, event);
    }
    if (connection.isBroken()) return;  // logged where Xlib noticed it
    if (isStopRequested()) return;
    fds[0].revents = 0;
    fds[1].revents = 0;
    if (poll(fds, 2, -1) < 0 && errno != EINTR) {
      kLog.error("poll on the X connection failed: errno {}", errno);
      return;
    }
    if (fds[0].revents & (POLLRDHUP | POLLHUP | POLLERR | POLLNVAL)) {
      // The server closed its end. Once what it sent before is read, stop here
      // rather than let Xlib run into the end of the stream: its handling of
      // that, when the process is to go on, is not sound.
      char byte = 0;
      const ssize_t peeked = recv(xfd, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
      if (peeked == 0 || (peeked < 0 && errno != EAGAIN && errno != EINTR)) {
        connection.markBroken();
        return;
      }
    }
    if (fds[1].revents & POLLIN) {
      uint64_t count = 0;
      [[maybe_unused]] ssize_t got = read(wakeFd_, &count, sizeof count);
    }
  }
}

void EventThread::runCommands(Connection& connection) {
  std::deque<Command*> commands;
  {
    std::lock_guard lock(mutex_);
    commands.swap(commands_);
  }
  if (commands.empty()) return;
  for (Command* command : commands) (*command->work)(connection);
  {
    std::lock_guard lock(mutex_);
    for (Command* command : commands) {
      command->ran = true;
      command->finished = true;
    }
  }
  commandFinished_.notify_all();
}

void EventThread::refuseCommands() {
  {
    std::lock_guard lock(mutex_);
    acceptingCommands_ = false;
    for (Command* command : commands_) command->finished = true;
    commands_.clear();
  }
  commandFinished_.notify_all();
}

}  // namespace trelvis::x11
