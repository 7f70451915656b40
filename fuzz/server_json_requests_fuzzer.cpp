// The server's readers of JSON request bodies (the "/v1/auth" bodies and the
// select and input translation requests) on arbitrary bytes: each either gives a
// value whose fields keep their rules or refuses with 400 or 413 and a detail of
// printable text. Any exception escapes and ends the run.

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "fuzz_check.h"
#include "server/http/auth_requests.h"
#include "server/http/translation_requests.h"

namespace trelvis {
namespace {

using server::Parsed;

template <class T>
bool accepted(const Parsed<T>& parsed) {
  if (parsed) return true;
  const server::RequestError& error = parsed.error();
  FUZZ_CHECK(error.status == 400 || error.status == 413);
  FUZZ_CHECK(fuzz::printableText(error.detail));
  return false;
}

bool sixDigits(std::string_view code) {
  return code.size() == 6 &&
         std::all_of(code.begin(), code.end(), [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace
}  // namespace trelvis

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace trelvis;
  using namespace trelvis::server;
  const std::string_view body(reinterpret_cast<const char*>(data), size);
  if (const auto r = parseRegisterRequest(body); accepted(r)) {
    FUZZ_CHECK(r->email.find('@') != std::string::npos);
    FUZZ_CHECK(r->password.size() >= 8);
    FUZZ_CHECK(sixDigits(r->code));
  }
  if (const auto r = parseLoginRequest(body); accepted(r)) FUZZ_CHECK(!r->password.empty());
  if (const auto r = parseRefreshTokenRequest(body); accepted(r)) {
    FUZZ_CHECK(!r->refreshToken.empty() && r->refreshToken.size() <= 512);
  }
  if (const auto r = parseEmailCodeRequest(body); accepted(r)) FUZZ_CHECK(r->locale.size() <= 35);
  if (const auto r = parsePasswordResetRequest(body); accepted(r)) FUZZ_CHECK(sixDigits(r->code));
  for (std::string_view key : {"selectedText", "inputText"}) {
    if (const auto r = parseTextTranslationRequest(body, key); accepted(r)) {
      FUZZ_CHECK(r->text.size() <= kMaximumTextBytes);
    }
  }
  return 0;
}
