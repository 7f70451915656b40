// The event-stream parsers on arbitrary bytes. The block splitter (SSEParser) must
// dispatch exactly the blocks of a plain model of the line and block rules below;
// the lookup parser (LookupSSEParser) must give one output per dispatched block
// up to a payload it cannot decode, of the kind the block's name calls for, and
// the same outputs when it is copied partway through, the copy going on with the
// rest: the client keeps the parser as a value across reads.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/json_decode.h"
#include "base/text.h"
#include "core/lookup/lookup_error.h"
#include "core/lookup/lookup_sse_parser.h"
#include "core/net/sse_parser.h"
#include "fuzz_check.h"

namespace trelvis {
namespace {

struct Block {
  std::string name;
  std::string data;
  friend bool operator==(const Block&, const Block&) = default;
};

enum class End { finished, invalidUTF8, undecodable };

struct Blocks {
  std::vector<Block> blocks;
  End end = End::finished;
};

// Well-formed UTF-8 by the table of valid byte ranges, apart from the validator
// the parser uses.
bool wellFormed(std::string_view text) {
  for (size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    size_t trailing = 0;
    unsigned char low = 0x80, high = 0xBF;  // the range of the first trailing byte
    if (lead < 0x80) {
      trailing = 0;
    } else if (lead >= 0xC2 && lead <= 0xDF) {
      trailing = 1;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      trailing = 2;
      low = lead == 0xE0 ? 0xA0 : 0x80;
      high = lead == 0xED ? 0x9F : 0xBF;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      trailing = 3;
      low = lead == 0xF0 ? 0x90 : 0x80;
      high = lead == 0xF4 ? 0x8F : 0xBF;
    } else {
      return false;
    }
    if (text.size() - i <= trailing) return false;
    for (size_t k = 1; k <= trailing; ++k) {
      const auto byte = static_cast<unsigned char>(text[i + k]);
      if (byte < (k == 1 ? low : 0x80) || byte > (k == 1 ? high : 0xBF)) return false;
    }
    i += trailing + 1;
  }
  return true;
}

// The model: the bytes are cut into lines at CR LF, CR or LF, with the next byte in
// view rather than a flag carried over; the rest after the last line end is one
// more line; then what is pending is dispatched.
Blocks model(std::string_view bytes) {
  Blocks result;
  std::string name = "message";
  std::vector<std::string> dataLines;
  const auto dispatch = [&] {
    if (dataLines.empty()) {
      name = "message";
      return;
    }
    std::string data;
    for (size_t i = 0; i < dataLines.size(); ++i) data += (i ? "\n" : "") + dataLines[i];
    Block block{name, data};
    name = "message";
    dataLines.clear();
    if (trimmed(block.data) != "[DONE]") result.blocks.push_back(std::move(block));
  };
  const auto line = [&](std::string_view text) {
    if (!wellFormed(text)) {
      result.end = End::invalidUTF8;
      return false;
    }
    if (text.empty()) {
      dispatch();
    } else if (text.front() != ':') {
      const size_t colon = text.find(':');
      const std::string_view field = text.substr(0, colon);
      std::string_view value = colon == std::string_view::npos ? "" : text.substr(colon + 1);
      if (value.starts_with(' ')) value.remove_prefix(1);
      if (field == "event") name = value;
      if (field == "data") dataLines.emplace_back(value);
    }
    return true;
  };
  size_t start = 0;
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (bytes[i] != '\r' && bytes[i] != '\n') continue;
    if (!line(bytes.substr(start, i - start))) return result;
    if (bytes[i] == '\r' && i + 1 < bytes.size() && bytes[i + 1] == '\n') ++i;
    start = i + 1;
  }
  if (start < bytes.size() && !line(bytes.substr(start))) return result;
  dispatch();
  return result;
}

Blocks splitBlocks(std::string_view bytes) {
  Blocks result;
  SSEParser parser;
  try {
    for (char byte : bytes) {
      if (const SSEBlock* block = parser.consume(static_cast<uint8_t>(byte))) {
        result.blocks.push_back({block->eventName, block->data});
      }
    }
    if (const SSEBlock* block = parser.finish()) {
      result.blocks.push_back({block->eventName, block->data});
    }
  } catch (const SSEInvalidUTF8Error&) {
    result.end = End::invalidUTF8;
  }
  return result;
}

struct Outputs {
  std::vector<LookupSSEParser::Output> outputs;
  End end = End::finished;
  friend bool operator==(const Outputs&, const Outputs&) = default;
};

// Feeds `bytes` into `parser`, and finishes it when `finish` is set. Only the two
// failures the parser may raise are caught; anything else escapes and ends the run.
void feed(LookupSSEParser& parser, std::string_view bytes, Outputs& into, bool finish) {
  try {
    for (char byte : bytes) {
      if (auto output = parser.consume(static_cast<uint8_t>(byte))) {
        into.outputs.push_back(std::move(*output));
      }
    }
    if (!finish) return;
    if (auto output = parser.finish()) into.outputs.push_back(std::move(*output));
  } catch (const LookupTransportError& error) {
    FUZZ_CHECK(std::holds_alternative<LookupTransportError::InvalidResponse>(error.value()));
    into.end = End::invalidUTF8;
  } catch (const json::DecodeError& error) {
    FUZZ_CHECK(fuzz::quotesNothing(error.what()));
    into.end = End::undecodable;
  }
}

// The index of the event alternative that a block of this name gives, if any.
std::optional<size_t> eventIndexFor(std::string_view name) {
  using Event = LookupStreamEvent;
  const auto index = [](auto alternative) {
    return Event{alternative}.value.index();
  };
  if (name == "lookup.field.delta" || name == "paragraph_translation.field.delta") {
    return index(Event::FieldDelta{});
  }
  if (name == "lookup.language" || name == "paragraph_translation.language") {
    return index(Event::Language{});
  }
  if (name == "lookup.completed") return index(Event::Completed{});
  if (name == "paragraph_translation.completed") return index(Event::ParagraphTranslationCompleted{});
  if (name == "lookup.error" || name == "paragraph_translation.error") return index(Event::Failure{});
  return std::nullopt;
}

}  // namespace
}  // namespace trelvis

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace trelvis;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);

  const Blocks expected = model(bytes);
  const Blocks actual = splitBlocks(bytes);
  FUZZ_CHECK(actual.blocks == expected.blocks);
  FUZZ_CHECK(actual.end == expected.end);

  Outputs whole;
  LookupSSEParser parser;
  feed(parser, bytes, whole, true);
  if (whole.end == End::undecodable) {
    FUZZ_CHECK(whole.outputs.size() < expected.blocks.size());
  } else {
    FUZZ_CHECK(whole.end == expected.end);
    FUZZ_CHECK(whole.outputs.size() == expected.blocks.size());
  }
  for (size_t i = 0; i < whole.outputs.size(); ++i) {
    const auto& event = whole.outputs[i].event;
    const std::optional<size_t> kind = eventIndexFor(expected.blocks[i].name);
    FUZZ_CHECK(event.has_value() == kind.has_value());
    FUZZ_CHECK(!event || event->value.index() == *kind);
  }

  // The split point comes from the bytes, so that a replay splits where the run did.
  const size_t cut = std::hash<std::string_view>{}(bytes) % (size + 1);
  Outputs split;
  LookupSSEParser first;
  feed(first, bytes.substr(0, cut), split, false);
  if (split.end == End::finished) {
    LookupSSEParser second = first;
    first = LookupSSEParser();  // the copy must not lean on the original
    feed(second, bytes.substr(cut), split, true);
  }
  FUZZ_CHECK(split == whole);
  return 0;
}
