#pragma once

// Translation by any OpenAI-compatible chat endpoint (a local llama.cpp or Ollama
// server, or a hosted one): one streaming chat completion per request, whose
// content deltas are handed on as they arrive. Serves every pair of the server's
// languages. Each request runs on the calling thread with its own connection.
// Thread-safe.

#include "server/engines/translate/translator.h"

#include <chrono>
#include <optional>
#include <string>

namespace trelvis::server {

struct ChatCompletionConfig {
  std::string baseUrl;  // up to and including the API version, e.g. "http://127.0.0.1:8080/v1"
  std::string model;
  std::string apiKey;   // sent as a bearer token when not empty
  std::chrono::milliseconds connectTimeout{5000};
  std::chrono::milliseconds idleTimeout{30000};  // longest silence within a reply
};

// The environment variable that holds the API key, so that it never appears on a
// command line.
inline constexpr const char* kChatApiKeyVariable = "TRELVIS_LLM_API_KEY";

class ChatCompletionTranslator : public Translator {
 public:
  explicit ChatCompletionTranslator(ChatCompletionConfig config);

  bool supports(std::string_view source, std::string_view target) const override;
  tl::expected<std::string, TranslationFailure> translate(std::string_view text, std::string_view source,
                                                          std::string_view target, const TranslationDelta& onDelta) override;
  std::string provider() const override { return "openai-compatible"; }
  std::string model(std::string_view, std::string_view) const override { return config_.model; }

 private:
  ChatCompletionConfig config_;
};

}  // namespace trelvis::server
