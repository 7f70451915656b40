#pragma once

// X11PointerLocator: where the pointer is, in global points with a bottom-left
// origin (X11PointSpace). Asked on the main thread by the shortcut controller
// when a hot key fires; safe from any thread. Owns one X connection, opened on
// first use.

#include <memory>
#include <string>

#include "core/triggers/input_events.h"

namespace trelvis {
namespace x11 {
class SharedConnection;
}

class X11PointerLocator final : public PointerLocating {
 public:
  // `displayName` empty means $DISPLAY; positions are root pixels divided by
  // `pixelsPerPoint`, the interface's scale.
  explicit X11PointerLocator(std::string displayName = {}, double pixelsPerPoint = 1);
  ~X11PointerLocator() override;

  // The origin when there is no display.
  Point mouseLocation() const override;

 private:
  std::unique_ptr<x11::SharedConnection> connection_;
  double pixelsPerPoint_;
};

}  // namespace trelvis
