#include "server/lookup/language_detector.h"

#include "server/engines/dict/dictionaries.h"
#include "server/engines/dict/dictd_dictionary.h"
#include "server/engines/languages.h"
#include "server/engines/utf8.h"

#include <array>
#include <cctype>
#include <string>
#include <vector>

namespace trelvis::server {

namespace {

struct Profile {
  std::string_view code;
  std::vector<std::string_view> words;   // frequent short words
  std::vector<std::string_view> letters;  // letters that mostly this language uses
};

const std::array<Profile, 5>& profiles() {
  static const std::array<Profile, 5> table = {{
      {"en", {"the", "and", "of", "to", "is", "in", "that", "it", "with", "for", "was", "this", "are", "you", "be", "on", "have", "not"}, {}},
      {"es", {"el", "la", "de", "que", "y", "en", "los", "las", "del", "se", "por", "un", "una", "es", "con", "para", "no", "su", "al"}, {"ñ", "¿", "¡"}},
      {"fr", {"le", "la", "les", "de", "des", "et", "est", "un", "une", "du", "que", "qui", "dans", "pour", "pas", "au", "il", "ce", "sur"}, {"ç", "è", "ê", "à", "œ"}},
      {"de", {"der", "die", "das", "und", "ist", "nicht", "ein", "eine", "ich", "zu", "den", "mit", "von", "sie", "es", "auf", "dem", "für"}, {"ß", "ä", "ö", "ü"}},
      {"pt", {"o", "a", "os", "as", "de", "que", "e", "do", "da", "em", "um", "uma", "não", "para", "com", "no", "na", "por", "se"}, {"ã", "õ", "ç", "ê"}},
  }};
  return table;
}

std::vector<std::string> lowerWords(std::string_view text) {
  std::vector<std::string> words;
  std::string current;
  for (char c : text) {
    auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x80 || std::isalpha(byte) || c == '\'') {
      current += byte < 0x80 ? static_cast<char>(std::tolower(byte)) : c;
    } else if (!current.empty()) {
      words.push_back(foldCase(current));
      current.clear();
    }
  }
  if (!current.empty()) words.push_back(foldCase(current));
  return words;
}

DetectedLanguage named(std::string_view code) {
  const Language* language = findLanguage(code);
  return {std::string(code), std::string(language ? language->name : code)};
}

}  // namespace

bool hasCjk(std::string_view text) {
  for (size_t i = 0; i < text.size();) {
    char32_t c = nextCodePoint(text, i);
    if ((c >= 0x3040 && c <= 0x30FF) || (c >= 0x3400 && c <= 0x9FFF) || (c >= 0xAC00 && c <= 0xD7AF)) return true;
  }
  return false;
}

DetectedLanguage detectLanguage(std::string_view text, const Dictionaries* dictionaries) {
  int han = 0, kana = 0, hangul = 0, latin = 0;
  for (size_t i = 0; i < text.size();) {
    char32_t c = nextCodePoint(text, i);
    if (c >= 0x3040 && c <= 0x30FF) ++kana;
    else if ((c >= 0x3400 && c <= 0x4DBF) || (c >= 0x4E00 && c <= 0x9FFF)) ++han;
    else if (c >= 0xAC00 && c <= 0xD7AF) ++hangul;
    else if ((c < 0x80 && std::isalpha(static_cast<int>(c))) || (c >= 0xC0 && c <= 0x24F)) ++latin;
  }
  // Japanese writes with kana among its kanji; Chinese never does.
  if (kana > 0 && kana + han >= hangul) return named("ja");
  if (hangul > 0 && hangul >= han) return named("ko");
  if (han > 0 && han >= latin / 3) return named("zh-Hans");

  std::vector<std::string> words = lowerWords(text);
  std::array<int, 5> scores{};
  for (size_t p = 0; p < profiles().size(); ++p) {
    const Profile& profile = profiles()[p];
    for (const std::string& word : words) {
      for (std::string_view common : profile.words) scores[p] += word == common ? 2 : 0;
    }
    for (std::string_view letter : profile.letters) {
      for (size_t at = text.find(letter); at != std::string_view::npos; at = text.find(letter, at + 1)) scores[p] += 3;
    }
  }
  size_t best = 0;
  for (size_t p = 1; p < scores.size(); ++p) {
    if (scores[p] > scores[best]) best = p;
  }
  if (scores[best] > 0) return named(profiles()[best].code);
  // A lone word or a phrase of rare words: the first dictionary that knows it.
  if (dictionaries && !words.empty()) {
    std::string phrase(text);
    for (std::string_view code : {"en", "es", "fr", "de", "pt"}) {
      if (dictionaries->knows(words.front(), code) || dictionaries->knows(phrase, code)) return named(code);
    }
  }
  return named("en");
}

}  // namespace trelvis::server
