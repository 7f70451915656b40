#pragma once

// TrayIcon: the application's status icon (a StatusNotifierItem where the desktop
// has a watcher for one, the older system tray otherwise) and its menu: open the
// main window, open its settings, quit. Features add their entries to menu() as
// they arrive. The composition root sets the callbacks. The menu retranslates
// itself when the interface language changes. Main thread, with the QApplication.

#include <QIcon>

#include <functional>
#include <memory>

class QAction;
class QMenu;
class QSystemTrayIcon;

namespace trelvis {

class TrayIcon {
 public:
  // `iconColor` is the colour of the monochrome glyph; the panels of most Linux
  // desktops are dark, so the default is a light grey.
  explicit TrayIcon(const QColor& iconColor = QColor(0xE8, 0xE8, 0xE8));
  ~TrayIcon();
  TrayIcon(const TrayIcon&) = delete;
  TrayIcon& operator=(const TrayIcon&) = delete;

  void show();
  void hide();

  QMenu& menu();
  QAction& openMainWindowAction();
  QAction& openSettingsAction();
  QAction& quitAction();
  QSystemTrayIcon& systemTrayIcon();

  // A click on the icon itself opens the main window too.
  std::function<void()> onOpenMainWindow;
  std::function<void()> onOpenSettings;
  std::function<void()> onQuit;

  // The icon, drawn at the sizes trays ask for.
  static QIcon makeIcon(const QColor& color);

 private:
  class Retranslator;
  void retranslate();

  std::unique_ptr<QMenu> menu_;
  std::unique_ptr<QSystemTrayIcon> tray_;
  QAction* openMainWindow_;
  QAction* openSettings_;
  QAction* quit_;
  std::unique_ptr<Retranslator> retranslator_;
};

}  // namespace trelvis
