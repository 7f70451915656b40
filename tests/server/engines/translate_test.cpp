#include "server/engines/translate/apertium_translator.h"
#include "server/engines/translate/chat_completion_translator.h"
#include "server/engines/translate/translation_router.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "support/loopback_server.h"

namespace trelvis::server {
namespace {

std::vector<std::string> collect(Translator& translator, std::string_view text, std::string_view source,
                                 std::string_view target, tl::expected<std::string, TranslationFailure>& result) {
  std::vector<std::string> deltas;
  result = translator.translate(text, source, target, [&](std::string_view delta) {
    deltas.emplace_back(delta);
    return true;
  });
  return deltas;
}

TEST(ApertiumTranslatorTest, TranslatesDirectAndThroughSpanishWithReservedCharacters) {
  ApertiumTranslator apertium;
  ASSERT_TRUE(apertium.supports("en", "es"));
  ASSERT_TRUE(apertium.supports("es", "en"));
  struct Case {
    const char* text;
    const char* source;
    const char* target;
    const char* contains;
    const char* model;
  };
  const Case cases[] = {
      {"The black cat sleeps in the house.", "en", "es", "gato", "eng-spa"},
      {"El gato negro duerme en la casa.", "es", "en", "cat", "spa-eng"},
      {"The black cat sleeps in the house.", "en", "pt", "gato", "eng-spa+es-pt"},
      {"Keep [these] ^marks$ a/b {c} <d> @e \\f", "en", "es", "[estos] ^marcas$ un/b {c} <d> @e \\f", "eng-spa"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    tl::expected<std::string, TranslationFailure> result;
    auto deltas = collect(apertium, c.text, c.source, c.target, result);
    ASSERT_TRUE(result) << result.error().message;
    EXPECT_NE(result->find(c.contains), std::string::npos) << *result;
    EXPECT_EQ(apertium.model(c.source, c.target), c.model);
    ASSERT_EQ(deltas.size(), 1u);
    EXPECT_EQ(deltas[0], *result);
  }
  // Paragraphs stream one by one; the pipeline stays usable after each request.
  tl::expected<std::string, TranslationFailure> result;
  auto deltas = collect(apertium, "I have a dog.\n\nThe dog is big.", "en", "es", result);
  ASSERT_TRUE(result);
  ASSERT_EQ(deltas.size(), 2u);
  EXPECT_EQ(deltas[0] + deltas[1], *result);
  EXPECT_NE(deltas[1].find("\n\n"), std::string::npos);

  EXPECT_FALSE(apertium.supports("en", "ko"));
  auto korean = apertium.translate("hello", "en", "ko", [](std::string_view) { return true; });
  ASSERT_FALSE(korean);
  EXPECT_EQ(korean.error().kind, TranslationFailure::Kind::missingPair);
  EXPECT_NE(korean.error().message.find("English → Korean"), std::string::npos);
}

// A scripted stand-in for an OpenAI-compatible endpoint on the loopback interface.
class ChatStandIn {
 public:
  enum class Script { stream, httpError, cutShort, malformed, slowStop };

  ChatStandIn() {
    server_->Post("/v1/chat/completions", [this](const httplib::Request& request,
                                                 httplib::Response& response) {
      {
        std::lock_guard lock(mutex_);
        lastBody_ = request.body;
        lastAuthorization_ = request.get_header_value("Authorization");
      }
      const Script script = script_;
      if (script == Script::httpError) {
        response.status = 500;
        response.set_content(R"({"error":{"message":"model not loaded"}})", "application/json");
        return;
      }
      response.set_chunked_content_provider("text/event-stream", [script](size_t, httplib::DataSink& sink) {
        auto event = [&](const std::string& content) {
          std::string data = nlohmann::json{{"choices", {{{"delta", {{"content", content}}}}}}}.dump();
          std::string line = "data: " + data + "\n\n";
          sink.write(line.data(), line.size());
        };
        std::string role = "data: {\"choices\":[{\"delta\":{\"role\":\"assistant\"}}]}\n\n: keep-alive\n\n";
        sink.write(role.data(), role.size());
        if (script == Script::malformed) {
          std::string bad = "data: {not json\n\n";
          sink.write(bad.data(), bad.size());
          sink.done();
          return true;
        }
        event("El gato ");
        event("negro");
        if (script == Script::cutShort) {
          sink.done();
          return true;
        }
        if (script == Script::slowStop) {
          for (int i = 0; i < 50; ++i) event(" más");
        }
        std::string finish = "data: {\"choices\":[{\"delta\":{},\"finish_reason\":\"stop\"}]}\n\ndata: [DONE]\n\n";
        sink.write(finish.data(), finish.size());
        sink.done();
        return true;
      });
    });
    server_.start();
  }
  std::string baseUrl() const { return server_.url("/v1/"); }
  void setScript(Script script) { script_ = script; }
  std::string lastBody() {
    std::lock_guard lock(mutex_);
    return lastBody_;
  }
  std::string lastAuthorization() {
    std::lock_guard lock(mutex_);
    return lastAuthorization_;
  }

 private:
  std::atomic<Script> script_{Script::stream};
  std::mutex mutex_;
  std::string lastBody_;
  std::string lastAuthorization_;
  LoopbackServer<> server_;  // last: its thread stops before the members it reads go
};

TEST(ChatCompletionTranslatorTest, StreamsDeltasAndTurnsEveryBrokenReplyIntoAFailure) {
  ChatStandIn standIn;
  ChatCompletionTranslator chat({.baseUrl = standIn.baseUrl(), .model = "tiny-model", .apiKey = "secret-key"});
  tl::expected<std::string, TranslationFailure> result;
  auto deltas = collect(chat, "The black cat", "en", "es", result);
  ASSERT_TRUE(result) << result.error().message;
  EXPECT_EQ(*result, "El gato negro");
  EXPECT_EQ(deltas, (std::vector<std::string>{"El gato ", "negro"}));
  auto request = nlohmann::json::parse(standIn.lastBody());
  EXPECT_EQ(request["model"], "tiny-model");
  EXPECT_EQ(request["stream"], true);
  EXPECT_EQ(request["messages"][1]["content"], "The black cat");
  EXPECT_NE(request["messages"][0]["content"].get<std::string>().find("from English into Spanish"), std::string::npos);
  EXPECT_EQ(standIn.lastAuthorization(), "Bearer secret-key");
  EXPECT_EQ(chat.model("en", "es"), "tiny-model");

  struct Case {
    ChatStandIn::Script script;
    const char* message;
  };
  const Case failures[] = {
      {ChatStandIn::Script::httpError, "HTTP 500: model not loaded"},
      {ChatStandIn::Script::cutShort, "ended early"},
      {ChatStandIn::Script::malformed, "malformed"},
  };
  for (const Case& c : failures) {
    standIn.setScript(c.script);
    collect(chat, "The black cat", "en", "es", result);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().kind, TranslationFailure::Kind::engineFailed);
    EXPECT_NE(result.error().message.find(c.message), std::string::npos) << result.error().message;
  }
  // The consumer may stop the stream; the transfer ends there.
  standIn.setScript(ChatStandIn::Script::slowStop);
  int received = 0;
  auto stopped = chat.translate("cat", "en", "es", [&](std::string_view) { return ++received < 3; });
  ASSERT_FALSE(stopped);
  EXPECT_EQ(stopped.error().kind, TranslationFailure::Kind::stopped);
  EXPECT_EQ(received, 3);

  ChatCompletionTranslator nowhere({.baseUrl = "http://127.0.0.1:1/v1", .model = "m"});
  collect(nowhere, "cat", "en", "es", result);
  ASSERT_FALSE(result);
  EXPECT_NE(result.error().message.find("cannot be reached"), std::string::npos);
}

TEST(TranslationRouterTest, PrefersTheFirstEngineThatServesThePair) {
  auto apertium = std::make_shared<ApertiumTranslator>();
  ChatStandIn standIn;
  auto chat = std::make_shared<ChatCompletionTranslator>(ChatCompletionConfig{.baseUrl = standIn.baseUrl(), .model = "m"});
  TranslationRouter offline({apertium});
  EXPECT_EQ(offline.provider("en", "es"), "apertium");
  EXPECT_FALSE(offline.supports("en", "ko"));
  auto missing = offline.translate("cat", "en", "ko", [](std::string_view) { return true; });
  ASSERT_FALSE(missing);
  EXPECT_EQ(missing.error().kind, TranslationFailure::Kind::missingPair);
  TranslationRouter configured({chat, apertium});
  EXPECT_EQ(configured.provider("en", "ko"), "openai-compatible");
  EXPECT_EQ(configured.provider("en", "es"), "openai-compatible");
  EXPECT_TRUE(configured.translate("cat", "en", "ko", [](std::string_view) { return true; }));
}

}  // namespace
}  // namespace trelvis::server
