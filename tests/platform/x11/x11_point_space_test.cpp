#include "platform/x11/x11_point_space.h"

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "support/geometry_printers.h"

namespace trelvis {
namespace {

Rect rect(double x, double y, double w, double h) {
  return Rect{{x, y}, {w, h}};
}

// A is the primary monitor, 800 pixels high; B stands right of it, taller.
TEST(X11PointSpaceTest, ScalesEachMonitorAboutItsOwnCorner) {
  const X11PointSpace space({rect(0, 0, 640, 800), rect(640, 0, 640, 1024)}, 0, 1024, 2);
  EXPECT_EQ(space.point(100, 100), (Point{50, 350}));
  // On B, x keeps B's left edge: 640 + 100 / 2.
  EXPECT_EQ(space.point(740, 100), (Point{690, 350}));
  EXPECT_EQ(space.topLeftPoints(rect(640, 0, 640, 1024)), rect(640, 0, 320, 512));
  EXPECT_EQ(space.topLeftPoints(rect(20, 40, 100, 60)), rect(10, 20, 50, 30));
  EXPECT_EQ(space.pixels(rect(690, 50, 100, 30)), rect(740, 100, 200, 60));
  EXPECT_EQ(space.pixels(space.topLeftPoints(rect(700, 90, 64, 32))), rect(700, 90, 64, 32));
  // Points count up from the bottom of A: 400 points high.
  EXPECT_EQ(space.bottomLeft(rect(640, 0, 320, 512)), rect(640, -112, 320, 512));
}

TEST(X11PointSpaceTest, WithoutAScaleOrAnOriginMonitorItFallsBackToTheRoot) {
  for (const double bad : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN()}) {
    const X11PointSpace space({rect(0, 0, 640, 800)}, 0, 1024, bad);
    EXPECT_EQ(space.point(100, 100), (Point{100, 700})) << bad;
  }
  // No monitor holds the origin: the root's height does, and a position off
  // every monitor scales about the root's corner.
  const X11PointSpace space({rect(100, 0, 300, 300)}, 1, 1024, 2);
  EXPECT_EQ(space.point(50, 24), (Point{25, 500}));
  // A primary monitor below another: its height fixes the origin, as the height
  // the toolkit gives the primary screen does for the windows.
  const X11PointSpace below({rect(0, 0, 640, 400), rect(0, 400, 640, 800)}, 1, 1200, 1);
  EXPECT_EQ(below.point(100, 500), (Point{100, 300}));
}

}  // namespace
}  // namespace trelvis
