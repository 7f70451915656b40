#pragma once

// EnglishPronunciationStore keeps the accent in which English words are pronounced
// and counts its changes in `revision`, so that a request or an autoplay intent
// taken before a change can tell that it went stale. The settings page sets the
// accent; the lookup, select and input coordinators and the pronunciation session
// read it and observe it. Lives on the main thread; borrows the PreferenceStore.

#include "base/signal.h"
#include "core/prefs/english_pronunciation_accent.h"
#include "core/prefs/stored_setting.h"

#include <cstdint>
#include <string_view>

namespace trelvis {

class EnglishPronunciationStore {
 public:
  static constexpr std::string_view kStorageKey = "me.mossgrove.trelvis.englishPronunciation.v1";
  static constexpr EnglishPronunciationAccent kDefaultAccent = EnglishPronunciationAccent::american;

  explicit EnglishPronunciationStore(PreferenceStore& defaults);

  EnglishPronunciationAccent accent() const { return accent_.value(); }
  // Starts at 0 with every launch; rises by one with each real change of the accent.
  int64_t revision() const { return revision_; }

  // Setting the accent it already has changes nothing; a real change raises
  // `revision`, then calls the observers.
  void setAccent(EnglishPronunciationAccent accent);

  // Called with the new accent after a real change, once `revision` has risen.
  Signal<EnglishPronunciationAccent>& observers() { return observers_; }

  // Whether `language` names English: trimmed, lower-cased, with "_" read as "-",
  // its first subtag is "en". An empty language is not English.
  static bool isEnglish(std::string_view language);

 private:
  StoredSetting<EnglishPronunciationAccent> accent_;
  int64_t revision_ = 0;
  Signal<EnglishPronunciationAccent> observers_;
};

}  // namespace trelvis
