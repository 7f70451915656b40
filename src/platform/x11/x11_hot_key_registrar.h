#pragma once

// X11HotKeyRegistrar: global key combinations on X11, as passive key grabs on
// the root window (in every Caps Lock / Num Lock variant). The shortcut
// controller registers and unregisters on the main thread; those calls wait for
// the grab's answer, so a combination another client holds is refused at once.
// A dedicated thread ("trelvis-hotkeys"), started with the first registration,
// owns the X connection and reads the presses; each press (not its auto-repeats)
// reaches the press handler on the main executor given at construction.

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "base/async/executor.h"
#include "core/triggers/input_events.h"

namespace trelvis {

class X11HotKeyRegistrar final : public HotKeyRegistering {
 public:
  // `displayName` empty means $DISPLAY.
  explicit X11HotKeyRegistrar(std::shared_ptr<Executor> mainExecutor, std::string displayName = {});
  // Releases every grab and waits for the thread to end.
  ~X11HotKeyRegistrar() override;
  X11HotKeyRegistrar(const X11HotKeyRegistrar&) = delete;
  X11HotKeyRegistrar& operator=(const X11HotKeyRegistrar&) = delete;

  // Nothing when the key does not exist on this keyboard, another client (or an
  // earlier registration here) holds the combination, or there is no display.
  std::optional<Ref> registerHotKey(uint16_t keyCode, uint32_t modifiers, HotKeyID id) override;
  void unregisterHotKey(Ref ref) override;
  void setPressHandler(PressHandler handler) override;

 private:
  class Engine;
  struct PressReceiver;

  std::shared_ptr<Executor> mainExecutor_;
  std::string displayName_;
  // Held weakly by the jobs that carry presses to the main executor.
  std::shared_ptr<PressReceiver> receiver_;
  std::mutex engineLock_;
  std::unique_ptr<Engine> engine_;
  Ref nextRef_ = 1;
};

}  // namespace trelvis
