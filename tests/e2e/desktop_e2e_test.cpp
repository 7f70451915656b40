// The desktop application whole, on a private Xvfb: its real X11 taps, capture
// and windows, driven by XTest input as a person's keyboard and mouse would,
// against a scripted loopback server and against the real trelvis-server.

#include <httplib.h>

#include <QApplication>
#include <QFont>
#include <QFontMetrics>
#include <QLabel>
#include <QPainter>
#include <QWidget>

#include <cmath>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "app/desktop_application.h"
#include "core/lookup/lookup_error.h"
#include "core/overlay/lookup_overlay_model.h"
#include "core/shell/app_environment.h"
#include "support/fake_environment.h"
#include "support/in_memory_refresh_token_store.h"
#include "support/jpeg_decoding.h"
#include "support/loopback_server.h"
#include "support/trelvis_server_process.h"
#include "ui/overlay_panel_window.h"
#include "ui/qt_test_application.h"

// Xlib's macros would rename parts of the Qt headers above.
#include "platform/x11/x11_test_display.h"

#include <X11/keysym.h>

namespace trelvis {
namespace {

using namespace std::chrono_literals;
using testing::QtTestApplication;
using testing::Recorder;
using testing::TestDisplay;

const std::string kService = "me.mossgrove.trelvis.auth.refreshToken";

// A page of the screen that the test controls: white, with words or a mark.
class Page final : public QWidget {
 public:
  Page(QRect frame, QString text = {}) : text_(std::move(text)) {
    setWindowFlags(Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint);
    setGeometry(frame);
    font_.setFamily("DejaVu Sans");
    font_.setPixelSize(32);
    show();
    QtTestApplication::runUntil([&] { return isVisible(); });
    QtTestApplication::settle();
  }

  // A black square of 14 pixels centred on `point` (screen pixels).
  void mark(QPoint point) {
    mark_ = mapFromGlobal(point);
    update();
    QtTestApplication::settle();
  }
  // The middle of `word` of the text, on the screen.
  QPoint centreOf(const QString& word) const {
    const QFontMetrics metrics(font_);
    const int x = kMargin + metrics.horizontalAdvance(text_.left(text_.indexOf(word))) +
                  metrics.horizontalAdvance(word) / 2;
    return mapToGlobal(QPoint(x, kMargin + metrics.ascent() - metrics.xHeight() / 2));
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    painter.fillRect(rect(), Qt::white);
    painter.setPen(Qt::black);
    painter.setFont(font_);
    painter.drawText(kMargin, kMargin + QFontMetrics(font_).ascent(), text_);
    if (mark_) painter.fillRect(QRect(mark_->x() - 7, mark_->y() - 7, 14, 14), Qt::black);
  }

 private:
  static constexpr int kMargin = 20;
  QString text_;
  QFont font_;
  std::optional<QPoint> mark_;
};

// What the application sent for one stream.
struct StreamRequest {
  std::string path;
  std::map<std::string, std::string> fields;
  std::vector<uint8_t> image;
};

// A loopback stand-in for the server that answers each stream with the next
// script, and records the request.
class ScriptedServer {
 public:
  struct Script {
    int status = 200;
    std::string body;
    // Sends the body, then holds the stream open until the test releases it.
    bool stall = false;
  };

  ScriptedServer() {
    server_->Post("/trelvis/v1/auth/refresh", [](const httplib::Request&, httplib::Response& res) {
      res.set_content(R"({"accessToken":"a1","refreshToken":"r2","expiresIn":900})",
                      "application/json");
    });
    const auto stream = [this](const httplib::Request& req, httplib::Response& res) {
      StreamRequest recorded{req.path, {}, {}};
      for (const auto& [name, part] : req.files) {
        if (name == "image") {
          recorded.image.assign(part.content.begin(), part.content.end());
        } else {
          recorded.fields[name] = part.content;
        }
      }
      const Script script = next();
      requests.add(std::move(recorded));
      res.status = script.status;
      if (!script.stall) {
        res.set_content(script.body,
                        script.status == 200 ? "text/event-stream" : "application/json");
        return;
      }
      res.set_chunked_content_provider(
          "text/event-stream", [this, body = script.body](size_t, httplib::DataSink& sink) {
            sink.write(body.data(), body.size());
            stalled_.wait();
            sink.done();
            return true;
          });
    };
    server_->Post("/trelvis/v1/lookup/stream", stream);
    server_->Post("/trelvis/v1/paragraph-translation/stream", stream);
    server_.start();
  }
  ~ScriptedServer() { stalled_.open(); }

  std::string baseUrl() const { return server_.url("/trelvis"); }
  void play(Script script) {
    std::lock_guard lock(mutex_);
    scripts_.push_back(std::move(script));
  }

  // The requests so far, once there are `count` of them, handling the
  // application's events meanwhile; fewer after ten seconds.
  std::vector<StreamRequest> awaitRequests(size_t count) {
    QtTestApplication::runUntil([&] { return requests.values().size() >= count; }, 10s);
    return requests.values();
  }

  Recorder<StreamRequest> requests;

 private:
  Script next() {
    std::lock_guard lock(mutex_);
    if (scripts_.empty()) return {500, R"({"message":"no script left"})"};
    Script script = std::move(scripts_.front());
    scripts_.pop_front();
    return script;
  }

  std::mutex mutex_;
  std::deque<Script> scripts_;
  Gate stalled_;
  LoopbackServer<> server_;
};

std::string wordStream(const std::string& word, const std::string& meaning) {
  return "event: lookup.field.delta\ndata: {\"seq\":1,\"field\":\"entry.headword\",\"delta\":\"" +
         word + "\"}\n\nevent: lookup.completed\ndata: {\"selectedUnit\":{\"text\":\"" + word +
         "\"},\"entry\":{\"headword\":\"" + word + "\",\"partOfSpeech\":\"noun\",\"meaning\":\"" +
         meaning + "\",\"lookupLang\":\"en\"}}\n\n";
}

class DesktopEndToEndTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { QtTestApplication::instance(); }

  DesktopEndToEndTest() {
    char pattern[] = "/tmp/trelvis-e2e-XXXXXX";
    preferences_ = mkdtemp(pattern);
  }
  ~DesktopEndToEndTest() override {
    app_.reset();
    std::filesystem::remove_all(preferences_);
  }

  void startApplication(const std::string& baseUrl, const std::string& refreshToken) {
    auto tokens = std::make_shared<InMemoryRefreshTokenStore>();
    tokens->saveRefreshToken(refreshToken, kService, "refreshToken");
    app_ = std::make_unique<DesktopApplication>(DesktopApplication::Options{
        environmentOf({{"TRELVIS_API_BASE_URL", baseUrl}}), preferences_, tokens});
    app_->start();
    ASSERT_TRUE(app_->environment().shortcutController().isStarted());
  }

  // A tap of Alt with the pointer at `point`, as a person makes it.
  void tapAltAt(QPoint point) {
    x_.moveTo(point.x(), point.y());
    x_.tap(XK_Alt_L);
  }

  // Holds Alt and drags the primary button from `from` by `size`, in steps.
  void dragWithAlt(QPoint from, QSize size) {
    x_.moveTo(from.x(), from.y());
    x_.key(XK_Alt_L, true);
    QtTestApplication::runUntil([] { return false; }, 100ms);
    x_.button(1, true);
    for (int step = 1; step <= 10; ++step) {
      x_.moveTo(from.x() + size.width() * step / 10, from.y() + size.height() * step / 10);
      QtTestApplication::runUntil([] { return false; }, 20ms);
    }
    x_.button(1, false);
    x_.key(XK_Alt_L, false);
  }

  const LookupViewState& state() { return app_->environment().overlayModel().state(); }
  bool waitForStatus(LookupStatus status, std::chrono::milliseconds timeout = 10s) {
    return QtTestApplication::runUntil([&] { return state().status == status; }, timeout);
  }

  // The card itself on the screen (the window round it holds its shadow).
  QRect visibleCard() {
    QWidget* content = app_->cardWindow().content();
    if (!content || !app_->cardWindow().isVisible()) return {};
    return QRect(content->mapToGlobal(QPoint(0, 0)), content->size());
  }
  bool cardShows(const QString& text) {
    QWidget* content = app_->cardWindow().content();
    if (!content) return false;
    for (const QLabel* label : content->findChildren<QLabel*>()) {
      if (label->isVisible() && label->text().contains(text)) return true;
    }
    return false;
  }

  TestDisplay x_{QtTestApplication::displayName()};
  std::filesystem::path preferences_;
  std::unique_ptr<DesktopApplication> app_;
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
  const std::optional<testing::DecodedJpeg> band = testing::decodeJpeg(hover.image);
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
  const QRect card = visibleCard();
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
    EXPECT_TRUE(app_->cardWindow().isVisible());
  }

  // Alt held over a drag: the region's paragraph, its card beside the region.
  server.play({200,
               "event: paragraph_translation.field.delta\ndata: "
               "{\"seq\":1,\"field\":\"translation\",\"delta\":\"Bonjour le monde\"}\n\n"
               "event: paragraph_translation.completed\ndata: "
               "{\"translation\":\"Bonjour le monde\"}\n\n"});
  const QRect region(250, 250, 300, 120);
  const size_t before = server.requests.values().size();
  dragWithAlt(region.topLeft(), region.size());
  const std::vector<StreamRequest> requests = server.awaitRequests(before + 1);
  ASSERT_EQ(requests.size(), before + 1);
  EXPECT_EQ(requests.back().path, "/trelvis/v1/paragraph-translation/stream");
  const std::optional<testing::DecodedJpeg> picture = testing::decodeJpeg(requests.back().image);
  ASSERT_TRUE(picture);
  EXPECT_NEAR(picture->width, 300, 2);
  EXPECT_NEAR(picture->height, 120, 2);
  ASSERT_TRUE(QtTestApplication::runUntil([&] { return cardShows("Bonjour le monde"); }));
  const QRect paragraphCard = visibleCard();
  EXPECT_FALSE(paragraphCard.intersects(region))
      << paragraphCard.x() << "," << paragraphCard.y() << " " << paragraphCard.width() << "x"
      << paragraphCard.height();
  const int gap = std::min({std::abs(paragraphCard.top() - region.bottom()),
                            std::abs(region.top() - paragraphCard.bottom()),
                            std::abs(paragraphCard.left() - region.right()),
                            std::abs(region.left() - paragraphCard.right())});
  EXPECT_LE(gap, 40) << "beside the region";
}

// Registers an account on `server` as the sign-in form does; gives its refresh token.
std::string registerAccount(TrelvisServerProcess& server, const std::string& email) {
  httplib::Client client("127.0.0.1", server.port());
  const auto post = [&](const std::string& path, const nlohmann::json& body) {
    return client.Post("/trelvis" + path, body.dump(), "application/json");
  };
  const auto sent = post("/v1/auth/email-codes",
                         {{"email", email}, {"purpose", "register"}, {"locale", "en"}});
  EXPECT_TRUE(sent && sent->status / 100 == 2);
  const std::optional<std::string> code = server.waitForVerificationCode(email);
  EXPECT_TRUE(code);
  const auto registered = post(
      "/v1/auth/register", {{"email", email}, {"password", "a long password"}, {"code", *code}});
  EXPECT_TRUE(registered && registered->status / 100 == 2);
  return registered ? nlohmann::json::parse(registered->body).value("refreshToken", "") : "";
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

}  // namespace
}  // namespace trelvis
