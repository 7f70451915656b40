#include "core/net/sse_parser.h"

#include "base/text.h"

#include <algorithm>

namespace trelvis {

const SSEBlock* SSEParser::endLineAt(uint8_t byte) {
  if (byte == '\n') {
    if (skipLineFeedAfterCarriageReturn_) {
      // The LF of a CR LF pair.
      skipLineFeedAfterCarriageReturn_ = false;
      return nullptr;
    }
    return endLine();
  }
  skipLineFeedAfterCarriageReturn_ = true;
  return endLine();
}

void SSEParser::growLine() {
  lineBytes_.resize(std::max<std::size_t>(128, 2 * lineBytes_.size()));
}

const SSEBlock* SSEParser::endLine() {
  const std::string_view line(lineBytes_.data(), lineLength_);
  lineLength_ = 0;
  if (!isValidUTF8(line)) throw SSEInvalidUTF8Error();
  // consumeLine is done with the line before the buffer is written again.
  return consumeLine(line);
}

const SSEBlock* SSEParser::consumeLine(std::string_view line) {
  if (line.empty()) return dispatch();
  if (line.front() == ':') return nullptr;

  std::string_view field = line;
  std::string_view value;
  if (auto colon = line.find(':'); colon != std::string_view::npos) {
    field = line.substr(0, colon);
    value = line.substr(colon + 1);
    if (!value.empty() && value.front() == ' ') value.remove_prefix(1);
  }
  if (field == "data") {
    if (hasDataLines_) data_.push_back('\n');
    data_.append(value);
    hasDataLines_ = true;
  } else if (field == "event") {
    eventName_.assign(value);
  }
  return nullptr;
}

const SSEBlock* SSEParser::dispatch() {
  if (!hasDataLines_) {
    eventName_ = "message";
    return nullptr;
  }
  block_.eventName.swap(eventName_);
  block_.data.swap(data_);
  eventName_ = "message";
  data_.clear();
  hasDataLines_ = false;
  // "[DONE]" is a courtesy of some servers; only the end of the bytes ends the stream.
  if (block_.data.find("[DONE]") != std::string::npos && trimmed(block_.data) == "[DONE]") {
    return nullptr;
  }
  return &block_;
}

const SSEBlock* SSEParser::finish() {
  if (lineLength_ != 0) {
    if (const SSEBlock* block = endLine()) return block;
  }
  return dispatch();
}

}  // namespace trelvis
