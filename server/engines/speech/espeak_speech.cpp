#include "server/engines/speech/espeak_speech.h"

#include <espeak-ng/speak_lib.h>

#include <atomic>
#include <cstring>

namespace trelvis::server {

namespace {

// Words per minute; slow speech is for hearing each sound.
constexpr int kNormalRate = 165;
constexpr int kSlowRate = 95;

std::atomic<bool> instanceExists{false};
// Samples of the synthesis in progress; only touched under the instance's mutex.
std::vector<int16_t>* collecting = nullptr;

int collectSamples(short* samples, int count, espeak_EVENT*) {
  if (collecting && samples && count > 0) collecting->insert(collecting->end(), samples, samples + count);
  return 0;
}

void putLittle(std::vector<uint8_t>& out, uint32_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) out.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

std::vector<uint8_t> wavFile(const std::vector<int16_t>& samples, int sampleRate) {
  std::vector<uint8_t> out;
  auto dataBytes = static_cast<uint32_t>(samples.size() * 2);
  out.reserve(44 + dataBytes);
  for (char c : std::string_view("RIFF")) out.push_back(static_cast<uint8_t>(c));
  putLittle(out, 36 + dataBytes, 4);
  for (char c : std::string_view("WAVEfmt ")) out.push_back(static_cast<uint8_t>(c));
  putLittle(out, 16, 4);                                        // format chunk size
  putLittle(out, 1, 2);                                         // PCM
  putLittle(out, 1, 2);                                         // mono
  putLittle(out, static_cast<uint32_t>(sampleRate), 4);
  putLittle(out, static_cast<uint32_t>(sampleRate) * 2, 4);     // bytes per second
  putLittle(out, 2, 2);                                         // block align
  putLittle(out, 16, 2);                                        // bits per sample
  for (char c : std::string_view("data")) out.push_back(static_cast<uint8_t>(c));
  putLittle(out, dataBytes, 4);
  for (int16_t sample : samples) putLittle(out, static_cast<uint16_t>(sample), 2);
  return out;
}

}  // namespace

tl::expected<std::unique_ptr<EspeakSpeech>, std::string> EspeakSpeech::create() {
  if (instanceExists.exchange(true)) return tl::unexpected(std::string("espeak-ng is already in use"));
  std::unique_ptr<EspeakSpeech> speech(new EspeakSpeech());
  int rate = espeak_Initialize(AUDIO_OUTPUT_SYNCHRONOUS, 0, nullptr, espeakINITIALIZE_DONT_EXIT);
  if (rate <= 0) {
    instanceExists = false;
    return tl::unexpected(std::string("espeak-ng cannot start (voice data missing?)"));
  }
  speech->sampleRate_ = rate;
  espeak_SetSynthCallback(collectSamples);
  return speech;
}

EspeakSpeech::~EspeakSpeech() {
  espeak_Terminate();
  instanceExists = false;
}

bool EspeakSpeech::selectVoice(std::string_view voice) {
  espeak_VOICE wanted{};
  std::string language(voice);
  wanted.languages = language.c_str();
  return espeak_SetVoiceByProperties(&wanted) == EE_OK;
}

tl::expected<std::string, std::string> EspeakSpeech::phonetic(std::string_view text, std::string_view voice) {
  std::lock_guard lock(mutex_);
  if (!selectVoice(voice)) return tl::unexpected("no espeak-ng voice for " + std::string(voice));
  std::string input(text);
  const void* cursor = input.c_str();
  std::string ipa;
  // Each call gives the phonemes of one clause and moves the cursor on.
  while (cursor) {
    const char* phonemes = espeak_TextToPhonemes(&cursor, espeakCHARS_UTF8, espeakPHONEMES_IPA);
    if (!phonemes) break;
    std::string_view part(phonemes);
    while (!part.empty() && (part.back() == ' ' || part.back() == '\n')) part.remove_suffix(1);
    while (!part.empty() && (part.front() == ' ' || part.front() == '\n')) part.remove_prefix(1);
    if (part.empty()) continue;
    if (!ipa.empty()) ipa += ' ';
    ipa += part;
  }
  if (ipa.empty()) return tl::unexpected(std::string("no phonemes for the text"));
  return "/" + ipa + "/";
}

tl::expected<std::vector<uint8_t>, std::string> EspeakSpeech::synthesize(std::string_view text, std::string_view voice,
                                                                         SpeechSpeed speed) {
  std::lock_guard lock(mutex_);
  if (!selectVoice(voice)) return tl::unexpected("no espeak-ng voice for " + std::string(voice));
  espeak_SetParameter(espeakRATE, speed == SpeechSpeed::slow ? kSlowRate : kNormalRate, 0);
  std::vector<int16_t> samples;
  collecting = &samples;
  std::string input(text);
  espeak_ERROR status = espeak_Synth(input.c_str(), input.size() + 1, 0, POS_CHARACTER, 0, espeakCHARS_UTF8,
                                     nullptr, nullptr);
  espeak_Synchronize();
  collecting = nullptr;
  if (status != EE_OK) return tl::unexpected(std::string("speech synthesis failed"));
  if (samples.empty()) return tl::unexpected(std::string("speech synthesis produced no sound"));
  return wavFile(samples, sampleRate_);
}

}  // namespace trelvis::server
