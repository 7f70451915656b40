#pragma once

// The bodies and queries of the translation endpoints, parsed from the bytes of
// the network into the lookup engine's requests. Each parser is a pure function:
// a request whose every field has the right shape (numbers that are numbers, text
// that is UTF-8 of a bounded length, the image present), or the 4xx answer with a
// `detail`. What needs the engine's data (a served language, a hotspot inside the
// image, bytes that decode as a JPEG) is the engine's to check.
//
//   hover   multipart: hotspotX, hotspotY, targetLang, englishPronunciation,
//           [secondaryTargetLang], image (a file part)
//   area    multipart: targetLang, [secondaryTargetLang], image
//   select  JSON: selectedText, targetLang, [secondaryTargetLang], englishPronunciation
//   input   JSON: inputText, and the rest as select
//   pronunciation query: lookupText, pronunciationSpeed, [pronunciationLang]
//
// Fields beyond these are ignored.

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "server/http/request_error.h"
#include "server/lookup/lookup_requests.h"

namespace trelvis::server {

// Text to translate longer than this is refused with 413, the answer a client
// shows as "too long".
inline constexpr std::size_t kMaximumTextBytes = 20'000;

using QueryItems = std::vector<std::pair<std::string, std::string>>;

Parsed<WordLookupRequest> parseWordLookupRequest(std::string_view contentType,
                                                 std::string_view body);
Parsed<RegionTranslationRequest> parseRegionTranslationRequest(std::string_view contentType,
                                                               std::string_view body);
// `textKey` is "selectedText" or "inputText".
Parsed<TextTranslationRequest> parseTextTranslationRequest(std::string_view body,
                                                           std::string_view textKey);
Parsed<PronunciationRequest> parsePronunciationQuery(const QueryItems& query);

}  // namespace trelvis::server
