// translation_latency: the latency of the translation streams of a running
// trelvis-server, measured over HTTP on one warm keep-alive connection, as the
// client meets it. For hover, a 2560x360 text band with the hotspot on a word:
// the time from sending the request to the first field delta and to
// "lookup.completed"; for area, a 600x200 paragraph region translated by apertium:
// the time to "paragraph_translation.completed". Medians and 90th percentiles.
// Part of scripts/bench-translation, which starts the server.
//
//   translation_latency BASE ACCESS_TOKEN [HOVERS] [AREAS]

#include <httplib.h>

#include <fmt/core.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include "server/engines/support/text_renderer.h"

namespace {

using Clock = std::chrono::steady_clock;
namespace render = trelvis::server::testing;

constexpr std::string_view kBoundary = "----trelvis-bench";

double milliseconds(Clock::duration duration) {
  return std::chrono::duration<double, std::milli>(duration).count();
}

std::string field(std::string_view name, std::string_view value) {
  return fmt::format("--{}\r\nContent-Disposition: form-data; name=\"{}\"\r\n\r\n{}\r\n", kBoundary,
                     name, value);
}

std::string withImage(std::string fields, const std::vector<uint8_t>& jpeg) {
  fields += fmt::format(
      "--{}\r\nContent-Disposition: form-data; name=\"image\"; filename=\"capture.jpg\"\r\n"
      "Content-Type: image/jpeg\r\n\r\n",
      kBoundary);
  fields.append(jpeg.begin(), jpeg.end());
  return fields + fmt::format("\r\n--{}--\r\n", kBoundary);
}

struct Timing {
  double first = -1;     // the first event named `firstEvent`
  double complete = -1;  // the event named `lastEvent`
  bool failed = false;
};

// Posts `body` and notes when the two events begin to arrive.
Timing post(httplib::Client& client, const std::string& path, const std::string& token,
            std::string body, std::string_view firstEvent, std::string_view lastEvent) {
  Timing timing;
  std::string received;
  httplib::Request request;
  request.method = "POST";
  request.path = path;
  request.headers = {{"Authorization", "Bearer " + token}, {"Accept", "text/event-stream"}};
  request.set_header("Content-Type", fmt::format("multipart/form-data; boundary={}", kBoundary));
  request.body = std::move(body);
  const auto start = Clock::now();
  request.content_receiver = [&](const char* data, size_t length, uint64_t, uint64_t) {
    received.append(data, length);
    const double now = milliseconds(Clock::now() - start);
    if (timing.first < 0 && received.find(firstEvent) != std::string::npos) timing.first = now;
    if (timing.complete < 0 && received.find(lastEvent) != std::string::npos) timing.complete = now;
    return true;
  };
  const httplib::Result result = client.send(request);
  timing.failed = !result || result->status != 200 || timing.complete < 0 ||
                  received.find(".error") != std::string::npos;
  if (timing.failed) {
    fmt::print(stderr, "request failed: {} {}\n", result ? result->status : -1,
               received.substr(0, 300));
  }
  return timing;
}

void report(std::string_view name, std::vector<double> values) {
  if (values.empty()) return;
  std::sort(values.begin(), values.end());
  fmt::print("  {:<32} median {:6.1f} ms   p90 {:6.1f} ms   (n={})\n", name,
             values[values.size() / 2], values[values.size() * 9 / 10], values.size());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    fmt::print(stderr, "usage: translation_latency BASE ACCESS_TOKEN [HOVERS] [AREAS]\n");
    return 2;
  }
  const std::string base = argv[1];
  const std::string token = argv[2];
  const int hovers = argc > 3 ? std::stoi(argv[3]) : 40;
  const int areas = argc > 4 ? std::stoi(argv[4]) : 20;
  std::smatch parts;
  const std::regex url("http://([^:/]+):([0-9]+)(/.*)?");
  if (!std::regex_match(base, parts, url)) return 2;
  httplib::Client client(parts[1], std::stoi(parts[2]));
  client.set_keep_alive(true);
  client.set_tcp_nodelay(true);
  client.set_read_timeout(std::chrono::seconds(60));
  const std::string path = parts[3];

  const std::vector<std::string> vocabulary = {
      "window",  "reading", "between", "capture", "language", "morning", "station", "garden", "history",
      "market",  "picture", "journey", "country", "village",  "problem", "science", "teacher", "student"};
  std::mt19937 random(11);
  render::TextLayout layout;
  layout.fontPath = render::latinTestFonts().front().path;
  layout.pixelSize = 16;
  layout.top = 130;
  std::vector<std::vector<std::string>> lines(4);
  for (auto& line : lines) {
    for (int w = 0; w < 26; ++w) line.push_back(vocabulary[random() % vocabulary.size()]);
  }
  const render::RenderedPicture band = render::renderText(lines, layout, 2560, 360);
  const std::vector<uint8_t> bandJpeg = render::encodeJpeg(band);

  std::vector<double> firsts, completes;
  int failures = 0;
  for (int run = -2; run < hovers; ++run) {  // two runs warm the connection and the engines
    const auto& word = band.words[random() % band.words.size()];
    const std::string body = withImage(
        field("hotspotX", fmt::format("{:.1f}", word.box.x + word.box.width / 2.0)) +
            field("hotspotY", fmt::format("{:.1f}", word.baseline - 5.0)) + field("targetLang", "de") +
            field("englishPronunciation", "en-US"),
        bandJpeg);
    const Timing timing =
        post(client, path + "/v1/lookup/stream", token, body, "event: lookup.field.delta", "event: lookup.completed");
    if (run < 0) continue;
    failures += timing.failed;
    if (timing.first >= 0) firsts.push_back(timing.first);
    if (timing.complete >= 0) completes.push_back(timing.complete);
  }
  fmt::print("hover over HTTP, 2560x360 band ({} KB JPEG), target de, {} failed\n", bandJpeg.size() / 1024,
             failures);
  report("request to first field delta", firsts);
  report("request to lookup.completed", completes);

  layout.top = 12;
  layout.left = 12;
  const render::RenderedPicture region =
      render::renderText({{"The", "weather", "was", "cold", "and", "rainy", "this", "morning,"},
                          {"so", "the", "children", "stayed", "inside", "and", "read"},
                          {"books", "about", "ancient", "history", "and", "distant"},
                          {"countries", "until", "their", "parents", "came", "home."}},
                         layout, 600, 200);
  const std::vector<uint8_t> regionJpeg = render::encodeJpeg(region);
  std::vector<double> regionTimes;
  failures = 0;
  for (int run = -2; run < areas; ++run) {
    const Timing timing = post(client, path + "/v1/paragraph-translation/stream", token,
                               withImage(field("targetLang", "es"), regionJpeg),
                               "event: paragraph_translation.field.delta",
                               "event: paragraph_translation.completed");
    if (run < 0) continue;
    failures += timing.failed;
    if (timing.complete >= 0) regionTimes.push_back(timing.complete);
  }
  fmt::print("area over HTTP, 600x200 paragraph, en to es by apertium, {} failed\n", failures);
  report("request to completed", regionTimes);
  return 0;
}
