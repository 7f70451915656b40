#include "core/account/auth_replies.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <optional>
#include <string>

#include "base/json_decode.h"
#include "base/text.h"

namespace trelvis {
namespace {

using Kind = AuthSessionError::Kind;

constexpr int64_t kDefaultCooldownSeconds = 60;

bool isSuccess(int status) {
  return status >= 200 && status <= 299;
}

// The body as a JSON object, or nothing when it is not one.
std::optional<nlohmann::json> jsonObject(std::string_view body) {
  nlohmann::json parsed = nlohmann::json::parse(body, nullptr, /*allow_exceptions=*/false);
  if (!parsed.is_object()) return std::nullopt;
  return parsed;
}

std::optional<int64_t> integerMember(const nlohmann::json& object, const char* name) {
  auto found = object.find(name);
  if (found == object.end()) return std::nullopt;
  try {
    return json::Value(*found, name).as<int64_t>();
  } catch (const json::DecodeError&) {
    return std::nullopt;
  }
}

// The reply's "detail": a string member of a JSON object, empty for an object
// without one, or the whole body when it is not a JSON object.
std::string detailOf(std::string_view body) {
  if (auto object = jsonObject(body)) {
    auto found = object->find("detail");
    if (found != object->end() && found->is_string()) return found->get<std::string>();
    return {};
  }
  return isValidUTF8(body) ? std::string(body) : std::string();
}

int64_t retryAfterSeconds(std::string_view body) {
  auto object = jsonObject(body);
  if (!object) return kDefaultCooldownSeconds;
  auto seconds = integerMember(*object, "retryAfterSeconds");
  if (!seconds) return kDefaultCooldownSeconds;
  return std::max<int64_t>(*seconds, 1);
}

// A user is taken only with both members non-empty strings; anything else is a
// pair without a user, not a broken reply.
std::optional<AuthUser> userOf(const nlohmann::json& reply) {
  auto found = reply.find("user");
  if (found == reply.end() || !found->is_object()) return std::nullopt;
  auto id = found->find("id");
  auto email = found->find("email");
  if (id == found->end() || email == found->end() || !id->is_string() || !email->is_string()) {
    return std::nullopt;
  }
  AuthUser user{id->get<std::string>(), email->get<std::string>()};
  if (user.id.empty() || user.email.empty()) return std::nullopt;
  return user;
}

std::optional<AuthTokenPair> decodeTokenPair(std::string_view body) {
  auto reply = jsonObject(body);
  if (!reply) return std::nullopt;
  try {
    json::ObjectReader reader(*reply);
    AuthTokenPair pair{userOf(*reply), reader.required<std::string>("accessToken"),
                       reader.required<std::string>("refreshToken"),
                       reader.required<int64_t>("expiresIn")};
    if (pair.accessToken.empty() || pair.refreshToken.empty()) return std::nullopt;
    return pair;
  } catch (const json::DecodeError&) {
    return std::nullopt;
  }
}

}  // namespace

AuthSessionError authSessionErrorFrom(const std::exception_ptr& error,
                                      AuthSessionError (*otherwise)(std::string detail)) {
  try {
    std::rethrow_exception(error);
  } catch (const AuthSessionError& failure) {
    return failure;
  } catch (const std::exception& failure) {
    return otherwise(failure.what());
  } catch (...) {
    return otherwise("an error of unknown type");
  }
}

AuthSessionError authSendFailure(const std::exception_ptr& error) {
  return authSessionErrorFrom(error, &AuthSessionError::network);
}

AuthSessionError authError(int statusCode, std::string_view body) {
  switch (statusCode) {
    case 400:
      return AuthSessionError::invalidRequest(detailOf(body));
    case 401:
      return AuthSessionError(Kind::invalidCredentials);
    case 403:
      return AuthSessionError(Kind::verificationCodeInvalid);
    case 404:
      return AuthSessionError(Kind::emailNotRegistered);
    case 409:
      return AuthSessionError(Kind::emailAlreadyRegistered);
    case 429:
      return AuthSessionError::verificationCooldown(retryAfterSeconds(body));
    default:
      return AuthSessionError::server(detailOf(body));
  }
}

AuthResult<AuthTokenPair> tokenPairResult(const AuthSendOutcome& outcome) {
  if (!outcome) return tl::unexpected(authSendFailure(outcome.error()));
  if (!isSuccess(outcome->statusCode)) {
    return tl::unexpected(authError(outcome->statusCode, outcome->body));
  }
  if (auto pair = decodeTokenPair(outcome->body)) return *std::move(pair);
  return tl::unexpected(AuthSessionError(Kind::invalidResponse));
}

AuthResult<int64_t> emailCodeResult(const AuthSendOutcome& outcome) {
  if (!outcome) return tl::unexpected(authSendFailure(outcome.error()));
  const int status = outcome->statusCode;
  if (status == 502 || status == 503) {
    return tl::unexpected(AuthSessionError(Kind::verificationDeliveryFailed));
  }
  if (!isSuccess(status)) return tl::unexpected(authError(status, outcome->body));
  if (auto reply = jsonObject(outcome->body)) {
    if (auto seconds = integerMember(*reply, "cooldownSeconds")) return *seconds;
  }
  return tl::unexpected(AuthSessionError(Kind::invalidResponse));
}

AuthResult<void> passwordResetResult(const AuthSendOutcome& outcome) {
  if (!outcome) return tl::unexpected(authSendFailure(outcome.error()));
  if (!isSuccess(outcome->statusCode)) {
    return tl::unexpected(authError(outcome->statusCode, outcome->body));
  }
  return {};
}

}  // namespace trelvis
