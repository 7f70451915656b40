#include "platform/x11/x11_hot_key_registrar.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>

#include <array>
#include <map>
#include <utility>

#include "base/log.h"
#include "platform/x11/x11_connection.h"
#include "platform/x11/x11_event_thread.h"
#include "platform/x11/x11_key_translation.h"

namespace trelvis {
namespace {

const LogCategory kLog("hot-keys");
constexpr const char* kThreadName = "trelvis-hotkeys";

}  // namespace

struct X11HotKeyRegistrar::PressReceiver {
  std::mutex mutex;
  PressHandler handler;

  void deliver(HotKeyID id) {
    PressHandler current;
    {
      std::lock_guard lock(mutex);
      current = handler;
    }
    if (current) current(id);
  }
};

// The thread, its connection and the grabs. Everything but the thread object is
// touched only on the thread (through EventThread::invoke for registrations).
class X11HotKeyRegistrar::Engine {
 public:
  Engine(std::shared_ptr<Executor> mainExecutor, std::weak_ptr<PressReceiver> receiver)
      : mainExecutor_(std::move(mainExecutor)), receiver_(std::move(receiver)) {}

  bool start(const std::string& displayName) {
    return thread_.start(
        displayName, kThreadName,
        {.setUp = [this](x11::Connection& c) { return setUp(c); },
         .handleEvent = [this](x11::Connection&, XEvent& event) { handleEvent(event); },
         .tearDown = {}});
  }
  bool isRunning() const { return !thread_.hasExited(); }

  // Whether the combination is now held under `ref`.
  bool registerHotKey(Ref ref, unsigned long keysym, unsigned int modifiers, HotKeyID id) {
    bool grabbed = false;
    thread_.invoke(
        [&](x11::Connection& c) { grabbed = grab(c.display(), ref, keysym, modifiers, id); });
    return grabbed;
  }

  void unregisterHotKey(Ref ref) {
    thread_.invoke([&](x11::Connection& c) { ungrab(c.display(), ref); });
  }

 private:
  struct Registration {
    unsigned int keycode;
    unsigned int modifiers;
    HotKeyID id;
  };

  bool setUp(x11::Connection& connection) {
    // Without the fake releases between auto-repeats, a held key reads as one
    // press followed by repeats, which are not deliveries of their own.
    Bool detectable = False;
    XkbSetDetectableAutoRepeat(connection.display(), True, &detectable);
    numLock_ = x11::numLockMask(connection.display());
    return true;
  }

  bool grab(Display* display, Ref ref, unsigned long keysym, unsigned int modifiers, HotKeyID id) {
    const KeyCode keycode = XKeysymToKeycode(display, keysym);
    if (keycode == 0) return false;
    for (const auto& [other, registration] : registrations_) {
      if (registration.keycode == keycode && registration.modifiers == modifiers) return false;
    }
    if (!x11::grabKey(display, keycode, modifiers, numLock_, /*syncKeyboard=*/false)) {
      kLog.info("key {} with modifiers 0x{:x} is held by another client", keycode, modifiers);
      return false;
    }
    registrations_.emplace(ref, Registration{keycode, modifiers, id});
    return true;
  }

  void ungrab(Display* display, Ref ref) {
    auto found = registrations_.find(ref);
    if (found == registrations_.end()) return;
    x11::ungrabKey(display, found->second.keycode, found->second.modifiers, numLock_);
    registrations_.erase(found);
  }

  void handleEvent(const XEvent& event) {
    if (event.type != KeyPress && event.type != KeyRelease) return;
    const XKeyEvent& key = event.xkey;
    const unsigned int keycode = key.keycode & 0xFF;
    if (event.type == KeyRelease) {
      keyDown_[keycode] = false;
      return;
    }
    if (keyDown_[keycode]) return;  // an auto-repeat
    keyDown_[keycode] = true;
    const unsigned int modifiers = x11::grabModifiers(key.state, numLock_);
    for (const auto& [ref, registration] : registrations_) {
      if (registration.keycode == keycode && registration.modifiers == modifiers) {
        mainExecutor_->post([receiver = receiver_, id = registration.id] {
          if (auto alive = receiver.lock()) alive->deliver(id);
        });
      }
    }
  }

  const std::shared_ptr<Executor> mainExecutor_;
  const std::weak_ptr<PressReceiver> receiver_;
  unsigned int numLock_ = 0;
  std::map<Ref, Registration> registrations_;
  std::array<bool, 256> keyDown_{};
  // Last: joined before the state above goes away.
  x11::EventThread thread_;
};

X11HotKeyRegistrar::X11HotKeyRegistrar(std::shared_ptr<Executor> mainExecutor,
                                       std::string displayName)
    : mainExecutor_(std::move(mainExecutor)),
      displayName_(std::move(displayName)),
      receiver_(std::make_shared<PressReceiver>()) {}

X11HotKeyRegistrar::~X11HotKeyRegistrar() = default;

std::optional<HotKeyRegistering::Ref> X11HotKeyRegistrar::registerHotKey(uint16_t keyCode,
                                                                         uint32_t modifiers,
                                                                         HotKeyID id) {
  const std::optional<unsigned long> keysym = X11KeyTranslation::keysym(keyCode);
  if (!keysym) return std::nullopt;
  std::lock_guard lock(engineLock_);
  // The first registration, or the first after the connection was lost, starts
  // a thread; grabs of a lost connection are gone with it.
  if (!engine_ || !engine_->isRunning()) {
    engine_.reset();
    auto engine = std::make_unique<Engine>(mainExecutor_, receiver_);
    if (!engine->start(displayName_)) {
      kLog.error("no X display for hot keys");
      return std::nullopt;
    }
    engine_ = std::move(engine);
  }
  const Ref ref = nextRef_++;
  if (!engine_->registerHotKey(ref, *keysym, X11KeyTranslation::xModifierMask(modifiers), id)) {
    return std::nullopt;
  }
  return ref;
}

void X11HotKeyRegistrar::unregisterHotKey(Ref ref) {
  std::lock_guard lock(engineLock_);
  if (engine_) engine_->unregisterHotKey(ref);
}

void X11HotKeyRegistrar::setPressHandler(PressHandler handler) {
  std::lock_guard lock(receiver_->mutex);
  receiver_->handler = std::move(handler);
}

}  // namespace trelvis
