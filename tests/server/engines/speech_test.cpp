#include "server/engines/languages.h"
#include "server/engines/speech/espeak_speech.h"
#include "server/engines/speech/pronunciation_cache.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace trelvis::server {
namespace {

TEST(EspeakSpeechTest, SpellsInIpaByAccentAndSpeaksEveryLanguageAtTwoSpeeds) {
  auto speech = EspeakSpeech::create();
  ASSERT_TRUE(speech) << speech.error();
  EXPECT_FALSE(EspeakSpeech::create()) << "espeak-ng is process-wide";

  auto american = (*speech)->phonetic("cat", "en-us");
  ASSERT_TRUE(american) << american.error();
  EXPECT_EQ(*american, "/kˈæt/");
  // The accents differ where English does: the r of "car".
  auto us = (*speech)->phonetic("car", "en-us");
  auto gb = (*speech)->phonetic("car", "en-gb");
  ASSERT_TRUE(us && gb);
  EXPECT_NE(us->find("ɹ"), std::string::npos) << *us;
  EXPECT_EQ(gb->find("ɹ"), std::string::npos) << *gb;
  EXPECT_FALSE((*speech)->phonetic("cat", "xx-nowhere"));

  for (const Language& language : supportedLanguages()) {
    SCOPED_TRACE(language.code);
    const char* text = language.code == "zh-Hans" ? "你好" : language.code == "ja" ? "ねこ" : language.code == "ko" ? "고양이" : "hello";
    auto normal = (*speech)->synthesize(text, language.voice, SpeechSpeed::normal);
    auto slow = (*speech)->synthesize(text, language.voice, SpeechSpeed::slow);
    ASSERT_TRUE(normal && slow);
    ASSERT_GT(normal->size(), 44u);
    EXPECT_EQ(std::string(normal->begin(), normal->begin() + 4), "RIFF");
    EXPECT_GT(slow->size(), normal->size() * 5 / 4) << "slow speech takes longer";
  }
}

TEST(PronunciationCacheTest, SynthesisesOncePerKeyAndServesOnlyItsOwnFiles) {
  auto directory = std::filesystem::temp_directory_path() / "trelvis-pronunciation-cache-test";
  std::filesystem::remove_all(directory);
  PronunciationCache cache(directory);
  int produced = 0;
  auto produce = [&]() -> tl::expected<std::vector<uint8_t>, std::string> {
    ++produced;
    return std::vector<uint8_t>{'R', 'I', 'F', 'F'};
  };
  auto first = cache.fetch("cat", "en-us", SpeechSpeed::normal, produce);
  auto again = cache.fetch("cat", "en-us", SpeechSpeed::normal, produce);
  auto slow = cache.fetch("cat", "en-us", SpeechSpeed::slow, produce);
  auto british = cache.fetch("cat", "en-gb", SpeechSpeed::normal, produce);
  ASSERT_TRUE(first && again && slow && british);
  EXPECT_EQ(*first, *again);
  EXPECT_NE(*first, *slow);
  EXPECT_NE(*first, *british);
  EXPECT_EQ(produced, 3);
  EXPECT_EQ(std::filesystem::file_size(*first), 4u);

  EXPECT_EQ(cache.find(first->filename().string()), *first);
  for (const char* name : {"../../etc/passwd", "0123456789abcdef.wav", "", "zzzzzzzzzzzzzzzz.wav"}) {
    EXPECT_FALSE(cache.find(name)) << name;
  }
  auto failed = cache.fetch("dog", "en-us", SpeechSpeed::normal,
                            []() -> tl::expected<std::vector<uint8_t>, std::string> { return tl::unexpected(std::string("no")); });
  EXPECT_FALSE(failed);
  EXPECT_FALSE(cache.find(PronunciationCache::fileName("dog", "en-us", SpeechSpeed::normal)));
  std::filesystem::remove_all(directory);
}

}  // namespace
}  // namespace trelvis::server
