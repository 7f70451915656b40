#pragma once

// PronunciationPlaying: what the lookup card and its coordinator ask of the
// shared pronunciation playback session. The session plays a headword's audio
// for one context at a time (a lookup's "lookup-<generation>", a review card's
// own key); it lives on the main thread.

#include <cstdint>
#include <optional>
#include <string>

#include "base/url.h"

namespace trelvis {

// A card's request to play a word once it is ready, valid only while nothing
// has changed since it was taken: neither the session's attempts nor the
// English accent.
struct AutoplayIntent {
  int64_t generation = 0;
  int64_t accentRevision = 0;
  friend bool operator==(const AutoplayIntent&, const AutoplayIntent&) = default;
};

class PronunciationPlaying {
 public:
  virtual ~PronunciationPlaying() = default;

  // The context that the session serves now.
  virtual std::optional<std::string> activeKey() const = 0;
  // An intent taken now.
  virtual AutoplayIntent autoplayIntent() const = 0;
  // A press of the speaker button (no intent), or an autoplay (with one).
  virtual void play(const std::string& key, const std::string& headword,
                    const std::optional<std::string>& language, const std::optional<Url>& normalURL,
                    const std::optional<AutoplayIntent>& autoplayIntent) = 0;
  // Forgets the context and stops any sound.
  virtual void reset() = 0;
};

}  // namespace trelvis
