#pragma once

// What the composition root asks of the three parts of the typed-text
// translation: the panel (shown from its shortcut, hidden when translation
// becomes unavailable or the application stops, and telling `onWillShow`
// before it appears), the coordinator (stop the running translation) and the
// model (forget what was typed and translated). All on the main thread.

#include <functional>

namespace trelvis {

class InputTranslatePanelControlling {
 public:
  virtual ~InputTranslatePanelControlling() = default;

  virtual void toggleFromShortcut() = 0;
  virtual void hide() = 0;

  std::function<void()> onWillShow;
};

class InputTranslateCancelling {
 public:
  virtual ~InputTranslateCancelling() = default;

  virtual void cancelCurrentTranslation() = 0;
};

class InputTranslateDraftResetting {
 public:
  virtual ~InputTranslateDraftResetting() = default;

  virtual void clearDraft() = 0;
  virtual void forgetLastSubmittedDraft() = 0;
  virtual void resetResult() = 0;
};

}  // namespace trelvis
