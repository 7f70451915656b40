#pragma once

// The languages the server works in: the codes clients send ("zh-Hans", "en",
// "es", "ja", "de", "fr", "pt", "ko"), their English names, the ISO 639-3 codes
// that data files are named by, and the speech voices. Pure lookups.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace trelvis::server {

struct Language {
  std::string_view code;   // as on the wire
  std::string_view name;   // English name, for the language line and messages
  std::string_view iso3;   // as in data file names
  std::string_view voice;  // espeak-ng voice
};

const std::vector<Language>& supportedLanguages();

// The language of a wire code, also accepting "en-US"/"en-GB" style regional
// codes for their base language. Nothing for codes the server does not serve.
const Language* findLanguage(std::string_view code);
const Language* findLanguageByIso3(std::string_view iso3);

// "English → Korean (en→ko)": how messages name a pair.
std::string describePair(std::string_view source, std::string_view target);

}  // namespace trelvis::server
