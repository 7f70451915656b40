#pragma once

// JSON decoding of the server's lookup records. Absent keys and JSON null give
// the listed defaults; a value of the wrong type, or a missing required field,
// fails with json::DecodeError. Dates follow the server's ISO-8601 rule.
// Include only from .cpp files: it brings in nlohmann/json.

#include "base/json_decode.h"
#include "core/lookup/lookup_model.h"

namespace trelvis {

TranslationEntry decodeJson(const json::ObjectReader& reader, json::Tag<TranslationEntry>);
BoundingBox decodeJson(const json::ObjectReader& reader, json::Tag<BoundingBox>);
SelectedUnit decodeJson(const json::ObjectReader& reader, json::Tag<SelectedUnit>);
OcrResult decodeJson(const json::ObjectReader& reader, json::Tag<OcrResult>);
ParagraphTranslationResult decodeJson(const json::ObjectReader& reader,
                                      json::Tag<ParagraphTranslationResult>);
PronunciationResult decodeJson(const json::ObjectReader& reader, json::Tag<PronunciationResult>);
LookupQuotaSnapshot decodeJson(const json::ObjectReader& reader, json::Tag<LookupQuotaSnapshot>);
LookupStreamFailure decodeJson(const json::ObjectReader& reader, json::Tag<LookupStreamFailure>);
PronunciationSpeed decodeJson(const json::Value& value, json::Tag<PronunciationSpeed>);

}  // namespace trelvis
