#pragma once

// Points and rectangles in global screen points (the origin is bottom-left
// wherever the code says so).

#include <algorithm>
#include <optional>

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
  double midX() const { return origin.x + size.width / 2; }
  double midY() const { return origin.y + size.height / 2; }
  double width() const { return size.width; }
  double height() const { return size.height; }
  Point center() const { return Point{midX(), midY()}; }
  // No area: a line or a point (rectangles here never have negative sizes).
  bool isEmpty() const { return !(size.width > 0) || !(size.height > 0); }
  // Half-open, as a pixel grid is: the right and top edges belong to the neighbour.
  bool contains(Point p) const {
    return p.x >= minX() && p.x < maxX() && p.y >= minY() && p.y < maxY();
  }
  friend bool operator==(const Rect&, const Rect&) = default;
};

// The common part of two rectangles; none when they are apart. Rectangles that
// only touch share an empty (zero-width or zero-height) rectangle.
inline std::optional<Rect> intersection(const Rect& a, const Rect& b) {
  const double left = std::max(a.minX(), b.minX());
  const double bottom = std::max(a.minY(), b.minY());
  const double right = std::min(a.maxX(), b.maxX());
  const double top = std::min(a.maxY(), b.maxY());
  if (!(left <= right) || !(bottom <= top)) return std::nullopt;
  return Rect{Point{left, bottom}, Size{right - left, top - bottom}};
}

}  // namespace trelvis
