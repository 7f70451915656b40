#include "core/triggers/shortcut_binding_store.h"

#include "base/log.h"
#include "core/triggers/modifier_keys.h"

#include <optional>
#include <utility>

namespace trelvis {
namespace {
const LogCategory kLog("shortcuts");
constexpr uint16_t kKeyS = 1;
constexpr uint16_t kKeyI = 34;
}  // namespace

ShortcutBindingStore::ShortcutBindingStore(PreferenceStore& defaults,
                                           LocalizedTextRenderer renderLabel)
    : defaults_(defaults), renderLabel_(std::move(renderLabel)) {}

std::string ShortcutBindingStore::storageKey(std::string_view actionId) {
  std::string key = "me.mossgrove.trelvis.shortcuts.";
  key += actionId;
  key += ".v1";
  return key;
}

ShortcutBinding ShortcutBindingStore::defaultBinding(std::string_view actionId) {
  if (actionId == ShortcutActionId::regionSelection) {
    return {std::string(actionId), ShortcutBindingKind::modifierTap, KeyCodes::leftOption, 0};
  }
  if (actionId == ShortcutActionId::selectTranslate) {
    return {std::string(actionId), ShortcutBindingKind::keyCombo, kKeyS, CarbonModifiers::option};
  }
  if (actionId == ShortcutActionId::inputTranslate) {
    return {std::string(actionId), ShortcutBindingKind::keyCombo, kKeyI, CarbonModifiers::option};
  }
  return {std::string(ShortcutActionId::lookup), ShortcutBindingKind::modifierTap,
          KeyCodes::leftOption, 0};
}

ShortcutBinding ShortcutBindingStore::binding(std::string_view actionId) {
  ShortcutBinding fallback = defaultBinding(actionId);
  const std::string key = storageKey(actionId);
  if (const std::optional<PreferenceValue> stored = defaults_.value(key)) {
    if (const auto* map = stored->getIf<PreferenceValue::Dictionary>()) {
      if (std::optional<ShortcutBinding> parsed = ShortcutBinding::fromMap(*map);
          parsed && parsed->actionId == actionId) {
        return *std::move(parsed);
      }
    }
    kLog.warning("stored shortcut under \"{}\" is unusable; restoring the default", key);
  }
  save(fallback);
  return fallback;
}

void ShortcutBindingStore::save(const ShortcutBinding& binding) {
  defaults_.setDictionary(storageKey(binding.actionId), binding.toMap(renderLabel_));
}

}  // namespace trelvis
