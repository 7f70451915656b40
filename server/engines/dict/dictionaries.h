#pragma once

// Every dictionary of the server, located and indexed once at start-up: WordNet
// for English meanings, parts of speech, examples and lemmas; freedict for
// English to and from German, French, Spanish, Portuguese and Japanese (and any
// other pair of served languages found installed); CC-CEDICT for Chinese to
// English and, through its glosses, English to Chinese. Looks up one word for one
// language pair, or says that no local data covers the pair. Read-only after
// loading; any request thread may look up.

#include <tl/expected.hpp>

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace trelvis::server {

class Cedict;
class DictdDictionary;
class WordNet;

struct DictionaryPaths {
  std::string wordnetDirectory = "/usr/share/wordnet";
  std::string dictdDirectory = "/usr/share/dictd";
  std::string cedictFile;  // the npm package's data/all.js
};

// A dictionary entry in the card's terms; empty strings for what the data lacks.
struct DictionaryEntry {
  std::string headword;      // the base form ("run" for "running")
  std::string phonetic;      // only where the data has its own (pinyin)
  std::string partOfSpeech;  // "n.", "v.", ...
  std::string meaning;       // in the target language
  std::string sentence;      // an example in the source language
  std::string sentenceTranslation;  // when the data translates the example
  std::string provider;      // "wordnet", "freedict-eng-deu", "cc-cedict", ...
};

struct DictionaryFailure {
  enum class Kind { missingPair, unknownWord };
  Kind kind;
  std::string message;
};

class Dictionaries {
 public:
  // Loads whatever of the data is installed; a source that is missing or broken is
  // logged and its pairs count as missing. Fails only when nothing loads.
  static tl::expected<std::unique_ptr<Dictionaries>, std::string> load(const DictionaryPaths& paths);
  ~Dictionaries();

  tl::expected<DictionaryEntry, DictionaryFailure> lookup(std::string_view word, std::string_view source,
                                                          std::string_view target) const;
  bool covers(std::string_view source, std::string_view target) const;
  // The pairs that work, as wire codes.
  std::vector<std::pair<std::string, std::string>> pairs() const;
  // Whether `word` is a headword of some dictionary of `language`.
  bool knows(std::string_view word, std::string_view language) const;
  // The base form of an English word, or the word itself.
  std::string englishLemma(std::string_view word) const;
  // Chinese segmentation; null when CC-CEDICT did not load.
  const Cedict* cedict() const { return cedict_.get(); }

 private:
  struct Bilingual {
    std::string source;
    std::string target;
    std::string name;  // "freedict-eng-deu"
    std::unique_ptr<DictdDictionary> dictionary;
  };
  Dictionaries() = default;
  const Bilingual* bilingual(std::string_view source, std::string_view target) const;
  tl::expected<DictionaryEntry, DictionaryFailure> lookupEnglish(std::string_view word, std::string_view target) const;
  tl::expected<DictionaryEntry, DictionaryFailure> lookupBilingual(const Bilingual& dictionary, std::string_view word,
                                                                   std::string_view key) const;

  std::unique_ptr<WordNet> wordnet_;
  std::unique_ptr<Cedict> cedict_;
  std::vector<Bilingual> bilingual_;
};

}  // namespace trelvis::server
