#include "ui/qt_network_path_observer.h"

#include <QCoreApplication>
#include <QDeadlineTimer>

#include <gtest/gtest.h>

#include <vector>

namespace trelvis {
namespace {

// Without any reachability backend (no plugin path), the network counts as
// available; a cancelled observer reports nothing more.
TEST(QtNetworkPathObserverTest, WithoutABackendTheNetworkIsAvailableAndCancelSilencesIt) {
  int argc = 1;
  char name[] = "qt_network_path_observer_test";
  char* argv[] = {name, nullptr};
  QCoreApplication app(argc, argv);
  QCoreApplication::setLibraryPaths({});

  auto drain = [] {
    QDeadlineTimer deadline(200);
    while (!deadline.hasExpired()) QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
  };

  QtNetworkPathObserver observer;
  std::vector<bool> reports;
  observer.start([&](bool available) { reports.push_back(available); });
  drain();
  EXPECT_EQ(reports, std::vector<bool>{true});

  observer.start([&](bool available) { reports.push_back(available); });
  observer.cancel();
  drain();
  EXPECT_EQ(reports, std::vector<bool>{true});
}

}  // namespace
}  // namespace trelvis
