#include "server/lookup/lookup_engine.h"

#include "base/log.h"
#include "base/text.h"
#include "server/engines/dict/cedict.h"
#include "server/engines/languages.h"
#include "server/engines/ocr/jpeg_decoder.h"
#include "server/engines/ocr/tesseract_ocr.h"
#include "server/engines/speech/espeak_speech.h"
#include "server/engines/speech/pronunciation_cache.h"
#include "server/engines/translate/apertium_translator.h"
#include "server/engines/translate/translation_router.h"
#include "server/engines/utf8.h"
#include "server/lookup/hotspot_reader.h"
#include "server/lookup/language_detector.h"
#include "server/lookup/paragraph_reflow.h"
#include "server/lookup/word_selector.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <future>

namespace trelvis::server {

namespace {

const LogCategory kLog("lookup-engine");

constexpr size_t kMaxTextBytes = 20'000;
constexpr size_t kMaxPronouncedBytes = 200;
constexpr size_t kTextSlots = 8;
// A text of at most this many words, without sentence punctuation, is looked up
// as a word or phrase before it is translated as a sentence.
constexpr size_t kMaxPhraseWords = 3;

const std::string_view kPairCode = "unsupported_language_pair";

RequestRefusal badRequest(std::string detail) { return {RequestRefusal::Kind::badRequest, std::move(detail)}; }

bool isServed(std::string_view code) {
  return std::any_of(supportedLanguages().begin(), supportedLanguages().end(),
                     [&](const Language& language) { return language.code == code; });
}

tl::expected<void, RequestRefusal> checkLanguages(const std::string& target, const std::optional<std::string>& secondary) {
  if (!isServed(target)) return tl::unexpected(badRequest("targetLang is not a served language"));
  if (secondary && !isServed(*secondary)) return tl::unexpected(badRequest("secondaryTargetLang is not a served language"));
  return {};
}

// The language to translate into: the second target when the text is already in
// the first.
std::string effectiveTarget(std::string_view source, const std::string& target, const std::optional<std::string>& secondary) {
  if (source == target && secondary && *secondary != source) return *secondary;
  return target;
}

DetectedLanguage detected(std::string_view code) {
  const Language* language = findLanguage(code);
  return {std::string(code), std::string(language ? language->name : code)};
}

bool isPunctuation(std::string_view character) {
  if (character.size() == 1) {
    auto byte = static_cast<unsigned char>(character[0]);
    return std::ispunct(byte) && byte != '\'' && byte != '-';
  }
  static const std::vector<std::string_view> wide = {"，", "。", "、", "！", "？", "：", "；", "“", "”", "‘", "’",
                                                     "（", "）", "《", "》", "「", "」", "—", "…", "·"};
  return std::find(wide.begin(), wide.end(), character) != wide.end();
}

// The word without the punctuation a recogniser keeps around it ("cat," "(dog)").
std::string withoutSurroundingPunctuation(std::string_view word) {
  std::vector<std::string_view> characters;
  for (size_t i = 0; i < word.size();) {
    size_t length = std::min(utf8Length(static_cast<unsigned char>(word[i])), word.size() - i);
    characters.push_back(word.substr(i, length));
    i += length;
  }
  size_t begin = 0;
  size_t end = characters.size();
  while (begin < end && (isPunctuation(characters[begin]) || characters[begin] == "'" || characters[begin] == "-")) ++begin;
  while (end > begin && (isPunctuation(characters[end - 1]) || characters[end - 1] == "'" || characters[end - 1] == "-")) --end;
  std::string out;
  for (size_t i = begin; i < end; ++i) out += characters[i];
  return out;
}

BoundingBox boxOf(const PixelRect& rect) { return {double(rect.x), double(rect.y), double(rect.width), double(rect.height)}; }

struct Unit {
  std::string text;
  std::string anchor;
  PixelRect box;
};

// The dictionary word of a Chinese line that holds the character under the
// hotspot: the line is cut into the longest dictionary words from its start.
Unit chineseUnit(const std::vector<OcrWord>& words, const WordChoice& choice, double hotspotX, const Cedict* cedict) {
  const OcrWord& chosen = words[choice.index];
  std::vector<const OcrSymbol*> symbols;
  size_t target = 0;
  for (size_t w = 0; w < words.size(); ++w) {
    if (words[w].line != chosen.line) continue;
    for (size_t s = 0; s < words[w].symbols.size(); ++s) {
      if (w == choice.index && s == symbolAt(chosen, hotspotX)) target = symbols.size();
      symbols.push_back(&words[w].symbols[s]);
    }
  }
  Unit unit;
  for (const OcrSymbol* symbol : symbols) unit.anchor += symbol->text;
  if (symbols.empty()) return unit;
  // Byte offset of every symbol in the line's text.
  std::vector<size_t> offsets;
  size_t offset = 0;
  for (const OcrSymbol* symbol : symbols) {
    offsets.push_back(offset);
    offset += symbol->text.size();
  }
  size_t first = 0;
  while (first < symbols.size()) {
    size_t length = cedict ? cedict->longestWordAt(unit.anchor, offsets[first]) : symbols[first]->text.size();
    size_t last = first;
    while (last + 1 < symbols.size() && offsets[last + 1] < offsets[first] + length) ++last;
    if (target >= first && target <= last) {
      for (size_t s = first; s <= last; ++s) unit.text += symbols[s]->text;
      int right = symbols[last]->box.right();
      unit.box = {symbols[first]->box.x, chosen.box.y, right - symbols[first]->box.x, chosen.box.height};
      break;
    }
    first = last + 1;
  }
  unit.text = withoutSurroundingPunctuation(unit.text);
  return unit;
}

size_t wordCount(std::string_view text) {
  size_t count = 0;
  bool inWord = false;
  for (char c : text) {
    bool space = c == ' ' || c == '\n' || c == '\t';
    if (!space && !inWord) ++count;
    inWord = !space;
  }
  return count;
}

bool hasSentencePunctuation(std::string_view text) {
  for (std::string_view mark : {".", "!", "?", ";", ",", "。", "！", "？", "，", "；"}) {
    if (text.find(mark) != std::string_view::npos) return true;
  }
  return false;
}

size_t characterCount(std::string_view text) {
  size_t count = 0;
  for (size_t i = 0; i < text.size(); i += utf8Length(static_cast<unsigned char>(text[i]))) ++count;
  return count;
}

}  // namespace

LookupEngine::Job::Job() = default;
LookupEngine::Job::Job(Job&&) noexcept = default;
LookupEngine::Job& LookupEngine::Job::operator=(Job&&) noexcept = default;
LookupEngine::Job::~Job() = default;

LookupEngine::LookupEngine() = default;

LookupEngine::~LookupEngine() {
  if (warmer_.joinable()) warmer_.join();
}

tl::expected<std::unique_ptr<LookupEngine>, std::string> LookupEngine::create(LookupEngineConfig config) {
  std::unique_ptr<LookupEngine> engine(new LookupEngine());
  std::string tessdata = config.tessdataPath.empty() ? findTessdataPath() : config.tessdataPath;
  if (tessdata.empty()) return tl::unexpected(std::string("no Tesseract language data installed"));
  // Recognisers and dictionaries load side by side; both take about a second.
  std::vector<std::future<tl::expected<std::unique_ptr<TesseractOcr>, std::string>>> recognisers;
  for (size_t i = 0; i < std::max<size_t>(1, config.ocrWorkers); ++i) {
    recognisers.push_back(std::async(std::launch::async, [tessdata] { return TesseractOcr::create(tessdata); }));
  }
  auto dictionaries = Dictionaries::load(config.dictionaries);
  std::vector<std::unique_ptr<TesseractOcr>> ocr;
  std::string ocrError;
  for (auto& recogniser : recognisers) {
    auto created = recogniser.get();
    if (created) {
      ocr.push_back(std::move(*created));
    } else {
      ocrError = created.error();
    }
  }
  if (!ocrError.empty()) return tl::unexpected(ocrError);
  if (!dictionaries) return tl::unexpected(dictionaries.error());
  engine->dictionaries_ = std::move(*dictionaries);
  engine->ocr_ = std::make_unique<EnginePool<TesseractOcr>>(std::move(ocr), config.maxWaiting, config.maxWait);

  auto speech = EspeakSpeech::create();
  if (!speech) return tl::unexpected(speech.error());
  engine->speech_ = std::move(*speech);
  std::filesystem::path cacheDirectory = config.pronunciationCacheDirectory.empty()
                                             ? std::filesystem::temp_directory_path() / "trelvis-pronunciations"
                                             : config.pronunciationCacheDirectory;
  engine->pronunciationCache_ = std::make_unique<PronunciationCache>(cacheDirectory);

  engine->apertium_ = std::make_shared<ApertiumTranslator>();
  std::vector<std::shared_ptr<Translator>> translators;
  if (config.chat) translators.push_back(std::make_shared<ChatCompletionTranslator>(*config.chat));
  translators.push_back(engine->apertium_);
  engine->translator_ = std::make_unique<TranslationRouter>(std::move(translators));
  if (config.warmTranslators) {
    engine->warmer_ = std::thread([apertium = engine->apertium_] { apertium->warmUp(); });
  }
  std::vector<std::unique_ptr<int>> slots;
  for (size_t i = 0; i < kTextSlots; ++i) slots.push_back(std::make_unique<int>(0));
  engine->textSlots_ = std::make_unique<EnginePool<int>>(std::move(slots), config.maxWaiting, config.maxWait);
  kLog.notice("lookup engine ready: {} recognisers, translation by {}", engine->ocr_->size(),
              config.chat ? "the chat backend and apertium" : "apertium");
  return engine;
}

bool LookupEngine::translates(std::string_view source, std::string_view target) const {
  return translator_->supports(source, target);
}

// Decodes the upload into the job. Bytes that are no JPEG at all are refused; a
// JPEG that breaks off is left for the stream to report as a capture that cannot
// be read.
tl::expected<void, RequestRefusal> LookupEngine::decodeCapture(const std::vector<uint8_t>& bytes, Job& job) {
  auto image = decodeJpegToGray(bytes);
  if (image) {
    job.image = std::move(*image);
  } else if (bytes.size() < 4 || bytes[0] != 0xFF || bytes[1] != 0xD8) {
    return tl::unexpected(badRequest("the image is not a JPEG"));
  } else {
    job.imageError = image.error();
  }
  return {};
}

tl::expected<LookupEngine::Job, RequestRefusal> LookupEngine::reserveRecogniser(Job job) {
  auto lease = ocr_->acquire();
  if (!lease) return tl::unexpected(RequestRefusal{RequestRefusal::Kind::saturated, "all recognisers are busy"});
  job.ocr = std::move(*lease);
  return job;
}

tl::expected<LookupEngine::Job, RequestRefusal> LookupEngine::prepareWordLookup(WordLookupRequest request) {
  if (auto checked = checkLanguages(request.targetLang, request.secondaryTargetLang); !checked) {
    return tl::unexpected(checked.error());
  }
  if (request.englishPronunciation != "en-US" && request.englishPronunciation != "en-GB") {
    return tl::unexpected(badRequest("englishPronunciation must be en-US or en-GB"));
  }
  if (!std::isfinite(request.hotspotX) || !std::isfinite(request.hotspotY)) {
    return tl::unexpected(badRequest("the hotspot is not a number"));
  }
  Job job;
  job.kind = Job::Kind::word;
  if (auto decoded = decodeCapture(request.image, job); !decoded) return tl::unexpected(decoded.error());
  if (job.image && (request.hotspotX < 0 || request.hotspotY < 0 || request.hotspotX >= job.image->width ||
                    request.hotspotY >= job.image->height)) {
    return tl::unexpected(badRequest("the hotspot lies outside the image"));
  }
  job.hotspotX = request.hotspotX;
  job.hotspotY = request.hotspotY;
  job.target = std::move(request.targetLang);
  job.secondary = std::move(request.secondaryTargetLang);
  job.accent = std::move(request.englishPronunciation);
  return reserveRecogniser(std::move(job));
}

tl::expected<LookupEngine::Job, RequestRefusal> LookupEngine::prepareRegionTranslation(RegionTranslationRequest request) {
  if (auto checked = checkLanguages(request.targetLang, request.secondaryTargetLang); !checked) {
    return tl::unexpected(checked.error());
  }
  Job job;
  job.kind = Job::Kind::region;
  if (auto decoded = decodeCapture(request.image, job); !decoded) return tl::unexpected(decoded.error());
  job.target = std::move(request.targetLang);
  job.secondary = std::move(request.secondaryTargetLang);
  return reserveRecogniser(std::move(job));
}

tl::expected<LookupEngine::Job, RequestRefusal> LookupEngine::prepareTextTranslation(TextTranslationRequest request) {
  if (auto checked = checkLanguages(request.targetLang, request.secondaryTargetLang); !checked) {
    return tl::unexpected(checked.error());
  }
  if (request.englishPronunciation != "en-US" && request.englishPronunciation != "en-GB") {
    return tl::unexpected(badRequest("englishPronunciation must be en-US or en-GB"));
  }
  if (request.text.size() > kMaxTextBytes) return tl::unexpected(badRequest("the text is too long"));
  if (!isValidUTF8(request.text)) return tl::unexpected(badRequest("the text is not UTF-8"));
  Job job;
  job.kind = Job::Kind::text;
  job.text = std::move(request.text);
  job.target = std::move(request.targetLang);
  job.secondary = std::move(request.secondaryTargetLang);
  job.accent = std::move(request.englishPronunciation);
  auto slot = textSlots_->acquire();
  if (!slot) return tl::unexpected(RequestRefusal{RequestRefusal::Kind::saturated, "all translators are busy"});
  job.slot = std::move(*slot);
  return job;
}

void LookupEngine::run(Job job, LookupEventSink& sink) {
  if (job.kind == Job::Kind::word) {
    runWordLookup(job, sink);
  } else if (job.kind == Job::Kind::region) {
    runRegionTranslation(job, sink);
  }
}

std::optional<std::string> LookupEngine::phoneticOf(std::string_view text, std::string_view language,
                                                    std::string_view accent) {
  const Language* spoken = findLanguage(language);
  if (!spoken) return std::nullopt;
  std::string_view voice = language == "en" ? (accent == "en-GB" ? "en-gb" : "en-us") : spoken->voice;
  auto phonetic = speech_->phonetic(text, voice);
  if (!phonetic) return std::nullopt;
  return *phonetic;
}

void LookupEngine::runWordLookup(Job& job, LookupEventSink& sink) {
  if (!job.imageError.empty()) {
    sink.failed({"ocr_failed", "the capture cannot be read: " + job.imageError, false});
    return;
  }
  HotspotReading reading = readAroundHotspot(**job.ocr, *job.image, job.hotspotX, job.hotspotY);
  job.ocr.reset();  // the recogniser goes back before the dictionary work
  const bool chinese = reading.language == OcrLanguage::chinese;
  OcrResult result;
  result.mouseX = job.hotspotX;
  result.mouseY = job.hotspotY;
  result.ocrProvider = "tesseract";
  result.ocrModel = TesseractOcr::modelName(reading.language);
  result.translatorProvider = "dictionary";

  std::optional<WordChoice> choice = chooseWord(reading.words, job.hotspotX, job.hotspotY);
  Unit unit;
  if (choice) {
    const OcrWord& word = reading.words[choice->index];
    if (chinese) {
      unit = chineseUnit(reading.words, *choice, job.hotspotX, dictionaries_->cedict());
    } else {
      unit = {withoutSurroundingPunctuation(word.text), lineText(reading.words, word.line, false), word.box};
    }
  }
  if (!choice || isBlank(unit.text)) {
    sink.completed(result);  // no word under the pointer
    return;
  }
  const OcrWord& word = reading.words[choice->index];
  std::string source = "zh-Hans";
  if (!chinese) {
    source = detectLanguage(unit.anchor, dictionaries_.get()).code;
    if (source != "en" && !dictionaries_->knows(unit.text, source)) source = "en";
  }
  std::string target = effectiveTarget(source, job.target, job.secondary);

  auto found = dictionaries_->lookup(unit.text, source, target);
  DictionaryEntry entry;
  std::string model;
  if (found) {
    entry = std::move(*found);
    model = entry.provider;
  } else if (found.error().kind == DictionaryFailure::Kind::missingPair) {
    sink.failed({std::string(kPairCode), found.error().message, false});
    return;
  } else {
    // A word no dictionary has: the translator's reading of it, when it has one.
    entry.headword = unit.text;
    if (translator_->supports(source, target)) {
      auto translated = translator_->translate(unit.text, source, target, [](std::string_view) { return true; });
      if (translated && *translated != unit.text) {
        entry.meaning = *translated;
        model = translator_->model(source, target);
      }
    }
  }

  TranslationEntry card;
  card.headword = entry.headword.empty() ? unit.text : entry.headword;
  card.phonetic = !entry.phonetic.empty() ? std::optional<std::string>(entry.phonetic)
                                          : phoneticOf(card.headword, source, job.accent);
  card.partOfSpeech = entry.partOfSpeech;
  card.meaning = entry.meaning;
  card.sentence = entry.sentence;
  card.sentenceTranslation = entry.sentenceTranslation;
  if (!sink.fieldDelta(EntryField::headword, card.headword)) return;
  if (card.phonetic && !sink.fieldDelta(EntryField::phonetic, *card.phonetic)) return;
  if (!card.partOfSpeech.empty() && !sink.fieldDelta(EntryField::partOfSpeech, card.partOfSpeech)) return;
  if (!card.meaning.empty() && !sink.fieldDelta(EntryField::meaning, card.meaning)) return;
  if (!card.sentence.empty() && !sink.fieldDelta(EntryField::sentence, card.sentence)) return;
  if (!card.sentenceTranslation.empty()) {
    if (!sink.fieldDelta(EntryField::sentenceTranslation, card.sentenceTranslation)) return;
  } else if (!card.sentence.empty() && source != target && translator_->supports(source, target)) {
    bool open = true;
    auto translated = translator_->translate(card.sentence, source, target, [&](std::string_view delta) {
      open = sink.fieldDelta(EntryField::sentenceTranslation, delta);
      return open;
    });
    if (!open) return;
    // The example's translation is a bonus: without it the card is still whole.
    if (translated) {
      card.sentenceTranslation = *translated;
      model += "+" + translator_->model(source, target);
    } else {
      kLog.warning("example not translated: {}", translated.error().message);
    }
  }
  DetectedLanguage language = detected(source);
  if (!sink.language(language)) return;

  card.lookupLang = source;
  card.detectedLanguageName = language.name;
  card.pronunciationLang = source == "en" ? job.accent : source;
  result.selectedUnit = SelectedUnit{unit.text, unit.anchor, target, boxOf(unit.box), word.confidence / 100.0};
  result.entry = std::move(card);
  result.selectionReason = choice->reason;
  if (!model.empty()) result.translatorModel = model;
  sink.completed(result);
}

void LookupEngine::runRegionTranslation(Job& job, LookupEventSink& sink) {
  if (!job.imageError.empty()) {
    sink.failed({"ocr_failed", "the capture cannot be read: " + job.imageError, false});
    return;
  }
  HotspotReading reading = readRegion(**job.ocr, *job.image);
  job.ocr.reset();
  const bool chinese = reading.language == OcrLanguage::chinese;
  std::string text = reflowParagraphs(reading.words, chinese);
  ParagraphTranslationResult result;
  if (isBlank(text)) {
    sink.paragraphCompleted(result);  // nothing legible: the client's "no text" card
    return;
  }
  DetectedLanguage language = chinese ? detected("zh-Hans") : detectLanguage(text, dictionaries_.get());
  std::string target = effectiveTarget(language.code, job.target, job.secondary);
  result.detectedLanguageCode = language.code;
  result.detectedLanguageName = language.name;
  if (!translator_->supports(language.code, target) && language.code != target) {
    sink.failed({std::string(kPairCode), "no offline translation covers " + describePair(language.code, target), false});
    return;
  }
  if (!sink.language(language)) return;
  if (language.code == target) {
    // Already in the reader's language: the reflowed text is the answer.
    if (!sink.fieldDelta(EntryField::translation, text)) return;
    result.translation = text;
    result.translatorProvider = "none";
    sink.paragraphCompleted(result);
    return;
  }
  bool open = true;
  auto translated = translator_->translate(text, language.code, target, [&](std::string_view delta) {
    open = sink.fieldDelta(EntryField::translation, delta);
    return open;
  });
  if (!open) return;
  if (!translated) {
    sink.failed({"llm_failed", translated.error().message, true});
    return;
  }
  result.translation = *translated;
  result.translatorProvider = translator_->provider(language.code, target);
  result.translatorModel = translator_->model(language.code, target);
  sink.paragraphCompleted(result);
}

void LookupEngine::run(Job job, TextTranslationSink& sink) {
  if (job.kind != Job::Kind::text) return;
  std::string text = trimmed(job.text);
  TextTranslationCompletion completion;
  completion.translatorProvider = "none";
  if (text.empty()) {
    completion.outcome = "no_result";
    sink.completed(completion);
    return;
  }
  DetectedLanguage language = detectLanguage(text, dictionaries_.get());
  std::string target = effectiveTarget(language.code, job.target, job.secondary);
  bool phraseSized = hasCjk(text) ? characterCount(text) <= 6 : wordCount(text) <= kMaxPhraseWords;
  bool wordLike = phraseSized && !hasSentencePunctuation(text);

  if (wordLike) {
    auto found = dictionaries_->lookup(text, language.code, target);
    std::optional<DictionaryEntry> entry;
    if (found) {
      entry = std::move(*found);
    } else if (wordCount(text) <= 1 && translator_->supports(language.code, target)) {
      auto translated = translator_->translate(text, language.code, target, [](std::string_view) { return true; });
      // Apertium passes unknown words through unchanged: that is no translation.
      if (translated && !isBlank(*translated) && *translated != text) {
        entry = DictionaryEntry{text, "", "", *translated, "", "", translator_->model(language.code, target)};
      }
    } else if (found.error().kind == DictionaryFailure::Kind::missingPair && !translator_->supports(language.code, target)) {
      sink.failed({std::string(kPairCode), found.error().message, false});
      return;
    }
    if (entry) {
      WordTranslation word;
      word.lookupText = entry->headword.empty() ? text : entry->headword;
      word.phonetic = !entry->phonetic.empty() ? std::optional<std::string>(entry->phonetic)
                                               : phoneticOf(word.lookupText, language.code, job.accent);
      if (!entry->partOfSpeech.empty()) word.partOfSpeech = entry->partOfSpeech;
      word.meaning = entry->meaning;
      if (!sink.classified(SelectionType::wordPhrase)) return;
      if (!sink.fieldDelta(EntryField::headword, word.lookupText)) return;
      if (!sink.language(language)) return;
      if (word.phonetic && !sink.fieldDelta(EntryField::phonetic, *word.phonetic)) return;
      if (word.partOfSpeech && !sink.fieldDelta(EntryField::partOfSpeech, *word.partOfSpeech)) return;
      if (!sink.fieldDelta(EntryField::meaning, word.meaning)) return;
      completion.outcome = "translated";
      completion.selectionType = SelectionType::wordPhrase;
      completion.language = language;
      completion.word = std::move(word);
      completion.translatorProvider = "dictionary";
      completion.translatorModel = entry->provider;
      sink.completed(completion);
      return;
    }
    if (wordCount(text) <= 1 && !hasCjk(text)) {
      completion.outcome = "no_result";  // a lone word that nothing knows
      sink.completed(completion);
      return;
    }
  }

  if (language.code != target && !translator_->supports(language.code, target)) {
    sink.failed({std::string(kPairCode), "no offline translation covers " + describePair(language.code, target), false});
    return;
  }
  if (!sink.classified(SelectionType::sentence)) return;
  if (!sink.language(language)) return;
  std::string sent;
  if (language.code == target) {
    sent = text;
    if (!sink.fieldDelta(EntryField::translation, text)) return;
  } else {
    bool open = true;
    auto translated = translator_->translate(text, language.code, target, [&](std::string_view delta) {
      sent += delta;
      open = sink.fieldDelta(EntryField::translation, delta);
      return open;
    });
    if (!open) return;
    if (!translated || isBlank(sent)) {
      sink.failed({"llm_failed", translated ? "the translation came back empty" : translated.error().message, true});
      return;
    }
    completion.translatorProvider = translator_->provider(language.code, target);
    completion.translatorModel = translator_->model(language.code, target);
  }
  completion.outcome = "translated";
  completion.selectionType = SelectionType::sentence;
  completion.language = language;
  // What the deltas built, exactly: the client checks the two against each other.
  completion.sentenceTranslation = sent;
  sink.completed(completion);
}

tl::expected<PronunciationAudio, RequestRefusal> LookupEngine::pronounce(const PronunciationRequest& request) {
  std::string text = trimmed(request.lookupText);
  if (text.empty()) return tl::unexpected(badRequest("lookupText is empty"));
  if (text.size() > kMaxPronouncedBytes) return tl::unexpected(badRequest("lookupText is too long"));
  if (!isValidUTF8(text)) return tl::unexpected(badRequest("lookupText is not UTF-8"));
  if (request.speed != "normal" && request.speed != "slow") {
    return tl::unexpected(badRequest("pronunciationSpeed must be normal or slow"));
  }
  std::string code;
  std::string accent = "en-US";
  if (request.language && !isBlank(*request.language)) {
    const Language* language = findLanguage(trimmed(*request.language));
    if (!language) return tl::unexpected(badRequest("pronunciationLang is not a served language"));
    code = std::string(language->code);
    if (trimmed(*request.language) == "en-GB") accent = "en-GB";
  } else {
    code = detectLanguage(text, dictionaries_.get()).code;
  }
  const Language* language = findLanguage(code);
  std::string voice = code == "en" ? (accent == "en-GB" ? "en-gb" : "en-us") : std::string(language->voice);
  std::optional<std::string> phonetic;
  if (code == "zh-Hans") {
    if (const Cedict* cedict = dictionaries_->cedict()) {
      auto entries = cedict->lookup(text);
      if (!entries.empty()) phonetic = entries.front().pinyin;
    }
  }
  if (!phonetic) phonetic = phoneticOf(text, code, accent);
  SpeechSpeed speed = request.speed == "slow" ? SpeechSpeed::slow : SpeechSpeed::normal;
  auto file = pronunciationCache_->fetch(text, voice, speed, [&] { return speech_->synthesize(text, voice, speed); });
  if (!file) {
    kLog.error("pronunciation failed: {}", file.error());
    return tl::unexpected(RequestRefusal{RequestRefusal::Kind::engineFailed, "speech synthesis failed"});
  }
  return PronunciationAudio{text, phonetic, request.speed, file->filename().string()};
}

std::optional<std::filesystem::path> LookupEngine::pronunciationFile(std::string_view fileName) const {
  return pronunciationCache_->find(fileName);
}

}  // namespace trelvis::server
