// trelvis: the desktop application. A tray icon; tap Alt over a word anywhere
// for its dictionary card, hold Alt and drag for a paragraph's translation.

#include <QApplication>
#include <QSocketNotifier>
#include <QTimer>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

#include "app/desktop_application.h"

namespace {

int signalPipe[2] = {-1, -1};

void onTerminationSignal(int) {
  const char byte = 1;
  // Nothing to do when the pipe is full: a quit is already on its way.
  [[maybe_unused]] const ssize_t written = write(signalPipe[1], &byte, 1);
}

// SIGINT and SIGTERM end the event loop, so that the application stops its
// translations and its taps as it does when the user quits.
void quitOnTerminationSignals(QApplication& app) {
  if (pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) != 0) return;
  auto* notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, &app);
  QObject::connect(notifier, &QSocketNotifier::activated, &app, [] { QCoreApplication::quit(); });
  struct sigaction action {};
  action.sa_handler = onTerminationSignal;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

// "--quit-after MS": quits that long after start-up, to time the start or the
// idle process from outside.
int quitAfterMilliseconds(int argc, char** argv) {
  for (int i = 1; i + 1 < argc; ++i) {
    if (std::string_view(argv[i]) == "--quit-after") return std::atoi(argv[i + 1]);
  }
  return -1;
}

}  // namespace

int main(int argc, char** argv) {
  const char* display = std::getenv("DISPLAY");
  if (display == nullptr || *display == '\0') {
    std::fprintf(stderr,
                 "trelvis: no X11 display (DISPLAY is not set). Run it in an X11 session, or "
                 "under Xvfb for a test: xvfb-run -a trelvis\n");
    return 2;
  }
  // Translation reads the screen and the keyboard through X11 itself.
  qputenv("QT_QPA_PLATFORM", "xcb");
  QApplication app(argc, argv);
  QApplication::setApplicationName("trelvis");
  QApplication::setQuitOnLastWindowClosed(false);
  quitOnTerminationSignals(app);
  try {
    trelvis::DesktopApplication desktop({});
    desktop.start();
    if (const int after = quitAfterMilliseconds(argc, argv); after >= 0) {
      QTimer::singleShot(after, &app, [] { QCoreApplication::quit(); });
    }
    const int status = QApplication::exec();
    desktop.stop();
    return status;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "trelvis: %s\n", error.what());
    return 1;
  }
}
