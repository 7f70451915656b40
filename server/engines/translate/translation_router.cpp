#include "server/engines/translate/translation_router.h"

#include "server/engines/languages.h"

namespace trelvis::server {

TranslationRouter::TranslationRouter(std::vector<std::shared_ptr<Translator>> translators)
    : translators_(std::move(translators)) {}

Translator* TranslationRouter::choose(std::string_view source, std::string_view target) const {
  for (const auto& translator : translators_) {
    if (translator->supports(source, target)) return translator.get();
  }
  return nullptr;
}

bool TranslationRouter::supports(std::string_view source, std::string_view target) const {
  return choose(source, target) != nullptr;
}

tl::expected<std::string, TranslationFailure> TranslationRouter::translate(std::string_view text,
                                                                           std::string_view source,
                                                                           std::string_view target,
                                                                           const TranslationDelta& onDelta) {
  Translator* translator = choose(source, target);
  if (!translator) {
    return tl::unexpected(TranslationFailure{TranslationFailure::Kind::missingPair,
                                             "no offline translation covers " + describePair(source, target)});
  }
  return translator->translate(text, source, target, onDelta);
}

std::string TranslationRouter::provider(std::string_view source, std::string_view target) const {
  Translator* translator = choose(source, target);
  return translator ? translator->provider() : "none";
}

std::string TranslationRouter::model(std::string_view source, std::string_view target) const {
  Translator* translator = choose(source, target);
  return translator ? translator->model(source, target) : std::string();
}

}  // namespace trelvis::server
