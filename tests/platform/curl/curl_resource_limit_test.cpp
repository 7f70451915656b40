#include <chrono>
#include <optional>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "base/async/run_loop.h"
#include "base/async/task.h"
#include "core/net/url_error.h"
#include "platform/curl/curl_http_transport.h"
#include "support/loopback_server.h"

namespace trelvis {
namespace {

using namespace std::chrono_literals;

TEST(CurlResourceLimitTest, AWholeRequestEndsAtItsLimitHoweverSteadilyTheBytesCome) {
  // One byte every 25 ms for 0.4 s: never silent for long, never quick.
  LoopbackServer<> server;
  server->Get("/trickle", [](const httplib::Request&, httplib::Response& res) {
    res.set_chunked_content_provider("text/plain", [](size_t offset, httplib::DataSink& sink) {
      if (offset >= 16) {
        sink.done();
        return true;
      }
      std::this_thread::sleep_for(25ms);
      return sink.write("x", 1);
    });
  });
  server.start();
  RunLoop loop;
  CurlHttpTransport transport;

  struct Case {
    std::optional<Duration> resourceTimeout;
    std::string expected;
  };
  const Case cases[] = {
      {std::nullopt, "16 bytes"},
      {std::chrono::hours(1), "16 bytes"},
      {150ms, "timedOut after the head"},
  };
  for (const Case& c : cases) {
    HttpRequest request(*Url::parse(server.url("/trickle")));
    request.timeout = 200ms;
    request.resourceTimeout = c.resourceTimeout;
    bool headArrived = false;
    auto task = spawn(loop.executor(), [&]() -> Async<std::string> {
      try {
        auto reply = co_await transport.send(request);
        headArrived = true;
        co_return std::to_string((co_await readAll(reply.body)).size()) + " bytes";
      } catch (const URLError& error) {
        co_return std::string(toString(error.code())) +
            (headArrived ? " after the head" : " before the head");
      }
    });
    ASSERT_TRUE(loop.runUntil([&] { return task.isDone(); }, 10s));
    EXPECT_EQ(task.value(), c.expected);
  }
}

}  // namespace
}  // namespace trelvis
