#pragma once

// QtNetworkPathObserver: the network path as QNetworkInformation sees it. Only a
// disconnected reachability counts as unavailable; a desktop without a
// reachability backend, or one that does not know, counts as available, so that
// no missing plugin keeps the application offline. Main thread.

#include <functional>
#include <memory>

#include "core/mainwindow/main_window_services.h"

class QObject;

namespace trelvis {

class QtNetworkPathObserver final : public NetworkPathObserver {
 public:
  QtNetworkPathObserver();
  ~QtNetworkPathObserver() override;

  // Reports the first reading from the event loop, then every change.
  void start(std::function<void(bool available)> onChange) override;
  void cancel() override;

 private:
  std::unique_ptr<QObject> context_;  // owns the connections while started
};

}  // namespace trelvis
