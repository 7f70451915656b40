#pragma once

// CardContent: what the floating card's window asks of the widget it hosts
// (the lookup card's view, the Select card's view). The window lays the widget
// out against the card's anchor edge at the height it asks for, and asks it
// whether a secondary click there falls on selected text. A widget that is no
// CardContent simply fills the card's space.

#include <QPoint>
#include <QtGlobal>

namespace trelvis {

// The rounding of the card's corners, which its window's shape follows.
inline constexpr qreal kCardCornerRadius = 14;

class CardContent {
 public:
  virtual ~CardContent() = default;
  // The card's height at `width`, in logical pixels, its paddings and its
  // minimum included. Call updateGeometry() when it changes.
  virtual int naturalHeight(int width) const = 0;
  // Whether `position` (the widget's own coordinates) lies on a non-empty text
  // selection that a context menu could copy.
  virtual bool containsCopySelection(QPoint position) const {
    static_cast<void>(position);
    return false;
  }
};

}  // namespace trelvis
