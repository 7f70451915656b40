#include "server/http/event_streams.h"

#include "server/lookup/lookup_json.h"

namespace trelvis::server {
namespace {

const StreamFailure kInternalFailure{"server_error", "the translation failed on the server", true};

}  // namespace

bool EventStreamWriter::send(std::string_view name, std::string_view data) {
  if (!open_) return false;
  frame_.assign("event: ").append(name).append("\ndata: ").append(data).append("\n\n");
  open_ = write_(frame_);
  if (open_) ++sent_;
  return open_;
}

bool LookupEventStream::fieldDelta(EntryField field, std::string_view delta) {
  return writer_.send(eventName(".field.delta"),
                      fieldDeltaJson(nextSeq(), lookupFieldName(field), delta));
}

bool LookupEventStream::language(const DetectedLanguage& language) {
  return writer_.send(eventName(".language"), languageJson(language));
}

void LookupEventStream::completed(const OcrResult& result) {
  writer_.send(eventName(".completed"), ocrResultJson(result));
}

void LookupEventStream::paragraphCompleted(const ParagraphTranslationResult& result) {
  ParagraphTranslationResult withId = result;
  withId.requestId = requestId_;
  writer_.send(eventName(".completed"), paragraphResultJson(withId));
}

void LookupEventStream::failed(const StreamFailure& failure) {
  noteFailure();
  writer_.send(eventName(".error"), failureJson(failure));
}

void LookupEventStream::failInternally() {
  failed(kInternalFailure);
}

bool TextTranslationEventStream::classified(SelectionType type) {
  const std::string name = eventName(".classified");
  return writer_.send(name, classifiedJson(type, nextSeq(), name));
}

bool TextTranslationEventStream::language(const DetectedLanguage& language) {
  const std::string name = eventName(".language");
  return writer_.send(name, languageJson(language, nextSeq(), name));
}

bool TextTranslationEventStream::fieldDelta(EntryField field, std::string_view delta) {
  const std::string name = eventName(".field.delta");
  return writer_.send(name, fieldDeltaJson(nextSeq(), textFieldName(field), delta, name));
}

void TextTranslationEventStream::completed(const TextTranslationCompletion& completion) {
  const std::string name = eventName(".completed");
  writer_.send(name, textCompletionJson(completion, nextSeq(), name, requestId_));
}

void TextTranslationEventStream::failed(const StreamFailure& failure) {
  noteFailure();
  const std::string name = eventName(".error");
  writer_.send(name, failureJson(failure, nextSeq(), name));
}

void TextTranslationEventStream::failInternally() {
  failed(kInternalFailure);
}

}  // namespace trelvis::server
