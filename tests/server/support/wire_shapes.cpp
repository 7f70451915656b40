#include "server/support/wire_shapes.h"

#include <nlohmann/json.hpp>

#include "core/account/auth_replies.h"

namespace trelvis::wire {

std::string requestBody(std::initializer_list<std::pair<std::string, std::string>> members) {
  nlohmann::json object = nlohmann::json::object();
  for (const auto& [key, value] : members) object[key] = value;
  return object.dump();
}

AuthTokenPair decodeTokenPair(std::string_view body) {
  auto pair = tokenPairResult(AuthHTTPResponse{200, std::string(body)});
  if (!pair) throw pair.error();
  return *pair;
}

int64_t decodeCooldownSeconds(std::string_view body) {
  auto seconds = emailCodeResult(AuthHTTPResponse{200, std::string(body)});
  if (!seconds) throw seconds.error();
  return *seconds;
}

int64_t retryAfterSeconds(std::string_view body) {
  return authError(429, body).cooldownSeconds();
}

std::string decodeDetail(std::string_view body) {
  return nlohmann::json::parse(body).at("detail").get<std::string>();
}

}  // namespace trelvis::wire
