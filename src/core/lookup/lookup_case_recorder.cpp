#include "core/lookup/lookup_case_recorder.h"

#include <fstream>
#include <system_error>
#include <variant>

#include <nlohmann/json.hpp>

#include "base/log.h"
#include "base/text.h"
#include "base/uuid.h"
#include "core/lookup/lookup_api_client.h"
#include "core/lookup/lookup_error.h"

namespace trelvis {
namespace {

const LogCategory kLog("lookup-cases");

using nlohmann::json;

template <class T>
void putOptional(json& object, const char* key, const std::optional<T>& value) {
  if (value) object[key] = *value;
}

json encode(const TranslationEntry& entry) {
  json object{{"headword", entry.headword},
              {"partOfSpeech", entry.partOfSpeech},
              {"meaning", entry.meaning},
              {"sentence", entry.sentence},
              {"sentenceTranslation", entry.sentenceTranslation}};
  putOptional(object, "phonetic", entry.phonetic);
  putOptional(object, "pronunciationUrl", entry.pronunciationUrl);
  putOptional(object, "pronunciationLang", entry.pronunciationLang);
  putOptional(object, "detectedLanguageName", entry.detectedLanguageName);
  putOptional(object, "lookupLang", entry.lookupLang);
  return object;
}

json encode(const OcrResult& result) {
  json object{{"selectionReason", result.selectionReason}};
  if (const auto& unit = result.selectedUnit) {
    const BoundingBox& box = unit->boundingBox;
    object["selectedUnit"] = {
        {"text", unit->text},
        {"anchorText", unit->anchorText},
        {"targetLang", unit->targetLang},
        {"boundingBox", {{"x", box.x}, {"y", box.y}, {"width", box.width}, {"height", box.height}}},
        {"confidence", unit->confidence}};
  }
  if (result.entry) object["entry"] = encode(*result.entry);
  putOptional(object, "mouseX", result.mouseX);
  putOptional(object, "mouseY", result.mouseY);
  putOptional(object, "ocrProvider", result.ocrProvider);
  putOptional(object, "ocrModel", result.ocrModel);
  putOptional(object, "translatorProvider", result.translatorProvider);
  putOptional(object, "translatorModel", result.translatorModel);
  putOptional(object, "error", result.error);
  return object;
}

json encode(const LookupStreamFailure& failure) {
  json object{{"message", failure.message}};
  putOptional(object, "code", failure.code);
  putOptional(object, "retryable", failure.retryable);
  if (const auto& quota = failure.quota) {
    object["quota"] = {{"used", quota->used},
                       {"limit", quota->limit},
                       {"remaining", quota->remaining},
                       {"resetAt", formatIso8601(quota->resetAt, true)}};
  }
  return object;
}

// An event as the server sent it: its wire name and its payload. `timing` is
// the client's own measurement and is kept apart.
json encode(const LookupStreamEvent& event) {
  return std::visit(
      [](const auto& e) -> json {
        using E = std::decay_t<decltype(e)>;
        if constexpr (std::is_same_v<E, LookupStreamEvent::FieldDelta>) {
          return {{"event", "lookup.field.delta"},
                  {"data", {{"seq", e.sequence}, {"field", e.field}, {"delta", e.delta}}}};
        } else if constexpr (std::is_same_v<E, LookupStreamEvent::Language>) {
          return {{"event", "lookup.language"}, {"data", {{"name", e.name}, {"code", e.code}}}};
        } else if constexpr (std::is_same_v<E, LookupStreamEvent::Completed>) {
          return {{"event", "lookup.completed"}, {"data", encode(e.result)}};
        } else if constexpr (std::is_same_v<E, LookupStreamEvent::Failure>) {
          return {{"event", "lookup.error"}, {"data", encode(e.failure)}};
        } else {
          return nullptr;
        }
      },
      event.value);
}

json requestFields(const NativeCapture& capture) {
  json request{{"hotspotX", capture.hotspotX},
               {"hotspotY", capture.hotspotY},
               {"targetLang", capture.targetLanguage},
               {"englishPronunciation", languageTag(capture.englishPronunciation)}};
  putOptional(request, "secondaryTargetLang", capture.secondaryTargetLanguage);
  return request;
}

json captureFields(const NativeCapture& capture) {
  return {{"mouseX", capture.mouseX},
          {"mouseY", capture.mouseY},
          {"imageWidth", capture.imageWidth},
          {"imageHeight", capture.imageHeight},
          {"captureMilliseconds", capture.captureMilliseconds},
          {"encodeMilliseconds", capture.encodeMilliseconds}};
}

void writeFile(const std::filesystem::path& path, std::string_view bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file) {
    throw std::filesystem::filesystem_error("cannot write a lookup case", path,
                                            std::make_error_code(std::errc::io_error));
  }
}

}  // namespace

LookupCaseRecorder::Configuration LookupCaseRecorder::configurationFrom(
    const EnvironmentLookup& environment, const std::filesystem::path& currentDirectory) {
  const std::string flag = trimmed(environment("TRELVIS_CASE_RECORDER").value_or(""));
  std::filesystem::path directory = trimmed(environment("TRELVIS_CASE_DIR").value_or(""));
  if (directory.empty()) directory = kDefaultDirectory;
  return {!flag.empty() && flag != "0", currentDirectory / directory};
}

LookupCaseRecorder::LookupCaseRecorder(Configuration configuration, LookupServing& service)
    : configuration_(std::move(configuration)), service_(service) {}

Async<std::string> LookupCaseRecorder::record(NativeCapture capture) {
  const std::string name = "case-" + Uuid::random().toString();
  const std::filesystem::path directory = configuration_.directory;
  std::filesystem::create_directories(directory);
  writeFile(directory / (name + ".jpg"),
            std::string_view(reinterpret_cast<const char*>(capture.imageData.data()),
                             capture.imageData.size()));

  json sidecar{{"image", name + ".jpg"},
               {"request", requestFields(capture)},
               {"capture", captureFields(capture)},
               {"events", json::array()}};
  LookupServing& service = service_;
  try {
    auto stream = service.lookupStream(std::move(capture));
    while (auto event = co_await stream.next()) {
      if (const auto* timing = std::get_if<LookupStreamEvent::Timing>(&event->value)) {
        sidecar["requestToFirstSSEMilliseconds"] = timing->requestToFirstSSEMilliseconds;
      } else if (json encoded = encode(*event); !encoded.is_null()) {
        sidecar["events"].push_back(std::move(encoded));
      }
    }
    sidecar["end"] = isCancelled() ? "cancelled" : "finished";
  } catch (...) {
    sidecar["end"] = "failed";
    sidecar["error"] = LookupError::from(std::current_exception()).description();
  }
  writeFile(directory / (name + ".json"), sidecar.dump(2) + "\n");
  kLog.info("recorded {} in {}", name, directory.string());
  co_return name;
}

}  // namespace trelvis
