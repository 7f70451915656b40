#pragma once

// LocalizedText: text that the logic names but the interface words. It is a run of
// segments, each either literal text (a key symbol such as "⌥") or a localized key
// with integer arguments ("shortcut.key.code" with 10). The logic builds it; the UI
// layer renders it through its translation catalogue. A plain value, copied freely
// between threads.

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace trelvis {

class LocalizedText {
 public:
  struct Segment {
    enum class Kind : uint8_t { literal, key };
    Kind kind = Kind::literal;
    std::string text;                // the literal text, or the localized key
    std::vector<int64_t> arguments;  // a key's arguments, in order
    friend bool operator==(const Segment&, const Segment&) = default;
  };

  LocalizedText() = default;
  static LocalizedText literal(std::string_view text);
  static LocalizedText key(std::string_view key, std::vector<int64_t> arguments = {});

  const std::vector<Segment>& segments() const { return segments_; }
  bool isEmpty() const { return segments_.empty(); }

  // Appends; adjacent literals merge, so equal texts compare equal however they
  // were put together.
  LocalizedText& operator+=(const LocalizedText& other);
  friend LocalizedText operator+(LocalizedText a, const LocalizedText& b) { return a += b; }

  // The text with every key replaced by `translate(key, arguments)`.
  template <class Translate>
  std::string render(Translate&& translate) const {
    std::string out;
    for (const Segment& segment : segments_) {
      if (segment.kind == Segment::Kind::literal) {
        out += segment.text;
      } else {
        out +=
            translate(std::string_view(segment.text), std::span<const int64_t>(segment.arguments));
      }
    }
    return out;
  }

  // The text with keys left untranslated, "key" or "key(1, 2)": for logs, tests,
  // and wherever no catalogue is at hand.
  std::string keyedText() const;

  friend bool operator==(const LocalizedText&, const LocalizedText&) = default;

 private:
  std::vector<Segment> segments_;
};

// Renders a LocalizedText in the interface's language; supplied by the UI layer.
using LocalizedTextRenderer = std::function<std::string(const LocalizedText&)>;

}  // namespace trelvis
