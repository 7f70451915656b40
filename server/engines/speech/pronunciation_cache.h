#pragma once

// Spoken audio kept on disk, one file per (text, voice, speed), so that a word is
// synthesised once however often it is played. Files are written under a
// temporary name and renamed, so that a reader never sees half a file. The cache
// may be deleted at any time. Thread-safe.

#include "server/engines/speech/espeak_speech.h"

#include <tl/expected.hpp>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace trelvis::server {

class PronunciationCache {
 public:
  explicit PronunciationCache(std::filesystem::path directory);

  // The file name (no directory) of the audio of this key: 16 hex digits + ".wav".
  static std::string fileName(std::string_view text, std::string_view voice, SpeechSpeed speed);
  // The cached file of the key; `produce` makes the bytes when there is none yet.
  tl::expected<std::filesystem::path, std::string> fetch(
      std::string_view text, std::string_view voice, SpeechSpeed speed,
      const std::function<tl::expected<std::vector<uint8_t>, std::string>()>& produce);
  // The path of a cached file by its name, when it exists and the name is one of ours.
  std::optional<std::filesystem::path> find(std::string_view name) const;

  const std::filesystem::path& directory() const { return directory_; }

 private:
  std::filesystem::path directory_;
};

}  // namespace trelvis::server
