#include "core/account/auth_session_error.h"

#include <array>
#include <utility>

#include "base/check.h"

namespace trelvis {
namespace {

struct KindInfo {
  AuthSessionError::Kind kind;
  std::string_view code;
  std::string_view name;  // the case name, for log descriptions
};

using Kind = AuthSessionError::Kind;

// In the order of AuthSessionError::Kind, so a case's row is at its index.
constexpr std::array kKinds{
    KindInfo{Kind::verificationCooldown, "verification_cooldown", "verificationCooldown"},
    KindInfo{Kind::invalidRequest, "invalid_request", "invalidRequest"},
    KindInfo{Kind::network, "network_error", "network"},
    KindInfo{Kind::server, "server_error", "server"},
    KindInfo{Kind::keychain, "keychain_error", "keychain"},
    KindInfo{Kind::unauthenticated, "unauthenticated", "unauthenticated"},
    KindInfo{Kind::emailAlreadyRegistered, "email_already_registered", "emailAlreadyRegistered"},
    KindInfo{Kind::emailNotRegistered, "email_not_registered", "emailNotRegistered"},
    KindInfo{Kind::verificationCodeInvalid, "verification_code_invalid", "verificationCodeInvalid"},
    KindInfo{Kind::verificationDeliveryFailed, "verification_delivery_failed",
             "verificationDeliveryFailed"},
    KindInfo{Kind::invalidCredentials, "invalid_credentials", "invalidCredentials"},
    KindInfo{Kind::invalidResponse, "invalid_response", "invalidResponse"},
};

constexpr bool rowsFollowKinds() {
  for (std::size_t i = 0; i < kKinds.size(); ++i) {
    if (static_cast<std::size_t>(kKinds[i].kind) != i) return false;
  }
  return true;
}
static_assert(rowsFollowKinds(), "kKinds must list every kind in declaration order");

const KindInfo& infoOf(Kind kind) {
  return kKinds[static_cast<std::size_t>(kind)];
}

bool hasDetail(Kind kind) {
  return kind == Kind::invalidRequest || kind == Kind::network || kind == Kind::server ||
         kind == Kind::keychain;
}

}  // namespace

AuthSessionError::AuthSessionError(Kind kind, int64_t seconds, std::string detail)
    : kind_(kind), cooldownSeconds_(seconds), detail_(std::move(detail)) {
  description_ = "AuthSessionError.";
  description_ += infoOf(kind_).name;
  if (kind_ == Kind::verificationCooldown) {
    description_ += "(" + std::to_string(cooldownSeconds_) + ")";
  } else if (hasDetail(kind_)) {
    description_ += "(" + detail_ + ")";
  }
}

AuthSessionError::AuthSessionError(Kind kind) : AuthSessionError(kind, 0, {}) {
  TRELVIS_DCHECK(kind != Kind::verificationCooldown && !hasDetail(kind),
                 "this case carries a payload: use its factory");
}

AuthSessionError AuthSessionError::verificationCooldown(int64_t seconds) {
  return AuthSessionError(Kind::verificationCooldown, seconds, {});
}

AuthSessionError AuthSessionError::invalidRequest(std::string detail) {
  return AuthSessionError(Kind::invalidRequest, 0, std::move(detail));
}

AuthSessionError AuthSessionError::network(std::string detail) {
  return AuthSessionError(Kind::network, 0, std::move(detail));
}

AuthSessionError AuthSessionError::server(std::string detail) {
  return AuthSessionError(Kind::server, 0, std::move(detail));
}

AuthSessionError AuthSessionError::keychain(std::string detail) {
  return AuthSessionError(Kind::keychain, 0, std::move(detail));
}

std::string_view AuthSessionError::code() const {
  return infoOf(kind_).code;
}

}  // namespace trelvis
