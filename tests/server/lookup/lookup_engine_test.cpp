#include "server/lookup/lookup_engine.h"

#include "server/engines/support/text_renderer.h"
#include "server/lookup/language_detector.h"
#include "server/lookup/paragraph_reflow.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <map>

namespace trelvis::server {
namespace {

using testing::RenderedPicture;

const char* fieldName(EntryField field) {
  static const char* const names[] = {"headword", "phonetic", "partOfSpeech", "meaning", "sentence",
                                      "sentenceTranslation", "translation"};
  return names[static_cast<int>(field)];
}

// Records every event as it arrives; consecutive deltas of one field are merged.
struct Recorder : LookupEventSink, TextTranslationSink {
  std::vector<std::string> events;
  std::map<std::string, std::string> fields;
  std::optional<OcrResult> result;
  std::optional<ParagraphTranslationResult> paragraph;
  std::optional<TextTranslationCompletion> completion;
  std::optional<StreamFailure> failure;

  bool fieldDelta(EntryField field, std::string_view delta) override {
    std::string name = fieldName(field);
    if (events.empty() || events.back() != name) events.push_back(name);
    fields[name] += delta;
    return true;
  }
  bool language(const DetectedLanguage& language) override {
    events.push_back("language " + language.code);
    return true;
  }
  bool classified(SelectionType type) override {
    events.push_back(type == SelectionType::sentence ? "sentence" : "word");
    return true;
  }
  void completed(const OcrResult& value) override {
    events.push_back("completed");
    result = value;
  }
  void paragraphCompleted(const ParagraphTranslationResult& value) override {
    events.push_back("completed");
    paragraph = value;
  }
  void completed(const TextTranslationCompletion& value) override {
    events.push_back("completed " + value.outcome);
    completion = value;
  }
  void failed(const StreamFailure& value) override {
    events.push_back("failed " + value.code);
    failure = value;
  }
};

struct Capture {
  std::vector<uint8_t> jpeg;
  RenderedPicture picture;
};

// A 2560 by 360 band like the client's capture, with lines of text.
Capture band(const std::vector<std::vector<std::string>>& lines, bool chinese = false, int width = 2560, int height = 360) {
  testing::TextLayout layout;
  auto fonts = chinese ? testing::chineseTestFonts() : testing::latinTestFonts();
  layout.fontPath = fonts.front().path;
  layout.faceIndex = fonts.front().faceIndex;
  layout.pixelSize = 18;
  layout.separator = chinese ? "" : " ";
  layout.top = 120;
  layout.left = 300;
  Capture capture;
  capture.picture = testing::renderText(lines, layout, width, height);
  capture.jpeg = testing::encodeJpeg(capture.picture);
  return capture;
}

std::pair<double, double> centreOf(const RenderedPicture& picture, std::string_view word) {
  for (const auto& rendered : picture.words) {
    if (rendered.text == word) return {rendered.box.x + rendered.box.width / 2.0, rendered.baseline - 5.0};
  }
  ADD_FAILURE() << "no word " << word;
  return {0, 0};
}

class LookupEngineTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    LookupEngineConfig config;
    config.dictionaries.cedictFile = TRELVIS_CEDICT_FILE;
    config.ocrWorkers = 1;
    config.maxWaiting = 0;
    config.pronunciationCacheDirectory = std::filesystem::temp_directory_path() / "trelvis-lookup-engine-test";
    auto created = LookupEngine::create(config);
    ASSERT_TRUE(created) << created.error();
    engine_ = created->release();
  }
  static void TearDownTestSuite() {
    delete engine_;
    std::filesystem::remove_all(std::filesystem::temp_directory_path() / "trelvis-lookup-engine-test");
  }

  static Recorder lookUp(const Capture& capture, double x, double y, std::string target,
                         std::optional<std::string> secondary = std::nullopt) {
    Recorder recorder;
    auto job = engine_->prepareWordLookup({capture.jpeg, x, y, std::move(target), std::move(secondary), "en-US"});
    EXPECT_TRUE(job) << job.error().detail;
    if (job) engine_->run(std::move(*job), static_cast<LookupEventSink&>(recorder));
    return recorder;
  }
  static LookupEngine* engine_;
};
LookupEngine* LookupEngineTest::engine_ = nullptr;

TEST_F(LookupEngineTest, StreamsTheEntryOfTheWordUnderTheHotspotInCardOrder) {
  Capture capture = band({{"Many", "old", "houses", "stand", "near", "the", "river."},
                          {"Children", "were", "running", "across", "the", "bridge."}});
  auto [x, y] = centreOf(capture.picture, "houses");
  Recorder german = lookUp(capture, x, y, "de");
  // The German dictionary has its own example, with its translation.
  EXPECT_EQ(german.events, (std::vector<std::string>{"headword", "phonetic", "partOfSpeech", "meaning", "sentence",
                                                     "sentenceTranslation", "language en", "completed"}));
  ASSERT_TRUE(german.result && german.result->selectedUnit && german.result->entry);
  const OcrResult& result = *german.result;
  EXPECT_EQ(result.selectedUnit->text, "houses");
  EXPECT_NE(result.selectedUnit->anchorText.find("Many old houses stand"), std::string::npos);
  const BoundingBox& box = result.selectedUnit->boundingBox;
  EXPECT_TRUE(x >= box.x && x <= box.x + box.width && y >= box.y && y <= box.y + box.height);
  EXPECT_EQ(result.entry->headword, "house");
  EXPECT_EQ(german.fields["headword"], "house");
  EXPECT_NE(result.entry->meaning.find("Haus"), std::string::npos) << result.entry->meaning;
  EXPECT_EQ(result.entry->phonetic, german.fields["phonetic"]);
  EXPECT_EQ(result.entry->pronunciationLang, "en-US");
  EXPECT_EQ(result.entry->detectedLanguageName, "English");

  // Spanish has a translator: the example's translation streams too.
  auto [rx, ry] = centreOf(capture.picture, "running");
  Recorder spanish = lookUp(capture, rx, ry, "es");
  ASSERT_TRUE(spanish.result && spanish.result->entry);
  EXPECT_EQ(spanish.result->entry->headword, "run");
  EXPECT_EQ(spanish.events.at(5), "sentenceTranslation");
  EXPECT_FALSE(spanish.result->entry->sentenceTranslation.empty());
  EXPECT_EQ(spanish.fields["sentenceTranslation"], spanish.result->entry->sentenceTranslation);

  // A word already in the target language goes to the second target.
  Recorder second = lookUp(capture, x, y, "en", "zh-Hans");
  ASSERT_TRUE(second.result && second.result->entry);
  EXPECT_NE(second.result->entry->meaning.find("房"), std::string::npos) << second.result->entry->meaning;
  EXPECT_EQ(second.result->selectedUnit->targetLang, "zh-Hans");

  Recorder korean = lookUp(capture, x, y, "ko");
  EXPECT_EQ(korean.events, (std::vector<std::string>{"failed unsupported_language_pair"}));
  EXPECT_NE(korean.failure->message.find("English → Korean"), std::string::npos);
}

TEST_F(LookupEngineTest, SelectsTheChineseDictionaryWordAroundTheCharacter) {
  Capture capture = band({{"我们", "是", "中国人", "，", "喜欢", "喝茶", "。"}}, true);
  const auto& word = capture.picture.words[2];  // 中国人
  double x = word.chars[1].x + word.chars[1].width / 2.0;  // on 国
  Recorder recorder = lookUp(capture, x, word.baseline - 6.0, "en");
  ASSERT_TRUE(recorder.result && recorder.result->selectedUnit) << ::testing::PrintToString(recorder.events);
  EXPECT_EQ(recorder.result->selectedUnit->text, "中国人");
  EXPECT_EQ(recorder.result->entry->lookupLang, "zh-Hans");
  EXPECT_NE(recorder.result->entry->meaning.find("Chinese"), std::string::npos);
  EXPECT_EQ(recorder.result->entry->phonetic, "Zhōng guó rén");
  EXPECT_EQ(recorder.result->ocrModel, "tesseract-lstm-chi_sim");
}

TEST_F(LookupEngineTest, RefusesBadRequestsBeforeAnyWorkAndReportsUnreadableCaptures) {
  Capture capture = band({{"hello"}}, false, 400, 100);
  std::vector<uint8_t> truncated(capture.jpeg.begin(), capture.jpeg.begin() + capture.jpeg.size() / 2);
  struct Case {
    std::vector<uint8_t> image;
    double x, y;
    std::string target;
    std::optional<std::string> secondary;
    std::string accent;
    const char* detail;
  };
  const double nan = std::nan("");
  const Case cases[] = {
      {{'G', 'I', 'F', '8', '9', 'a'}, 10, 10, "de", {}, "en-US", "not a JPEG"},
      {{}, 10, 10, "de", {}, "en-US", "not a JPEG"},
      {capture.jpeg, 400, 10, "de", {}, "en-US", "outside"},
      {capture.jpeg, -1, 10, "de", {}, "en-US", "outside"},
      {capture.jpeg, nan, 10, "de", {}, "en-US", "not a number"},
      {capture.jpeg, 10, 10, "xx", {}, "en-US", "targetLang"},
      {capture.jpeg, 10, 10, "de", "it", "en-US", "secondaryTargetLang"},
      {capture.jpeg, 10, 10, "de", {}, "en-AU", "englishPronunciation"},
  };
  for (const Case& c : cases) {
    auto job = engine_->prepareWordLookup({c.image, c.x, c.y, c.target, c.secondary, c.accent});
    ASSERT_FALSE(job) << c.detail;
    EXPECT_EQ(job.error().kind, RequestRefusal::Kind::badRequest);
    EXPECT_NE(job.error().detail.find(c.detail), std::string::npos) << job.error().detail;
  }
  auto job = engine_->prepareWordLookup({truncated, 10, 10, "de", {}, "en-US"});
  ASSERT_TRUE(job);
  Recorder recorder;
  engine_->run(std::move(*job), static_cast<LookupEventSink&>(recorder));
  EXPECT_EQ(recorder.events, (std::vector<std::string>{"failed ocr_failed"}));

  // One recogniser and no queue: a second request while one holds it is saturated.
  auto held = engine_->prepareRegionTranslation({capture.jpeg, "de", {}});
  ASSERT_TRUE(held);
  auto refused = engine_->prepareWordLookup({capture.jpeg, 10, 10, "de", {}, "en-US"});
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().kind, RequestRefusal::Kind::saturated);
}

TEST_F(LookupEngineTest, TranslatesARegionAsReflowedParagraphs) {
  // A region capture has its text near the top, and a word broken over two lines.
  testing::TextLayout layout;
  layout.fontPath = testing::latinTestFonts().front().path;
  layout.pixelSize = 18;
  Capture capture;
  capture.picture = testing::renderText({{"The", "weather", "is", "cold", "today,", "so", "we", "stay", "at"},
                                         {"home", "and", "read", "many", "inter-"},
                                         {"esting", "books."}},
                                        layout, 600, 200);
  capture.jpeg = testing::encodeJpeg(capture.picture);
  auto job = engine_->prepareRegionTranslation({capture.jpeg, "es", {}});
  ASSERT_TRUE(job);
  Recorder recorder;
  engine_->run(std::move(*job), static_cast<LookupEventSink&>(recorder));
  EXPECT_EQ(recorder.events, (std::vector<std::string>{"language en", "translation", "completed"}));
  ASSERT_TRUE(recorder.paragraph);
  EXPECT_EQ(recorder.paragraph->translation, recorder.fields["translation"]);
  EXPECT_NE(recorder.paragraph->translation.find("libros"), std::string::npos) << recorder.paragraph->translation;
  EXPECT_NE(recorder.paragraph->translation.find("interesantes"), std::string::npos)
      << recorder.paragraph->translation;
}

TEST_F(LookupEngineTest, TranslatesTextAsAWordOrASentence) {
  auto translate = [](std::string text, std::string target) {
    Recorder recorder;
    auto job = engine_->prepareTextTranslation({std::move(text), std::move(target), {}, "en-GB"});
    EXPECT_TRUE(job);
    if (job) engine_->run(std::move(*job), static_cast<TextTranslationSink&>(recorder));
    return recorder;
  };
  // The order of the events and their agreement with the completion are held over
  // the wire by the client wire test; here what the words become.
  Recorder word = translate("running", "fr");
  ASSERT_TRUE(word.completion && word.completion->word);
  EXPECT_EQ(word.completion->word->lookupText, "run");
  EXPECT_NE(word.completion->word->meaning.find("courir"), std::string::npos);

  Recorder sentence = translate("The cat sleeps in the house.", "es");
  ASSERT_TRUE(sentence.completion && sentence.completion->sentenceTranslation);
  EXPECT_NE(sentence.completion->sentenceTranslation->find("gato"), std::string::npos);

  EXPECT_EQ(translate("qwxzvk", "es").events, (std::vector<std::string>{"completed no_result"}));
  EXPECT_EQ(translate("The cat sleeps in the house.", "ko").events,
            (std::vector<std::string>{"failed unsupported_language_pair"}));
  auto tooLong = engine_->prepareTextTranslation({std::string(20'001, 'a'), "es", {}, "en-US"});
  ASSERT_FALSE(tooLong);
  EXPECT_EQ(tooLong.error().kind, RequestRefusal::Kind::badRequest);
  EXPECT_FALSE(engine_->prepareTextTranslation({"\xff\xfe", "es", {}, "en-US"}));
}

TEST_F(LookupEngineTest, PronouncesAtTwoSpeedsFromTheDiskCache) {
  auto normal = engine_->pronounce({"tomato", "normal", "en-GB"});
  auto slow = engine_->pronounce({"tomato", "slow", "en-GB"});
  auto american = engine_->pronounce({"tomato", "normal", "en-US"});
  ASSERT_TRUE(normal && slow && american);
  EXPECT_NE(normal->fileName, slow->fileName);
  EXPECT_NE(normal->fileName, american->fileName);
  EXPECT_NE(normal->phonetic, american->phonetic);
  EXPECT_TRUE(engine_->pronunciationFile(normal->fileName));
  EXPECT_EQ(engine_->pronounce({"猫", "normal", "zh-Hans"})->phonetic, "māo");
  for (const PronunciationRequest& bad : {PronunciationRequest{" ", "normal", {}}, PronunciationRequest{"cat", "fast", {}},
                                          PronunciationRequest{"cat", "normal", "it"},
                                          PronunciationRequest{std::string(201, 'a'), "normal", {}}}) {
    auto refused = engine_->pronounce(bad);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().kind, RequestRefusal::Kind::badRequest);
  }
}

TEST(LanguageDetectorTest, TellsLanguagesByScriptWordsAndLetters) {
  const std::pair<const char*, const char*> cases[] = {
      {"The weather is nice and warm today", "en"},  {"El perro de la casa es muy grande", "es"},
      {"Le chat est dans la maison", "fr"},          {"Der Hund ist nicht in dem Haus", "de"},
      {"O gato não está em casa", "pt"},             {"我们是中国人", "zh-Hans"},
      {"猫はかわいいです", "ja"},                   {"고양이는 귀엽다", "ko"},
      {"12345", "en"},
  };
  for (auto [text, code] : cases) EXPECT_EQ(detectLanguage(text, nullptr).code, code) << text;
}

TEST(ParagraphReflowTest, JoinsLinesAndHyphenatedWordsAndKeepsParagraphs) {
  auto word = [](std::string text, int line, int paragraph) { return OcrWord{std::move(text), {}, 90, line, paragraph, {}}; };
  std::vector<OcrWord> words = {word("An", 0, 0),      word("infor-", 0, 0), word("mation", 1, 0), word("desk.", 1, 0),
                                word("Self-", 1, 0),  word("Made", 2, 0),   word("Next", 3, 1)};
  EXPECT_EQ(reflowParagraphs(words, false), "An information desk. Self- Made\n\nNext");
  std::vector<OcrWord> chinese = {word("我们", 0, 0), word("是", 0, 0), word("中国人", 1, 0)};
  EXPECT_EQ(reflowParagraphs(chinese, true), "我们是中国人");
  EXPECT_EQ(lineText(words, 1, false), "mation desk. Self-");
}

}  // namespace
}  // namespace trelvis::server
