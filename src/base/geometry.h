#pragma once

// Points and rectangles in global screen points (the origin is bottom-left
// wherever the code says so).

namespace trelvis {

struct Point {
  double x = 0;
  double y = 0;
  friend bool operator==(const Point&, const Point&) = default;
};

struct Size {
  double width = 0;
  double height = 0;
  friend bool operator==(const Size&, const Size&) = default;
};

struct Rect {
  Point origin;
  Size size;
  double minX() const { return origin.x; }
  double minY() const { return origin.y; }
  double maxX() const { return origin.x + size.width; }
  double maxY() const { return origin.y + size.height; }
  friend bool operator==(const Rect&, const Rect&) = default;
};

}  // namespace trelvis
