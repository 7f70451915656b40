#pragma once

// LookupSSEParser: turns the event stream of the lookup and paragraph
// translation endpoints into LookupStreamEvent values. The API client feeds it
// the reply's bytes one at a time; it holds no resource and does no I/O.
//
// Each call gives nullopt when nothing was dispatched, or an Output for a
// dispatched block, whose `event` is empty for a block of an unknown name. Any
// Output, empty or not, is life on the stream to the caller. Raises
// LookupTransportError (invalidResponse) for a line that is not UTF-8 and
// json::DecodeError for a malformed payload.

#include <cstdint>
#include <optional>
#include <string_view>

#include "core/lookup/lookup_model.h"
#include "core/net/sse_parser.h"

namespace trelvis {

class LookupSSEParser {
 public:
  struct Output {
    std::optional<LookupStreamEvent> event;
    friend bool operator==(const Output&, const Output&) = default;
  };

  std::optional<Output> consume(uint8_t byte) {
    try {
      if (const SSEBlock* block = parser_.consume(byte)) return decode(*block);
    } catch (const SSEInvalidUTF8Error&) {
      throwInvalidResponse();
    }
    return std::nullopt;
  }

  std::optional<Output> consumeLine(std::string_view line);
  std::optional<Output> finish();

 private:
  static Output decode(const SSEBlock& block);
  [[noreturn]] static void throwInvalidResponse();

  SSEParser parser_;
};

}  // namespace trelvis
