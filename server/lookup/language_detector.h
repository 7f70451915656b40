#pragma once

// Tells which served language a text is in: by script for Chinese, Japanese and
// Korean, by common words and letters for the Latin languages, and by dictionary
// headwords for a lone word. Pure; the dictionaries are only read.

#include "server/lookup/lookup_values.h"

#include <string_view>

namespace trelvis::server {

class Dictionaries;

// English when nothing speaks for another language.
DetectedLanguage detectLanguage(std::string_view text, const Dictionaries* dictionaries);

// Whether `text` contains a CJK ideograph, kana or Hangul.
bool hasCjk(std::string_view text);

}  // namespace trelvis::server
