#pragma once

// The QApplication of a widget test program, on a private Xvfb through Qt's xcb
// platform: created on first use, with its own runtime directory and no session
// bus (so nothing of the user's desktop is reached), and destroyed after the last
// test. The X server is the shared one of the program (Xvfb::shared()).

#include <QApplication>

#include <chrono>
#include <functional>
#include <string>

namespace trelvis::testing {

class QtTestApplication {
 public:
  static QApplication& instance();
  static const std::string& displayName();

  // Handles events until `done` holds (true) or `timeout` passes (false).
  static bool runUntil(const std::function<bool()>& done,
                       std::chrono::milliseconds timeout = std::chrono::seconds(5));
  // Handles what is queued now, and what that queues in turn.
  static void settle();
};

}  // namespace trelvis::testing
