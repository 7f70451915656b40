#include "server/http/pronunciation_links.h"

#include "base/url.h"
#include "server/auth/secrets.h"

#include <charconv>
#include <optional>

namespace trelvis::server {
namespace {

RequestError refused(std::string detail) {
  return RequestError{403, std::move(detail)};
}

// Each part with its length in front, so that no two different requests sign the
// same bytes however their texts are cut.
void put(std::string& message, std::string_view part) {
  message += std::to_string(part.size());
  message += ':';
  message += part;
}

}  // namespace

PronunciationLinks::PronunciationLinks(std::string key, WallClock clock,
                                       std::chrono::seconds lifetime)
    : key_(std::move(key)), clock_(std::move(clock)), lifetime_(lifetime) {}

std::string PronunciationLinks::signature(const PronunciationRequest& request,
                                          int64_t expires) const {
  std::string message;
  put(message, request.lookupText);
  put(message, request.speed);
  put(message, request.language.value_or(""));
  put(message, std::to_string(expires));
  return hmacSha256Hex(key_, message);
}

std::string PronunciationLinks::link(std::string_view baseUrl,
                                     const PronunciationRequest& request) const {
  const int64_t expires =
      std::chrono::duration_cast<std::chrono::seconds>((clock_() + lifetime_).time_since_epoch())
          .count();
  std::vector<QueryItem> items{{"lookupText", request.lookupText},
                               {"pronunciationSpeed", request.speed}};
  if (request.language) items.push_back({"pronunciationLang", *request.language});
  items.push_back({"expires", std::to_string(expires)});
  items.push_back({"signature", signature(request, expires)});
  const std::optional<Url> base = Url::parse(std::string(baseUrl) + std::string(kPath));
  if (!base) return {};
  return base->settingQueryItems(items).absoluteString();
}

Parsed<PronunciationRequest> PronunciationLinks::open(
    const std::vector<std::pair<std::string, std::string>>& query) const {
  PronunciationRequest request;
  std::optional<std::string> expires;
  std::optional<std::string> signed_;
  bool hasText = false;
  for (const auto& [name, value] : query) {
    if (name == "lookupText") {
      request.lookupText = value;
      hasText = true;
    } else if (name == "pronunciationSpeed") {
      request.speed = value;
    } else if (name == "pronunciationLang") {
      request.language = value;
    } else if (name == "expires") {
      expires = value;
    } else if (name == "signature") {
      signed_ = value;
    }
  }
  int64_t expiry = 0;
  if (!hasText || !expires || !signed_ ||
      std::from_chars(expires->data(), expires->data() + expires->size(), expiry).ptr !=
          expires->data() + expires->size()) {
    return tl::unexpected(refused("the link is incomplete"));
  }
  if (!constantTimeEquals(signature(request, expiry), *signed_)) {
    return tl::unexpected(refused("the link's signature does not hold"));
  }
  const int64_t now =
      std::chrono::duration_cast<std::chrono::seconds>(clock_().time_since_epoch()).count();
  if (now >= expiry) return tl::unexpected(refused("the link has expired"));
  return request;
}

}  // namespace trelvis::server
