#pragma once

// The one interface of sentence and paragraph translation. An implementation
// streams the translation in pieces through `onDelta` as its engine produces them
// and returns the whole text; `onDelta` returns false to stop early (the client
// has gone). Implementations are thread-safe.

#include <tl/expected.hpp>

#include <functional>
#include <string>
#include <string_view>

namespace trelvis::server {

struct TranslationFailure {
  enum class Kind { missingPair, engineFailed, stopped };
  Kind kind;
  std::string message;
};

using TranslationDelta = std::function<bool(std::string_view delta)>;

class Translator {
 public:
  virtual ~Translator() = default;
  virtual bool supports(std::string_view source, std::string_view target) const = 0;
  virtual tl::expected<std::string, TranslationFailure> translate(std::string_view text, std::string_view source,
                                                                  std::string_view target,
                                                                  const TranslationDelta& onDelta) = 0;
  // For the results' translatorProvider and translatorModel.
  virtual std::string provider() const = 0;
  virtual std::string model(std::string_view source, std::string_view target) const = 0;
};

}  // namespace trelvis::server
