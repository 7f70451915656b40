#include "platform/x11/x11_pointer_locator.h"

#include <X11/Xlib.h>

#include <utility>

#include "platform/x11/x11_connection.h"

namespace trelvis {

X11PointerLocator::X11PointerLocator(std::string displayName, double pixelsPerPoint)
    : connection_(std::make_unique<x11::SharedConnection>(std::move(displayName))),
      pixelsPerPoint_(pixelsPerPoint) {}

X11PointerLocator::~X11PointerLocator() = default;

Point X11PointerLocator::mouseLocation() const {
  Point location;
  connection_->ask([&](x11::Connection& connection) {
    const auto pointer = x11::queryPointer(connection.display(), connection.root());
    location =
        x11::pointSpace(connection.display(), pixelsPerPoint_).point(pointer.rootX, pointer.rootY);
  });
  return location;
}

}  // namespace trelvis
