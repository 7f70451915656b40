#pragma once

// SSEParser: the byte-level grammar of the server-sent event streams that every
// streaming endpoint uses. Bytes go in one at a time; a block comes out at each
// blank line that ends a block with data. LF, CR and CR LF each end one line,
// also when CR and LF arrive in different reads. Comments (":..."), fields
// other than "event" and "data", blocks without data and "[DONE]" blocks give
// nothing. There is no limit on line or block length.
//
// The endpoint-specific parsers (lookup, select, input) wrap it and turn each
// block into their own events.

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace trelvis {

// A line of the stream that is not valid UTF-8.
class SSEInvalidUTF8Error : public std::runtime_error {
 public:
  SSEInvalidUTF8Error() : std::runtime_error("event stream line is not valid UTF-8") {}
};

struct SSEBlock {
  std::string eventName;
  std::string data;  // the block's data lines joined with LF
};

class SSEParser {
 public:
  // A dispatched block, valid until the next call; null when nothing was
  // dispatched. Raises SSEInvalidUTF8Error.
  const SSEBlock* consume(uint8_t byte) {
    if (byte != '\n' && byte != '\r') [[likely]] {
      skipLineFeedAfterCarriageReturn_ = false;
      // The line buffer only grows; lineLength_ is its used part. This keeps the
      // per-byte path to a compare and a store.
      if (lineLength_ == lineBytes_.size()) [[unlikely]]
        growLine();
      lineBytes_[lineLength_++] = static_cast<char>(byte);
      return nullptr;
    }
    return endLineAt(byte);
  }

  const SSEBlock* consumeLine(std::string_view line);

  // Once, when the bytes have ended: ends a pending line and dispatches what is
  // pending.
  const SSEBlock* finish();

 private:
  const SSEBlock* endLineAt(uint8_t byte);
  void growLine();
  const SSEBlock* endLine();
  const SSEBlock* dispatch();

  std::string eventName_ = "message";
  std::string data_;           // data lines so far, joined with LF
  bool hasDataLines_ = false;  // an empty data line still counts
  std::string lineBytes_;
  std::size_t lineLength_ = 0;
  bool skipLineFeedAfterCarriageReturn_ = false;
  SSEBlock block_;
};

}  // namespace trelvis
