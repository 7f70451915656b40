#pragma once

// ShortcutBindingStore keeps each action's binding under its own preference key,
// "me.mossgrove.trelvis.shortcuts.<actionId>.v1". Reading never fails: an entry
// that is absent, damaged, invalid or filed under another action is replaced by
// the action's default, which is saved at once (so the first read of a fresh
// profile writes all four). The shortcut controller owns it on the main thread; it
// borrows the PreferenceStore.

#include <string>
#include <string_view>

#include "core/prefs/preference_store.h"
#include "core/triggers/localized_text.h"
#include "core/triggers/shortcut_binding.h"

namespace trelvis {

class ShortcutBindingStore {
 public:
  // `renderLabel` words the "displayLabel" written with each binding; without it
  // the label keeps its localized keys.
  explicit ShortcutBindingStore(PreferenceStore& defaults, LocalizedTextRenderer renderLabel = {});

  static std::string storageKey(std::string_view actionId);

  // Left Option taps for lookup and region, Option+S for select, Option+I for the
  // input panel. Any other identifier gets the lookup binding, whose `actionId`
  // then says "lookupTrigger".
  static ShortcutBinding defaultBinding(std::string_view actionId);

  ShortcutBinding binding(std::string_view actionId);
  void save(const ShortcutBinding& binding);

 private:
  PreferenceStore& defaults_;
  LocalizedTextRenderer renderLabel_;
};

}  // namespace trelvis
