#include "ui/qt_test_application.h"

#include <gtest/gtest.h>

#include <QDeadlineTimer>
#include <QEventLoop>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "platform/x11/x11_test_display.h"

namespace trelvis::testing {
namespace {

std::unique_ptr<QApplication>& application() {
  static std::unique_ptr<QApplication> app;
  return app;
}

char runtimeDirectory[] = "/tmp/trelvis-ui-test-XXXXXX";

// The interface scale a run asks for (TRELVIS_TEST_SCALE_FACTOR), never the
// caller's own QT_SCALE_FACTOR.
int testScaleFactor() {
  const char* scale = getenv("TRELVIS_TEST_SCALE_FACTOR");
  return scale ? std::max(1, std::atoi(scale)) : 1;
}

// Destroys the application after the last test, while the X server still runs.
class ApplicationEnvironment final : public ::testing::Environment {
 public:
  void TearDown() override {
    if (!application()) return;
    application().reset();
    std::filesystem::remove_all(runtimeDirectory);
  }
};
[[maybe_unused]] const ::testing::Environment* const kEnvironment =
    ::testing::AddGlobalTestEnvironment(new ApplicationEnvironment);

}  // namespace

// A run at a chosen interface scale gets a screen as much larger, so that the
// same device-independent layout fits on it.
const std::string& QtTestApplication::displayName() {
  const int factor = testScaleFactor();
  if (factor == 1) return Xvfb::shared().displayName();
  static Xvfb scaled(Xvfb::Options{.width = 1280 * factor, .height = 1024 * factor});
  return scaled.displayName();
}

QApplication& QtTestApplication::instance() {
  std::unique_ptr<QApplication>& app = application();
  if (app) return *app;
  if (!mkdtemp(runtimeDirectory)) ADD_FAILURE() << "no runtime directory";
  setenv("XDG_RUNTIME_DIR", runtimeDirectory, 1);
  setenv("DISPLAY", displayName().c_str(), 1);
  setenv("QT_QPA_PLATFORM", "xcb", 1);
  // No GL probing, no session bus: neither is needed, and both bring noise.
  setenv("QT_XCB_GL_INTEGRATION", "none", 1);
  setenv("DBUS_SESSION_BUS_ADDRESS", "disabled:", 1);
  if (const int factor = testScaleFactor(); factor > 1) {
    setenv("QT_SCALE_FACTOR", std::to_string(factor).c_str(), 1);
  } else {
    unsetenv("QT_SCALE_FACTOR");
  }
  static int argc = 1;
  static char name[] = "trelvis-ui-test";
  static char* argv[] = {name, nullptr};
  app = std::make_unique<QApplication>(argc, argv);
  return *app;
}

bool QtTestApplication::runUntil(const std::function<bool()>& done,
                                 std::chrono::milliseconds timeout) {
  QDeadlineTimer deadline(timeout);
  while (!done()) {
    if (deadline.hasExpired()) return false;
    QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
  }
  return true;
}

void QtTestApplication::settle() {
  for (int round = 0; round < 5; ++round) QCoreApplication::processEvents();
}

}  // namespace trelvis::testing
