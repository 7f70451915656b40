#pragma once

// Test helpers for real HTTP on the loopback interface: LoopbackServer runs a
// cpp-httplib server on 127.0.0.1 at a port of its choosing, on its own thread;
// Gate holds server handlers until the test lets them go on. Only tests that link
// cpp-httplib include this.

#include <httplib.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

namespace trelvis {

// Where server handlers wait until the test lets them go on. The wait is bounded
// so that a failing test never leaves a server thread stuck.
class Gate {
 public:
  void open() {
    {
      std::lock_guard lock(mutex_);
      open_ = true;
    }
    opened_.notify_all();
  }
  bool wait() {
    std::unique_lock lock(mutex_);
    return opened_.wait_for(lock, std::chrono::seconds(5), [&] { return open_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable opened_;
  bool open_ = false;
};

// An httplib server on 127.0.0.1, at a port of its choosing, on its own thread.
// Add routes before start().
template <class Server = httplib::Server>
class LoopbackServer {
 public:
  template <class... Args>
  explicit LoopbackServer(Args&&... args)
      : server_(std::make_unique<Server>(std::forward<Args>(args)...)) {}
  ~LoopbackServer() {
    if (!thread_.joinable()) return;
    server_->stop();
    thread_.join();
  }

  Server& operator*() { return *server_; }
  Server* operator->() { return server_.get(); }

  void start() {
    port_ = server_->bind_to_any_port("127.0.0.1");
    ASSERT_GT(port_, 0);
    thread_ = std::thread([this] { server_->listen_after_bind(); });
    // stop() does nothing to a server that is not running yet.
    while (!server_->is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }

  std::string url(const std::string& path, const char* scheme = "http") const {
    return std::string(scheme) + "://127.0.0.1:" + std::to_string(port_) + path;
  }

 private:
  std::unique_ptr<Server> server_;
  std::thread thread_;
  int port_ = 0;
};

}  // namespace trelvis
