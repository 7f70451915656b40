#pragma once

// x11::EventThread: a dedicated thread that owns one X connection and reads its
// events. The X11 taps and the hot-key registrar each run one. The thread sleeps
// in poll() on the connection and a wake-up eventfd, so an idle thread costs no
// CPU; the connection is only ever used on this thread, and other threads reach
// it through invoke(). One start per object; destroying it stops and joins the
// thread.
//
// Internal to src/platform/x11: it includes Xlib, so only .cpp files include it.

#include <X11/Xlib.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "platform/x11/x11_connection.h"

namespace trelvis::x11 {

class EventThread {
 public:
  struct Hooks {
    // Right after the connection opened, on the thread; false ends the thread.
    std::function<bool(Connection&)> setUp;
    // Each event, in order, on the thread.
    std::function<void(Connection&, XEvent&)> handleEvent;
    // Before the connection closes, on the thread, when setUp succeeded.
    std::function<void(Connection&)> tearDown;
  };

  EventThread();
  ~EventThread();
  EventThread(const EventThread&) = delete;
  EventThread& operator=(const EventThread&) = delete;

  // Starts the thread with the OS name `threadName` (15 characters at most),
  // opens `displayName` ($DISPLAY when empty) there and runs setUp. Returns once
  // setUp has run: false, with the thread ended, when the display cannot be
  // opened or setUp fails.
  bool start(std::string displayName, std::string threadName, Hooks hooks);

  // Asks the thread to end and returns at once. Any thread, the event thread too.
  void requestStop();
  bool isStopRequested() const { return stopRequested_.load(std::memory_order_acquire); }
  // Whether the thread has left its loop (or never got there).
  bool hasExited() const { return exited_.load(std::memory_order_acquire); }
  // Waits for the thread to end. Not on the event thread itself.
  void join();

  // Runs `work` on the event thread with its connection and waits until it has
  // run. False, without running it, when the thread is not (or no longer) running.
  // Not on the event thread itself.
  bool invoke(const std::function<void(Connection&)>& work);

 private:
  struct Command {
    const std::function<void(Connection&)>* work;
    bool finished = false;
    bool ran = false;
  };

  void run(std::string displayName, std::string threadName, std::promise<bool>* started);
  void loop(Connection& connection);
  void runCommands(Connection& connection);
  void refuseCommands();
  void wake();

  Hooks hooks_;
  int wakeFd_ = -1;
  std::thread thread_;
  std::atomic<bool> stopRequested_{false};
  std::atomic<bool> exited_{false};
  std::mutex mutex_;
  std::condition_variable commandFinished_;
  std::deque<Command*> commands_;
  bool acceptingCommands_ = false;
};

}  // namespace trelvis::x11
