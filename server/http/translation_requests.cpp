#include "server/http/translation_requests.h"

#include "base/text.h"
#include "server/http/json_request.h"
#include "server/http/multipart_form.h"

#include <charconv>
#include <cmath>
#include <optional>

namespace trelvis::server {
namespace {

// Text fields of a form are codes and numbers; anything longer is no such thing.
constexpr std::size_t kMaximumFieldBytes = 256;

RequestError invalid(std::string_view field, std::string_view problem) {
  return RequestError{400, std::string(field) + ": " + std::string(problem)};
}

// The text of field `name`, when the form has it.
tl::expected<std::optional<std::string>, RequestError> textField(const MultipartForm& form,
                                                                 std::string_view name) {
  const FormPart* part = form.find(name);
  if (!part) return std::nullopt;
  if (part->content.size() > kMaximumFieldBytes) return tl::unexpected(invalid(name, "too long"));
  if (!isValidUTF8(part->content)) return tl::unexpected(invalid(name, "not UTF-8"));
  return std::string(part->content);
}

tl::expected<std::string, RequestError> requiredField(const MultipartForm& form,
                                                      std::string_view name) {
  auto text = textField(form, name);
  if (!text) return tl::unexpected(text.error());
  if (!*text) return tl::unexpected(invalid(name, "missing"));
  return std::move(**text);
}

// A coordinate as the client writes it ("120.0", "1e+20"): a finite decimal number.
tl::expected<double, RequestError> coordinate(const MultipartForm& form, std::string_view name) {
  auto text = requiredField(form, name);
  if (!text) return tl::unexpected(text.error());
  double value = 0;
  const char* end = text->data() + text->size();
  const auto [stop, error] = std::from_chars(text->data(), end, value);
  if (text->empty() || error != std::errc() || stop != end || !std::isfinite(value)) {
    return tl::unexpected(invalid(name, "not a finite decimal number"));
  }
  return value;
}

tl::expected<std::vector<uint8_t>, RequestError> image(const MultipartForm& form) {
  const FormPart* part = form.find("image");
  if (!part) return tl::unexpected(invalid("image", "missing"));
  if (part->content.empty()) return tl::unexpected(invalid("image", "empty"));
  return std::vector<uint8_t>(part->content.begin(), part->content.end());
}

// Reads the form and fills what hover and area have alike: the languages and the
// image. `read` adds the rest.
template <class Request, class Read>
Parsed<Request> parseCapture(std::string_view contentType, std::string_view body, Read read) {
  const auto form = parseMultipartForm(contentType, body);
  if (!form) return tl::unexpected(form.error());
  Request request;
  auto target = requiredField(*form, "targetLang");
  if (!target) return tl::unexpected(target.error());
  request.targetLang = std::move(*target);
  auto secondary = textField(*form, "secondaryTargetLang");
  if (!secondary) return tl::unexpected(secondary.error());
  request.secondaryTargetLang = std::move(*secondary);
  if (auto rest = read(*form, request); !rest) return tl::unexpected(rest.error());
  auto bytes = image(*form);
  if (!bytes) return tl::unexpected(bytes.error());
  request.image = std::move(*bytes);
  return request;
}

}  // namespace

Parsed<WordLookupRequest> parseWordLookupRequest(std::string_view contentType,
                                                 std::string_view body) {
  return parseCapture<WordLookupRequest>(
      contentType, body,
      [](const MultipartForm& form,
         WordLookupRequest& request) -> tl::expected<void, RequestError> {
        const auto x = coordinate(form, "hotspotX");
        if (!x) return tl::unexpected(x.error());
        const auto y = coordinate(form, "hotspotY");
        if (!y) return tl::unexpected(y.error());
        request.hotspotX = *x;
        request.hotspotY = *y;
        auto accent = textField(form, "englishPronunciation");
        if (!accent) return tl::unexpected(accent.error());
        if (*accent) request.englishPronunciation = std::move(**accent);
        return {};
      });
}

Parsed<RegionTranslationRequest> parseRegionTranslationRequest(std::string_view contentType,
                                                               std::string_view body) {
  return parseCapture<RegionTranslationRequest>(
      contentType, body,
      [](const MultipartForm&, RegionTranslationRequest&) -> tl::expected<void, RequestError> {
        return {};
      });
}

Parsed<TextTranslationRequest> parseTextTranslationRequest(std::string_view body,
                                                           std::string_view textKey) {
  return parseJsonObject<TextTranslationRequest>(body, [&](const json::ObjectReader& reader) {
    TextTranslationRequest request;
    request.text = reader.required<std::string>(textKey);
    if (request.text.size() > kMaximumTextBytes) {
      throw InvalidField{
          std::string(textKey) + ": longer than " + std::to_string(kMaximumTextBytes) + " bytes",
          413};
    }
    request.targetLang = reader.required<std::string>("targetLang");
    request.secondaryTargetLang = reader.optional<std::string>("secondaryTargetLang");
    request.englishPronunciation = reader.value<std::string>("englishPronunciation", "en-US");
    return request;
  });
}

Parsed<PronunciationRequest> parsePronunciationQuery(const QueryItems& query) {
  std::optional<std::string> text;
  std::optional<std::string> speed;
  std::optional<std::string> language;
  for (const auto& [name, value] : query) {
    std::optional<std::string>* slot = name == "lookupText"           ? &text
                                       : name == "pronunciationSpeed" ? &speed
                                       : name == "pronunciationLang"  ? &language
                                                                      : nullptr;
    if (!slot) continue;
    if (*slot) return tl::unexpected(invalid(name, "given twice"));
    if (!isValidUTF8(value)) return tl::unexpected(invalid(name, "not UTF-8"));
    *slot = value;
  }
  if (!text) return tl::unexpected(invalid("lookupText", "missing"));
  PronunciationRequest request;
  request.lookupText = std::move(*text);
  if (speed) {
    if (*speed != "normal" && *speed != "slow") {
      return tl::unexpected(invalid("pronunciationSpeed", "must be normal or slow"));
    }
    request.speed = std::move(*speed);
  }
  if (language && !language->empty()) request.language = std::move(*language);
  return request;
}

}  // namespace trelvis::server
