// CurlHttpTransport on loopback against a local server: how long a task waits
// from send() to the first streamed byte on a kept-alive connection, and how fast
// a 2 MB request body goes out.

// Debian builds its httplib library with TLS support, which changes the layout of
// httplib::Request; the header must be read the same way.
#define CPPHTTPLIB_OPENSSL_SUPPORT
#include <httplib.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

#include "base/async/run_loop.h"
#include "base/async/task.h"
#include "platform/curl/curl_http_transport.h"

namespace trelvis {
namespace {

using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

class StreamingServer {
 public:
  StreamingServer() {
    server_.set_tcp_nodelay(true);
    server_.set_keep_alive_max_count(1'000'000);
    server_.Get("/stream", [](const httplib::Request&, httplib::Response& res) {
      res.set_chunked_content_provider("text/plain", [](size_t, httplib::DataSink& sink) {
        sink.write("data: first\n\n", 13);
        sink.write("data: second\n\n", 14);
        sink.done();
        return true;
      });
    });
    server_.Post("/upload", [](const httplib::Request& req, httplib::Response& res) {
      res.set_content(std::to_string(req.body.size()), "text/plain");
    });
    port_ = server_.bind_to_any_port("127.0.0.1");
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    while (!server_.is_running()) std::this_thread::sleep_for(1ms);
  }
  ~StreamingServer() {
    server_.stop();
    thread_.join();
  }

  HttpRequest request(const std::string& path) const {
    return HttpRequest(*Url::parse("http://127.0.0.1:" + std::to_string(port_) + path));
  }

 private:
  httplib::Server server_;
  std::thread thread_;
  int port_ = 0;
};

template <class T>
T runTask(RunLoop& loop, Task<T> task) {
  loop.runUntil([&] { return task.isDone(); }, std::chrono::seconds(10));
  return task.value();
}

double percentile(std::vector<double> samples, double fraction) {
  if (samples.empty()) return 0;
  auto index = static_cast<size_t>(fraction * static_cast<double>(samples.size() - 1));
  std::nth_element(samples.begin(), samples.begin() + static_cast<long>(index), samples.end());
  return samples[index];
}

// From send() to the first body chunk in the awaiting task, on its own loop.
void BM_FirstStreamedByte(benchmark::State& state) {
  RunLoop loop;
  StreamingServer server;
  std::vector<double> micros;
  {
    CurlHttpTransport transport;
    for (auto _ : state) {
      micros.push_back(runTask(loop, spawn(loop.executor(), [&]() -> Async<double> {
                                 auto start = SteadyClock::now();
                                 auto reply = co_await transport.send(server.request("/stream"));
                                 auto first = co_await reply.body.next();
                                 std::chrono::duration<double, std::micro> waited =
                                     SteadyClock::now() - start;
                                 benchmark::DoNotOptimize(first);
                                 // Read to the end so the connection goes back to the pool.
                                 co_await readAll(reply.body);
                                 co_return waited.count();
                               })));
    }
  }
  state.counters["median_us"] = percentile(micros, 0.5);
  state.counters["p90_us"] = percentile(micros, 0.9);
}
BENCHMARK(BM_FirstStreamedByte)->UseRealTime()->Unit(benchmark::kMicrosecond)->MinTime(2.0);

void BM_Post2MB(benchmark::State& state) {
  RunLoop loop;
  StreamingServer server;
  auto body = std::make_shared<const std::string>(2 * 1024 * 1024, 'x');
  {
    CurlHttpTransport transport;
    for (auto _ : state) {
      auto reply = runTask(loop, spawn(loop.executor(), [&]() -> Async<HttpDataReply> {
                             auto request = server.request("/upload");
                             request.method = "POST";
                             request.body = body;
                             co_return co_await load(transport, std::move(request));
                           }));
      if (reply.body != std::to_string(body->size())) state.SkipWithError("body lost");
    }
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * body->size()));
}
BENCHMARK(BM_Post2MB)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace trelvis
