// Throughput of the lookup event-stream parser, fed one byte at a time as the
// API client does, on a stream of typical field-delta events of about 100 bytes.
// Two references put the figure in context: a plain loop that splits lines and
// parses each data line with nlohmann-json, and the line splitting alone.

#include <string>

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>

#include "core/lookup/lookup_api_client.h"
#include "core/lookup/lookup_sse_parser.h"
#include "core/net/sse_parser.h"

namespace trelvis {
namespace {

std::string makeStream(int events) {
  std::string stream;
  for (int i = 0; i < events; ++i) {
    stream += "event: lookup.field.delta\ndata: {\"seq\":" + std::to_string(i) +
              ",\"field\":\"meaning\",\"delta\":\"a small piece of the meaning\"}\n\n";
  }
  return stream;
}

const std::string& stream() {
  static const std::string s = makeStream(10'000);
  return s;
}

void BM_LookupSSEParser(benchmark::State& state) {
  const std::string& bytes = stream();
  int64_t events = 0;
  for (auto _ : state) {
    LookupSSEParser parser;
    for (char c : bytes) {
      if (auto output = parser.consume(static_cast<uint8_t>(c))) events += output->event ? 1 : 0;
    }
    benchmark::DoNotOptimize(parser.finish());
  }
  benchmark::DoNotOptimize(events);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes.size()));
  state.counters["event_bytes"] = static_cast<double>(bytes.size()) / 10'000;
}
BENCHMARK(BM_LookupSSEParser);

// The reference: split lines, parse each data line, read the three fields.
void BM_PlainLinesAndJson(benchmark::State& state) {
  const std::string& bytes = stream();
  for (auto _ : state) {
    std::string line;
    int64_t sum = 0;
    for (char c : bytes) {
      if (c != '\n') {
        line.push_back(c);
        continue;
      }
      if (line.starts_with("data: ")) {
        auto document = nlohmann::json::parse(line.begin() + 6, line.end());
        sum += document["seq"].get<int64_t>();
        sum += static_cast<int64_t>(document["field"].get_ref<const std::string&>().size());
        sum += static_cast<int64_t>(document["delta"].get_ref<const std::string&>().size());
      }
      line.clear();
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes.size()));
}
BENCHMARK(BM_PlainLinesAndJson);

void BM_LineSplittingOnly(benchmark::State& state) {
  const std::string& bytes = stream();
  for (auto _ : state) {
    SSEParser parser;
    int64_t blocks = 0;
    for (char c : bytes) blocks += parser.consume(static_cast<uint8_t>(c)) != nullptr;
    benchmark::DoNotOptimize(blocks);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes.size()));
}
BENCHMARK(BM_LineSplittingOnly);

// The multipart body of a lookup with a 2 MB image: one copy of the image into
// the body, so it should cost about what copying 2 MB costs (the next benchmark).
void BM_LookupPayload2MB(benchmark::State& state) {
  NativeCapture capture;
  capture.imageData.assign(2 << 20, 0xAB);
  capture.targetLanguage = "zh-Hans";
  const Url base = *Url::parse("http://127.0.0.1:8787/trelvis");
  for (auto _ : state) {
    auto payload = LookupAPIClient::lookupPayload(base, capture, "----trelvis-BENCH");
    benchmark::DoNotOptimize(payload.body->data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(capture.imageData.size()));
}
BENCHMARK(BM_LookupPayload2MB);

void BM_Copy2MB(benchmark::State& state) {
  std::vector<uint8_t> image(2 << 20, 0xAB);
  for (auto _ : state) {
    std::string copy(reinterpret_cast<const char*>(image.data()), image.size());
    benchmark::DoNotOptimize(copy.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(image.size()));
}
BENCHMARK(BM_Copy2MB);

}  // namespace
}  // namespace trelvis
