#include "core/lookup/lookup_sse_parser.h"

#include "core/lookup/lookup_decoding.h"
#include "core/lookup/lookup_error.h"

namespace trelvis {
namespace {

enum class BlockKind { fieldDelta, language, completed, paragraphCompleted, error, unknown };

BlockKind kindOf(std::string_view name) {
  struct Entry {
    std::string_view name;
    BlockKind kind;
  };
  static constexpr Entry kNames[] = {
      {"lookup.field.delta", BlockKind::fieldDelta},
      {"paragraph_translation.field.delta", BlockKind::fieldDelta},
      {"lookup.language", BlockKind::language},
      {"paragraph_translation.language", BlockKind::language},
      {"lookup.completed", BlockKind::completed},
      {"paragraph_translation.completed", BlockKind::paragraphCompleted},
      {"lookup.error", BlockKind::error},
      {"paragraph_translation.error", BlockKind::error},
  };
  for (const auto& entry : kNames) {
    if (entry.name == name) return entry.kind;
  }
  return BlockKind::unknown;
}

}  // namespace

std::optional<LookupSSEParser::Output> LookupSSEParser::consumeLine(std::string_view line) {
  if (const SSEBlock* block = parser_.consumeLine(line)) return decode(*block);
  return std::nullopt;
}

std::optional<LookupSSEParser::Output> LookupSSEParser::finish() {
  try {
    if (const SSEBlock* block = parser_.finish()) return decode(*block);
  } catch (const SSEInvalidUTF8Error&) {
    throwInvalidResponse();
  }
  return std::nullopt;
}

void LookupSSEParser::throwInvalidResponse() {
  throw LookupTransportError(LookupTransportError::InvalidResponse{});
}

LookupSSEParser::Output LookupSSEParser::decode(const SSEBlock& block) {
  BlockKind kind = kindOf(block.eventName);
  if (kind == BlockKind::unknown) return Output{};

  const nlohmann::json document = json::parse(block.data);
  switch (kind) {
    case BlockKind::fieldDelta: {
      json::ObjectReader payload(document);
      return Output{LookupStreamEvent{LookupStreamEvent::FieldDelta{
          payload.value<int64_t>("seq"), payload.value<std::string>("field"),
          payload.value<std::string>("delta")}}};
    }
    case BlockKind::language: {
      json::ObjectReader payload(document);
      return Output{LookupStreamEvent{LookupStreamEvent::Language{
          payload.value<std::string>("name"), payload.value<std::string>("code")}}};
    }
    case BlockKind::completed:
      return Output{
          LookupStreamEvent{LookupStreamEvent::Completed{json::decode<OcrResult>(document)}}};
    case BlockKind::paragraphCompleted:
      return Output{LookupStreamEvent{LookupStreamEvent::ParagraphTranslationCompleted{
          json::decode<ParagraphTranslationResult>(document)}}};
    case BlockKind::error: {
      json::ObjectReader payload(document);
      return Output{LookupStreamEvent{LookupStreamEvent::Failure{LookupStreamFailure{
          payload.value<std::string>("message", "Translation stream failed"),
          payload.optional<std::string>("code"), payload.optional<bool>("retryable"),
          payload.optional<LookupQuotaSnapshot>("quota")}}}};
    }
    case BlockKind::unknown:
      break;
  }
  return Output{};
}

}  // namespace trelvis
