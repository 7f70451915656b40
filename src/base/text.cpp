#include "base/text.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>

namespace trelvis {
namespace {

struct CodePoint {
  char32_t value;
  std::size_t length;
};

bool isContinuation(unsigned char byte) {
  return (byte & 0xC0) == 0x80;
}

// The code point that starts `text`, if `text` starts with a well-formed UTF-8
// sequence (no overlong forms, surrogates or values above U+10FFFF).
std::optional<CodePoint> decodeFirst(std::string_view text) {
  if (text.empty()) return std::nullopt;
  const auto lead = static_cast<unsigned char>(text[0]);
  std::size_t length;
  char32_t value;
  char32_t minimum;
  if (lead < 0x80) {
    return CodePoint{lead, 1};
  } else if ((lead & 0xE0) == 0xC0) {
    length = 2;
    value = lead & 0x1F;
    minimum = 0x80;
  } else if ((lead & 0xF0) == 0xE0) {
    length = 3;
    value = lead & 0x0F;
    minimum = 0x800;
  } else if ((lead & 0xF8) == 0xF0) {
    length = 4;
    value = lead & 0x07;
    minimum = 0x10000;
  } else {
    return std::nullopt;
  }
  if (text.size() < length) return std::nullopt;
  for (std::size_t i = 1; i < length; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (!isContinuation(byte)) return std::nullopt;
    value = value << 6 | (byte & 0x3F);
  }
  if (value < minimum || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) {
    return std::nullopt;
  }
  return CodePoint{value, length};
}

bool isWhiteSpace(char32_t c) {
  return (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0 || c == 0x1680 ||
         (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F ||
         c == 0x3000;
}

// The longest encoding of a white-space character (U+3000) is three bytes.
constexpr std::size_t kMaxWhiteSpaceLength = 3;

std::size_t leadingWhiteSpaceLength(std::string_view text) {
  std::size_t offset = 0;
  while (const auto c = decodeFirst(text.substr(offset))) {
    if (!isWhiteSpace(c->value)) break;
    offset += c->length;
  }
  return offset;
}

// A well-formed sequence that ends the text starts at the only lead byte in reach, so
// trying each possible length finds it, if there is one.
std::size_t trailingWhiteSpaceLength(std::string_view text) {
  std::size_t end = text.size();
  bool found = true;
  while (found) {
    found = false;
    for (std::size_t length = 1; length <= kMaxWhiteSpaceLength && length <= end; ++length) {
      const auto c = decodeFirst(text.substr(end - length, length));
      if (c && c->length == length) {
        if (isWhiteSpace(c->value)) {
          end -= length;
          found = true;
        }
        break;
      }
    }
  }
  return text.size() - end;
}

}  // namespace

std::string trimmed(std::string_view utf8) {
  const std::size_t leading = leadingWhiteSpaceLength(utf8);
  const std::string_view rest = utf8.substr(leading);
  return std::string(rest.substr(0, rest.size() - trailingWhiteSpaceLength(rest)));
}

bool isBlank(std::string_view utf8) {
  return leadingWhiteSpaceLength(utf8) == utf8.size();
}

bool isValidUTF8(std::string_view bytes) {
  while (!bytes.empty()) {
    // Most text is ASCII: skip it eight bytes at a time.
    while (bytes.size() >= 8) {
      uint64_t word;
      std::memcpy(&word, bytes.data(), sizeof word);
      if (word & 0x8080808080808080ull) break;
      bytes.remove_prefix(8);
    }
    if (bytes.empty()) break;
    const auto codePoint = decodeFirst(bytes);
    if (!codePoint) return false;
    bytes.remove_prefix(codePoint->length);
  }
  return true;
}

}  // namespace trelvis
