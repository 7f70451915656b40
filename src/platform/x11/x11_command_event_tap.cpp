#include "platform/x11/x11_command_event_tap.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/extensions/XInput2.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <utility>

#include "base/log.h"
#include "platform/x11/x11_connection.h"
#include "platform/x11/x11_event_thread.h"
#include "platform/x11/x11_key_translation.h"
#include "platform/x11/x11_raw_event_translator.h"

namespace trelvis {
namespace {

const LogCategory kLog("command-event-tap");
constexpr const char* kThreadName = "trelvis-cmdtap";
constexpr const char* kThreadLabel = "com.trelvis.command-event-tap";

}  // namespace

// One run of the tap: its thread, connection and everything the thread keeps.
// Apart from construction and the stop request, only the tap thread touches it.
class X11CommandEventTap::Session {
 public:
  Session(const Options& options, EventHandler handler)
      : options_(options), handler_(std::move(handler)) {}

  bool start() {
    return thread_.start(
        options_.displayName, kThreadName,
        {.setUp = [this](x11::Connection& c) { return setUp(c); },
         .handleEvent = [this](x11::Connection& c, XEvent& event) { handleEvent(c, event); },
         .tearDown =
             [](x11::Connection&) {
               kLog.notice("tap run-loop thread exiting");
             }});
  }
  void requestStop() { thread_.requestStop(); }
  bool hasExited() const { return thread_.hasExited(); }
  // Whether the thread reached the point of checking the server's extensions.
  bool displayOpened() const { return displayOpened_; }

 private:
  bool setUp(x11::Connection& connection);
  void handleEvent(x11::Connection& connection, XEvent& event);
  void handleRawEvent(x11::Connection& connection, int type, const XIRawEvent& raw);
  void deliver(x11::Connection& connection, const X11RawEventTranslator::Event& event);
  bool nextEventIsRawMotion(Display* display) const;
  void refreshKeyboardMapping(Display* display);
  void refreshPointerMapping(Display* display);
  void refreshSyntheticDevices(Display* display);

  const Options options_;
  const EventHandler handler_;
  bool displayOpened_ = false;
  int xiOpcode_ = -1;
  int xkbEventBase_ = -1;
  X11PointSpace points_{{}, 0, 0, 1};
  std::vector<int> syntheticDevices_;
  X11RawEventTranslator translator_;
  // Last: joined before the state above goes away.
  x11::EventThread thread_;
};

bool X11CommandEventTap::Session::setUp(x11::Connection& connection) {
  displayOpened_ = true;
  Display* display = connection.display();
  const Window root = connection.root();
  int firstEvent = 0;
  int firstError = 0;
  if (!XQueryExtension(display, "XInputExtension", &xiOpcode_, &firstEvent, &firstError)) {
    kLog.error("tap create failed: the X server has no XInput extension");
    return false;
  }
  // Announcing 2.1 is what makes raw events reach the root window while another
  // client holds a grab.
  int major = 2;
  int minor = 1;
  if (XIQueryVersion(display, &major, &minor) != Success || major * 100 + minor < 201) {
    kLog.error("tap create failed: the X server offers XInput {}.{}, not 2.1", major, minor);
    return false;
  }

  std::array<unsigned char, XIMaskLen(XI_LASTEVENT)> rawBits{};
  for (int type :
       {XI_RawKeyPress, XI_RawKeyRelease, XI_RawButtonPress, XI_RawButtonRelease, XI_RawMotion}) {
    XISetMask(rawBits.data(), type);
  }
  std::array<unsigned char, XIMaskLen(XI_LASTEVENT)> hierarchyBits{};
  XISetMask(hierarchyBits.data(), XI_HierarchyChanged);
  // Master devices only: with every device each event would arrive twice.
  std::array<XIEventMask, 2> masks = {{
      {XIAllMasterDevices, static_cast<int>(rawBits.size()), rawBits.data()},
      {XIAllDevices, static_cast<int>(hierarchyBits.size()), hierarchyBits.data()},
  }};
  XISelectEvents(display, root, masks.data(), options_.ignoreSyntheticInput ? 2 : 1);
  if (options_.ignoreSyntheticInput) refreshSyntheticDevices(display);

  int xkbOpcode = 0;
  int xkbError = 0;
  int xkbMajor = XkbMajorVersion;
  int xkbMinor = XkbMinorVersion;
  if (XkbQueryExtension(display, &xkbOpcode, &xkbEventBase_, &xkbError, &xkbMajor, &xkbMinor)) {
    const unsigned int mapEvents = XkbNewKeyboardNotifyMask | XkbMapNotifyMask;
    XkbSelectEvents(display, XkbUseCoreKbd, mapEvents, mapEvents);
    // Only lock and latch changes: what held keys do, the raw events say.
    const unsigned long lockDetails = XkbModifierLatchMask | XkbModifierLockMask;
    XkbSelectEventDetails(display, XkbUseCoreKbd, XkbStateNotify, lockDetails, lockDetails);
    XkbStateRec state{};
    if (XkbGetState(display, XkbUseCoreKbd, &state) == Success) {
      translator_.setLatchedAndLockedModifiers(state.latched_mods | state.locked_mods);
    }
  } else {
    xkbEventBase_ = -1;
    kLog.warning("the X server has no XKB; Caps Lock will not be reported");
  }

  points_ = x11::pointSpace(display, options_.pixelsPerPoint);
  refreshKeyboardMapping(display);
  refreshPointerMapping(display);

  // What is already held down when the tap starts.
  std::array<char, 32> keymap{};
  XQueryKeymap(display, keymap.data());
  const auto pointer = x11::queryPointer(display, root);
  translator_.setInitialState(std::span<const char, 32>(keymap), (pointer.mask & Button1Mask) != 0);
  XSync(display, False);
  if (connection.isBroken()) return false;
  kLog.notice("tap run-loop thread started; tap enabled");
  return true;
}

void X11CommandEventTap::Session::handleEvent(x11::Connection& connection, XEvent& event) {
  Display* display = connection.display();
  if (event.type == GenericEvent && event.xcookie.extension == xiOpcode_) {
    if (!XGetEventData(display, &event.xcookie)) return;
    if (event.xcookie.evtype == XI_HierarchyChanged) {
      refreshSyntheticDevices(display);
    } else {
      handleRawEvent(connection, event.xcookie.evtype,
                     *static_cast<const XIRawEvent*>(event.xcookie.data));
    }
    XFreeEventData(display, &event.xcookie);
    return;
  }
  if (xkbEventBase_ >= 0 && event.type == xkbEventBase_) {
    const auto& xkb = reinterpret_cast<const XkbEvent&>(event);
    if (xkb.any.xkb_type == XkbStateNotify) {
      translator_.setLatchedAndLockedModifiers(xkb.state.latched_mods | xkb.state.locked_mods);
    } else if (xkb.any.xkb_type == XkbMapNotify || xkb.any.xkb_type == XkbNewKeyboardNotify) {
      refreshKeyboardMapping(display);
    }
    return;
  }
  if (event.type == MappingNotify) {
    XRefreshKeyboardMapping(&event.xmapping);
    if (event.xmapping.request == MappingPointer) refreshPointerMapping(display);
    if (event.xmapping.request == MappingKeyboard) refreshKeyboardMapping(display);
  }
}

void X11CommandEventTap::Session::handleRawEvent(x11::Connection& connection, int type,
                                                 const XIRawEvent& raw) {
  if (options_.ignoreSyntheticInput && std::find(syntheticDevices_.begin(), syntheticDevices_.end(),
                                                 raw.sourceid) != syntheticDevices_.end()) {
    return;
  }
  const auto detail = static_cast<uint32_t>(raw.detail);
  std::optional<X11RawEventTranslator::Event> event;
  switch (type) {
    case XI_RawKeyPress:
      event = translator_.keyPress(detail);
      break;
    case XI_RawKeyRelease:
      event = translator_.keyRelease(detail);
      break;
    case XI_RawButtonPress:
      event = translator_.buttonPress(detail);
      break;
    case XI_RawButtonRelease:
      event = translator_.buttonRelease(detail);
      break;
    case XI_RawMotion:
      // The position is read when an event is delivered, so of a run of motions
      // only the last one says anything new.
      if (nextEventIsRawMotion(connection.display())) return;
      event = translator_.motion();
      break;
    default:
      break;
  }
  if (event) deliver(connection, *event);
}

bool X11CommandEventTap::Session::nextEventIsRawMotion(Display* display) const {
  if (XEventsQueued(display, QueuedAlready) == 0) return false;
  XEvent next;
  XPeekEvent(display, &next);
  return next.type == GenericEvent && next.xcookie.extension == xiOpcode_ &&
         next.xcookie.evtype == XI_RawMotion;
}

void X11CommandEventTap::Session::deliver(x11::Connection& connection,
                                          const X11RawEventTranslator::Event& event) {
  if (thread_.isStopRequested() || !handler_) return;
  // The monitor layout is read again whenever a gesture may begin (monitors
  // that xrandr defines change without any notification); a drag keeps the
  // origin it began with.
  if (event.type != InputEventType::leftMouseDragged && event.type != InputEventType::leftMouseUp) {
    points_ = x11::pointSpace(connection.display(), options_.pixelsPerPoint);
  }
  const auto pointer = x11::queryPointer(connection.display(), connection.root());
  handler_(event.type, event.keyCode, event.modifierFlags,
           points_.point(pointer.rootX, pointer.rootY));
}

void X11CommandEventTap::Session::refreshKeyboardMapping(Display* display) {
  if (auto map = x11::keycodeMap(display)) translator_.setKeycodeMap(*map);
}

void X11CommandEventTap::Session::refreshPointerMapping(Display* display) {
  std::array<unsigned char, 256> map{};
  const int count = XGetPointerMapping(display, map.data(), static_cast<int>(map.size()));
  translator_.setButtonMap(
      std::span<const unsigned char>(map.data(), static_cast<size_t>(std::max(count, 0))));
}

void X11CommandEventTap::Session::refreshSyntheticDevices(Display* display) {
  syntheticDevices_.clear();
  int count = 0;
  XIDeviceInfo* devices = XIQueryDevice(display, XIAllDevices, &count);
  for (int i = 0; i < count; ++i) {
    const XIDeviceInfo& device = devices[i];
    if ((device.use == XISlaveKeyboard || device.use == XISlavePointer) && device.name &&
        std::strstr(device.name, "XTEST")) {
      syntheticDevices_.push_back(device.deviceid);
    }
  }
  if (devices) XIFreeDeviceInfo(devices);
}

X11CommandEventTap::X11CommandEventTap() : X11CommandEventTap(Options{}) {}

X11CommandEventTap::X11CommandEventTap(Options options) : options_(std::move(options)) {}

X11CommandEventTap::~X11CommandEventTap() {
  stop();
}

bool X11CommandEventTap::start(EventHandler handler) {
  return sessions_.startLogged(std::make_unique<Session>(options_, std::move(handler)), kLog,
                               kThreadLabel);
}

void X11CommandEventTap::stop() {
  sessions_.stopLogged(kLog);
}

void X11CommandEventTap::enable() {
  sessions_.enableLogged(kLog);
}

}  // namespace trelvis
