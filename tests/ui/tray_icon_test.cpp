#include "ui/tray_icon.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QDir>
#include <QImage>
#include <QMenu>
#include <QPainter>
#include <QSystemTrayIcon>

#include <string>
#include <vector>

#include "core/prefs/app_language_store.h"
#include "core/prefs/in_memory_preference_store.h"
#include "ui/localization.h"
#include "ui/qt_test_application.h"

namespace trelvis {
namespace {

using testing::QtTestApplication;

TEST(TrayIconTest, OffersTheMainWindowAndQuitInTheInterfaceLanguage) {
  QtTestApplication::instance();
  InMemoryPreferenceStore preferences;
  AppLanguageStore languages(preferences);
  languages.setPreference(AppLanguagePreference::english);
  Localization localization(languages);
  TrayIcon tray;
  std::vector<std::string> calls;
  tray.onOpenMainWindow = [&] {
    calls.push_back("open");
  };
  tray.onOpenSettings = [&] {
    calls.push_back("settings");
  };
  tray.onQuit = [&] {
    calls.push_back("quit");
  };

  ASSERT_EQ(tray.menu().actions().size(), 4);  // with a separator before quitting
  EXPECT_EQ(tray.openMainWindowAction().text(), "Open Trelvis");
  EXPECT_EQ(tray.openSettingsAction().text(), "Settings…");
  EXPECT_EQ(tray.quitAction().text(), "Quit Trelvis");
  tray.openMainWindowAction().trigger();
  tray.openSettingsAction().trigger();
  tray.quitAction().trigger();
  // A click on the icon opens the window; other activations leave it alone.
  Q_EMIT tray.systemTrayIcon().activated(QSystemTrayIcon::Trigger);
  Q_EMIT tray.systemTrayIcon().activated(QSystemTrayIcon::Context);
  EXPECT_EQ(calls, (std::vector<std::string>{"open", "settings", "quit", "open"}));

  languages.setPreference(AppLanguagePreference::simplifiedChinese);
  QtTestApplication::settle();
  EXPECT_EQ(tray.quitAction().text(), "退出 Trelvis");

  // The glyph is drawn, in the colour asked for, at the sizes trays use.
  const QIcon icon = TrayIcon::makeIcon(QColor(0x20, 0x30, 0x40));
  for (const int size : {16, 22, 48}) {
    const QImage image = icon.pixmap(size).toImage();
    ASSERT_EQ(image.width(), size);
    int inked = 0;
    for (int y = 0; y < size; ++y) {
      for (int x = 0; x < size; ++x) {
        const QColor pixel = image.pixelColor(x, y);
        if (pixel.alpha() < 160) continue;
        ++inked;
        EXPECT_NEAR(pixel.red(), 0x20, 3);
        EXPECT_NEAR(pixel.green(), 0x30, 3);
        EXPECT_NEAR(pixel.blue(), 0x40, 3);
      }
    }
    EXPECT_GT(inked, size) << size;
  }
  // For a person to look at: the shipped light glyph at 22 and 96 pixels, on a
  // dark and on a light panel.
  QImage panels(2 * 128, 128, QImage::Format_ARGB32_Premultiplied);
  panels.fill(QColor(0x2B, 0x2B, 0x2E));
  {
    QPainter painter(&panels);
    painter.fillRect(128, 0, 128, 128, QColor(0xF0, 0xF0, 0xF0));
    const QIcon shipped = TrayIcon::makeIcon(QColor(0xE8, 0xE8, 0xE8));
    for (const int panel : {0, 128}) {
      shipped.paint(&painter, QRect(panel + 8, 8, 22, 22));
      shipped.paint(&painter, QRect(panel + 16, 28, 96, 96));
    }
  }
  ASSERT_TRUE(QDir().mkpath(QStringLiteral(TRELVIS_SCREENSHOT_DIR)));
  EXPECT_TRUE(panels.save(QStringLiteral(TRELVIS_SCREENSHOT_DIR "/tray-icon.png")));
}

}  // namespace
}  // namespace trelvis
