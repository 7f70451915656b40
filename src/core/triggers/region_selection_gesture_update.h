#pragma once

// RegionSelectionGestureUpdate: what the region recognizers tell the region
// overlay: a drag began, changed or completed (with its gesture), the shortcut
// armed a selection, the selection was cancelled, or nothing happened (`none`,
// which is never delivered). A small trivially copyable value made on the tap
// thread and handed to the main thread.

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>

#include "core/lookup/lookup_model.h"

namespace trelvis {

class RegionSelectionGestureUpdate {
 public:
  enum class Kind : uint8_t { began, changed, completed, none, armed, cancelled };

  constexpr RegionSelectionGestureUpdate() = default;
  static constexpr RegionSelectionGestureUpdate began(const RegionSelectionGesture& gesture) {
    return {Kind::began, gesture};
  }
  static constexpr RegionSelectionGestureUpdate changed(const RegionSelectionGesture& gesture) {
    return {Kind::changed, gesture};
  }
  static constexpr RegionSelectionGestureUpdate completed(const RegionSelectionGesture& gesture) {
    return {Kind::completed, gesture};
  }
  static constexpr RegionSelectionGestureUpdate none() { return {}; }
  static constexpr RegionSelectionGestureUpdate armed() { return {Kind::armed, {}}; }
  static constexpr RegionSelectionGestureUpdate cancelled() { return {Kind::cancelled, {}}; }

  constexpr Kind kind() const { return kind_; }
  constexpr bool isNone() const { return kind_ == Kind::none; }
  // The gesture of began, changed and completed; null for the other cases.
  constexpr const RegionSelectionGesture* gesture() const {
    return hasGesture() ? &gesture_ : nullptr;
  }

  // Equal when the cases are, and for the cases with a gesture, the gestures too.
  friend constexpr bool operator==(const RegionSelectionGestureUpdate& a,
                                   const RegionSelectionGestureUpdate& b) {
    return a.kind_ == b.kind_ && (!a.hasGesture() || a.gesture_ == b.gesture_);
  }

 private:
  constexpr RegionSelectionGestureUpdate(Kind kind, const RegionSelectionGesture& gesture)
      : kind_(kind), gesture_(gesture) {}
  constexpr bool hasGesture() const {
    return kind_ == Kind::began || kind_ == Kind::changed || kind_ == Kind::completed;
  }

  Kind kind_ = Kind::none;
  RegionSelectionGesture gesture_{};
};

std::string_view toString(RegionSelectionGestureUpdate::Kind kind);
// "began((1, 2) -> (3, 4) @ 5ns)", "armed": for logs and test failures.
std::string describe(const RegionSelectionGestureUpdate& update);
std::ostream& operator<<(std::ostream& stream, const RegionSelectionGestureUpdate& update);

}  // namespace trelvis
