#include "server/auth/email_address.h"

#include "base/text.h"

#include <algorithm>

namespace trelvis::server {
namespace {

constexpr std::size_t kMaximumLength = 254;

// The byte length of the UTF-8 sequence that `lead` starts (valid input assumed).
std::size_t sequenceLength(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead < 0xe0) return 2;
  if (lead < 0xf0) return 3;
  return 4;
}

// Any white space (ASCII or Unicode) or ASCII control character.
bool hasSpaceOrControl(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    const std::size_t length = sequenceLength(lead);
    if (lead < 0x20 || lead == 0x7f || isBlank(text.substr(i, length))) return true;
    i += length;
  }
  return false;
}

bool hasPlausibleDomain(std::string_view domain) {
  if (domain.empty() || domain.front() == '.' || domain.back() == '.') return false;
  if (domain.find("..") != std::string_view::npos) return false;
  return domain.find('.') != std::string_view::npos;
}

}  // namespace

std::optional<std::string> normalizedEmailAddress(std::string_view text) {
  std::string address = trimmed(text);
  if (address.empty() || address.size() > kMaximumLength || !isValidUTF8(address)) {
    return std::nullopt;
  }
  if (hasSpaceOrControl(address)) return std::nullopt;
  const std::size_t at = address.find('@');
  if (at == std::string::npos || at == 0 || address.find('@', at + 1) != std::string::npos) {
    return std::nullopt;
  }
  if (!hasPlausibleDomain(std::string_view(address).substr(at + 1))) return std::nullopt;
  std::transform(address.begin() + static_cast<std::ptrdiff_t>(at) + 1, address.end(),
                 address.begin() + static_cast<std::ptrdiff_t>(at) + 1, [](char c) {
                   return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
                 });
  return address;
}

}  // namespace trelvis::server
