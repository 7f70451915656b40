#include "platform/x11/x11_frontmost_application.h"

#include <X11/Xlib-xcb.h>
#include <X11/Xlib.h>
#include <xcb/xcb.h>
#include <xcb/xproto.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <utility>

#include "platform/x11/x11_connection.h"

namespace trelvis {
namespace {

struct FreeDeleter {
  void operator()(void* pointer) const { std::free(pointer); }
};

// The first 32-bit value of a window's property. Through XCB, so that a window
// that is gone by now is an empty answer rather than a logged protocol error.
std::optional<uint32_t> cardinalProperty(xcb_connection_t* connection, xcb_window_t window,
                                         xcb_atom_t property, xcb_atom_t type) {
  xcb_generic_error_t* error = nullptr;
  std::unique_ptr<xcb_get_property_reply_t, FreeDeleter> reply(xcb_get_property_reply(
      connection, xcb_get_property(connection, 0, window, property, type, 0, 1), &error));
  std::free(error);
  if (!reply || reply->format != 32 || xcb_get_property_value_length(reply.get()) < 4) {
    return std::nullopt;
  }
  return *static_cast<const uint32_t*>(xcb_get_property_value(reply.get()));
}

}  // namespace

X11FrontmostApplication::X11FrontmostApplication(std::string displayName)
    : connection_(std::make_unique<x11::SharedConnection>(std::move(displayName))) {}

X11FrontmostApplication::~X11FrontmostApplication() = default;

std::optional<int32_t> X11FrontmostApplication::frontmostProcessIdentifier() const {
  std::optional<int32_t> pid;
  connection_->ask([&](x11::Connection& connection) {
    Display* display = connection.display();
    xcb_connection_t* xcb = XGetXCBConnection(display);
    // Only-if-exists: without a window manager the atoms may not exist at all.
    const Atom activeWindow = XInternAtom(display, "_NET_ACTIVE_WINDOW", True);
    const Atom wmPid = XInternAtom(display, "_NET_WM_PID", True);
    if (activeWindow == None || wmPid == None) return;
    const std::optional<uint32_t> window =
        cardinalProperty(xcb, static_cast<xcb_window_t>(connection.root()),
                         static_cast<xcb_atom_t>(activeWindow), XCB_ATOM_WINDOW);
    if (!window || *window == 0) return;
    const std::optional<uint32_t> value =
        cardinalProperty(xcb, *window, static_cast<xcb_atom_t>(wmPid), XCB_ATOM_CARDINAL);
    if (value && *value > 0 && *value <= INT32_MAX) pid = static_cast<int32_t>(*value);
  });
  return pid;
}

}  // namespace trelvis
