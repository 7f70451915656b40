#pragma once

// Links to spoken pronunciations. An audio player fetches a pronunciation's URL as
// it stands, without a bearer token, so the link itself is the permission: it
// carries what it speaks (text, language, speed), when it stops working, and an
// HMAC-SHA-256 of both under a key that every server process sharing the database
// uses. Nobody can open audio the server did not hand out to them, or guess at
// what others asked for; and any process can serve any link, speaking it again
// when its cached audio is gone. Thread-safe.

#include <chrono>
#include <string>
#include <string_view>

#include "server/http/request_error.h"
#include "server/lookup/lookup_requests.h"
#include "server/wall_clock.h"

namespace trelvis::server {

class PronunciationLinks {
 public:
  // The audio endpoint, below the base path.
  static constexpr std::string_view kPath = "/v1/pronunciation/audio";

  PronunciationLinks(std::string key, WallClock clock,
                     std::chrono::seconds lifetime = std::chrono::hours(24));

  // The absolute link under `baseUrl` ("http://127.0.0.1:8787/trelvis").
  std::string link(std::string_view baseUrl, const PronunciationRequest& request) const;

  // The pronunciation a link's query stands for; 403 when its signature does not
  // hold or it has expired.
  Parsed<PronunciationRequest> open(
      const std::vector<std::pair<std::string, std::string>>& query) const;

 private:
  std::string signature(const PronunciationRequest& request, int64_t expires) const;

  std::string key_;
  WallClock clock_;
  std::chrono::seconds lifetime_;
};

}  // namespace trelvis::server
