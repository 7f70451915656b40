#pragma once

// The language work behind the server's lookup endpoints, as plain C++: the word
// under a hotspot with its dictionary entry (hover), the translation of a region
// (area), of selected or typed text (select, input), and spoken pronunciations.
// The HTTP layer calls it on its request threads in two steps per request:
//
//   auto job = engine.prepareWordLookup(std::move(request));  // 400/503 on refusal,
//   if (!job) ...                                             // nothing charged
//   charge the quota; engine.run(std::move(*job), sink);      // events into the sink
//
// `prepare...` checks the request and reserves an engine, so that a refused or
// saturated request costs nothing; `run` produces the stream's events in order,
// ending with exactly one completion or failure (unless the sink stops it by
// returning false). The engine owns warm OCR recognisers in a bounded pool, the
// dictionaries, the translators and the speech engine, all made at start-up.
// Thread-safe; one instance per process.

#include "server/engines/engine_pool.h"
#include "server/engines/ocr/gray_image.h"
#include "server/engines/translate/chat_completion_translator.h"
#include "server/engines/dict/dictionaries.h"
#include "server/lookup/lookup_requests.h"
#include "server/lookup/lookup_values.h"

#include <tl/expected.hpp>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace trelvis::server {

class ApertiumTranslator;
class EspeakSpeech;
class PronunciationCache;
class TesseractOcr;
class TranslationRouter;

struct LookupEngineConfig {
  DictionaryPaths dictionaries;
  std::string tessdataPath;  // empty: the installed models
  size_t ocrWorkers = 2;     // warm recognisers, one request each at a time
  size_t maxWaiting = 8;     // requests that may queue for a recogniser
  std::chrono::milliseconds maxWait{3000};
  std::filesystem::path pronunciationCacheDirectory;
  std::optional<ChatCompletionConfig> chat;  // when set, it translates every pair
  bool warmTranslators = true;  // start the apertium pipelines at creation
};

// Receives the events of a hover or area stream. A false return means that the
// client has gone: the engine stops without a completion.
class LookupEventSink {
 public:
  virtual ~LookupEventSink() = default;
  virtual bool fieldDelta(EntryField field, std::string_view delta) = 0;
  virtual bool language(const DetectedLanguage& language) = 0;
  virtual void completed(const OcrResult&) {}
  virtual void paragraphCompleted(const ParagraphTranslationResult&) {}
  virtual void failed(const StreamFailure& failure) = 0;
};

// Receives the events of a select or input stream, in the order the client's
// validator wants: classification, then for a word its lookup text, the language
// and the other word fields; for a sentence the language and the translation.
class TextTranslationSink {
 public:
  virtual ~TextTranslationSink() = default;
  virtual bool classified(SelectionType type) = 0;
  virtual bool language(const DetectedLanguage& language) = 0;
  virtual bool fieldDelta(EntryField field, std::string_view delta) = 0;
  virtual void completed(const TextTranslationCompletion& completion) = 0;
  virtual void failed(const StreamFailure& failure) = 0;
};

class LookupEngine {
 public:
  class Job;  // a checked request with its reserved engine; move-only

  // Loads models, dictionaries and pipelines (a few seconds), or says what is missing.
  static tl::expected<std::unique_ptr<LookupEngine>, std::string> create(LookupEngineConfig config);
  ~LookupEngine();

  tl::expected<Job, RequestRefusal> prepareWordLookup(WordLookupRequest request);
  tl::expected<Job, RequestRefusal> prepareRegionTranslation(RegionTranslationRequest request);
  tl::expected<Job, RequestRefusal> prepareTextTranslation(TextTranslationRequest request);
  void run(Job job, LookupEventSink& sink);        // word lookups and region translations
  void run(Job job, TextTranslationSink& sink);    // text translations

  // Speaks the text (cached on disk) and spells it; refuses blank or overlong text
  // and unknown languages.
  tl::expected<PronunciationAudio, RequestRefusal> pronounce(const PronunciationRequest& request);
  // The audio file of a pronunciation by its file name, when there is one.
  std::optional<std::filesystem::path> pronunciationFile(std::string_view fileName) const;

  const Dictionaries& dictionaries() const { return *dictionaries_; }
  // Pairs that translate sentences offline or through the chat backend.
  bool translates(std::string_view source, std::string_view target) const;

 private:
  LookupEngine();
  static tl::expected<void, RequestRefusal> decodeCapture(const std::vector<uint8_t>& bytes, Job& job);
  tl::expected<Job, RequestRefusal> reserveRecogniser(Job job);
  void runWordLookup(Job& job, LookupEventSink& sink);
  void runRegionTranslation(Job& job, LookupEventSink& sink);
  std::optional<std::string> phoneticOf(std::string_view text, std::string_view language, std::string_view accent);

  std::unique_ptr<Dictionaries> dictionaries_;
  std::unique_ptr<EnginePool<TesseractOcr>> ocr_;
  std::shared_ptr<ApertiumTranslator> apertium_;
  std::unique_ptr<TranslationRouter> translator_;
  std::unique_ptr<EspeakSpeech> speech_;
  std::unique_ptr<PronunciationCache> pronunciationCache_;
  std::unique_ptr<EnginePool<int>> textSlots_;
  std::thread warmer_;
};

class LookupEngine::Job {
 public:
  Job(Job&&) noexcept;
  Job& operator=(Job&&) noexcept;
  ~Job();

 private:
  friend class LookupEngine;
  enum class Kind { word, region, text };
  Job();
  Kind kind = Kind::word;
  std::optional<GrayImage> image;
  std::string imageError;  // a JPEG that decodes no further than its header
  double hotspotX = 0;
  double hotspotY = 0;
  std::string text;
  std::string target;
  std::optional<std::string> secondary;
  std::string accent;  // "en-US" or "en-GB"
  std::optional<EnginePool<TesseractOcr>::Lease> ocr;
  std::optional<EnginePool<int>::Lease> slot;
};

}  // namespace trelvis::server
