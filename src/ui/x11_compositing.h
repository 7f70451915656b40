#pragma once

// Whether a compositing manager runs on the application's X screen. Without one
// the X server shows a window's transparent pixels as black, so a window that
// relies on them must make do otherwise. Main thread; false off X11.

namespace trelvis {

bool isCompositingManagerRunning();

}  // namespace trelvis
