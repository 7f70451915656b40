#pragma once

// Stepping through UTF-8 text one character at a time, for the engines that cut
// words and characters out of recognised text. Input is assumed to be valid UTF-8
// (it is checked where it enters); a cut sequence at the end stops at the end.

#include <cstddef>
#include <string_view>

namespace trelvis::server {

// Bytes of the character that starts with `byte`.
inline size_t utf8Length(unsigned char byte) { return byte < 0x80 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4; }

// The code point at `i`, moving `i` past it.
inline char32_t nextCodePoint(std::string_view text, size_t& i) {
  auto byte = static_cast<unsigned char>(text[i]);
  size_t length = utf8Length(byte);
  char32_t value = length == 1 ? byte : length == 2 ? byte & 0x1F : length == 3 ? byte & 0x0F : byte & 0x07;
  for (size_t k = 1; k < length && i + k < text.size(); ++k) value = (value << 6) | (text[i + k] & 0x3F);
  i += length;
  return value;
}

}  // namespace trelvis::server
