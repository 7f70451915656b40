#pragma once

// The bodies of the "/v1/auth" requests, parsed from the bytes of the network into
// validated values. Each parser is a pure function: it either gives a value whose
// every field has been checked (an address normalised, a password of allowed
// length, a code of six digits) or the 4xx answer with a `detail` that says what is
// wrong. Details name fields and rules, never the values sent, which may be secrets.
//
// Bodies are JSON objects of strings; members beyond those read are ignored.

#include <cstddef>
#include <string>
#include <string_view>

#include "server/http/request_error.h"
#include "server/store/store.h"

namespace trelvis::server {

struct RegisterRequest {
  std::string email;
  std::string password;
  std::string code;
};

struct LoginRequest {
  std::string email;
  std::string password;
};

// Refresh and logout.
struct RefreshTokenRequest {
  std::string refreshToken;
};

struct EmailCodeRequest {
  std::string email;
  EmailCodePurpose purpose = EmailCodePurpose::registration;
  std::string locale;
};

struct PasswordResetRequest {
  std::string email;
  std::string code;
  std::string newPassword;
};

Parsed<RegisterRequest> parseRegisterRequest(std::string_view body);
Parsed<LoginRequest> parseLoginRequest(std::string_view body);
Parsed<RefreshTokenRequest> parseRefreshTokenRequest(std::string_view body);
Parsed<EmailCodeRequest> parseEmailCodeRequest(std::string_view body);
Parsed<PasswordResetRequest> parsePasswordResetRequest(std::string_view body);

}  // namespace trelvis::server
