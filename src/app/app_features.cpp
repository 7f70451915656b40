#include "app/app_features.h"

#include "base/log.h"

namespace trelvis {
namespace {

const LogCategory kLog("app");

}  // namespace

void SilentPronunciationPlayback::play(const std::string& key, const std::string&,
                                       const std::optional<std::string>&,
                                       const std::optional<Url>&,
                                       const std::optional<AutoplayIntent>& autoplayIntent) {
  activeKey_ = key;
  ++generation_;
  // An autoplay would sound on every lookup; only a press is worth a line.
  if (!autoplayIntent) kLog.info("audio playback is not part of this build");
}

void SilentPronunciationPlayback::reset() {
  activeKey_.reset();
  ++generation_;
}

void AbsentSelectCardModel::setPinned(bool pinned, bool notify) {
  if (pinned == pinned_) return;
  pinned_ = pinned;
  if (notify && onPinStateChange) onPinStateChange(pinned);
}

}  // namespace trelvis
