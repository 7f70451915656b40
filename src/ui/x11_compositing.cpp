#include "ui/x11_compositing.h"

#include <QGuiApplication>
#include <xcb/xcb.h>

#include <X11/Xlib.h>

#include <cstdlib>
#include <string>

namespace trelvis {

// A compositing manager owns the selection _NET_WM_CM_S<screen>.
bool isCompositingManagerRunning() {
  auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  if (!x11 || !x11->connection()) return false;
  xcb_connection_t* connection = x11->connection();
  const std::string name = "_NET_WM_CM_S" + std::to_string(DefaultScreen(x11->display()));
  xcb_intern_atom_reply_t* atom = xcb_intern_atom_reply(
      connection,
      xcb_intern_atom(connection, 1, static_cast<uint16_t>(name.size()), name.c_str()), nullptr);
  if (!atom) return false;
  const xcb_atom_t selection = atom->atom;
  std::free(atom);
  if (selection == XCB_ATOM_NONE) return false;
  xcb_get_selection_owner_reply_t* owner = xcb_get_selection_owner_reply(
      connection, xcb_get_selection_owner(connection, selection), nullptr);
  const bool owned = owner && owner->owner != XCB_WINDOW_NONE;
  std::free(owner);
  return owned;
}

}  // namespace trelvis
