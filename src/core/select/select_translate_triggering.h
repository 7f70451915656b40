#pragma once

// SelectTranslateTriggering: what the gates ask of the selection translation
// coordinator: start a translation of the selected text, or stop the running
// one. Main thread.

#include "core/lookup/lookup_model.h"

namespace trelvis {

class SelectTranslateTriggering {
 public:
  virtual ~SelectTranslateTriggering() = default;

  // `sharedWithLookup`: the trigger's binding is also the lookup's.
  virtual void trigger(const HotKeyEvent& event, bool sharedWithLookup) = 0;
  virtual void cancelCurrentTranslation() = 0;
};

}  // namespace trelvis
