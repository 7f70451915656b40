#pragma once

// The desktop application on a private Xvfb with a test's hands on it: XTest
// input, a white page of known words, a scripted loopback server, the card's
// state. Shared by the end-to-end tests and the desktop latency benchmark.

#include <httplib.h>

#include <QApplication>
#include <QComboBox>
#include <QFont>
#include <QFontMetrics>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QWidget>

#include <cctype>
#include <chrono>
#include <deque>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "app/desktop_application.h"
#include "core/lookup/lookup_error.h"
#include "core/overlay/lookup_overlay_model.h"
#include "core/shell/app_environment.h"
#include "support/fake_environment.h"
#include "support/in_memory_refresh_token_store.h"
#include "support/loopback_server.h"
#include "support/trelvis_server_process.h"
#include "ui/overlay_panel_window.h"
#include "ui/qt_test_application.h"

// Xlib's macros would rename parts of the Qt headers above.
#include "platform/x11/x11_test_display.h"

#include <X11/keysym.h>

namespace trelvis::testing {

using namespace std::chrono_literals;

inline const std::string kService = "me.mossgrove.trelvis.auth.refreshToken";

// A page of the screen that the test controls: white, with words.
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
  }

 private:
  static constexpr int kMargin = 20;
  QString text_;
  QFont font_;
};

// What the application sent for one stream.
struct StreamRequest {
  std::string path;
  std::vector<uint8_t> image;
};

// A loopback stand-in for the server that answers each stream with the next
// script, and records the request.
class ScriptedServer {
 public:
  struct Script {
    int status = 200;
    std::string body;
    // Sends the body, then holds the stream open until the client goes away.
    bool stall = false;
  };

  ScriptedServer() {
    server_->Post("/trelvis/v1/auth/refresh", [](const httplib::Request&, httplib::Response& res) {
      res.set_content(R"({"accessToken":"a1","refreshToken":"r2","expiresIn":900,)"
                      R"("user":{"id":"u1","email":"ada@example.com"}})",
                      "application/json");
    });
    const auto stream = [this](const httplib::Request& req, httplib::Response& res) {
      StreamRequest recorded{req.path, {}};
      if (const auto image = req.files.find("image"); image != req.files.end()) {
        recorded.image.assign(image->second.content.begin(), image->second.content.end());
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
          "text/event-stream", [body = script.body](size_t, httplib::DataSink& sink) {
            sink.write(body.data(), body.size());
            // A comment line now and then, which the client skips, shows when it
            // has hung up.
            while (sink.write(": waiting\n", 10)) {
              std::this_thread::sleep_for(std::chrono::milliseconds(20));
            }
            return false;
          });
    };
    server_->Post("/trelvis/v1/lookup/stream", stream);
    server_->Post("/trelvis/v1/paragraph-translation/stream", stream);
    server_.start();
  }

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
  LoopbackServer<> server_;
};

inline std::string wordStream(const std::string& word, const std::string& meaning) {
  return "event: lookup.field.delta\ndata: {\"seq\":1,\"field\":\"entry.headword\",\"delta\":\"" +
         word + "\"}\n\nevent: lookup.completed\ndata: {\"selectedUnit\":{\"text\":\"" + word +
         "\"},\"entry\":{\"headword\":\"" + word + "\",\"partOfSpeech\":\"noun\",\"meaning\":\"" +
         meaning + "\",\"lookupLang\":\"en\"}}\n\n";
}

// The application on the test's Xvfb, and the test's hands on it.
class DesktopRig {
 public:
  DesktopRig() {
    QtTestApplication::instance();
    char pattern[] = "/tmp/trelvis-e2e-XXXXXX";
    preferences_ = mkdtemp(pattern);
  }
  ~DesktopRig() {
    app_.reset();
    std::filesystem::remove_all(preferences_);
  }

  // Starts the application signed in with `refreshToken`, or signed out without one.
  void startApplication(const std::string& baseUrl,
                        const std::optional<std::string>& refreshToken) {
    auto tokens = std::make_shared<InMemoryRefreshTokenStore>();
    if (refreshToken) tokens->saveRefreshToken(*refreshToken, kService, "refreshToken");
    app_ = std::make_unique<DesktopApplication>(
        DesktopApplication::Options{environmentOf({{"TRELVIS_API_BASE_URL", baseUrl},
                                                   {"XDG_CONFIG_HOME", preferences_.string()}}),
                                    preferences_, tokens});
    app_->start();
    if (!refreshToken) return;
    // The stored session is confirmed with the server before the triggers start.
    ASSERT_TRUE(QtTestApplication::runUntil(
        [&] { return app_->environment().shortcutController().isStarted(); }, 10s))
        << "the stored session was not confirmed";
  }

  // A click in the middle of `widget`, with the mouse.
  void click(const QWidget& widget) {
    const QPoint centre = widget.mapToGlobal(widget.rect().center());
    x_.moveTo(centre.x(), centre.y());
    x_.button(1, true);
    x_.button(1, false);
    QtTestApplication::runUntil([] { return false; }, 100ms);
  }

  // Types `text` (letters, digits, space, "@", ".", "-" and "_") on the keyboard.
  void type(const std::string& text) {
    for (const char c : text) {
      const bool shifted = std::isupper(static_cast<unsigned char>(c)) || c == '@' || c == '_';
      KeySym keysym = NoSymbol;
      if (std::isalpha(static_cast<unsigned char>(c))) {
        keysym = XK_a + (std::tolower(static_cast<unsigned char>(c)) - 'a');
      } else if (std::isdigit(static_cast<unsigned char>(c))) {
        keysym = XK_0 + (c - '0');
      } else {
        keysym = c == '@' ? XK_2 : c == '.' ? XK_period : c == ' ' ? XK_space : XK_minus;
      }
      if (shifted) x_.key(XK_Shift_L, true);
      x_.tap(keysym);
      if (shifted) x_.key(XK_Shift_L, false);
    }
    QtTestApplication::runUntil([] { return false; }, 100ms);
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
    // The tap reads the pointer's place when it handles the press; a person's
    // hand rests this long before it moves.
    QtTestApplication::runUntil([] { return false; }, 100ms);
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

  DesktopApplication& app() { return *app_; }
  TestDisplay& x() { return x_; }

 private:
  TestDisplay x_{QtTestApplication::displayName()};
  std::filesystem::path preferences_;
  std::unique_ptr<DesktopApplication> app_;
};

// Registers an account on `server` as the sign-in form does; gives its refresh token.
inline std::string registerAccount(TrelvisServerProcess& server, const std::string& email) {
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

}  // namespace trelvis::testing
