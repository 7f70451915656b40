#pragma once

// RegionSelectionOverlayController: the surface on which a region is dragged. It
// puts one click-catching window over every screen when the region shortcut
// arms, dims the screen the drag began on with a hole at the selection, turns
// the finished gesture into a rectangle clipped to that screen, and takes the
// windows down again. A gesture reaches it twice, from the global monitors and
// from its own windows' views (which report through `onGestureUpdate` to the
// same handler), so every operation tolerates a second report of the same thing.
// Because the end of a modifier-and-drag gesture can be lost, a failsafe looks
// at the physical keys and button four times a second and gives up on the
// gesture (`onFailsafeCancel`) rather than leave the screen dimmed; a sweep
// closes selection windows that nothing tracks any more.
//
// Lives on the main thread; created by the composition root and held there, its
// timer holds it weakly. Borrows the screen listing, the windowing, the clock and
// the appearance store, whose changes it follows while surfaces exist.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "base/async/executor.h"
#include "base/clock.h"
#include "base/enum_table.h"
#include "base/geometry.h"
#include "base/signal.h"
#include "core/capture/region_selection_failsafe_timer.h"
#include "core/capture/region_selection_overlay_controlling.h"
#include "core/capture/region_selection_physical_state.h"
#include "core/capture/region_selection_surface.h"
#include "core/capture/screen_listing.h"
#include "core/triggers/region_selection_drag_recognizer.h"
#include "core/triggers/shortcut_binding.h"

namespace trelvis {

class AppearanceStore;

enum class RegionSelectionFailsafeReason { dragButtonUp, armedGestureUp, orphanWindow };

inline constexpr EnumTable<RegionSelectionFailsafeReason, 3> kRegionSelectionFailsafeReasonNames{{
    {RegionSelectionFailsafeReason::dragButtonUp, "drag_button_up"},
    {RegionSelectionFailsafeReason::armedGestureUp, "armed_gesture_up"},
    {RegionSelectionFailsafeReason::orphanWindow, "orphan_window"},
}};

std::string_view toString(RegionSelectionFailsafeReason reason);

// One screen's window with the frame it covers and what its view draws.
struct RegionSelectionCaptureSurface {
  Rect frame;
  std::shared_ptr<RegionSelectionWindow> window;
  RegionSelectionViewState view;
};

class RegionSelectionOverlayController final
    : public RegionSelectionOverlayControlling,
      public std::enable_shared_from_this<RegionSelectionOverlayController> {
 public:
  using RecordFailsafe =
      std::function<void(RegionSelectionFailsafeReason reason, int64_t elapsedMilliseconds)>;

  struct Platform {
    std::shared_ptr<Executor> mainExecutor;  // runs the failsafe's timer
    // Stamps the drags its views see and times the phases; the clock of the
    // triggers' instants (continuous in production).
    const Clock& clock;
    ScreenListing& screens;
    RegionSelectionWindowing& windowing;
    RegionSelectionPhysicalStateSource physicalState;
  };

  static constexpr Duration kFailsafeInterval = std::chrono::milliseconds(250);
  // The smallest side, in points, of a region worth translating.
  static constexpr double kMinimumRegionSide = 8;
  // Checks that must see the button up, in a row, before a drag is given up.
  static constexpr int kDragButtonUpObservations = 2;

  // `triggerBinding` reads the live region binding. Without `recordFailsafe`
  // the cancellation is logged.
  static std::shared_ptr<RegionSelectionOverlayController> create(
      Platform platform, AppearanceStore& appearance,
      std::function<ShortcutBinding()> triggerBinding, RecordFailsafe recordFailsafe = {});
  ~RegionSelectionOverlayController() override;

  void arm() override;
  void begin(const RegionSelectionGesture& gesture) override;
  void update(const RegionSelectionGesture& gesture) override;
  std::optional<RegionSelectionGesture> finish(const RegionSelectionGesture& gesture) override;
  void resetDrag() override { dragRecognizer_.reset(); }
  void dismissCaptureSurfaces() override;
  int cleanupOrphanCaptureWindows() override;

  const std::vector<RegionSelectionCaptureSurface>& captureSurfaces() const {
    return captureSurfaces_;
  }
  std::optional<size_t> activeSurfaceIndex() const { return activeSurfaceIndex_; }
  std::optional<Rect> screenFrame() const { return screenFrame_; }

 private:
  RegionSelectionOverlayController(Platform platform, AppearanceStore& appearance,
                                   std::function<ShortcutBinding()> triggerBinding,
                                   RecordFailsafe recordFailsafe);

  std::shared_ptr<RegionSelectionWindow> makeWindow(const Screen& screen);
  void handlePointerEvent(RegionSelectionPointerPhase phase, Point local,
                          const RegionSelectionWindow* from);
  void checkPhysicalState();
  // Forgets the drag, takes every surface down and sweeps what is left.
  void clear();
  void redraw(RegionSelectionCaptureSurface& surface);
  void applyAppearance(AppearanceMode mode);
  int64_t elapsedMilliseconds() const;
  bool hasValidActiveSurface() const {
    return activeSurfaceIndex_ && *activeSurfaceIndex_ < captureSurfaces_.size();
  }

  Platform platform_;
  AppearanceStore& appearance_;
  std::function<ShortcutBinding()> triggerBinding_;
  RecordFailsafe recordFailsafe_;
  RegionSelectionFailsafeTimer failsafeTimer_;
  Connection appearanceObservation_;

  std::vector<RegionSelectionCaptureSurface> captureSurfaces_;
  std::optional<size_t> activeSurfaceIndex_;
  std::optional<Rect> screenFrame_;
  RegionSelectionDragRecognizer dragRecognizer_;
  std::optional<Instant> phaseStartedAt_;
  int dragButtonUpObservationCount_ = 0;
};

}  // namespace trelvis
