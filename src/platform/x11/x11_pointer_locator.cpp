#include "platform/x11/x11_pointer_locator.h"

#include <X11/Xlib.h>

#include <utility>

#include "platform/x11/x11_connection.h"
#include "platform/x11/x11_key_translation.h"

namespace trelvis {

X11PointerLocator::X11PointerLocator(std::string displayName)
    : connection_(std::make_unique<x11::SharedConnection>(std::move(displayName))) {}

X11PointerLocator::~X11PointerLocator() = default;

Point X11PointerLocator::mouseLocation() const {
  Point location;
  connection_->ask([&](x11::Connection& connection) {
    const auto pointer = x11::queryPointer(connection.display(), connection.root());
    location = X11KeyTranslation::globalPoint(pointer.rootX, pointer.rootY,
                                              x11::primaryScreenHeight(connection.display()));
  });
  return location;
}

}  // namespace trelvis
