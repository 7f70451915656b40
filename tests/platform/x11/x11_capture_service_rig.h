#pragma once

// The capture service over the real platform: the X11 screen capture and pointer
// of one display, TurboJPEG on a pool thread, and a RunLoop standing in for the
// main thread. For the tests and benchmarks that measure or check the whole path.

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/async/run_loop.h"
#include "base/async/task.h"
#include "base/async/thread_pool.h"
#include "core/capture/screen_capture_service.h"
#include "core/prefs/in_memory_preference_store.h"
#include "core/prefs/target_language_store.h"
#include "platform/jpeg/turbo_jpeg_encoder.h"
#include "platform/x11/x11_pointer_locator.h"
#include "platform/x11/x11_screen_capture.h"

namespace trelvis::testing {

class X11CaptureServiceRig {
 public:
  // Warms the capture up; lookups translate into `targetLanguage`.
  X11CaptureServiceRig(const std::string& displayName, const std::string& targetLanguage)
      : screens_(displayName),
        pointer_(displayName),
        languages_(
            defaults_, [targetLanguage] { return std::vector<std::string>{targetLanguage}; },
            [] { return false; }),
        service_({screens_, screens_, std::make_shared<TurboJpegEncoder>(),
                  pool_.makeSequencedExecutor(), clock_},
                 languages_, [] { return std::nullopt; }) {
    screens_.warmUp();
  }

  // The band under the pointer, captured on the loop; none when it took longer
  // than ten seconds. Raises what the capture raised.
  std::optional<NativeCapture> captureAtPointer() {
    Task<NativeCapture> task = spawn(main_.executor(), [this]() -> Async<NativeCapture> {
      co_return co_await service_.captureImageAtPointer(pointer_.mouseLocation());
    });
    if (!main_.runUntil([&] { return task.isDone(); }, std::chrono::seconds(10))) {
      return std::nullopt;
    }
    return std::move(task).value();
  }

 private:
  X11ScreenCapture screens_;
  X11PointerLocator pointer_;
  ThreadPool pool_{"capture-rig", 1};
  RunLoop main_;
  MonotonicClock clock_;
  InMemoryPreferenceStore defaults_;
  TargetLanguageStore languages_;
  ScreenCaptureService service_;
};

}  // namespace trelvis::testing
