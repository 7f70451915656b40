#pragma once

// FakeHotKeyRegistrar: global hot keys that the test presses. Combinations listed
// in `takenByOthers` cannot be registered, as if another program held them.
// Main thread only.

#include <map>
#include <set>
#include <utility>

#include "core/triggers/input_events.h"

namespace trelvis {

class FakeHotKeyRegistrar final : public HotKeyRegistering {
 public:
  struct Registration {
    uint16_t keyCode;
    uint32_t modifiers;
    HotKeyID id;
  };

  std::optional<Ref> registerHotKey(uint16_t keyCode, uint32_t modifiers, HotKeyID id) override {
    if (takenByOthers.contains({keyCode, modifiers})) return std::nullopt;
    for (const auto& [ref, r] : registered_) {
      if (r.keyCode == keyCode && r.modifiers == modifiers) return std::nullopt;
    }
    const Ref ref = nextRef_++;
    registered_[ref] = {keyCode, modifiers, id};
    return ref;
  }
  void unregisterHotKey(Ref ref) override { registered_.erase(ref); }
  void setPressHandler(PressHandler handler) override { handler_ = std::move(handler); }

  // Presses the registered combination, if any; false when nothing is registered.
  bool press(uint16_t keyCode, uint32_t modifiers) {
    for (const auto& [ref, r] : registered_) {
      if (r.keyCode == keyCode && r.modifiers == modifiers && handler_) {
        handler_(r.id);
        return true;
      }
    }
    return false;
  }

  // The identities registered now, by id.
  std::map<uint32_t, Registration> registrations() const {
    std::map<uint32_t, Registration> byID;
    for (const auto& [ref, r] : registered_) byID[r.id.id] = r;
    return byID;
  }
  bool hasHandler() const { return static_cast<bool>(handler_); }

  std::set<std::pair<uint16_t, uint32_t>> takenByOthers;

 private:
  std::map<Ref, Registration> registered_;
  PressHandler handler_;
  Ref nextRef_ = 1;
};

}  // namespace trelvis
