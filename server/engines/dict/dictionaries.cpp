#include "server/engines/dict/dictionaries.h"

#include "base/log.h"
#include "server/engines/dict/cedict.h"
#include "server/engines/dict/dictd_dictionary.h"
#include "server/engines/dict/wordnet.h"
#include "server/engines/languages.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <future>

namespace trelvis::server {

namespace {

const LogCategory kLog("dictionaries");

// How many senses, translations and Chinese equivalents a card shows.
constexpr size_t kMaxSenses = 3;
constexpr size_t kMaxTranslations = 5;
constexpr size_t kMaxChinese = 4;

bool hasJapanese(std::string_view line) {
  // Kana and CJK ideographs all start with bytes E3...E9 in UTF-8.
  return std::any_of(line.begin(), line.end(), [](char c) {
    auto byte = static_cast<unsigned char>(c);
    return byte >= 0xE3 && byte <= 0xE9;
  });
}

std::string joined(const std::vector<std::string>& parts, size_t limit, std::string_view separator = "; ") {
  std::string out;
  for (size_t i = 0; i < parts.size() && i < limit; ++i) {
    if (i > 0) out += separator;
    out += parts[i];
  }
  return out;
}

DictionaryFailure missingPair(std::string_view source, std::string_view target) {
  return {DictionaryFailure::Kind::missingPair, "no offline dictionary covers " + describePair(source, target)};
}

DictionaryFailure unknownWord(std::string_view word, std::string_view source) {
  const Language* language = findLanguage(source);
  return {DictionaryFailure::Kind::unknownWord,
          "\"" + std::string(word) + "\" is not in the " + std::string(language ? language->name : source) +
              " dictionary"};
}

}  // namespace

Dictionaries::~Dictionaries() = default;

tl::expected<std::unique_ptr<Dictionaries>, std::string> Dictionaries::load(const DictionaryPaths& paths) {
  const auto started = std::chrono::steady_clock::now();
  std::unique_ptr<Dictionaries> dictionaries(new Dictionaries());

  // The large indexes load side by side; each task owns what it builds.
  auto cedict = std::async(std::launch::async, [&] { return Cedict::load(paths.cedictFile); });
  std::vector<std::future<void>> tasks;
  std::error_code error;
  std::vector<std::filesystem::path> indexes;
  for (const auto& file : std::filesystem::directory_iterator(paths.dictdDirectory, error)) {
    std::string name = file.path().filename().string();
    if (name.starts_with("freedict-") && name.ends_with(".index")) indexes.push_back(file.path());
  }
  std::sort(indexes.begin(), indexes.end());
  for (const auto& index : indexes) {
    // freedict-eng-deu.index: both ends must be languages the server serves.
    std::string stem = index.stem().string();
    const Language* source = findLanguageByIso3(stem.substr(9, 3));
    const Language* target = stem.size() >= 16 ? findLanguageByIso3(stem.substr(13, 3)) : nullptr;
    if (!source || !target) continue;
    dictionaries->bilingual_.push_back({std::string(source->code), std::string(target->code), stem, nullptr});
  }
  std::vector<std::future<tl::expected<std::unique_ptr<DictdDictionary>, std::string>>> loads;
  for (const Bilingual& entry : dictionaries->bilingual_) {
    std::string base = paths.dictdDirectory + "/" + entry.name;
    loads.push_back(std::async(std::launch::async, [base] { return DictdDictionary::open(base + ".index", base + ".dict.dz"); }));
  }
  if (auto wordnet = WordNet::open(paths.wordnetDirectory)) {
    dictionaries->wordnet_ = std::move(*wordnet);
  } else {
    kLog.warning("WordNet not loaded: {}", wordnet.error());
  }
  for (size_t i = 0; i < loads.size(); ++i) {
    auto loaded = loads[i].get();
    if (loaded) {
      dictionaries->bilingual_[i].dictionary = std::move(*loaded);
    } else {
      kLog.warning("{} not loaded: {}", dictionaries->bilingual_[i].name, loaded.error());
    }
  }
  std::erase_if(dictionaries->bilingual_, [](const Bilingual& entry) { return !entry.dictionary; });
  if (auto loaded = cedict.get()) {
    dictionaries->cedict_ = std::move(*loaded);
  } else {
    kLog.warning("CC-CEDICT not loaded: {}", loaded.error());
  }
  if (!dictionaries->wordnet_ && !dictionaries->cedict_ && dictionaries->bilingual_.empty()) {
    return tl::unexpected(std::string("no dictionary data found"));
  }
  auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - started);
  std::string pairList;
  for (const auto& [source, target] : dictionaries->pairs()) pairList += " " + source + "→" + target;
  kLog.notice("dictionaries indexed in {} ms; pairs:{}", elapsed.count(), pairList);
  return dictionaries;
}

const Dictionaries::Bilingual* Dictionaries::bilingual(std::string_view source, std::string_view target) const {
  for (const Bilingual& entry : bilingual_) {
    if (entry.source == source && entry.target == target) return &entry;
  }
  return nullptr;
}

bool Dictionaries::covers(std::string_view source, std::string_view target) const {
  if (source == "en" && target == "en") return wordnet_ != nullptr;
  if ((source == "en" && target == "zh-Hans") || (source == "zh-Hans" && target == "en")) return cedict_ != nullptr;
  return bilingual(source, target) != nullptr;
}

std::vector<std::pair<std::string, std::string>> Dictionaries::pairs() const {
  std::vector<std::pair<std::string, std::string>> out;
  for (const Language& source : supportedLanguages()) {
    for (const Language& target : supportedLanguages()) {
      if (covers(source.code, target.code)) out.emplace_back(source.code, target.code);
    }
  }
  return out;
}

bool Dictionaries::knows(std::string_view word, std::string_view language) const {
  if (language == "en" && wordnet_ && wordnet_->contains(word)) return true;
  if (language == "zh-Hans") return cedict_ && cedict_->contains(word);
  return std::any_of(bilingual_.begin(), bilingual_.end(), [&](const Bilingual& entry) {
    return entry.source == language && entry.dictionary->contains(word);
  });
}

std::string Dictionaries::englishLemma(std::string_view word) const {
  if (!wordnet_) return std::string(word);
  auto lemmas = wordnet_->lemmas(word);
  return lemmas.empty() ? std::string(word) : lemmas.front().lemma;
}

tl::expected<DictionaryEntry, DictionaryFailure> Dictionaries::lookup(std::string_view word, std::string_view source,
                                                                      std::string_view target) const {
  if (!covers(source, target)) return tl::unexpected(missingPair(source, target));
  if (source == "en") return lookupEnglish(word, target);
  if (source == "zh-Hans" && target == "en") {
    auto entries = cedict_->lookup(word);
    if (entries.empty()) return tl::unexpected(unknownWord(word, source));
    const CedictEntry& first = entries.front();
    return DictionaryEntry{first.simplified, first.pinyin, "", joined(first.meanings, kMaxTranslations), "", "",
                           "cc-cedict"};
  }
  return lookupBilingual(*bilingual(source, target), word, word);
}

tl::expected<DictionaryEntry, DictionaryFailure> Dictionaries::lookupEnglish(std::string_view word,
                                                                             std::string_view target) const {
  std::vector<WordNetLemma> lemmas = wordnet_ ? wordnet_->lemmas(word) : std::vector<WordNetLemma>{};
  std::vector<WordNetSense> senses;
  if (!lemmas.empty()) senses = wordnet_->senses(lemmas.front(), kMaxSenses);
  DictionaryEntry entry;
  entry.headword = lemmas.empty() ? std::string(word) : lemmas.front().lemma;
  if (!lemmas.empty()) entry.partOfSpeech = std::string(abbreviation(lemmas.front().pos));
  // The example comes from the most frequent sense that has one, in any part of speech.
  for (const WordNetSense& sense : senses) {
    if (!sense.examples.empty()) {
      entry.sentence = sense.examples.front();
      break;
    }
  }
  for (size_t l = 1; l < lemmas.size() && entry.sentence.empty(); ++l) {
    for (const WordNetSense& sense : wordnet_->senses(lemmas[l], kMaxSenses)) {
      if (!sense.examples.empty()) {
        entry.sentence = sense.examples.front();
        break;
      }
    }
  }

  if (target == "en") {
    if (senses.empty()) return tl::unexpected(unknownWord(word, "en"));
    std::vector<std::string> definitions;
    for (const WordNetSense& sense : senses) definitions.push_back(sense.definition);
    entry.meaning = joined(definitions, kMaxSenses);
    entry.provider = "wordnet";
    return entry;
  }
  if (target == "zh-Hans") {
    std::vector<CedictEntry> chinese = cedict_->lookupEnglish(entry.headword, kMaxChinese);
    if (chinese.empty() && entry.headword != word) chinese = cedict_->lookupEnglish(word, kMaxChinese);
    if (chinese.empty()) return tl::unexpected(unknownWord(word, "en"));
    std::vector<std::string> parts;
    for (const CedictEntry& candidate : chinese) parts.push_back(candidate.simplified + " " + candidate.pinyin);
    entry.meaning = joined(parts, kMaxChinese);
    entry.provider = "cc-cedict";
    return entry;
  }
  auto translated = lookupBilingual(*bilingual("en", target), word, entry.headword);
  if (!translated) return translated;
  // WordNet knows English better than a bilingual list does: keep its base form,
  // part of speech and example unless the dictionary has its own.
  translated->headword = entry.headword;
  if (!entry.partOfSpeech.empty()) translated->partOfSpeech = entry.partOfSpeech;
  if (translated->sentence.empty()) translated->sentence = entry.sentence;
  return translated;
}

tl::expected<DictionaryEntry, DictionaryFailure> Dictionaries::lookupBilingual(const Bilingual& dictionary,
                                                                               std::string_view word,
                                                                               std::string_view key) const {
  auto keepLine = dictionary.target == "ja" ? &hasJapanese : nullptr;
  std::vector<std::string> articles = dictionary.dictionary->articles(key, 8);
  if (articles.empty() && key != word) articles = dictionary.dictionary->articles(word, 8);
  DictionaryEntry entry;
  std::vector<std::string> translations;
  std::string folded = foldCase(key);
  for (const std::string& text : articles) {
    BilingualArticle article = parseFreedictArticle(text, keepLine);
    // Articles filed under an abbreviation of a longer term come last, if at all.
    if (foldCase(article.headword) != folded && !translations.empty()) continue;
    if (entry.headword.empty()) entry.headword = article.headword;
    if (entry.partOfSpeech.empty()) entry.partOfSpeech = article.partOfSpeech;
    if (entry.sentence.empty() && !article.examples.empty()) {
      entry.sentence = article.examples.front().first;
      entry.sentenceTranslation = article.examples.front().second;
    }
    for (std::string& translation : article.translations) {
      if (std::find(translations.begin(), translations.end(), translation) == translations.end()) {
        translations.push_back(std::move(translation));
      }
    }
  }
  if (translations.empty()) return tl::unexpected(unknownWord(word, dictionary.source));
  entry.meaning = joined(translations, kMaxTranslations);
  entry.provider = dictionary.name;
  return entry;
}

}  // namespace trelvis::server
