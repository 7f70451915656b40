#pragma once

// Readable points and rectangles in test messages: "(x, y, width, height)".

#include <ostream>

#include "base/geometry.h"

namespace trelvis {

inline std::ostream& operator<<(std::ostream& out, const Point& p) {
  return out << "(" << p.x << ", " << p.y << ")";
}

inline std::ostream& operator<<(std::ostream& out, const Rect& r) {
  return out << "(" << r.minX() << ", " << r.minY() << ", " << r.width() << ", " << r.height()
             << ")";
}

}  // namespace trelvis
