#include "ui/tray_icon.h"

#include <QAction>
#include <QEvent>
#include <QMenu>
#include <QSystemTrayIcon>

#include "ui/card_theme.h"
#include "ui/localization.h"

namespace trelvis {

// Watches the menu for the application's language change, which Qt sends to
// every widget when the catalogue is swapped.
class TrayIcon::Retranslator final : public QObject {
 public:
  explicit Retranslator(TrayIcon& owner) : owner_(owner) {}
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() == QEvent::LanguageChange) owner_.retranslate();
    return QObject::eventFilter(watched, event);
  }

 private:
  TrayIcon& owner_;
};

TrayIcon::TrayIcon(const QColor& iconColor)
    : menu_(std::make_unique<QMenu>()),
      tray_(std::make_unique<QSystemTrayIcon>()),
      retranslator_(std::make_unique<Retranslator>(*this)) {
  openMainWindow_ = menu_->addAction(QString());
  openMainWindow_->setObjectName(QStringLiteral("tray-open-main-window"));
  openSettings_ = menu_->addAction(QString());
  openSettings_->setObjectName(QStringLiteral("tray-open-settings"));
  menu_->addSeparator();
  quit_ = menu_->addAction(QString());
  quit_->setObjectName(QStringLiteral("tray-quit"));
  QObject::connect(openMainWindow_, &QAction::triggered, menu_.get(), [this] {
    if (onOpenMainWindow) onOpenMainWindow();
  });
  QObject::connect(openSettings_, &QAction::triggered, menu_.get(), [this] {
    if (onOpenSettings) onOpenSettings();
  });
  QObject::connect(quit_, &QAction::triggered, menu_.get(), [this] {
    if (onQuit) onQuit();
  });
  QObject::connect(tray_.get(), &QSystemTrayIcon::activated, menu_.get(),
                   [this](QSystemTrayIcon::ActivationReason reason) {
                     if (reason == QSystemTrayIcon::Trigger && onOpenMainWindow) {
                       onOpenMainWindow();
                     }
                   });
  tray_->setIcon(makeIcon(iconColor));
  tray_->setContextMenu(menu_.get());
  menu_->installEventFilter(retranslator_.get());
  retranslate();
}

TrayIcon::~TrayIcon() {
  menu_->removeEventFilter(retranslator_.get());
  tray_->hide();
}

void TrayIcon::show() {
  tray_->show();
}

void TrayIcon::hide() {
  tray_->hide();
}

QMenu& TrayIcon::menu() {
  return *menu_;
}

QAction& TrayIcon::openMainWindowAction() {
  return *openMainWindow_;
}

QAction& TrayIcon::openSettingsAction() {
  return *openSettings_;
}

QAction& TrayIcon::quitAction() {
  return *quit_;
}

QSystemTrayIcon& TrayIcon::systemTrayIcon() {
  return *tray_;
}

QIcon TrayIcon::makeIcon(const QColor& color) {
  QIcon icon;
  // Trays ask for 16 to 48 pixels, times the screen's ratio.
  for (const int pixels : {16, 22, 24, 32, 44, 48, 64, 96}) {
    icon.addPixmap(tintedPixmap(QStringLiteral("tray"), color, pixels));
  }
  return icon;
}

void TrayIcon::retranslate() {
  openMainWindow_->setText(Localization::text("tray.openMainWindow"));
  openSettings_->setText(Localization::text("tray.openSettings"));
  quit_->setText(Localization::text("tray.quit"));
  tray_->setToolTip(Localization::text("tray.tooltip"));
}

}  // namespace trelvis
