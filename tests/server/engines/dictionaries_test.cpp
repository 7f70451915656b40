#include "server/engines/dict/dictionaries.h"

#include "server/engines/dict/cedict.h"
#include "server/engines/dict/dictzip_reader.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace trelvis::server {
namespace {

class DictionariesTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    auto loaded = Dictionaries::load({.cedictFile = TRELVIS_CEDICT_FILE});
    ASSERT_TRUE(loaded) << loaded.error();
    dictionaries_ = loaded->release();
  }
  static void TearDownTestSuite() { delete dictionaries_; }
  static Dictionaries* dictionaries_;
};
Dictionaries* DictionariesTest::dictionaries_ = nullptr;

TEST_F(DictionariesTest, LooksUpEveryInstalledPair) {
  struct Case {
    const char* word;
    const char* source;
    const char* target;
    const char* headword;
    const char* partOfSpeech;
    const char* meaningContains;
  };
  const Case cases[] = {
      {"running", "en", "en", "run", "v.", "move fast"},
      {"cats", "en", "en", "cat", "n.", "feline"},
      {"geese", "en", "en", "goose", "n.", "web-footed"},
      {"Better", "en", "en", "good", "adj.", ""},
      {"cats", "en", "de", "cat", "n.", "Katze"},
      {"running", "en", "fr", "run", "v.", "courir"},
      {"houses", "en", "es", "house", "n.", "casa"},
      {"run", "en", "pt", "run", "v.", "correr"},
      {"cat", "en", "ja", "cat", "n.", "猫"},
      {"cat", "en", "zh-Hans", "cat", "n.", "猫 māo"},
      {"猫", "zh-Hans", "en", "猫", "", "cat"},
      {"gato", "es", "en", "gato", "", "cat"},
      {"Haus", "de", "en", "", "", "house"},
      {"chat", "fr", "en", "chat", "n.", "cat"},
      {"casa", "pt", "en", "casa", "", "house"},
      {"猫", "ja", "en", "猫", "", "cat"},
      // Pairs without English, from the freedict packages of other pairs.
      {"Katze", "de", "fr", "", "", "chat"},
      {"chat", "fr", "de", "chat", "", "Katze"},
      {"chat", "fr", "ja", "chat", "", "猫"},
      {"猫", "ja", "de", "", "", "Katze, Kater, Kätzchen; Shamisen"},
      {"casa", "pt", "es", "casa", "", "casa"},
      {"perro", "es", "pt", "perro", "", "cachorro"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.word) + " " + c.source + "→" + c.target);
    auto entry = dictionaries_->lookup(c.word, c.source, c.target);
    ASSERT_TRUE(entry) << entry.error().message;
    if (*c.headword) EXPECT_EQ(entry->headword, c.headword);
    if (*c.partOfSpeech) EXPECT_EQ(entry->partOfSpeech, c.partOfSpeech);
    EXPECT_NE(entry->meaning.find(c.meaningContains), std::string::npos) << entry->meaning;
    EXPECT_FALSE(entry->provider.empty());
  }
  // English examples come from WordNet; a dictionary's own example comes with its translation.
  EXPECT_FALSE(dictionaries_->lookup("run", "en", "en")->sentence.empty());
  auto german = dictionaries_->lookup("cat", "en", "de");
  EXPECT_FALSE(german->sentenceTranslation.empty());
  EXPECT_EQ(dictionaries_->lookup("猫", "zh-Hans", "en")->phonetic, "māo");
}

TEST_F(DictionariesTest, SaysWhichPairIsMissingAndWhichWordIsUnknown) {
  auto korean = dictionaries_->lookup("cat", "en", "ko");
  ASSERT_FALSE(korean);
  EXPECT_EQ(korean.error().kind, DictionaryFailure::Kind::missingPair);
  EXPECT_NE(korean.error().message.find("English → Korean (en→ko)"), std::string::npos);
  EXPECT_EQ(dictionaries_->lookup("猫", "zh-Hans", "de").error().kind, DictionaryFailure::Kind::missingPair);
  EXPECT_EQ(dictionaries_->lookup("qwxzvk", "en", "en").error().kind, DictionaryFailure::Kind::unknownWord);
  EXPECT_EQ(dictionaries_->lookup("qwxzvk", "en", "de").error().kind,
            DictionaryFailure::Kind::unknownWord);
  for (const char* target : {"en", "zh-Hans", "es", "ja", "de", "fr", "pt"}) {
    EXPECT_TRUE(dictionaries_->covers("en", target)) << target;
  }
  EXPECT_FALSE(dictionaries_->covers("en", "ko"));
  EXPECT_TRUE(dictionaries_->knows("gato", "es"));
  EXPECT_FALSE(dictionaries_->knows("gato", "en"));
}

TEST_F(DictionariesTest, SegmentsChineseAndSpellsPinyinWithToneMarks) {
  const Cedict& cedict = *dictionaries_->cedict();
  std::string text = "我们是中国人";
  EXPECT_EQ(cedict.longestWordAt(text, 0), std::string("我们").size());
  EXPECT_EQ(cedict.longestWordAt(text, 9), std::string("中国人").size());
  EXPECT_EQ(cedict.longestWordAt("猫x", 0), std::string("猫").size());
  const std::pair<const char*, const char*> pinyin[] = {
      {"mao1", "māo"}, {"xiong2 mao1", "xióng māo"}, {"lu:4", "lǜ"}, {"nu:3 er2", "nǚ ér"},
      {"hao3", "hǎo"}, {"dou1", "dōu"},               {"gui4", "guì"}, {"ma5", "ma"}, {"3D", "3D"}};
  for (auto [numbered, marked] : pinyin) EXPECT_EQ(pinyinWithToneMarks(numbered), marked) << numbered;
}

TEST(DictzipReaderTest, RefusesFilesThatAreNotDictzipAndReadsPastNoEnd) {
  auto dir = std::filesystem::temp_directory_path() / "trelvis-dictzip-test";
  std::filesystem::create_directories(dir);
  std::ofstream(dir / "plain.dz") << "not compressed at all";
  EXPECT_FALSE(DictzipReader::open((dir / "plain.dz").string()));
  EXPECT_FALSE(DictzipReader::open((dir / "absent.dz").string()));
  // A real file cut in half: opening notices that chunks run past the end.
  std::ifstream real("/usr/share/dictd/freedict-eng-fra.dict.dz", std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(real)), std::istreambuf_iterator<char>());
  std::ofstream(dir / "cut.dz", std::ios::binary) << bytes.substr(0, bytes.size() / 2);
  EXPECT_FALSE(DictzipReader::open((dir / "cut.dz").string()));
  auto whole = DictzipReader::open("/usr/share/dictd/freedict-eng-fra.dict.dz");
  ASSERT_TRUE(whole) << whole.error();
  EXPECT_TRUE(whole->read(0, 10));
  EXPECT_FALSE(whole->read(1ull << 40, 10));
  EXPECT_FALSE(whole->read(0, 1ull << 30));
  std::filesystem::remove_all(dir);
}

}  // namespace
}  // namespace trelvis::server
