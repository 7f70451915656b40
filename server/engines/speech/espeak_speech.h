#pragma once

// Speech from espeak-ng: the IPA spelling of a word for the card's phonetic line,
// and spoken audio at normal or slow speed as a WAV file. espeak-ng keeps one
// global state per process, so calls are serialised here; each takes a few
// milliseconds. Thread-safe.

#include <tl/expected.hpp>

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace trelvis::server {

enum class SpeechSpeed { normal, slow };

class EspeakSpeech {
 public:
  // Only one instance may exist: espeak-ng is process-wide.
  static tl::expected<std::unique_ptr<EspeakSpeech>, std::string> create();
  ~EspeakSpeech();

  // "/ˈkæt/": the IPA of `text` in the voice ("en-us", "en-gb", "cmn", ...).
  tl::expected<std::string, std::string> phonetic(std::string_view text, std::string_view voice);
  // A mono 16-bit PCM WAV of `text` spoken in the voice.
  tl::expected<std::vector<uint8_t>, std::string> synthesize(std::string_view text, std::string_view voice,
                                                             SpeechSpeed speed);

 private:
  EspeakSpeech() = default;
  bool selectVoice(std::string_view voice);

  std::mutex mutex_;
  int sampleRate_ = 22050;
};

}  // namespace trelvis::server
