#include "server/lookup/hotspot_reader.h"

#include "server/engines/ocr/jpeg_decoder.h"
#include "server/engines/support/text_renderer.h"
#include "server/lookup/word_selector.h"

#include <gtest/gtest.h>

#include <ctime>
#include <iostream>
#include <optional>
#include <random>
#include <thread>

namespace trelvis::server {
namespace {

using testing::RenderedPicture;
using testing::Rgb;
using testing::TextLayout;

const std::vector<std::string> kEnglishWords = {
    "window", "reading", "between", "capture", "language", "morning", "station", "garden", "history",
    "market", "picture", "journey", "country", "village", "problem", "science", "teacher", "student",
    "machine", "kitchen", "weather", "company", "evening", "library", "quickly", "brother", "orange",
    "summer", "winter", "number", "animal", "paper", "river", "money", "music", "water", "light",
    "house", "table", "green", "small", "happy", "world", "bridge", "forest", "silver", "doctor",
    "letter", "minute", "friend", "travel", "simple", "castle", "pocket", "dinner", "yellow", "butter",
    "mountain", "question", "building", "children", "together", "computer", "interest", "remember",
    "distance", "hospital", "practice", "treasure", "elephant", "umbrella", "sentence", "keyboard"};

const std::vector<std::string> kChineseWords = {
    "中国", "学生", "老师", "朋友", "时间", "工作", "学习", "问题", "今天", "明天", "电脑", "手机",
    "城市", "国家", "音乐", "电影", "天气", "医生", "医院", "银行", "公司", "市场", "世界", "历史",
    "文化", "经济", "社会", "教育", "科学", "技术", "发展", "生活", "家庭", "孩子", "父母", "水果",
    "早上", "晚上", "中午", "星期", "火车", "飞机", "汽车", "图书", "咖啡", "茶叶", "米饭", "面包",
    "颜色", "红色", "绿色", "东西", "地方", "附近", "旅游", "休息", "运动", "健康", "快乐", "美丽",
    "重要", "简单", "容易", "语言", "汉字", "英语", "翻译", "词典", "新闻", "报纸", "电话", "房间"};

struct Palette {
  Rgb foreground;
  Rgb background;
};
const std::vector<Palette> kPalettes = {
    {{0, 0, 0}, {255, 255, 255}},      {{40, 40, 40}, {245, 240, 225}},   {{230, 230, 230}, {30, 30, 30}},
    {{20, 40, 120}, {235, 240, 250}},  {{200, 220, 255}, {10, 25, 60}},   {{90, 90, 90}, {255, 255, 255}},
};
const std::vector<int> kSizes = {11, 12, 13, 14, 15, 16, 18, 20, 22, 24, 28, 32};

struct Accuracy {
  int hits = 0;
  int total = 0;
  double rate() const { return total == 0 ? 0 : double(hits) / total; }
};

// Renders captures of random lines and aims hotspots at random characters; counts
// how often the reader's word (English) or character (Chinese) under the hotspot
// is the one rendered there.
Accuracy measure(TesseractOcr& ocr, const std::vector<testing::TestFont>& fonts,
                 const std::vector<std::string>& vocabulary, bool chinese, int images, int hotspotsPerImage) {
  std::mt19937 random(chinese ? 7 : 3);
  Accuracy accuracy;
  for (int i = 0; i < images; ++i) {
    TextLayout layout;
    const testing::TestFont& font = fonts[i % fonts.size()];
    layout.fontPath = font.path;
    layout.faceIndex = font.faceIndex;
    layout.pixelSize = kSizes[(i * 5) % kSizes.size()];
    layout.lineSpacing = 1.3 + 0.1 * (i % 4);
    layout.separator = chinese ? "" : " ";
    const Palette& palette = kPalettes[i % kPalettes.size()];
    layout.foreground = palette.foreground;
    layout.background = palette.background;
    std::vector<std::vector<std::string>> lines(4);
    for (auto& line : lines) {
      for (int w = 0; w < (chinese ? 14 : 9); ++w) line.push_back(vocabulary[random() % vocabulary.size()]);
    }
    int height = static_cast<int>(4 * layout.pixelSize * layout.lineSpacing) + 40;
    RenderedPicture picture = testing::renderText(lines, layout, 1600, height);
    auto decoded = decodeJpegToGray(testing::encodeJpeg(picture, 80));
    if (!decoded) {
      ADD_FAILURE() << decoded.error();
      continue;
    }
    for (int h = 0; h < hotspotsPerImage && !picture.words.empty(); ++h) {
      const testing::RenderedWord& word = picture.words[random() % picture.words.size()];
      size_t c = random() % word.chars.size();
      const PixelRect& cell = word.chars[c];
      double x = cell.x + cell.width * (0.3 + 0.4 * (random() % 100) / 100.0);
      double y = word.baseline - layout.pixelSize * (0.2 + 0.2 * (random() % 100) / 100.0);
      HotspotReading reading = readAroundHotspot(ocr, *decoded, x, y);
      auto choice = chooseWord(reading.words, x, y);
      bool hit = false;
      std::string seen = "(nothing)";
      if (choice) {
        const OcrWord& found = reading.words[choice->index];
        if (chinese) {
          seen = found.symbols.empty() ? found.text : found.symbols[symbolAt(found, x)].text;
          hit = seen == word.charTexts[c] && reading.language == OcrLanguage::chinese;
        } else {
          seen = found.text;
          hit = seen == word.text;
        }
      }
      ++accuracy.total;
      if (hit) {
        ++accuracy.hits;
      } else {
        std::cout << "miss: " << (chinese ? word.charTexts[c] : word.text) << " read as " << seen << " (font "
                  << font.path << ", " << layout.pixelSize << " px, palette " << i % kPalettes.size() << ")\n";
      }
    }
  }
  return accuracy;
}

// A hotspot just off a word still picks it, within a few pixels; stray
// punctuation is never picked.
TEST(WordSelectorTest, PicksTheWordUnderOrJustBesideTheHotspot) {
  auto word = [](const char* text, PixelRect box) {
    OcrWord w;
    w.text = text;
    w.box = box;
    return w;
  };
  const std::vector<OcrWord> words = {word("cat", {10, 10, 30, 12}), word(",", {42, 10, 3, 12}),
                                      word("dog", {50, 10, 30, 12})};
  struct Case {
    double x, y;
    std::optional<size_t> index;
    const char* reason;
  };
  for (const Case& c : std::vector<Case>{
           {20, 15, 0, "inside_word"},
           {84, 15, 2, "nearest_word"},  // 4 px right of "dog"
           {43, 15, 0, "nearest_word"},  // on the comma, 3 px from "cat"
           {87, 15, std::nullopt, ""},   // 7 px away: beyond the slack
           {20, 30, std::nullopt, ""},   // 8 px below
       }) {
    const std::optional<WordChoice> choice = chooseWord(words, c.x, c.y);
    ASSERT_EQ(choice.has_value(), c.index.has_value()) << c.x << "," << c.y;
    if (!choice) continue;
    EXPECT_EQ(choice->index, *c.index) << c.x << "," << c.y;
    EXPECT_EQ(choice->reason, c.reason) << c.x << "," << c.y;
  }
}

class HotspotReaderTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    auto created = TesseractOcr::create(findTessdataPath());
    ASSERT_TRUE(created) << created.error();
    ocr_ = created->release();
  }
  static void TearDownTestSuite() { delete ocr_; }
  static TesseractOcr* ocr_;
};
TesseractOcr* HotspotReaderTest::ocr_ = nullptr;

TEST_F(HotspotReaderTest, ReadsTheEnglishWordUnderTheHotspot) {
  Accuracy accuracy = measure(*ocr_, testing::latinTestFonts(), kEnglishWords, false, 60, 5);
  std::cout << "English hotspot accuracy: " << accuracy.hits << "/" << accuracy.total << " = "
            << accuracy.rate() * 100 << "%\n";
  EXPECT_GE(accuracy.total, 300);
  EXPECT_GE(accuracy.rate(), 0.95);
}

TEST_F(HotspotReaderTest, ReadsTheChineseCharacterUnderTheHotspot) {
  Accuracy accuracy = measure(*ocr_, testing::chineseTestFonts(), kChineseWords, true, 60, 5);
  std::cout << "Chinese hotspot accuracy: " << accuracy.hits << "/" << accuracy.total << " = "
            << accuracy.rate() * 100 << "%\n";
  EXPECT_GE(accuracy.total, 300);
  EXPECT_GE(accuracy.rate(), 0.90);
}

double cpuMilliseconds(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return now.tv_sec * 1000.0 + now.tv_nsec / 1e6;
}

// The recogniser pool is the server's parallelism: a recognition that spreads over
// more threads only competes with the other requests (and spins on a busy machine).
// Run on a thread of its own, as a request thread would, it costs the rest of the
// process next to nothing.
TEST_F(HotspotReaderTest, RecognisesOnTheCallingThreadAlone) {
  TextLayout layout;
  layout.fontPath = testing::latinTestFonts().front().path;
  layout.pixelSize = 16;
  std::vector<std::vector<std::string>> lines(6, {"the", "station", "garden", "between", "morning", "history"});
  auto decoded = decodeJpegToGray(testing::encodeJpeg(testing::renderText(lines, layout, 800, 200)));
  ASSERT_TRUE(decoded) << decoded.error();
  double own = 0;
  double others = 0;
  std::vector<OcrWord> words;
  std::thread request([&] {
    const double thread = cpuMilliseconds(CLOCK_THREAD_CPUTIME_ID);
    const double process = cpuMilliseconds(CLOCK_PROCESS_CPUTIME_ID);
    words = ocr_->recognize(*decoded, OcrLanguage::english, OcrLayout::block);
    own = cpuMilliseconds(CLOCK_THREAD_CPUTIME_ID) - thread;
    others = cpuMilliseconds(CLOCK_PROCESS_CPUTIME_ID) - process - own;
  });
  request.join();
  EXPECT_GE(words.size(), 30u);
  EXPECT_LT(others, 0.1 * own + 5) << "the request thread used " << own << " ms of CPU, other threads " << others;
}

}  // namespace
}  // namespace trelvis::server
