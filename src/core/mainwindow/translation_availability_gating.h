#pragma once

// TranslationAvailabilityGating: what the translation gates ask of the main
// window model: whether translation is available now (signed in, both
// permissions granted, the setup gate down), and, when it is not, to lead the
// user to what is missing. The model tells `onTranslationAvailabilityChanged`
// each time the answer changes. Main thread.

#include <functional>

namespace trelvis {

class TranslationAvailabilityGating {
 public:
  virtual ~TranslationAvailabilityGating() = default;

  // Reads the permissions anew; may raise the setup gate.
  virtual void refreshSystemPermissions() = 0;
  virtual bool translationAvailable() const = 0;
  // A trigger fired while a permission is missing: bring the setup page forward.
  virtual void requestPermissionRecoveryForUserAction() = 0;

  std::function<void(bool available)> onTranslationAvailabilityChanged;
};

}  // namespace trelvis
