#pragma once

// Chooses the engine for each pair: the first of its translators, in the order
// given, that serves the pair (the chat backend first when one is configured,
// apertium otherwise); a pair that none serves fails with a message naming it.
// Thread-safe when its translators are.

#include "server/engines/translate/translator.h"

#include <memory>
#include <vector>

namespace trelvis::server {

class TranslationRouter : public Translator {
 public:
  explicit TranslationRouter(std::vector<std::shared_ptr<Translator>> translators);

  bool supports(std::string_view source, std::string_view target) const override;
  tl::expected<std::string, TranslationFailure> translate(std::string_view text, std::string_view source,
                                                          std::string_view target, const TranslationDelta& onDelta) override;
  std::string provider() const override { return "none"; }
  // The chosen engine's provider and model for a pair.
  std::string provider(std::string_view source, std::string_view target) const;
  std::string model(std::string_view source, std::string_view target) const override;

 private:
  Translator* choose(std::string_view source, std::string_view target) const;
  std::vector<std::shared_ptr<Translator>> translators_;
};

}  // namespace trelvis::server
