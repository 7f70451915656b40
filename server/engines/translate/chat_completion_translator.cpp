#include "server/engines/translate/chat_completion_translator.h"

#include "server/engines/languages.h"

#include <curl/curl.h>
#include <nlohmann/json.hpp>

#include <memory>

namespace trelvis::server {

namespace {

// Failure bodies are quoted in messages only this far, and never in full.
constexpr size_t kMaxQuoted = 200;

struct CurlCloser {
  void operator()(CURL* curl) const { curl_easy_cleanup(curl); }
};
struct HeaderListCloser {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

// Reads the reply: an event stream when the status is a success, a failure body
// otherwise.
struct Reply {
  const TranslationDelta* onDelta = nullptr;
  CURL* curl = nullptr;
  long status = 0;
  std::string pending;  // an incomplete line
  std::string failureBody;
  std::string text;
  bool done = false;
  bool finished = false;  // a choice reported its finish reason
  bool stopped = false;
  std::string error;

  void line(std::string_view line) {
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (!line.starts_with("data:")) return;  // comments, event names, blank lines
    std::string_view data = line.substr(5);
    if (!data.empty() && data.front() == ' ') data.remove_prefix(1);
    if (data == "[DONE]") {
      done = true;
      return;
    }
    auto json = nlohmann::json::parse(data, nullptr, false);
    if (json.is_discarded() || !json.is_object()) {
      error = "the chat backend sent a malformed event";
      return;
    }
    if (json.contains("error")) {
      error = "the chat backend reported an error";
      return;
    }
    auto choices = json.find("choices");
    if (choices == json.end() || !choices->is_array() || choices->empty()) return;
    const auto& choice = (*choices)[0];
    if (choice.contains("finish_reason") && choice["finish_reason"].is_string()) finished = true;
    auto delta = choice.find("delta");
    if (delta == choice.end() || !delta->is_object()) return;
    auto content = delta->find("content");
    if (content == delta->end() || !content->is_string()) return;
    std::string piece = content->get<std::string>();
    if (piece.empty()) return;
    text += piece;
    if (!(*onDelta)(piece)) stopped = true;
  }

  size_t receive(const char* data, size_t size) {
    if (status == 0) curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    if (status < 200 || status > 299) {
      failureBody.append(data, std::min(size, kMaxQuoted * 4));
      return size;
    }
    pending.append(data, size);
    size_t start = 0;
    size_t newline;
    while ((newline = pending.find('\n', start)) != std::string::npos && error.empty() && !stopped) {
      line(std::string_view(pending).substr(start, newline - start));
      start = newline + 1;
    }
    pending.erase(0, start);
    // Returning less than was given makes curl stop the transfer.
    return error.empty() && !stopped ? size : 0;
  }
};

size_t writeCallback(char* data, size_t size, size_t count, void* reply) {
  return static_cast<Reply*>(reply)->receive(data, size * count);
}

std::string failureMessage(long status, const std::string& body) {
  std::string detail;
  auto json = nlohmann::json::parse(body, nullptr, false);
  if (!json.is_discarded() && json.is_object() && json.contains("error")) {
    const auto& error = json["error"];
    if (error.is_object() && error.contains("message") && error["message"].is_string()) {
      detail = error["message"].get<std::string>();
    } else if (error.is_string()) {
      detail = error.get<std::string>();
    }
  }
  if (detail.size() > kMaxQuoted) detail.resize(kMaxQuoted);
  return "the chat backend answered HTTP " + std::to_string(status) + (detail.empty() ? "" : ": " + detail);
}

}  // namespace

ChatCompletionTranslator::ChatCompletionTranslator(ChatCompletionConfig config) : config_(std::move(config)) {
  while (!config_.baseUrl.empty() && config_.baseUrl.back() == '/') config_.baseUrl.pop_back();
}

bool ChatCompletionTranslator::supports(std::string_view source, std::string_view target) const {
  return findLanguage(source) && findLanguage(target) && source != target;
}

tl::expected<std::string, TranslationFailure> ChatCompletionTranslator::translate(std::string_view text,
                                                                                  std::string_view source,
                                                                                  std::string_view target,
                                                                                  const TranslationDelta& onDelta) {
  auto failure = [](std::string message) {
    return tl::unexpected(TranslationFailure{TranslationFailure::Kind::engineFailed, std::move(message)});
  };
  const Language* from = findLanguage(source);
  const Language* to = findLanguage(target);
  if (!from || !to) {
    return tl::unexpected(TranslationFailure{TranslationFailure::Kind::missingPair,
                                             "no translation covers " + describePair(source, target)});
  }
  nlohmann::json request = {
      {"model", config_.model},
      {"stream", true},
      {"temperature", 0},
      {"messages",
       {{{"role", "system"},
         {"content", "You are a translation engine. Translate the user's text from " + std::string(from->name) +
                         " into " + std::string(to->name) +
                         ". Keep paragraph breaks. Reply with the translation only, without notes."}},
        {{"role", "user"}, {"content", std::string(text)}}}},
  };
  std::string body = request.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);

  std::unique_ptr<CURL, CurlCloser> curl(curl_easy_init());
  if (!curl) return failure("cannot start an HTTP request");
  std::unique_ptr<curl_slist, HeaderListCloser> headers;
  auto addHeader = [&](const std::string& header) {
    headers.reset(curl_slist_append(headers.release(), header.c_str()));
  };
  addHeader("Content-Type: application/json");
  addHeader("Accept: text/event-stream");
  if (!config_.apiKey.empty()) addHeader("Authorization: Bearer " + config_.apiKey);
  std::string url = config_.baseUrl + "/chat/completions";
  Reply reply;
  reply.onDelta = &onDelta;
  reply.curl = curl.get();
  curl_easy_setopt(curl.get(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl.get(), CURLOPT_HTTPHEADER, headers.get());
  curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, body.c_str());
  curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
  curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, writeCallback);
  curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &reply);
  curl_easy_setopt(curl.get(), CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl.get(), CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(config_.connectTimeout.count()));
  // Slower than one byte a second for the idle limit: the backend has stalled.
  curl_easy_setopt(curl.get(), CURLOPT_LOW_SPEED_LIMIT, 1L);
  curl_easy_setopt(curl.get(), CURLOPT_LOW_SPEED_TIME, static_cast<long>(std::max<int64_t>(1, config_.idleTimeout.count() / 1000)));
  CURLcode code = curl_easy_perform(curl.get());
  if (reply.stopped) return tl::unexpected(TranslationFailure{TranslationFailure::Kind::stopped, "stopped"});
  if (!reply.error.empty()) return failure(reply.error);
  if (code != CURLE_OK) return failure(std::string("the chat backend cannot be reached: ") + curl_easy_strerror(code));
  if (reply.status < 200 || reply.status > 299) return failure(failureMessage(reply.status, reply.failureBody));
  if (!reply.pending.empty()) reply.line(reply.pending);
  if (!reply.done && !reply.finished) return failure("the chat backend's stream ended early");
  if (reply.text.empty()) return failure("the chat backend sent no translation");
  return reply.text;
}

}  // namespace trelvis::server
