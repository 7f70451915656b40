#pragma once

// Small helpers for UTF-8 text that comes from users, the clipboard or the screen.
// White space means every Unicode space and line separator (U+0009...U+000D,
// U+0020, U+0085, U+00A0, U+1680, U+2000...U+200A, U+2028, U+2029, U+202F, U+205F,
// U+3000), not the zero-width space U+200B or the byte order mark U+FEFF. Bytes
// that are not valid UTF-8 are never white space.

#include <string>
#include <string_view>

namespace trelvis {

// `utf8` without leading and trailing white space.
std::string trimmed(std::string_view utf8);

// True when `utf8` is empty or only white space.
bool isBlank(std::string_view utf8);

// Whether `bytes` is well-formed UTF-8 (no overlong forms, surrogates or values
// past U+10FFFF).
bool isValidUTF8(std::string_view bytes);

}  // namespace trelvis
