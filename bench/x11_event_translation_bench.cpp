// What the command tap's thread spends turning one XInput2 raw event into the
// trigger logic's event, apart from X I/O: a key (keycode → virtual key code and
// flags, with the modifier tracking) and a motion during a drag (with the
// conversion of its position to bottom-left global points).

#include <benchmark/benchmark.h>

#include <vector>

#include "platform/x11/x11_key_translation.h"
#include "platform/x11/x11_raw_event_translator.h"

namespace trelvis {
namespace {

constexpr uint32_t kKeycodeA = 38;
constexpr uint32_t kKeycodeAltL = 64;

// The keycode map of a US evdev keyboard's letters and left Alt.
X11RawEventTranslator makeTranslator() {
  const unsigned long letters[] = {'q', 'w', 'e', 'r', 't', 'y', 'u', 'i', 'o', 'p'};
  std::vector<unsigned long> keysyms(2 * 248, 0);
  for (unsigned long i = 0; i < 10; ++i) keysyms[2 * (24 + i - 8)] = letters[i];
  keysyms[2 * (kKeycodeA - 8)] = 'a';
  keysyms[2 * (kKeycodeAltL - 8)] = 0xFFE9;  // Alt_L
  X11RawEventTranslator translator;
  translator.setKeycodeMap(X11RawEventTranslator::keycodeMap(keysyms, 8, 2));
  return translator;
}

void BM_RawKeyEvent(benchmark::State& state) {
  X11RawEventTranslator translator = makeTranslator();
  translator.keyPress(kKeycodeAltL);
  for (auto _ : state) {
    benchmark::DoNotOptimize(translator.keyPress(kKeycodeA));
    benchmark::DoNotOptimize(translator.keyRelease(kKeycodeA));
  }
  state.SetItemsProcessed(state.iterations() * 2);
}
BENCHMARK(BM_RawKeyEvent);

void BM_RawModifierEvent(benchmark::State& state) {
  X11RawEventTranslator translator = makeTranslator();
  for (auto _ : state) {
    benchmark::DoNotOptimize(translator.keyPress(kKeycodeAltL));
    benchmark::DoNotOptimize(translator.keyRelease(kKeycodeAltL));
  }
  state.SetItemsProcessed(state.iterations() * 2);
}
BENCHMARK(BM_RawModifierEvent);

void BM_RawMotionEventWhileDragging(benchmark::State& state) {
  X11RawEventTranslator translator = makeTranslator();
  translator.buttonPress(1);
  int x = 0;
  for (auto _ : state) {
    auto event = translator.motion();
    benchmark::DoNotOptimize(event);
    benchmark::DoNotOptimize(X11KeyTranslation::globalPoint(x, 200, 1024));
    x = (x + 1) & 1023;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_RawMotionEventWhileDragging);

}  // namespace
}  // namespace trelvis
