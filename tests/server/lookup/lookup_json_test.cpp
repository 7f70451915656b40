#include "server/lookup/lookup_json.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace trelvis::server {
namespace {

TEST(LookupJsonTest, EncodesResultsInTheClientsShapesAndLeavesOutWhatIsAbsent) {
  OcrResult result;
  result.selectedUnit = SelectedUnit{"houses", "old houses", "de", {10, 20, 30, 12}, 0.9};
  TranslationEntry entry;
  entry.headword = "house";
  entry.meaning = "Haus";
  entry.phonetic = "/hˈaʊs/";
  result.entry = entry;
  result.selectionReason = "inside_word";
  result.ocrProvider = "tesseract";
  auto json = nlohmann::json::parse(ocrResultJson(result));
  EXPECT_EQ(json["selectedUnit"]["boundingBox"]["width"], 30);
  EXPECT_EQ(json["selectedUnit"]["targetLang"], "de");
  EXPECT_EQ(json["entry"]["phonetic"], "/hˈaʊs/");
  EXPECT_EQ(json["entry"]["sentence"], "");
  EXPECT_FALSE(json["entry"].contains("pronunciationUrl"));
  EXPECT_FALSE(json.contains("error"));
  EXPECT_FALSE(json.contains("translatorModel"));

  auto empty = nlohmann::json::parse(ocrResultJson(OcrResult{}));
  EXPECT_EQ(empty, nlohmann::json({{"selectionReason", "none"}}));
  // Broken UTF-8 from a recogniser is replaced rather than thrown over.
  EXPECT_NO_THROW((void)nlohmann::json::parse(fieldDeltaJson(1, "entry.headword", "\xff\xfe")));

  TextTranslationCompletion word{"translated", SelectionType::wordPhrase, DetectedLanguage{"en", "English"},
                                 WordTranslation{"run", std::nullopt, "v.", "courir"}, std::nullopt, "dictionary", "freedict-eng-fra"};
  auto completion = nlohmann::json::parse(textCompletionJson(word, 6, "select_translation.completed", "r1"));
  EXPECT_EQ(completion["selectionType"], "word_phrase");
  EXPECT_EQ(completion["word"], nlohmann::json({{"lookupText", "run"}, {"partOfSpeech", "v."}, {"meaning", "courir"}}));
  EXPECT_FALSE(completion.contains("sentence"));
  EXPECT_EQ(nlohmann::json::parse(fieldDeltaJson(3, textFieldName(EntryField::translation), "Hola", "input_translation.field.delta")),
            nlohmann::json({{"type", "input_translation.field.delta"}, {"seq", 3}, {"field", "sentence.translation"}, {"delta", "Hola"}}));
  EXPECT_EQ(lookupFieldName(EntryField::sentenceTranslation), "entry.sentenceTranslation");
  auto failure = nlohmann::json::parse(failureJson({"unsupported_language_pair", "no pair", false}));
  EXPECT_EQ(failure["code"], "unsupported_language_pair");
  EXPECT_FALSE(failure.contains("seq"));
}

}  // namespace
}  // namespace trelvis::server
