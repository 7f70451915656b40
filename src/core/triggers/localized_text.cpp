#include "core/triggers/localized_text.h"

#include <fmt/format.h>

namespace trelvis {

LocalizedText LocalizedText::literal(std::string_view text) {
  LocalizedText result;
  if (!text.empty()) result.segments_.push_back({Segment::Kind::literal, std::string(text), {}});
  return result;
}

LocalizedText LocalizedText::key(std::string_view key, std::vector<int64_t> arguments) {
  LocalizedText result;
  result.segments_.push_back({Segment::Kind::key, std::string(key), std::move(arguments)});
  return result;
}

LocalizedText& LocalizedText::operator+=(const LocalizedText& other) {
  for (const Segment& segment : other.segments_) {
    if (segment.kind == Segment::Kind::literal && !segments_.empty() &&
        segments_.back().kind == Segment::Kind::literal) {
      segments_.back().text += segment.text;
    } else {
      segments_.push_back(segment);
    }
  }
  return *this;
}

std::string LocalizedText::keyedText() const {
  return render([](std::string_view key, std::span<const int64_t> arguments) {
    if (arguments.empty()) return std::string(key);
    return fmt::format("{}({})", key, fmt::join(arguments, ", "));
  });
}

}  // namespace trelvis
