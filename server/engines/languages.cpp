#include "server/engines/languages.h"

#include <fmt/core.h>

namespace trelvis::server {

const std::vector<Language>& supportedLanguages() {
  static const std::vector<Language> languages = {
      {"en", "English", "eng", "en-us"},       {"zh-Hans", "Chinese", "zho", "cmn"},
      {"es", "Spanish", "spa", "es"},          {"ja", "Japanese", "jpn", "ja"},
      {"de", "German", "deu", "de"},           {"fr", "French", "fra", "fr"},
      {"pt", "Portuguese", "por", "pt"},       {"ko", "Korean", "kor", "ko"},
  };
  return languages;
}

const Language* findLanguage(std::string_view code) {
  for (const Language& language : supportedLanguages()) {
    if (language.code == code) return &language;
  }
  // Regional forms of a base language ("en-GB", "pt-BR"); Chinese only as "zh-Hans".
  size_t dash = code.find_first_of("-_");
  if (dash != std::string_view::npos && code.substr(0, dash) != "zh") {
    std::string_view base = code.substr(0, dash);
    for (const Language& language : supportedLanguages()) {
      if (language.code == base) return &language;
    }
  }
  return nullptr;
}

const Language* findLanguageByIso3(std::string_view iso3) {
  for (const Language& language : supportedLanguages()) {
    if (language.iso3 == iso3) return &language;
  }
  return nullptr;
}

std::string describePair(std::string_view source, std::string_view target) {
  const Language* from = findLanguage(source);
  const Language* to = findLanguage(target);
  return fmt::format("{} → {} ({}→{})", from ? from->name : source, to ? to->name : target, source, target);
}

}  // namespace trelvis::server
