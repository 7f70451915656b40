#include "core/triggers/shortcut_key_combo_plan.h"

namespace trelvis {

ShortcutKeyComboPlan::ShortcutKeyComboPlan(const ShortcutBinding& lookupBinding,
                                           const ShortcutBinding& selectBinding) {
  const bool lookupIsCombo = lookupBinding.kind == ShortcutBindingKind::keyCombo;
  const bool selectIsCombo = selectBinding.kind == ShortcutBindingKind::keyCombo;
  registersLookupHotKey = lookupIsCombo;
  selectSharesLookupHotKey = lookupIsCombo && selectIsCombo &&
                             lookupBinding.keyCode == selectBinding.keyCode &&
                             lookupBinding.modifiers == selectBinding.modifiers;
  registersSelectHotKey = selectIsCombo && !selectSharesLookupHotKey;
}

bool duplicatesAnotherTranslationShortcut(const ShortcutBinding& binding,
                                          const ShortcutBinding& lookupBinding,
                                          const ShortcutBinding& selectBinding,
                                          const ShortcutBinding& inputBinding) {
  if (binding.kind != ShortcutBindingKind::keyCombo) return false;
  if (binding.actionId == ShortcutActionId::inputTranslate) {
    return binding.sameGesture(lookupBinding) || binding.sameGesture(selectBinding);
  }
  if (binding.actionId == ShortcutActionId::lookup ||
      binding.actionId == ShortcutActionId::selectTranslate) {
    return binding.sameGesture(inputBinding);
  }
  return false;
}

}  // namespace trelvis
