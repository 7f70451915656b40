// The lookup client over the real curl transport, against a loopback server that
// goes silent in each phase of a request. The fake transport has no silence timer
// of its own, so only a real one shows which timer ends a silent request.

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "base/async/run_loop.h"
#include "base/async/task.h"
#include "core/lookup/lookup_api_client.h"
#include "core/lookup/lookup_error.h"
#include "platform/curl/curl_http_transport.h"
#include "support/fake_access_token_provider.h"
#include "support/loopback_server.h"

namespace trelvis {
namespace {

using namespace std::chrono_literals;

// Short enough for a test that takes moments, long enough for a loaded machine.
constexpr LookupAPIClient::Limits kLimits{
    .token = 2s, .response = 500ms, .firstEvent = 500ms, .streamIdle = 500ms};

class LookupAPIClientCurlTest : public ::testing::Test {
 protected:
  LookupAPIClientCurlTest() {
    // Each route writes `head` and then stays silent until the client hangs up.
    const auto stall = [this](const char* path, int status, std::string head) {
      server_->Post(path, [this, status, head](const httplib::Request&, httplib::Response& res) {
        res.status = status;
        res.set_chunked_content_provider(
            "text/event-stream", [this, head](size_t offset, httplib::DataSink& sink) {
              if (offset == 0 && !head.empty()) sink.write(head.data(), head.size());
              while (sink.is_writable() && !released_) std::this_thread::sleep_for(5ms);
              return false;
            });
      });
    };
    server_->Post("/no-headers/v1/lookup/stream",
                  [this](const httplib::Request&, httplib::Response&) { release_.wait(); });
    stall("/headers-only/v1/lookup/stream", 200, "");
    stall("/one-block/v1/lookup/stream", 200,
          "event: lookup.language\ndata: {\"name\":\"English\",\"code\":\"en\"}\n\n: alive\n\n");
    stall("/failure-body/v1/lookup/stream", 500, "{\"message\":");
    server_.start();
  }

  ~LookupAPIClientCurlTest() override {
    transport_.reset();
    released_ = true;
    release_.open();
  }

  RunLoop loop_;
  std::atomic<bool> released_{false};
  Gate release_;
  LoopbackServer<> server_;
  std::shared_ptr<CurlHttpTransport> transport_ = std::make_shared<CurlHttpTransport>();
};

TEST_F(LookupAPIClientCurlTest, ASilentServerTimesOutInThePhaseItFellSilentIn) {
  struct Case {
    const char* prefix;
    LookupTimeoutPhase phase;
    size_t eventsBefore;  // timing and language for the block that came
  };
  const Case cases[] = {
      {"/no-headers", LookupTimeoutPhase::response, 0},
      {"/headers-only", LookupTimeoutPhase::firstEvent, 0},
      {"/one-block", LookupTimeoutPhase::streamIdle, 2},
      {"/failure-body", LookupTimeoutPhase::response, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.prefix);
    auto client = std::make_shared<LookupAPIClient>(
        loop_.executor(), std::make_shared<FakeAccessTokenProvider>(), transport_,
        *Url::parse(server_.url(c.prefix)), std::nullopt, kLimits);
    size_t events = 0;
    std::exception_ptr failure;
    auto task = spawn(loop_.executor(), [&]() -> Async<void> {
      auto stream = client->lookupStream(NativeCapture{});
      try {
        while (co_await stream.next()) ++events;
      } catch (...) {
        failure = std::current_exception();
      }
    });
    ASSERT_TRUE(loop_.runUntil([&] { return task.isDone(); }, 10s));
    EXPECT_EQ(events, c.eventsBefore);
    EXPECT_EQ(LookupError::from(failure).description(),
              "LookupError(timeout, timeout_" + std::string(toString(c.phase)) + ")");
  }
}

}  // namespace
}  // namespace trelvis
