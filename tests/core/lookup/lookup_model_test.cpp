#include "core/lookup/lookup_model.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/localization/language_names.h"
#include "core/lookup/lookup_decoding.h"
#include "support/thrown.h"

namespace trelvis {
namespace {

TEST(LookupModelTest, RawStringsRoundTripAndRejectOthers) {
  // Every case in declaration order, each with a raw string of its own.
  const std::vector<LookupErrorCode>& codes = allLookupErrorCodes();
  ASSERT_EQ(codes.size(), static_cast<size_t>(LookupErrorCode::unknown) + 1);
  for (size_t i = 0; i < codes.size(); ++i) {
    EXPECT_EQ(codes[i], static_cast<LookupErrorCode>(i));
    EXPECT_EQ(lookupErrorCodeFromString(toString(codes[i])), codes[i]) << toString(codes[i]);
  }
  EXPECT_EQ(toString(LookupErrorCode::translationQuotaExhausted), "translation_quota_exhausted");
  EXPECT_EQ(lookupErrorCodeFromString("Timeout"), std::nullopt);
  EXPECT_EQ(lookupOutcomeStatusFromString("noWord"), std::nullopt);
}

TEST(LookupModelTest, SelectedRectSpansBothCornersInAnyDragDirection) {
  struct Case {
    Point start;
    Point end;
    Rect expected;
  };
  const Case cases[] = {
      {{110, 70}, {10, 20}, {{10, 20}, {100, 50}}},
      {{-30, 5}, {-10, -5}, {{-30, -5}, {20, 10}}},
  };
  for (const Case& c : cases) {
    const RegionSelectionGesture gesture{c.start, c.end, Instant()};
    EXPECT_EQ(gesture.selectedRect(), c.expected) << c.start.x << "," << c.start.y;
  }
}

TEST(LookupModelTest, QuotaIsTrustworthyOnlyWhenConsistent) {
  struct Case {
    int64_t used, limit, remaining;
    bool trustworthy;
  };
  const Case cases[] = {
      {5, 5, 0, true},  {6, 5, 0, true},   {0, 10, 10, true}, {5, 5, 1, false},
      {0, 0, 0, false}, {-1, 5, 6, false}, {6, 5, -1, false}, {INT64_MAX, 1, 0, true},
  };
  for (const Case& c : cases) {
    const LookupQuotaSnapshot quota{c.used, c.limit, c.remaining, Timestamp()};
    EXPECT_EQ(quota.isTrustworthy(), c.trustworthy)
        << c.used << "/" << c.limit << " remaining " << c.remaining;
  }
}

TEST(LookupModelTest, SelectionAndTextIgnoreUnicodeWhiteSpace) {
  OcrResult result;
  EXPECT_FALSE(result.hasSelection());
  result.selectedUnit.emplace().text = "word";
  EXPECT_FALSE(result.hasSelection()) << "no entry";
  result.entry.emplace().headword = "word";
  EXPECT_TRUE(result.hasSelection());
  result.selectedUnit->text = "\u3000\u00a0\n";
  EXPECT_FALSE(result.hasSelection());
  result.selectedUnit.reset();
  EXPECT_FALSE(result.hasSelection()) << "no unit";

  ParagraphTranslationResult paragraph;
  EXPECT_FALSE(paragraph.hasText());
  paragraph.translation = "\r\n\u2003";
  EXPECT_FALSE(paragraph.hasText());
  paragraph.translation = "\u3000你好 ";
  EXPECT_TRUE(paragraph.hasText());
}

// ---- Decoding -----------------------------------------------------------------

TEST(LookupDecodingTest, FinalResultDefaults) {
  const auto empty = json::decodeText<OcrResult>("{}");
  EXPECT_EQ(empty, OcrResult{});
  EXPECT_EQ(empty.selectionReason + *empty.ocrProvider + *empty.translatorProvider,
            "noneunknownunknown");

  const auto nulls = json::decodeText<OcrResult>(
      R"({"selectionReason":null,"ocrProvider":null,"translatorProvider":null,"entry":null,
          "selectedUnit":null,"mouseX":null,"ocrModel":null})");
  EXPECT_EQ(nulls, empty);

  const auto full = json::decodeText<OcrResult>(R"({
      "selectedUnit": {"text": "word", "anchorText": "a word here",
                       "boundingBox": {"x": 1.5, "width": 20}, "confidence": 0.9},
      "entry": {"headword": "word", "meaning": null, "phonetic": "/wɜːd/", "lookupLang": "en"},
      "selectionReason": "nearest", "mouseX": 12, "mouseY": 4.5,
      "ocrProvider": "tesseract", "ocrModel": "eng", "translatorProvider": "dict",
      "error": "llm_failed"})");
  ASSERT_TRUE(full.selectedUnit);
  // Without targetLang the unit reads as the server's default, not the user's language.
  EXPECT_EQ(full.selectedUnit->targetLang, "zh-CN");
  EXPECT_EQ(full.selectedUnit->boundingBox, (BoundingBox{1.5, 0, 20, 0}));
  EXPECT_EQ(full.selectedUnit->confidence, 0.9);
  ASSERT_TRUE(full.entry);
  EXPECT_EQ(full.entry->meaning, "");
  EXPECT_EQ(full.entry->phonetic, "/wɜːd/");
  EXPECT_EQ(full.mouseX, 12.0);
  EXPECT_EQ(full.error, "llm_failed");
  EXPECT_TRUE(full.hasSelection());
}

TEST(LookupDecodingTest, OtherRecordsAndTheirDefaults) {
  // The full records decode in the client and parser tests; here the defaults.
  EXPECT_EQ(
      json::decodeText<PronunciationResult>(R"({"pronunciationSpeed":null})").pronunciationSpeed,
      PronunciationSpeed::normal);

  const auto bare = json::decodeText<LookupStreamFailure>(R"({"message":"x","quota":null})");
  EXPECT_EQ(bare, (LookupStreamFailure{"x", std::nullopt, std::nullopt, std::nullopt}));

  const auto fractional = json::decodeText<LookupQuotaSnapshot>(
      R"({"used":1,"limit":2,"remaining":1,"resetAt":"2026-01-02T03:04:05.678Z"})");
  EXPECT_EQ(formatIso8601(fractional.resetAt, true), "2026-01-02T03:04:05.678Z");
}

TEST(LookupDecodingTest, MalformedPayloadsFailWithThePathOfTheFault) {
  struct Case {
    const char* name;
    std::function<void()> decode;
    const char* message;
  };
  const Case cases[] = {
      {"paragraph without translation",
       [] { json::decodeText<ParagraphTranslationResult>(R"({"requestId":"r"})"); },
       "translation: missing required value"},
      {"failure without message",
       [] { json::decodeText<LookupStreamFailure>(R"({"code":"ocr_failed"})"); },
       "message: missing required value"},
      {"quota without remaining",
       [] {
         json::decodeText<LookupStreamFailure>(
             R"({"message":"m","quota":{"used":1,"limit":2,"resetAt":"2026-01-02T03:04:05Z"}})");
       },
       "quota.remaining: missing required value"},
      {"quota with a date alone",
       [] {
         json::decodeText<LookupStreamFailure>(
             R"({"message":"m","quota":{"used":1,"limit":2,"remaining":1,"resetAt":"2026-01-02"}})");
       },
       "quota.resetAt: Expected an ISO-8601 timestamp."},
      {"unknown speed",
       [] { json::decodeText<PronunciationResult>(R"({"pronunciationSpeed":"fast"})"); },
       "pronunciationSpeed: unknown pronunciation speed"},
      {"bounding box of the wrong type",
       [] { json::decodeText<OcrResult>(R"({"selectedUnit":{"boundingBox":{"x":"1"}}})"); },
       "selectedUnit.boundingBox.x: expected a number"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(testing::messageThrownBy<json::DecodeError>(c.decode), c.message) << c.name;
  }
}

// ---- Language names -------------------------------------------------------------

TEST(LanguageNamesTest, CanonicalCodes) {
  struct Case {
    const char* tag;
    std::optional<std::string> code;
  };
  const Case cases[] = {
      {"zh", "zh-Hans"},         {"zh-SG", "zh-Hans"},      {"zh_Hans_CN", "zh-Hans"},
      {"zh-HK", "zh-Hant"},      {"zh-Hant-CN", "zh-Hant"}, {"cmn-Hant", "zh-Hant"},
      {" EN_gb\n", "en"},        {"sr-Latn-RS", "sr"},      {"iw", "he"},
      {"  ", std::nullopt},      {"und", std::nullopt},     {"e", std::nullopt},
      {"english", std::nullopt}, {"en--US", std::nullopt},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(canonicalLanguageCode(c.tag), c.code) << "'" << c.tag << "'";
  }
}

TEST(LanguageNamesTest, DetectedLanguageDisplayName) {
  struct Case {
    std::optional<std::string> lookupLang;
    std::optional<std::string> detectedLanguageName;
    AppLanguage appLanguage;
    std::optional<std::string> expected;
  };
  const AppLanguage en = AppLanguage::english;
  const AppLanguage zh = AppLanguage::simplifiedChinese;
  const Case cases[] = {
      {"zh-CN", "Chinese", zh, "简体中文"},
      {"zh-HK", std::nullopt, en, "Traditional Chinese"},
      {"en-US", "Englisch", zh, "英语"},
      // No name in the tables: the server's name, trimmed.
      {"eo", "  Esperanto\n", en, "Esperanto"},
      // No canonical code at all.
      {std::nullopt, " Deutsch ", zh, "Deutsch"},
      {"und", "\u3000", en, std::nullopt},
  };
  for (const Case& c : cases) {
    TranslationEntry entry;
    entry.lookupLang = c.lookupLang;
    entry.detectedLanguageName = c.detectedLanguageName;
    EXPECT_EQ(entry.detectedLanguageDisplayName(c.appLanguage), c.expected)
        << c.lookupLang.value_or("(none)") << " / " << c.detectedLanguageName.value_or("(none)");
  }
}

}  // namespace
}  // namespace trelvis
