#include "server/engines/speech/pronunciation_cache.h"

#include <fmt/core.h>

#include <atomic>
#include <cstdio>
#include <cctype>
#include <fstream>
#include <optional>

namespace trelvis::server {

namespace {

// FNV-1a: stable across builds and machines, unlike std::hash.
uint64_t fingerprint(std::string_view text) {
  uint64_t hash = 1469598103934665603ull;
  for (char c : text) {
    hash ^= static_cast<unsigned char>(c);
    hash *= 1099511628211ull;
  }
  return hash;
}

std::atomic<uint64_t> temporaryCounter{0};

}  // namespace

PronunciationCache::PronunciationCache(std::filesystem::path directory) : directory_(std::move(directory)) {}

std::string PronunciationCache::fileName(std::string_view text, std::string_view voice, SpeechSpeed speed) {
  std::string key = std::string(text) + '\0' + std::string(voice) + '\0' + (speed == SpeechSpeed::slow ? "slow" : "normal");
  return fmt::format("{:016x}.wav", fingerprint(key));
}

tl::expected<std::filesystem::path, std::string> PronunciationCache::fetch(
    std::string_view text, std::string_view voice, SpeechSpeed speed,
    const std::function<tl::expected<std::vector<uint8_t>, std::string>()>& produce) {
  std::filesystem::path path = directory_ / fileName(text, voice, speed);
  std::error_code error;
  if (std::filesystem::exists(path, error)) return path;
  auto bytes = produce();
  if (!bytes) return tl::unexpected(bytes.error());
  std::filesystem::create_directories(directory_, error);
  std::filesystem::path temporary =
      directory_ / fmt::format(".{}.{}.tmp", path.filename().string(), temporaryCounter.fetch_add(1));
  {
    std::ofstream out(temporary, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes->data()), static_cast<std::streamsize>(bytes->size()));
    if (!out.flush()) {
      std::filesystem::remove(temporary, error);
      return tl::unexpected("cannot write to the pronunciation cache " + directory_.string());
    }
  }
  std::filesystem::rename(temporary, path, error);
  if (error) {
    std::filesystem::remove(temporary, error);
    return tl::unexpected("cannot write to the pronunciation cache " + directory_.string());
  }
  return path;
}

std::optional<std::filesystem::path> PronunciationCache::find(std::string_view name) const {
  if (name.size() != 20 || !name.ends_with(".wav")) return std::nullopt;
  for (char c : name.substr(0, 16)) {
    if (!std::isxdigit(static_cast<unsigned char>(c))) return std::nullopt;
  }
  std::filesystem::path path = directory_ / std::string(name);
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) return std::nullopt;
  return path;
}

}  // namespace trelvis::server
