#include "ui/qt_network_path_observer.h"

#include <QNetworkInformation>
#include <QObject>
#include <QTimer>

#include "base/log.h"

namespace trelvis {
namespace {

const LogCategory kLog("network-path");

bool isAvailable(QNetworkInformation::Reachability reachability) {
  return reachability != QNetworkInformation::Reachability::Disconnected;
}

bool currentlyAvailable() {
  auto* information = QNetworkInformation::instance();
  return !information || isAvailable(information->reachability());
}

}  // namespace

QtNetworkPathObserver::QtNetworkPathObserver() = default;
QtNetworkPathObserver::~QtNetworkPathObserver() = default;

void QtNetworkPathObserver::start(std::function<void(bool)> onChange) {
  cancel();
  context_ = std::make_unique<QObject>();
  if (!QNetworkInformation::instance() && !QNetworkInformation::loadDefaultBackend()) {
    kLog.info("no reachability backend; the network counts as available");
  }
  if (auto* information = QNetworkInformation::instance()) {
    QObject::connect(information, &QNetworkInformation::reachabilityChanged, context_.get(),
                     [onChange](QNetworkInformation::Reachability reachability) {
                       onChange(isAvailable(reachability));
                     });
  }
  QTimer::singleShot(0, context_.get(), [onChange] { onChange(currentlyAvailable()); });
}

void QtNetworkPathObserver::cancel() {
  context_.reset();
}

}  // namespace trelvis
