#include "base/uuid.h"

#include <uuid/uuid.h>

#include <cstring>

namespace trelvis {
namespace {

// Where the dashes go in the text form; the other 32 characters are hex digits.
constexpr bool isDashPosition(std::size_t index) {
  return index == 8 || index == 13 || index == 18 || index == 23;
}
constexpr std::size_t kTextLength = 36;

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

Uuid Uuid::random() {
  uuid_t raw;
  uuid_generate_random(raw);
  Bytes bytes;
  static_assert(sizeof(raw) == sizeof(bytes));
  std::memcpy(bytes.data(), raw, bytes.size());
  return Uuid(bytes);
}

std::optional<Uuid> Uuid::parse(std::string_view text) {
  if (text.size() != kTextLength) return std::nullopt;
  Bytes bytes{};
  std::size_t nibble = 0;
  for (std::size_t i = 0; i < kTextLength; ++i) {
    if (isDashPosition(i)) {
      if (text[i] != '-') return std::nullopt;
      continue;
    }
    const int value = hexValue(text[i]);
    if (value < 0) return std::nullopt;
    bytes[nibble / 2] = static_cast<uint8_t>(bytes[nibble / 2] << 4 | value);
    ++nibble;
  }
  return Uuid(bytes);
}

std::string Uuid::toString() const {
  constexpr char kHexDigits[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(kTextLength);
  for (std::size_t i = 0; i < bytes_.size(); ++i) {
    if (isDashPosition(text.size())) text += '-';
    text += kHexDigits[bytes_[i] >> 4];
    text += kHexDigits[bytes_[i] & 0xF];
  }
  return text;
}

}  // namespace trelvis

std::size_t std::hash<trelvis::Uuid>::operator()(const trelvis::Uuid& uuid) const noexcept {
  uint64_t high;
  uint64_t low;
  std::memcpy(&high, uuid.bytes().data(), sizeof(high));
  std::memcpy(&low, uuid.bytes().data() + sizeof(high), sizeof(low));
  return std::hash<uint64_t>()(high ^ (low * 0x9E3779B97F4A7C15ULL));
}
