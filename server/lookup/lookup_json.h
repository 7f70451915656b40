#pragma once

// The JSON text of the lookup engine's values in the shapes the client parses:
// the payloads of "lookup.*", "paragraph_translation.*", "select_translation.*"
// and "input_translation.*" events and the pronunciation reply. Absent optional
// fields are left out. The HTTP layer numbers events (`seq`) and wraps the
// payloads in its event stream.

#include "server/lookup/lookup_values.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace trelvis::server {

// The field names of deltas: "entry.headword" ... for hover, "translation" for
// area, "word.lookupText" ... and "sentence.translation" for select and input.
std::string_view lookupFieldName(EntryField field);
std::string_view textFieldName(EntryField field);

std::string ocrResultJson(const OcrResult& result);
std::string paragraphResultJson(const ParagraphTranslationResult& result);
std::string pronunciationJson(const PronunciationAudio& audio, std::string_view url);

// {"seq":..,"field":..,"delta":..}, with "type" when not empty (select and input).
std::string fieldDeltaJson(int64_t seq, std::string_view field, std::string_view delta, std::string_view type = {});
// {"name":..,"code":..}, with "type" and "seq" when `type` is not empty.
std::string languageJson(const DetectedLanguage& language, int64_t seq = 0, std::string_view type = {});
// {"message":..,"code":..,"retryable":..}, with "type" and "seq" when `type` is not empty.
std::string failureJson(const StreamFailure& failure, int64_t seq = 0, std::string_view type = {});
// {"type":..,"seq":..,"selectionType":..}
std::string classifiedJson(SelectionType selectionType, int64_t seq, std::string_view type);
// The completion of a select or input stream.
std::string textCompletionJson(const TextTranslationCompletion& completion, int64_t seq, std::string_view type,
                               std::string_view requestId);

}  // namespace trelvis::server
