#include "core/capture/capture_geometry.h"

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "core/capture/overlay_window_geometry.h"
#include "support/geometry_printers.h"

namespace trelvis {
namespace {

Rect R(double x, double y, double w, double h) {
  return Rect{{x, y}, {w, h}};
}

using Calc = CaptureGeometryCalculator;

TEST(CaptureGeometryTest, LookupBandSpansTheWidthAndFollowsThePointersHeight) {
  const Rect screen = R(0, 0, 1000, 1000);
  // A display left of and below the main one, in negative coordinates.
  const Rect lowerLeft = R(-1920, -300, 1920, 1080);
  struct Case {
    Point mouse;
    Rect frame;
    double ratio;
    Rect expected;
  };
  const Case cases[] = {
      {{300, 0}, screen, 0.25, R(0, 0, 1000, 250)},      // at the very bottom
      {{999, 500}, screen, 0.25, R(0, 375, 1000, 250)},  // centred; x plays no part
      {{0, 990}, screen, 0.25, R(0, 750, 1000, 250)},    // against the top edge
      {{-100, 0}, lowerLeft, 0.25, R(-1920, -135, 1920, 270)},
      {{500, 500}, screen, 2, R(0, 0, 1000, 1000)},  // never taller than the frame
      {{500, 500}, screen, 0, screen},               // degenerate ratio or frame
      {{500, 500}, screen, std::nan(""), screen},
      {{5, 5}, R(0, 0, 0, 100), 0.25, R(0, 0, 0, 100)},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Calc::lookupCaptureRect(c.mouse, c.frame, c.ratio), c.expected)
        << c.mouse << " in " << c.frame << " ratio " << c.ratio;
  }
}

TEST(CaptureGeometryTest, ScreenCaptureRectFlipsAndSnapsOutward) {
  const Rect main = R(0, 0, 1000, 800);
  // 1280x1024 below and left of a 1920x1080 main display: bottom-left frame and
  // top-left bounds of the same display.
  const Rect lowerLeftFrame = R(-1280, -1024, 1280, 1024);
  const Rect lowerLeftBounds = R(-1280, 1080, 1280, 1024);
  struct Case {
    Rect rect, frame, bounds, expected;
  };
  const Case cases[] = {
      {R(0, 0, 1000, 200), main, main, R(0, 600, 1000, 200)},
      {R(-1280, -600, 1280, 256), lowerLeftFrame, lowerLeftBounds, R(-1280, 1424, 1280, 256)},
      // Fractional edges go outward: 10.4..15.6 covers pixels 10..15.
      {R(10.6, 20.2, 5.2, 3.1), R(0, 0, 100, 100), R(0, 0, 100, 100), R(10, 76, 6, 4)},
      {R(50, 50, 0, 0), R(0, 0, 100, 100), R(0, 0, 100, 100), R(50, 50, 1, 1)},
      // Bounds twice the frame's size scale the rectangle.
      {R(10, 10, 100, 100), R(0, 0, 1440, 900), R(0, 0, 2880, 1800), R(20, 1580, 200, 200)},
      // What lies outside the display is cut off.
      {R(-5, -5, 20, 20), R(0, 0, 100, 100), R(0, 0, 100, 100), R(0, 85, 15, 15)},
      {R(1, 1, 5, 5), R(0, 0, 0, 100), main, main},
      {R(1, 1, 5, 5), main, R(0, 0, 1000, 0), R(0, 0, 1000, 0)},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Calc::screenCaptureRect(c.rect, c.frame, c.bounds), c.expected)
        << c.rect << " in " << c.frame << " on " << c.bounds;
  }
}

TEST(CaptureGeometryTest, StreamGeometryIsTheDisplaysPartInPixels) {
  const Rect display = R(0, 0, 1000, 800);
  const Rect lowerLeft = R(-1280, 1080, 1280, 1024);
  const double inf = std::numeric_limits<double>::infinity();
  struct Case {
    Rect rect, bounds;
    double scale;
    std::optional<ScreenCaptureStreamGeometry> expected;
  };
  const Case cases[] = {
      {R(100, 100, 200, 50), display, 2,
       ScreenCaptureStreamGeometry{R(100, 100, 200, 50), 400, 100}},
      {R(-1300, 1000, 100, 200), lowerLeft, 1,
       ScreenCaptureStreamGeometry{R(0, 0, 80, 120), 80, 120}},
      {R(0, 0, 3, 0.2), display, 1.5, ScreenCaptureStreamGeometry{R(0, 0, 3, 0.2), 5, 1}},
      {R(0, 0, 10, 10), display, 0, std::nullopt},
      {R(0, 0, 10, 10), display, std::nan(""), std::nullopt},
      {R(0, 0, 10, 10), display, inf, std::nullopt},
      {R(0, 0, 10, 10), display, 1e-310, std::nullopt},  // subnormal
      {R(2000, 0, 10, 10), display, 1, std::nullopt},    // wholly off the display
      {R(1000, 0, 10, 10), display, 1, std::nullopt},    // only touching it
      {R(0, 0, 10, 10), R(0, 0, 0, 800), 1, std::nullopt},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Calc::streamGeometry(c.rect, c.bounds, c.scale), c.expected)
        << c.rect << " on " << c.bounds << " at " << c.scale;
  }
}

TEST(CaptureGeometryTest, HotspotIsThePointerInImagePixelsFromTheTop) {
  struct Case {
    Point mouse;
    double imageWidth, imageHeight;
    Point expected;
  };
  // Bands of a 1000-point screen imaged at twice its density.
  const Case cases[] = {
      {{500, 500}, 2000, 500, {1000, 250}},  // centred: half the image's height
      {{300, 0}, 2000, 500, {600, 500}},     // at the bottom: the last row
      {{0, 1000}, 2000, 500, {0, 0}},        // at the top: the band's first row
  };
  for (const Case& c : cases) {
    CaptureGeometry geometry;
    geometry.mouseInAppKit = c.mouse;
    geometry.captureRectInAppKit = Calc::lookupCaptureRect(c.mouse, R(0, 0, 1000, 1000), 0.25);
    EXPECT_EQ(Calc::hotspot(geometry, c.imageWidth, c.imageHeight), c.expected) << c.mouse;
  }
  CaptureGeometry flat;
  flat.captureRectInAppKit = R(0, 0, 0, 0);
  EXPECT_EQ(Calc::hotspot(flat, 10, 10), (Point{0, 0}));
}

TEST(OverlayWindowGeometryTest, ClampedMovesInsideOrCentresWhatDoesNotFit) {
  const Rect bounds = R(0, 0, 1000, 1000);
  struct Case {
    Rect frame, bounds, expected;
  };
  const Case cases[] = {
      {R(10, 20, 100, 100), bounds, R(10, 20, 100, 100)},
      {R(950, 990, 100, 100), bounds, R(900, 900, 100, 100)},
      {R(-50, -10, 100, 100), bounds, R(0, 0, 100, 100)},
      {R(10, 10, 1200, 100), bounds, R(-100, 10, 1200, 100)},
      {R(10, 10, 100, 1100), bounds, R(10, -50, 100, 1100)},
      {R(-3000, 0, 100, 100), R(-1920, -300, 1920, 1080), R(-1920, 0, 100, 100)},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(OverlayWindowGeometry::clamped(c.frame, c.bounds), c.expected) << c.frame;
  }
}

TEST(OverlayWindowGeometryTest, VisibleContentSitsAgainstItsAnchor) {
  const Rect box = R(10, 0, 300, 400);
  struct Case {
    OverlayAnchor anchor;
    double contentHeight;
    Rect expected;
  };
  const Case cases[] = {
      {OverlayAnchor::top, 100, R(10, 300, 300, 100)},
      {OverlayAnchor::bottom, 100, R(10, 0, 300, 100)},
      {OverlayAnchor::center, 100, R(10, 150, 300, 100)},
      {OverlayAnchor::top, 1000, box},
      {OverlayAnchor::center, 0, box},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(OverlayWindowGeometry::visibleContentRect(box, c.anchor, c.contentHeight), c.expected)
        << static_cast<int>(c.anchor) << " " << c.contentHeight;
  }
}

TEST(OverlayWindowGeometryTest, RegionPlacementPrefersBelowAboveRightLeftThenOnTop) {
  const Rect screen = R(0, 0, 1000, 800);
  const Size slot{300, 200};
  using A = OverlayAnchor;
  struct Case {
    const char* name;
    Rect around;
    Rect bounds;
    double gap;
    OverlayRegionPlacement expected;
  };
  // clang-format off
  const Case cases[] = {
      {"below", R(400, 400, 200, 100), screen, 10,
       {R(350, 190, 300, 200), R(350, 190, 300, 200), A::top, 200}},
      {"negative gap counts as none", R(400, 400, 200, 100), screen, -10,
       {R(350, 200, 300, 200), R(350, 200, 300, 200), A::top, 200}},
      {"above, along the bottom", R(400, 20, 200, 100), screen, 10,
       {R(350, 130, 300, 200), R(350, 130, 300, 200), A::bottom, 200}},
      {"below, held inside on the right", R(900, 400, 100, 100), screen, 10,
       {R(700, 190, 300, 200), R(700, 190, 300, 200), A::top, 200}},
      {"right", R(100, 100, 200, 650), screen, 10,
       {R(310, 325, 300, 200), R(310, 325, 300, 200), A::center, 200}},
      {"left", R(650, 100, 300, 650), screen, 10,
       {R(340, 325, 300, 200), R(340, 325, 300, 200), A::center, 200}},
      {"right wins when both sides fit", R(400, 100, 100, 650), screen, 10,
       {R(510, 325, 300, 200), R(510, 325, 300, 200), A::center, 200}},
      {"the whole screen: centred on top", screen, screen, 10,
       {R(350, 300, 300, 200), R(350, 300, 300, 200), A::center, 200}},
      {"off the screen: as if at its centre", R(2000, 2000, 50, 50), screen, 10,
       {R(350, 190, 300, 200), R(350, 190, 300, 200), A::top, 200}},
      {"clipped to the screen first", R(-100, 400, 300, 100), screen, 10,
       {R(0, 190, 300, 200), R(0, 190, 300, 200), A::top, 200}},
      {"slot taller than the screen", R(0, 0, 1000, 150), R(0, 0, 1000, 150), 10,
       {R(350, -25, 300, 200), R(350, 0, 300, 150), A::center, 150}},
      {"slot wider than the screen", R(50, 500, 100, 100), R(0, 0, 200, 800), 10,
       {R(-50, 290, 300, 200), R(-50, 290, 300, 200), A::top, 200}},
  };
  // clang-format on
  for (const Case& c : cases) {
    EXPECT_EQ(OverlayWindowGeometry::regionPlacement(c.around, slot, c.bounds, c.gap), c.expected)
        << c.name;
  }
}

}  // namespace
}  // namespace trelvis
