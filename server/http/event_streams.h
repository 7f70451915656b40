#pragma once

// The event streams of the translation endpoints: the lookup engine's events
// written as server-sent events ("event: NAME", one "data:" line of JSON, a blank
// line), each written, and so sent, as soon as the engine gives it.
//
//   hover   lookup.field.delta ... lookup.language, lookup.completed | lookup.error
//   area    paragraph_translation.language, paragraph_translation.field.delta ...,
//           paragraph_translation.completed | paragraph_translation.error
//   select  select_translation.classified, .language, .field.delta ...,
//           .completed | .error; every payload with its "type" and "seq" from 1
//   input   as select, named input_translation.*
//
// A stream knows whether the engine failed before it gave anything, which is when
// the charge for the translation is given back.

#include <cstdint>
#include <string>
#include <string_view>

#include "server/http/http_server.h"
#include "server/lookup/lookup_engine.h"

namespace trelvis::server {

// Frames events onto a streamed reply.
class EventStreamWriter {
 public:
  explicit EventStreamWriter(const BodyWriter& write) : write_(write) {}

  // False once the client has gone; nothing is written after that.
  bool send(std::string_view name, std::string_view data);
  // Events sent, failures included.
  int64_t sent() const { return sent_; }

 private:
  const BodyWriter& write_;
  bool open_ = true;
  int64_t sent_ = 0;
  std::string frame_;
};

// What the route needs to know once the engine has finished.
class TranslationStream {
 public:
  // True when the stream ended in a failure before any other event.
  bool failedBeforeAnyEvent() const { return failedFirst_; }
  // Ends the stream with a failure of the server itself (the engine raised).
  virtual void failInternally() = 0;

 protected:
  TranslationStream(const BodyWriter& write, std::string prefix, std::string requestId)
      : writer_(write), prefix_(std::move(prefix)), requestId_(std::move(requestId)) {}
  ~TranslationStream() = default;
  std::string eventName(std::string_view suffix) const { return prefix_ + std::string(suffix); }
  // The number of the next event, from 1.
  int64_t nextSeq() const { return writer_.sent() + 1; }
  void noteFailure() { failedFirst_ = writer_.sent() == 0; }

  EventStreamWriter writer_;
  const std::string prefix_;  // "lookup", "select_translation", ...
  const std::string requestId_;

 private:
  bool failedFirst_ = false;
};

// Hover and area: `prefix` is "lookup" or "paragraph_translation".
class LookupEventStream final : public LookupEventSink, public TranslationStream {
 public:
  LookupEventStream(const BodyWriter& write, std::string prefix, std::string requestId)
      : TranslationStream(write, std::move(prefix), std::move(requestId)) {}

  bool fieldDelta(EntryField field, std::string_view delta) override;
  bool language(const DetectedLanguage& language) override;
  void completed(const OcrResult& result) override;
  void paragraphCompleted(const ParagraphTranslationResult& result) override;
  void failed(const StreamFailure& failure) override;
  void failInternally() override;
};

// Select and input: `prefix` is "select_translation" or "input_translation".
class TextTranslationEventStream final : public TextTranslationSink, public TranslationStream {
 public:
  TextTranslationEventStream(const BodyWriter& write, std::string prefix, std::string requestId)
      : TranslationStream(write, std::move(prefix), std::move(requestId)) {}

  bool classified(SelectionType type) override;
  bool language(const DetectedLanguage& language) override;
  bool fieldDelta(EntryField field, std::string_view delta) override;
  void completed(const TextTranslationCompletion& completion) override;
  void failed(const StreamFailure& failure) override;
  void failInternally() override;
};

}  // namespace trelvis::server
