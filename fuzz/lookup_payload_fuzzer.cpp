// The decoders of the lookup records on arbitrary text, as a stream event's data
// or a reply body: each either decodes or raises json::DecodeError, whose message
// quotes nothing of the text and which the pipeline classifies as a protocol error.
// Any other exception escapes and ends the run.

#include <cstdint>
#include <exception>
#include <string_view>

#include "base/json_decode.h"
#include "core/lookup/lookup_decoding.h"
#include "core/lookup/lookup_error.h"
#include "fuzz_check.h"

namespace trelvis {
namespace {

// A decoding error quotes nothing, and the pipeline classifies it as a protocol
// error.
void checkRefusal(const json::DecodeError& error) {
  FUZZ_CHECK(fuzz::quotesNothing(error.what()));
  const LookupError classified = LookupError::from(std::make_exception_ptr(error));
  FUZZ_CHECK(classified.code() == LookupErrorCode::protocolError);
}

template <class Record>
void decode(const nlohmann::json& document) {
  try {
    json::decode<Record>(document);
  } catch (const json::DecodeError& error) {
    checkRefusal(error);
  }
}

}  // namespace
}  // namespace trelvis

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace trelvis;
  // Parsed once and decoded as each record, as json::decodeText does for one.
  nlohmann::json document;
  try {
    document = json::parse(std::string_view(reinterpret_cast<const char*>(data), size));
  } catch (const json::DecodeError& error) {
    checkRefusal(error);
    return 0;
  }
  decode<OcrResult>(document);
  decode<TranslationEntry>(document);
  decode<ParagraphTranslationResult>(document);
  decode<PronunciationResult>(document);
  decode<LookupStreamFailure>(document);
  decode<LookupQuotaSnapshot>(document);
  return 0;
}
