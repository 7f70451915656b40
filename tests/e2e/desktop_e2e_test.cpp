// The desktop application whole, on a private Xvfb: its real X11 taps, capture
// and windows, driven by XTest input as a person's keyboard and mouse would,
// against a scripted loopback server and against the real trelvis-server.

#include "e2e/desktop_rig.h"

#include <QScreen>

#include <algorithm>
#include <cmath>

#include <gtest/gtest.h>

#include "core/mainwindow/main_window_model.h"
#include "core/prefs/target_language_store.h"
#include "support/jpeg_decoding.h"
#include "ui/main_window.h"

namespace trelvis::testing {
namespace {

class DesktopEndToEndTest : public ::testing::Test {
 protected:
  DesktopEndToEndTest() = default;

  void startApplication(const std::string& baseUrl,
                        const std::optional<std::string>& refreshToken) {
    rig_.startApplication(baseUrl, refreshToken);
    ASSERT_TRUE(!refreshToken || rig_.app().environment().shortcutController().isStarted());
  }
  void tapAltAt(QPoint point) { rig_.tapAltAt(point); }
  const LookupViewState& state() { return rig_.state(); }
  bool waitForStatus(LookupStatus status, std::chrono::milliseconds timeout = 10s) {
    return rig_.waitForStatus(status, timeout);
  }
  bool cardShows(const QString& text) { return rig_.cardShows(text); }
  // The whole screen once the card has settled, for people to look at.
  static void saveScreen(const char* name) {
    QtTestApplication::runUntil([] { return false; }, 300ms);
    QScreen* screen = QGuiApplication::primaryScreen();
    const QString scale = screen->devicePixelRatio() > 1 ? "@2x" : "";
    screen->grabWindow(0).save(QString::fromUtf8(TRELVIS_SCREENSHOT_DIR) + "/" + name + scale +
                               ".png");
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

  // A tap over a mark: the capture's hotspot must fall on it.
  const QPoint pointer(400, 300);
  page.mark(pointer);
  server.play({200, wordStream("apple", "a round fruit")});
  tapAltAt(pointer);
  ASSERT_TRUE(waitForStatus(LookupStatus::success));
  const StreamRequest hover = server.awaitRequests(1).at(0);
  EXPECT_EQ(hover.path, "/trelvis/v1/lookup/stream");
  const std::optional<DecodedJpeg> band = decodeJpeg(hover.image);
  ASSERT_TRUE(band);
  const int hx = static_cast<int>(std::stod(hover.fields.at("hotspotX")));
  const int hy = static_cast<int>(std::stod(hover.fields.at("hotspotY")));
  ASSERT_TRUE(hx >= 20 && hy >= 20 && hx + 20 < band->width && hy + 20 < band->height)
      << hx << "," << hy << " in " << band->width << "x" << band->height;
  EXPECT_LT(band->at(hx, hy)[0], 60) << "the hotspot is on the mark";
  EXPECT_GT(band->at(hx + 20, hy)[0], 200);
  EXPECT_GT(band->at(hx, hy - 20)[0], 200);
  // The card stands beside the pointer, never under it, and shows the word.
  ASSERT_TRUE(QtTestApplication::runUntil([&] { return cardShows("apple"); }));
  const QRect card = rig_.visibleCard();
  saveScreen("desktop-hover");
  EXPECT_FALSE(card.contains(pointer)) << card.x() << "," << card.y();
  EXPECT_LE(distance(card, pointer), 80) << card.x() << "," << card.y();
  EXPECT_EQ(state().entry->meaning, "a round fruit");

  // A stalled stream gives way to the next tap; only the newer card shows.
  server.play({200,
               "event: lookup.field.delta\ndata: "
               "{\"seq\":1,\"field\":\"entry.headword\",\"delta\":\"stalled\"}\n\n",
               true});
  server.play({200, wordStream("pear", "a sweet fruit")});
  tapAltAt({600, 300});
  ASSERT_TRUE(QtTestApplication::runUntil([&] { return cardShows("stalled"); }));
  tapAltAt({620, 420});
  ASSERT_TRUE(QtTestApplication::runUntil([&] {
    return state().status == LookupStatus::success && cardShows("pear");
  }));
  EXPECT_FALSE(cardShows("stalled"));

  // Failures end in the card's error state with their own code.
  struct Failure {
    ScriptedServer::Script script;
    LookupErrorCode code;
  } failures[] = {
      {{429,
        R"({"message":"out of lookups","code":"translation_quota_exhausted","quota":)"
        R"({"used":5,"limit":5,"remaining":0,"resetAt":"2026-01-02T03:04:05.678Z"}})"},
       LookupErrorCode::translationQuotaExhausted},
      {{500, R"({"message":"engine down"})"}, LookupErrorCode::serverError},
  };
  for (const Failure& failure : failures) {
    server.play(failure.script);
    const size_t sent = server.requests.values().size();
    tapAltAt({500, 350});
    // Once the request is out the card has left the previous state behind.
    ASSERT_EQ(server.awaitRequests(sent + 1).size(), sent + 1);
    ASSERT_TRUE(waitForStatus(LookupStatus::error)) << failure.script.status;
    EXPECT_EQ(state().error->code(), failure.code) << failure.script.status;
    EXPECT_TRUE(rig_.app().cardWindow().isVisible());
  }

  // Alt held over a drag: the region's paragraph, its card beside the region.
  server.play({200,
               "event: paragraph_translation.field.delta\ndata: "
               "{\"seq\":1,\"field\":\"translation\",\"delta\":\"Bonjour le monde\"}\n\n"
               "event: paragraph_translation.completed\ndata: "
               "{\"translation\":\"Bonjour le monde\"}\n\n"});
  const QRect region(250, 250, 300, 120);
  const size_t before = server.requests.values().size();
  rig_.dragWithAlt(region.topLeft(), region.size());
  const std::vector<StreamRequest> requests = server.awaitRequests(before + 1);
  ASSERT_EQ(requests.size(), before + 1);
  EXPECT_EQ(requests.back().path, "/trelvis/v1/paragraph-translation/stream");
  const std::optional<DecodedJpeg> picture = decodeJpeg(requests.back().image);
  ASSERT_TRUE(picture);
  const qreal scale = QGuiApplication::primaryScreen()->devicePixelRatio();
  EXPECT_NEAR(picture->width, 300 * scale, 2);
  EXPECT_NEAR(picture->height, 120 * scale, 2);
  ASSERT_TRUE(QtTestApplication::runUntil([&] { return cardShows("Bonjour le monde"); }));
  const QRect paragraphCard = rig_.visibleCard();
  saveScreen("desktop-area");
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

  tapAltAt(page.centreOf("garden"));
  ASSERT_TRUE(waitForStatus(LookupStatus::success, 30s))
      << (state().error ? state().error->description() : "no error");
  EXPECT_EQ(state().entry->headword, "garden");
  EXPECT_FALSE(state().entry->meaning.empty());
  EXPECT_TRUE(QtTestApplication::runUntil([&] { return cardShows("garden"); }));
}

// A new user meets the sign-in form first, creates an account with the code the
// server sends, sees the free plan's figures, chooses a language, and can
// translate; signing out stops the triggers and signing in starts them again.
TEST_F(DesktopEndToEndTest, ANewUserRegistersChoosesALanguageAndSignsBackIn) {
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
  saveScreen("desktop-sign-in");

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

  rig_.click(*part("tab-settings"));
  auto* target = static_cast<QComboBox*>(part("settings-target-language"));
  rig_.click(*target);
  const int german = target->findData(QStringLiteral("de"));
  ASSERT_GE(german, 0);
  for (int i = target->currentIndex(); i != german; i += german > i ? 1 : -1) {
    rig_.x().tap(german > i ? XK_Down : XK_Up);
  }
  rig_.x().tap(XK_Return);
  EXPECT_TRUE(QtTestApplication::runUntil(
      [&] { return rig_.app().environment().targetLanguageStore().code() == "de"; }, 5s));

  // A new lookup shortcut, recorded from real key presses, replaces the Alt tap.
  const auto pressControlAltT = [&] {
    rig_.x().key(XK_Control_L, true);
    rig_.x().key(XK_Alt_L, true);
    rig_.x().tap(XK_t);
    rig_.x().key(XK_Alt_L, false);
    rig_.x().key(XK_Control_L, false);
  };
  rig_.click(*part("settings-shortcut-lookup-record"));
  ASSERT_TRUE(rig_.app().environment().shortcutController().isRecording());
  pressControlAltT();
  // The row shows the new binding once the recording's task has handed it back.
  ASSERT_TRUE(QtTestApplication::runUntil(
      [&] { return text("settings-shortcut-lookup-binding") == QString::fromUtf8("⌥⌃T"); }, 5s))
      << text("settings-shortcut-lookup-binding").toStdString();
  EXPECT_FALSE(rig_.app().environment().shortcutController().isRecording());
  Page page(QRect(760, 600, 400, 120), "garden");
  tapAltAt(page.centreOf("garden"));
  EXPECT_FALSE(
      QtTestApplication::runUntil([&] { return state().status != LookupStatus::idle; }, 1s))
      << "the Alt tap no longer looks up";
  pressControlAltT();
  EXPECT_TRUE(QtTestApplication::runUntil([&] { return state().status != LookupStatus::idle; }, 5s))
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
  EXPECT_EQ(rig_.app().environment().targetLanguageStore().code(), "de")
      << "the choice outlives the session";
}

}  // namespace
}  // namespace trelvis::testing
