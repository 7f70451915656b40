// The desktop client's own account and lookup code, over its real curl transport,
// against a real trelvis-server on loopback: the session's whole life, the hover,
// area and pronunciation streams parsed into the client's events, the quota as the
// client meets it, and bad input that must get a clear refusal and cost nothing.

#include <httplib.h>
#include <nlohmann/json.hpp>

#include <map>
#include <sstream>

#include <gtest/gtest.h>

#include "base/async/run_loop.h"
#include "base/async/task.h"
#include "base/async/thread_pool.h"
#include "core/account/auth_session_coordinator.h"
#include "core/account/auth_user_store.h"
#include "core/lookup/lookup_api_client.h"
#include "core/lookup/lookup_error.h"
#include "core/membership/home_summary_api_client.h"
#include "core/membership/membership_status_api_client.h"
#include "core/prefs/in_memory_preference_store.h"
#include "platform/curl/curl_http_transport.h"
#include "server/engines/support/text_renderer.h"
#include "support/in_memory_refresh_token_store.h"
#include "support/trelvis_server_process.h"

namespace trelvis {
namespace {

using namespace std::chrono_literals;
using Json = nlohmann::json;
namespace render = server::testing;

const std::string kService = "me.mossgrove.trelvis.auth.refreshToken";

// The client as the application wires it: one session, one lookup client, each on
// a sequenced executor of a thread pool, the curl transport under both.
class Client {
 public:
  explicit Client(TrelvisServerProcess& server) : server_(server) {
    const Url base = *Url::parse(server.baseUrl());
    session = std::make_shared<AuthSessionCoordinator>(
        pool_.makeSequencedExecutor(), base, std::make_shared<TransportAuthHTTPClient>(transport),
        tokens, std::make_shared<PreferencesAuthUserStore>(defaults_), kService);
    lookup = std::make_shared<LookupAPIClient>(pool_.makeSequencedExecutor(), session, transport,
                                               base, std::nullopt);
    membership = std::make_shared<MembershipStatusAPIClient>(pool_.makeSequencedExecutor(), session,
                                                             transport, base);
    summary = std::make_shared<HomeSummaryAPIClient>(pool_.makeSequencedExecutor(), session,
                                                     transport, base);
  }

  // Runs `body` on the test's loop until it is done and gives its value.
  template <class F>
  auto run(F body) {
    auto task = spawn(loop_.executor(), std::move(body));
    EXPECT_TRUE(loop_.runUntil([&] { return task.isDone(); }, 60s));
    return task.value();
  }

  template <class T>
  T await(Async<T> operation) {
    return run([&]() -> Async<T> { co_return co_await std::move(operation); });
  }

  // Registers with the code the server prints, as the sign-in form does.
  void signUp(const std::string& email, const std::string& password) {
    const auto cooldown =
        await(session->sendEmailCode(email, EmailCodePurpose::registration, "en"));
    ASSERT_TRUE(cooldown) << cooldown.error().what();
    const std::optional<std::string> code = server_.waitForVerificationCode(email);
    ASSERT_TRUE(code);
    const auto registered = await(session->registerAccount(email, password, *code));
    ASSERT_TRUE(registered) << registered.error().what();
  }

  std::string accessToken() {
    const auto token = await(session->getAccessToken(false));
    return token && *token ? **token : std::string();
  }

  struct Stream {
    std::vector<LookupStreamEvent> events;
    std::optional<LookupError> error;
  };

  Stream drain(AsyncStream<LookupStreamEvent> stream) {
    return run([&]() -> Async<Stream> {
      Stream result;
      try {
        while (auto event = co_await stream.next()) result.events.push_back(std::move(*event));
      } catch (...) {
        result.error = LookupError::from(std::current_exception());
      }
      co_return result;
    });
  }

  std::shared_ptr<CurlHttpTransport> transport = std::make_shared<CurlHttpTransport>();
  std::shared_ptr<InMemoryRefreshTokenStore> tokens = std::make_shared<InMemoryRefreshTokenStore>();
  std::shared_ptr<AuthSessionCoordinator> session;
  std::shared_ptr<LookupAPIClient> lookup;
  std::shared_ptr<MembershipStatusAPIClient> membership;
  std::shared_ptr<HomeSummaryAPIClient> summary;

 private:
  TrelvisServerProcess& server_;
  RunLoop loop_;
  ThreadPool pool_{"client-wire", 3};
  InMemoryPreferenceStore defaults_;
};

template <class Event>
std::vector<Event> eventsOf(const Client::Stream& stream) {
  std::vector<Event> found;
  for (const LookupStreamEvent& event : stream.events) {
    if (const auto* e = std::get_if<Event>(&event.value)) found.push_back(*e);
  }
  return found;
}

// A text band as the client captures it around the pointer, and where a word is.
struct Band {
  std::vector<uint8_t> jpeg;
  render::RenderedPicture picture;

  NativeCapture at(std::string_view word, std::string target) const {
    NativeCapture capture;
    capture.imageData = jpeg;
    capture.imageWidth = picture.width;
    capture.imageHeight = picture.height;
    capture.targetLanguage = std::move(target);
    for (const auto& rendered : picture.words) {
      if (rendered.text != word) continue;
      capture.hotspotX = rendered.box.x + rendered.box.width / 2.0;
      capture.hotspotY = rendered.baseline - 5.0;
    }
    return capture;
  }
};

Band renderBand(const std::vector<std::vector<std::string>>& lines, int width, int height,
                int top) {
  render::TextLayout layout;
  layout.fontPath = render::latinTestFonts().front().path;
  layout.pixelSize = 18;
  layout.top = top;
  Band band;
  band.picture = render::renderText(lines, layout, width, height);
  band.jpeg = render::encodeJpeg(band.picture);
  return band;
}

// Raw requests, for what the client's code never sends.
class Raw {
 public:
  explicit Raw(const TrelvisServerProcess& server) : http_("127.0.0.1", server.port()) {
    http_.set_read_timeout(60s);
  }
  httplib::Result post(const std::string& path, const std::string& token, const std::string& body,
                       const std::string& contentType) {
    return http_.Post("/trelvis" + path, headers(token), body, contentType.c_str());
  }
  httplib::Result get(const std::string& pathAndQuery, const std::string& token = {}) {
    return http_.Get(
        pathAndQuery.starts_with("/trelvis") ? pathAndQuery : "/trelvis" + pathAndQuery,
        headers(token));
  }
  int64_t quotaUsed(const std::string& token) {
    const auto status = get("/v1/account/status", token);
    return status && status->status == 200 ? Json::parse(status->body)["quota"].value("used", -1)
                                           : -1;
  }

 private:
  static httplib::Headers headers(const std::string& token) {
    if (token.empty()) return {};
    return {{"Authorization", "Bearer " + token}};
  }
  httplib::Client http_;
};

TEST(ClientWireTest, TheClientsSessionRegistersLogsInRefreshesLogsOutAndResetsAPassword) {
  TrelvisServerProcess server;
  Client client(server);
  Raw raw(server);
  client.signUp("ann@example.com", "first password");
  const auto first = client.await(client.session->getAccessToken(false));
  ASSERT_TRUE(first && *first) << "registration signs in";
  EXPECT_EQ(raw.get("/v1/account/status", **first)->status, 200);

  const std::string registeredRefresh = *client.tokens->token(kService, "refreshToken");
  const auto refreshed = client.await(client.session->getAccessToken(true));
  ASSERT_TRUE(refreshed && *refreshed);
  EXPECT_NE(**refreshed, **first);
  EXPECT_NE(*client.tokens->token(kService, "refreshToken"), registeredRefresh) << "rotated";
  EXPECT_EQ(raw.get("/v1/account/status", **refreshed)->status, 200);

  const auto signedOut = client.await(client.session->logout());
  ASSERT_TRUE(signedOut);
  EXPECT_FALSE(signedOut->isAuthenticated);
  EXPECT_EQ(raw.get("/v1/account/status", **refreshed)->status, 401) << "logout ends the session";
  EXPECT_EQ(client.await(client.session->getAccessToken(false)),
            (AuthResult<std::optional<std::string>>(std::nullopt)));

  const auto wrong = client.await(client.session->login("ann@example.com", "wrong password"));
  ASSERT_FALSE(wrong);
  EXPECT_EQ(wrong.error().kind(), AuthSessionError::Kind::invalidCredentials);
  const auto loggedIn = client.await(client.session->login("ann@example.com", "first password"));
  ASSERT_TRUE(loggedIn) << loggedIn.error().what();
  EXPECT_EQ(loggedIn->user->email, "ann@example.com");

  ASSERT_TRUE(client.await(
      client.session->sendEmailCode("ann@example.com", EmailCodePurpose::passwordReset, "en")));
  const std::optional<std::string> code = server.waitForVerificationCode("ann@example.com");
  ASSERT_TRUE(code);
  const auto reset =
      client.await(client.session->resetPassword("ann@example.com", *code, "second password"));
  ASSERT_TRUE(reset) << reset.error().what();
  const auto afterReset = client.await(client.session->getAccessToken(true));
  ASSERT_FALSE(afterReset) << "a reset revokes every session, this one's refresh token too";
  EXPECT_FALSE(client.tokens->token(kService, "refreshToken")) << "the client took it as refused";
  EXPECT_FALSE(client.await(client.session->login("ann@example.com", "first password")));
  EXPECT_TRUE(client.await(client.session->login("ann@example.com", "second password")));
}

// The plans' rules are the membership service's (membership_service_test, read by
// the client's decoder); here the free quota and an admin's grant reach the client.
TEST(ClientWireTest, TheFreeQuotaAndAGrantedPlanReachTheClient) {
  TrelvisServerProcess server({.arguments = {"--free-daily-translations", "3"}});
  Client client(server);
  client.signUp("ann@example.com", "a password");
  const auto fetched = [&] {
    const MembershipStatus status = client.await(client.membership->fetch());
    EXPECT_TRUE(status.isValid());
    return status;
  };
  EXPECT_EQ(fetched().quota.limit, 3);
  const CommandResult pro =
      server.run({"user", "set-plan", "ann@example.com", "pro", "--until", "2999-12-31"});
  ASSERT_EQ(pro.exitStatus, 0) << pro.standardError;
  const MembershipStatus status = fetched();
  EXPECT_EQ(status.plan.code, MembershipPlanCode::pro);
  EXPECT_EQ(status.quota.limit, std::nullopt);
  const HomeSummary summary = client.await(client.summary->fetch());
  EXPECT_EQ(summary.lookupCount, 0);
  EXPECT_TRUE(summary.isWellFormed());
}

TEST(ClientWireTest, HoverAreaAndPronunciationStreamAsTheClientParsesThem) {
  TrelvisServerProcess server({.engines = true});
  Client client(server);
  client.signUp("ann@example.com", "a password");
  const Band band = renderBand({{"the", "old", "garden", "behind", "the", "station"},
                                {"was", "quiet", "in", "the", "morning"}},
                               2560, 360, 140);

  const Client::Stream hover = client.drain(client.lookup->lookupStream(band.at("garden", "de")));
  ASSERT_FALSE(hover.error) << hover.error->description();
  ASSERT_FALSE(hover.events.empty());
  EXPECT_TRUE(std::holds_alternative<LookupStreamEvent::Timing>(hover.events.front().value));
  const auto deltas = eventsOf<LookupStreamEvent::FieldDelta>(hover);
  ASSERT_FALSE(deltas.empty());
  EXPECT_EQ(deltas.front().field, "entry.headword") << "the headword comes first";
  EXPECT_EQ(deltas.front().delta, "garden");
  EXPECT_EQ(eventsOf<LookupStreamEvent::Language>(hover),
            (std::vector<LookupStreamEvent::Language>{{"English", "en"}}));
  const auto completed = eventsOf<LookupStreamEvent::Completed>(hover);
  ASSERT_EQ(completed.size(), 1u);
  ASSERT_TRUE(std::holds_alternative<LookupStreamEvent::Completed>(hover.events.back().value));
  const OcrResult& result = completed.front().result;
  ASSERT_TRUE(result.hasSelection());
  EXPECT_EQ(result.selectedUnit->text, "garden");
  EXPECT_EQ(result.selectedUnit->targetLang, "de");
  EXPECT_EQ(result.selectionReason, "inside_word");
  EXPECT_GT(result.selectedUnit->confidence, 0.5);
  EXPECT_NE(result.entry->meaning, "") << "a German meaning from the dictionary";
  EXPECT_EQ(result.entry->lookupLang, "en");
  EXPECT_EQ(result.ocrProvider, "tesseract");

  NativeCapture blank = band.at("garden", "de");
  blank.hotspotX = 2400;  // right of every line
  const Client::Stream nothing = client.drain(client.lookup->lookupStream(blank));
  ASSERT_FALSE(nothing.error) << nothing.error->description();
  const auto noWord = eventsOf<LookupStreamEvent::Completed>(nothing);
  ASSERT_EQ(noWord.size(), 1u);
  EXPECT_FALSE(noWord.front().result.hasSelection()) << "the client's no-word card";

  const Band paragraph = renderBand({{"The", "weather", "was", "cold", "and", "the", "children"},
                                     {"stayed", "inside", "all", "day."}},
                                    600, 200, 30);
  RegionCapture region;
  region.imageData = paragraph.jpeg;
  region.imageWidth = 600;
  region.imageHeight = 200;
  region.targetLanguage = "es";
  const Client::Stream area = client.drain(client.lookup->paragraphTranslationStream(region));
  ASSERT_FALSE(area.error) << area.error->description();
  EXPECT_EQ(eventsOf<LookupStreamEvent::Language>(area),
            (std::vector<LookupStreamEvent::Language>{{"English", "en"}}));
  std::string streamed;
  for (const auto& delta : eventsOf<LookupStreamEvent::FieldDelta>(area)) {
    EXPECT_EQ(delta.field, "translation");
    streamed += delta.delta;
  }
  const auto paragraphs = eventsOf<LookupStreamEvent::ParagraphTranslationCompleted>(area);
  ASSERT_EQ(paragraphs.size(), 1u);
  const ParagraphTranslationResult& translated = paragraphs.front().result;
  EXPECT_EQ(translated.translation, streamed);
  EXPECT_NE(translated.translation.find("frío"), std::string::npos) << translated.translation;
  EXPECT_EQ(translated.detectedLanguageCode, "en");
  EXPECT_EQ(translated.translatorProvider, "apertium");
  EXPECT_TRUE(translated.requestId && !translated.requestId->empty());

  const PronunciationResult spoken = client.await(client.lookup->pronunciationAttempt(
      "garden", "en-GB", PronunciationSpeed::normal, false, true));
  EXPECT_EQ(spoken.lookupText, "garden");
  EXPECT_EQ(spoken.pronunciationSpeed, PronunciationSpeed::normal);
  EXPECT_TRUE(spoken.phonetic && !spoken.phonetic->empty());
  ASSERT_TRUE(spoken.pronunciationUrl);
  const std::string& url = *spoken.pronunciationUrl;
  ASSERT_TRUE(url.starts_with(server.baseUrl() + "/v1/pronunciation/audio?")) << url;

  // An audio player fetches the link as it stands, with no token; a changed link
  // opens nothing.
  Raw raw(server);
  const std::string path = url.substr(url.find("/trelvis/"));
  const auto audio = raw.get(path);
  ASSERT_TRUE(audio);
  EXPECT_EQ(audio->status, 200);
  EXPECT_EQ(audio->get_header_value("Content-Type"), "audio/wav");
  EXPECT_TRUE(audio->body.starts_with("RIFF")) << audio->body.substr(0, 16);
  std::string forged = path;
  forged.replace(forged.find("garden"), 6, "orchard");
  EXPECT_EQ(raw.get(forged)->status, 403);
  EXPECT_EQ(raw.quotaUsed(client.accessToken()), 3) << "two hovers and an area; speech is free";
}

// The blocks of an event stream: (name, data) pairs.
std::vector<std::pair<std::string, Json>> serverEvents(const std::string& body) {
  std::vector<std::pair<std::string, Json>> events;
  std::string name;
  std::istringstream lines(body);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("event: ")) name = line.substr(7);
    if (line.starts_with("data: ")) events.emplace_back(name, Json::parse(line.substr(6)));
  }
  return events;
}

TEST(ClientWireTest, RefusedRequestsCostNothingAndAnExhaustedQuotaIsRefusedFirst) {
  TrelvisServerProcess server({.arguments = {"--free-daily-translations", "2"}, .engines = true});
  Client client(server);
  client.signUp("ann@example.com", "a password");
  const std::string token = client.accessToken();
  Raw raw(server);

  const Band band = renderBand({{"a", "quiet", "garden"}}, 800, 120, 40);
  const auto hover = [&](std::vector<uint8_t> image) {
    NativeCapture capture = band.at("garden", "de");
    capture.imageData = std::move(image);
    return capture;
  };
  const auto payload =
      LookupAPIClient::lookupPayload(*Url::parse(server.baseUrl()), hover(band.jpeg), "b0undary");
  const std::string form = *payload.body;
  const std::string multipart = payload.contentType;
  const auto notJpeg = LookupAPIClient::lookupPayload(
      *Url::parse(server.baseUrl()), hover({'G', 'I', 'F', '8', '9', 'a'}), "b0undary");
  struct Case {
    std::string name;
    std::string path;
    std::string body;
    std::string contentType;
    int status;
    std::string detail;
    bool withToken = true;
  };
  const std::string hoverPath = "/v1/lookup/stream";
  const std::string areaPath = "/v1/paragraph-translation/stream";
  const Case cases[] = {
      {"not a JPEG", hoverPath, *notJpeg.body, multipart, 400, "the image is not a JPEG"},
      {"huge body", hoverPath, std::string(17 << 20, 'j'), multipart, 413, "the body is too large"},
      {"cut short", hoverPath, form.substr(0, form.size() / 2), multipart, 400,
       "the body ends before its closing delimiter"},
      {"not multipart", hoverPath, "{}", "application/json", 415,
       "Content-Type: must be multipart/form-data"},
      {"no token", hoverPath, form, multipart, 401, "a valid access token is required", false},
      {"area of text", areaPath, "x", "text/plain", 415,
       "Content-Type: must be multipart/form-data"},
      {"select language", "/v1/select-translation/stream",
       R"({"selectedText":"cat","targetLang":"it"})", "application/json", 400,
       "targetLang is not a served language"},
      {"input too long", "/v1/input-translation/stream",
       R"({"inputText":")" + std::string(20'001, 'a') + R"(","targetLang":"en"})",
       "application/json", 413, "inputText: longer than 20000 bytes"},
      {"select not JSON", "/v1/select-translation/stream", "{", "application/json", 400,
       "the body is not valid JSON"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const auto reply = raw.post(c.path, c.withToken ? token : "", c.body, c.contentType);
    ASSERT_TRUE(reply) << httplib::to_string(reply.error());
    EXPECT_EQ(reply->status, c.status) << reply->body;
    EXPECT_EQ(Json::parse(reply->body, nullptr, false).value("detail", ""), c.detail)
        << reply->body;
  }
  EXPECT_EQ(raw.get("/v1/pronunciation?lookupText=cat&pronunciationLang=xx", token)->status, 400);

  // A JPEG that breaks off decodes no further than its header: the stream's error,
  // and the charge given back.
  const Client::Stream broken = client.drain(client.lookup->lookupStream(
      hover({band.jpeg.begin(), band.jpeg.begin() + band.jpeg.size() / 3})));
  const auto failures = eventsOf<LookupStreamEvent::Failure>(broken);
  ASSERT_EQ(failures.size(), 1u) << (broken.error ? broken.error->description() : "");
  EXPECT_EQ(failures.front().failure.code, "ocr_failed");
  EXPECT_EQ(raw.quotaUsed(token), 0) << "refused and failed requests cost nothing";

  for (int i = 0; i < 2; ++i) {
    const Client::Stream looked =
        client.drain(client.lookup->lookupStream(band.at("garden", "de")));
    ASSERT_FALSE(looked.error) << looked.error->description();
    ASSERT_EQ(eventsOf<LookupStreamEvent::Completed>(looked).size(), 1u);
  }
  const Client::Stream refused = client.drain(client.lookup->lookupStream(band.at("garden", "de")));
  EXPECT_TRUE(refused.events.empty());
  ASSERT_TRUE(refused.error);
  EXPECT_EQ(refused.error->code(), LookupErrorCode::translationQuotaExhausted);
  ASSERT_TRUE(refused.error->quota()) << "the client trusts the snapshot";
  EXPECT_EQ(refused.error->quota()->used, 2);
  EXPECT_EQ(refused.error->quota()->remaining, 0);
  const auto select = raw.post("/v1/select-translation/stream", token,
                               R"({"selectedText":"cat","targetLang":"de"})", "application/json");
  EXPECT_EQ(select->status, 429);
  EXPECT_EQ(Json::parse(select->body).value("code", ""), "translation_quota_exhausted");

  EXPECT_EQ(server.terminate(), 0);
  EXPECT_EQ(server.standardError().find("Sanitizer"), std::string::npos) << server.standardError();
}

// The rules a select or input stream is held to by the client: events numbered
// from 1 without a gap, each payload's type its event's name, the classification
// first, a word named before its language and its other fields after, a sentence's
// language before its translation, and a completion that says exactly what the
// deltas built. Gives the first rule broken, or "".
std::string grammarProblem(const std::string& prefix,
                           const std::vector<std::pair<std::string, Json>>& events) {
  std::string selection;
  bool language = false;
  std::map<std::string, std::string> fields;
  for (std::size_t i = 0; i < events.size(); ++i) {
    const auto& [name, data] = events[i];
    if (data.value("seq", 0) != static_cast<int>(i) + 1) return "seq of event " + std::to_string(i);
    if (data.value("type", "") != name || !name.starts_with(prefix + ".")) return "type of " + name;
    const std::string kind = name.substr(prefix.size() + 1);
    if ((kind == "classified") != (i == 0) && !(i == 0 && kind == "completed"))
      return "classified not first";
    if (kind == "classified") selection = data.value("selectionType", "");
    if (kind == "language") {
      if (language || (selection == "word_phrase" && fields["word.lookupText"].empty()))
        return "language";
      language = true;
    }
    if (kind == "field.delta") {
      const std::string field = data.value("field", "");
      const bool allowed = selection == "sentence" ? field == "sentence.translation" && language
                                                   : field.starts_with("word.") &&
                                                         (field == "word.lookupText") != language;
      if (!allowed) return "delta of " + field;
      fields[field] += data.value("delta", "");
    }
    if (kind == "completed") {
      if (i + 1 != events.size()) return "events after the completion";
      if (data.value("requestId", "").empty() || data.value("translatorProvider", "").empty())
        return "ids";
      if (data.value("outcome", "") == "no_result") return i == 0 ? "" : "no_result after events";
      std::map<std::string, std::string> final;
      if (selection == "sentence")
        final["sentence.translation"] = data["sentence"].value("translation", "");
      for (const char* key : {"lookupText", "phonetic", "partOfSpeech", "meaning"}) {
        if (selection == "word_phrase" && !data["word"].value(key, "").empty()) {
          final[std::string("word.") + key] = data["word"].value(key, "");
        }
      }
      std::erase_if(fields, [](const auto& field) { return field.second.empty(); });
      if (final != fields) return "the completion differs from the deltas";
      if (data["language"].value("code", "") == "") return "no language";
      return "";
    }
  }
  return "no completion";
}

TEST(ClientWireTest, SelectAndInputStreamsKeepTheClientsGrammar) {
  TrelvisServerProcess server({.engines = true});
  Client client(server);
  client.signUp("ann@example.com", "a password");
  Raw raw(server);
  struct Case {
    std::string endpoint, prefix, body, selection;
  };
  const Case cases[] = {
      {"select-translation", "select_translation",
       R"({"selectedText":"gardens","targetLang":"de","englishPronunciation":"en-US"})",
       "word_phrase"},
      {"input-translation", "input_translation",
       R"({"inputText":"The weather was cold.","targetLang":"es","englishPronunciation":"en-US"})",
       "sentence"},
      {"input-translation", "input_translation", R"({"inputText":"  ","targetLang":"es"})", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.body);
    const auto reply =
        raw.post("/v1/" + c.endpoint + "/stream", client.accessToken(), c.body, "application/json");
    ASSERT_TRUE(reply);
    ASSERT_EQ(reply->status, 200) << reply->body;
    EXPECT_EQ(reply->get_header_value("Content-Type"), "text/event-stream");
    const auto events = serverEvents(reply->body);
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(grammarProblem(c.prefix, events), "") << reply->body;
    EXPECT_EQ(events.front().second.value("selectionType", ""), c.selection);
  }
}

}  // namespace
}  // namespace trelvis
