#pragma once

// What may be shared between the translation actions' bindings. Lookup and select
// may be the very same key combination, in which case one system hot key serves
// both (ShortcutKeyComboPlan says which hot keys to register); the input panel may
// share with neither. The shortcut controller asks on the main thread; pure logic.

#include "core/triggers/shortcut_binding.h"

namespace trelvis {

struct ShortcutKeyComboPlan {
  bool registersLookupHotKey = false;
  bool registersSelectHotKey = false;
  // Select rides on the lookup hot key, and its press goes to select with the
  // shared flag.
  bool selectSharesLookupHotKey = false;

  ShortcutKeyComboPlan() = default;
  ShortcutKeyComboPlan(const ShortcutBinding& lookupBinding, const ShortcutBinding& selectBinding);

  friend bool operator==(const ShortcutKeyComboPlan&, const ShortcutKeyComboPlan&) = default;
};

// Whether key combination `binding` collides with another translation action's
// live binding: the input panel's with lookup's or select's, and lookup's or
// select's with the input panel's. False for modifier bindings and for the region
// action, which may share its modifier.
bool duplicatesAnotherTranslationShortcut(const ShortcutBinding& binding,
                                          const ShortcutBinding& lookupBinding,
                                          const ShortcutBinding& selectBinding,
                                          const ShortcutBinding& inputBinding);

}  // namespace trelvis
