// The desktop application whole, on a private Xvfb: its real X11 taps, capture
// and windows, driven by XTest input as a person's keyboard and mouse would,
// against a scripted loopback server and against the real trelvis-server.

#include "e2e/desktop_rig.h"

#include <QScreen>

#include <algorithm>
#include <cmath>

#include <gtest/gtest.h>

#include "core/mainwindow/main_window_model.h"
#include "support/jpeg_decoding.h"
#include "ui/main_window.h"

namespace trelvis::testing {
namespace {

class DesktopEndToEndTest : public ::testing::Test {
 protected:
  void startApplication(const std::string& baseUrl,
                        const std::optional<std::string>& refreshToken) {
    rig_.startApplication(baseUrl, refreshToken);
    ASSERT_TRUE(!refreshToken || rig_.app().environment().shortcutController().isStarted());
  }
  // The whole screen once the card has settled, for people to look at.
  static void saveScreen(const char* name) {
    QtTestApplication::runUntil([] { return false; }, 300ms);
    QGuiApplication::primaryScreen()->grabWindow(0).save(
        QString::fromUtf8(TRELVIS_SCREENSHOT_DIR) + "/" + name);
  }

  DesktopRig rig_;
};

// How far `point` lies outside `rect` (0 inside).
int distance(const QRect& rect, QPoint point) {
  const int dx = std::max({rect.left() - point.x(), 0, point.x() - rect.right()});
  const int dy = std::max({rect.top() - point.y(), 0, point.y() - rect.bottom()});
  return static_cast<int>(std::lround(std::hypot(dx, dy)));
}

TEST_F(DesktopEndToEndTest, HoverAndAreaAgainstAScriptedServer) {
  ScriptedServer server;
  startApplication(server.baseUrl(), "r1");
  Page page(QRect(100, 150, 900, 500));

  // A tap: the card stands beside the pointer, never under it, and shows the word.
  const QPoint pointer(400, 300);
  server.play({200, wordStream("apple", "a round fruit")});
  rig_.tapAltAt(pointer);
  ASSERT_TRUE(rig_.waitForStatus(LookupStatus::success));
  ASSERT_TRUE(QtTestApplication::runUntil([&] { return rig_.cardShows("apple"); }));
  const QRect card = rig_.visibleCard();
  saveScreen("desktop-hover.png");
  EXPECT_FALSE(card.contains(pointer)) << card.x() << "," << card.y();
  EXPECT_LE(distance(card, pointer), 80) << card.x() << "," << card.y();

  // Alt held over a drag: the region's paragraph, its card beside the region.
  server.play({200,
               "event: paragraph_translation.field.delta\ndata: "
               "{\"seq\":1,\"field\":\"translation\",\"delta\":\"Bonjour le monde\"}\n\n"
               "event: paragraph_translation.completed\ndata: "
               "{\"translation\":\"Bonjour le monde\"}\n\n"});
  const QRect region(250, 250, 300, 120);
  rig_.dragWithAlt(region.topLeft(), region.size());
  const std::vector<StreamRequest> requests = server.awaitRequests(2);
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests.front().path, "/trelvis/v1/lookup/stream");
  EXPECT_EQ(requests.back().path, "/trelvis/v1/paragraph-translation/stream");
  const std::optional<DecodedJpeg> picture = decodeJpeg(requests.back().image);
  ASSERT_TRUE(picture);
  EXPECT_NEAR(picture->width, 300, 2);
  EXPECT_NEAR(picture->height, 120, 2);
  ASSERT_TRUE(QtTestApplication::runUntil([&] { return rig_.cardShows("Bonjour le monde"); }));
  const QRect paragraphCard = rig_.visibleCard();
  saveScreen("desktop-area.png");
  EXPECT_FALSE(paragraphCard.intersects(region))
      << paragraphCard.x() << "," << paragraphCard.y() << " " << paragraphCard.width() << "x"
      << paragraphCard.height();
  const int gap = std::min({std::abs(paragraphCard.top() - region.bottom()),
                            std::abs(region.top() - paragraphCard.bottom()),
                            std::abs(paragraphCard.left() - region.right()),
                            std::abs(region.left() - paragraphCard.right())});
  EXPECT_LE(gap, 40) << "beside the region";
}

TEST_F(DesktopEndToEndTest, AWordOnTheScreenThroughTheReferenceServer) {
  TrelvisServerProcess server({.engines = true});
  startApplication(server.baseUrl(), registerAccount(server, "reader@example.com"));
  Page page(QRect(100, 150, 900, 200), "The quiet garden sleeps");

  rig_.tapAltAt(page.centreOf("garden"));
  ASSERT_TRUE(rig_.waitForStatus(LookupStatus::success, 30s))
      << (rig_.state().error ? rig_.state().error->description() : "no error");
  EXPECT_EQ(rig_.state().entry->headword, "garden");
  EXPECT_FALSE(rig_.state().entry->meaning.empty());
  EXPECT_TRUE(QtTestApplication::runUntil([&] { return rig_.cardShows("garden"); }));
}

// A new user meets the sign-in form first, creates an account with the code the
// server sends, sees the free plan's figures, and can translate; signing out
// stops the triggers and signing in starts them again.
TEST_F(DesktopEndToEndTest, ANewUserRegistersRecordsAShortcutAndSignsBackIn) {
  TrelvisServerProcess server({.arguments = {"--free-daily-translations", "7"}});
  startApplication(server.baseUrl(), std::nullopt);
  MainWindow& window = rig_.app().mainWindow();
  MainWindowModel& model = rig_.app().mainWindowModel();
  const auto part = [&](const char* name) {
    QWidget* found = window.findChild<QWidget*>(QString::fromLatin1(name));
    EXPECT_NE(found, nullptr) << name;
    return found;
  };
  const auto text = [&](const char* name) {
    return static_cast<QLabel*>(part(name))->text();
  };
  const auto fill = [&](const char* field, const std::string& typed) {
    rig_.click(*part(field));
    rig_.type(typed);
  };
  const auto translating = [&] {
    return rig_.app().environment().shortcutController().isStarted();
  };
  ASSERT_TRUE(QtTestApplication::runUntil([&] { return window.isVisible(); }, 10s))
      << "a signed-out start shows the sign-in form";
  ASSERT_TRUE(part("auth-page")->isVisible());
  EXPECT_FALSE(translating());
  saveScreen("desktop-sign-in.png");

  const std::string email = "new.reader@example.com";
  ASSERT_EQ(model.authMode(), AuthMode::registration) << "a new user is offered an account";
  fill("auth-email", email);
  rig_.click(*part("auth-send-code"));
  const std::optional<std::string> code = server.waitForVerificationCode(email);
  ASSERT_TRUE(code);
  fill("auth-code", *code);
  fill("auth-password", "a long password");
  EXPECT_TRUE(QtTestApplication::runUntil(
      [&] {
        return model.email == email &&
               static_cast<QLineEdit*>(part("auth-password"))->text() == "a long password";
      },
      5s))
      << "the keys reached the form";
  rig_.click(*part("auth-submit"));
  ASSERT_TRUE(QtTestApplication::runUntil(translating, 10s))
      << (model.submitError() ? model.submitError()->what() : "no error");
  EXPECT_TRUE(part("home-page")->isVisible());
  ASSERT_TRUE(QtTestApplication::runUntil([&] { return text("home-limit") == "7"; }, 10s))
      << text("home-limit").toStdString();
  EXPECT_EQ(text("home-used"), "0");
  EXPECT_TRUE(text("home-account").contains(QString::fromStdString(email)));

  // A new lookup shortcut, recorded from real key presses, takes over: the
  // application's own key monitor feeds the recorder.
  const auto pressControlAltT = [&] {
    rig_.x().key(XK_Control_L, true);
    rig_.x().key(XK_Alt_L, true);
    rig_.x().tap(XK_t);
    rig_.x().key(XK_Alt_L, false);
    rig_.x().key(XK_Control_L, false);
  };
  rig_.click(*part("tab-settings"));
  rig_.click(*part("settings-shortcut-lookup-record"));
  ASSERT_TRUE(rig_.app().environment().shortcutController().isRecording());
  pressControlAltT();
  ASSERT_TRUE(QtTestApplication::runUntil(
      [&] { return text("settings-shortcut-lookup-binding") == QString::fromUtf8("⌥⌃T"); }, 5s))
      << text("settings-shortcut-lookup-binding").toStdString();
  Page page(QRect(760, 600, 400, 120), "garden");
  const QPoint word = page.centreOf("garden");
  rig_.x().moveTo(word.x(), word.y());
  pressControlAltT();
  EXPECT_TRUE(
      QtTestApplication::runUntil([&] { return rig_.state().status != LookupStatus::idle; }, 5s))
      << "the new shortcut looks up";

  rig_.click(*part("tab-home"));
  rig_.click(*part("home-sign-out"));
  ASSERT_TRUE(QtTestApplication::runUntil([&] { return !translating(); }, 10s));
  ASSERT_TRUE(QtTestApplication::runUntil([&] { return part("auth-page")->isVisible(); }, 5s));
  EXPECT_EQ(model.authMode(), AuthMode::login);
  if (model.email.empty()) fill("auth-email", email);
  fill("auth-password", "a long password");
  rig_.click(*part("auth-submit"));
  ASSERT_TRUE(QtTestApplication::runUntil(translating, 10s))
      << (model.submitError() ? model.submitError()->what() : "no error");
}

}  // namespace
}  // namespace trelvis::testing
