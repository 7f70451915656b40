#include "core/net/sse_parser.h"

#include "base/text.h"

#include <algorithm>
#include <cstring>

namespace trelvis {

bool isValidUTF8(std::string_view bytes) {
  const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
  const auto* end = p + bytes.size();
  while (p < end) {
    // Most of a stream is ASCII: skip it eight bytes at a time.
    while (end - p >= 8) {
      uint64_t word;
      std::memcpy(&word, p, sizeof word);
      if (word & 0x8080808080808080ull) break;
      p += 8;
    }
    if (p == end) break;
    unsigned char c = *p;
    if (c < 0x80) {
      ++p;
      continue;
    }
    int length;
    uint32_t codePoint;
    if ((c & 0xE0) == 0xC0) {
      length = 2;
      codePoint = c & 0x1F;
    } else if ((c & 0xF0) == 0xE0) {
      length = 3;
      codePoint = c & 0x0F;
    } else if ((c & 0xF8) == 0xF0) {
      length = 4;
      codePoint = c & 0x07;
    } else {
      return false;
    }
    if (end - p < length) return false;
    for (int i = 1; i < length; ++i) {
      if ((p[i] & 0xC0) != 0x80) return false;
      codePoint = (codePoint << 6) | (p[i] & 0x3F);
    }
    // Overlong forms, surrogates and values past U+10FFFF are not UTF-8.
    static constexpr uint32_t kMinimum[] = {0, 0, 0x80, 0x800, 0x10000};
    if (codePoint < kMinimum[length] || codePoint > 0x10FFFF ||
        (codePoint >= 0xD800 && codePoint <= 0xDFFF)) {
      return false;
    }
    p += length;
  }
  return true;
}

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
