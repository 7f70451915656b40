// desktop_latency: what a person waits for after tapping Alt, measured on the
// whole desktop application under a private Xvfb with XTest input:
//   - from the key-up of the tap to the card's window mapped with its loading
//     skeleton (the server holds the stream open and answers nothing);
//   - from the key-up to the word's headword on the card, with the real
//     trelvis-server and its engines on loopback.
// Medians and 90th percentiles over repeated taps. Part of scripts/bench-desktop.
//
//   desktop_latency [TAPS]   (default 40)

#include "e2e/desktop_rig.h"

#include "core/lookup/lookup_coordinator.h"
#include "core/overlay/overlay_panel_presenting.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace trelvis::testing {
namespace {

using Clock = std::chrono::steady_clock;

double milliseconds(Clock::duration duration) {
  return std::chrono::duration<double, std::milli>(duration).count();
}

void report(const char* what, std::vector<double> samples) {
  if (samples.empty()) {
    std::printf("%-34s no samples\n", what);
    return;
  }
  std::sort(samples.begin(), samples.end());
  const auto at = [&](double q) { return samples[static_cast<size_t>(q * (samples.size() - 1))]; };
  std::printf("%-34s median %6.1f ms  p90 %6.1f ms  min %6.1f ms  (%zu taps)\n", what, at(0.5),
              at(0.9), samples.front(), samples.size());
}

bool isViewable(DesktopRig& rig) {
  QWidget* window = rig.app().cardWindow().widget();
  if (!window->isVisible()) return false;
  XWindowAttributes attributes{};
  if (!XGetWindowAttributes(rig.x().display(), window->winId(), &attributes)) return false;
  return attributes.map_state == IsViewable;
}

// Takes the card down between taps, so that each tap maps it anew.
void dismiss(DesktopRig& rig) {
  rig.app().environment().lookupCoordinator().cancelCurrent();
  rig.app().environment().panelController().hideWindow();
  QtTestApplication::runUntil([&] { return !isViewable(rig); }, 2s);
  QtTestApplication::runUntil([] { return false; }, 30ms);
}

// Presses Alt at `point` and gives the time from its release to `done`.
template <class Done>
std::optional<double> tap(DesktopRig& rig, QPoint point, Done done, std::chrono::seconds limit) {
  rig.x().moveTo(point.x(), point.y());
  rig.x().key(XK_Alt_L, true);
  QtTestApplication::runUntil([] { return false; }, 10ms);
  const Clock::time_point released = Clock::now();
  rig.x().key(XK_Alt_L, false);
  if (!QtTestApplication::runUntil(done, limit)) return std::nullopt;
  return milliseconds(Clock::now() - released);
}

std::vector<double> skeletonLatencies(int taps) {
  ScriptedServer server;
  // Streams that stay open and say nothing: the card keeps its skeleton.
  for (int i = 0; i < taps + 1; ++i) server.play({200, "", true});
  DesktopRig rig;
  rig.startApplication(server.baseUrl(), "r1");
  Page page(QRect(100, 150, 900, 500));
  std::vector<double> samples;
  for (int i = 0; i <= taps; ++i) {
    dismiss(rig);
    const auto latency = tap(
        rig, QPoint(300 + (i % 5) * 100, 300),
        [&] { return rig.state().status == LookupStatus::loading && isViewable(rig); }, 5s);
    // The first show pays for creating the window; the ones after it are the
    // figure.
    if (latency && i > 0) samples.push_back(*latency);
    if (!latency) {
      std::printf("tap %d: status %d, window visible %d, viewable %d\n", i,
                  static_cast<int>(rig.state().status),
                  rig.app().cardWindow().widget()->isVisible(), isViewable(rig));
    }
  }
  return samples;
}

std::vector<double> headwordLatencies(int taps) {
  TrelvisServerProcess server({.engines = true});
  DesktopRig rig;
  rig.startApplication(server.baseUrl(), registerAccount(server, "bench@example.com"));
  Page page(QRect(100, 150, 900, 200), "The quiet garden by the river");
  // Words that are their own dictionary form, so the headword is the word.
  const QString words[] = {"quiet", "garden", "river"};
  std::vector<double> samples;
  for (int i = 0; i <= taps; ++i) {
    dismiss(rig);
    const QString& word = words[i % 3];
    const auto latency = tap(
        rig, page.centreOf(word),
        [&] {
          if (!rig.cardShows(word)) return false;
          // What the card shows is painted before the figure is taken.
          QCoreApplication::processEvents();
          return true;
        },
        20s);
    if (!latency) std::printf("tap %d over \"%s\": no headword\n", i, qPrintable(word));
    // The first lookup warms the server's caches and the connection.
    if (latency && i > 0) samples.push_back(*latency);
  }
  return samples;
}

}  // namespace
}  // namespace trelvis::testing

int main(int argc, char** argv) {
  using namespace trelvis::testing;
  const int taps = argc > 1 ? std::max(1, std::atoi(argv[1])) : 40;
  QtTestApplication::instance();
  report("key-up to skeleton card mapped", skeletonLatencies(taps));
  report("key-up to headword on the card", headwordLatencies(taps / 2));
  // The test rig's application would be destroyed after its X server at exit;
  // nothing is left to clean up that the system does not.
  std::fflush(stdout);
  std::_Exit(0);
}
