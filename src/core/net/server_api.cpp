#include "core/net/server_api.h"

#include "base/check.h"
#include "base/text.h"

#ifndef TRELVIS_DEFAULT_API_BASE_URL
#error "the build defines TRELVIS_DEFAULT_API_BASE_URL"
#endif
#ifndef TRELVIS_VERSION
#define TRELVIS_VERSION ""
#endif

namespace trelvis {

const Url& defaultBaseURL() {
  static const Url url = [] {
    auto parsed = Url::parse(TRELVIS_DEFAULT_API_BASE_URL);
    TRELVIS_DCHECK(parsed.has_value(), "the built-in base URL parses");
    return parsed ? *parsed : *Url::parse("http://127.0.0.1:8787/trelvis");
  }();
  return url;
}

Url effectiveBaseURL(const EnvironmentLookup& environment) {
  if (auto value = environment("TRELVIS_API_BASE_URL")) {
    std::string text = trimmed(*value);
    if (!text.empty()) {
      if (auto url = Url::parse(text)) return *url;
    }
  }
  return defaultBaseURL();
}

Url stripTrailingSlash(const Url& url) {
  std::string text = url.absoluteString();
  while (!text.empty() && text.back() == '/') text.pop_back();
  if (auto stripped = Url::parse(text)) return *stripped;
  return url;
}

namespace ServerAPIRequest {

std::string_view appVersion() {
  return TRELVIS_VERSION;
}

HttpRequest make(Url url) {
  return make(std::move(url), appVersion());
}

HttpRequest make(Url url, std::string_view version) {
  HttpRequest request(std::move(url));
  request.timeout = std::chrono::seconds(60);
  request.headers.set("X-Trelvis-Platform", "linux");
  if (!version.empty()) request.headers.set("X-Trelvis-Version", std::string(version));
  return request;
}

}  // namespace ServerAPIRequest

}  // namespace trelvis
