#pragma once

// FakeHttpTransport: an HttpTransport whose replies the test writes by hand. Each
// send() becomes an Exchange that the test answers piece by piece (head, body
// chunks, end or failure), or that is answered at once from a queue of scripted
// replies. Single-threaded: meant for tests on a TestScheduler.

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/async/async_stream.h"
#include "base/async/cancellation.h"
#include "base/async/continuation.h"
#include "core/net/http_transport.h"
#include "core/net/url_error.h"

namespace trelvis {

class FakeHttpTransport final : public HttpTransport {
 public:
  class Exchange {
   public:
    explicit Exchange(HttpRequest request) : request_(std::move(request)) {}

    const HttpRequest& request() const { return request_; }
    std::string body() const { return request_.body ? *request_.body : std::string(); }

    // Completes send() with a head; the body stays open until finishBody().
    void respond(int status, HttpHeaders headers = {}) {
      auto [stream, continuation] = AsyncStream<std::string>::make();
      body_ = continuation;
      body_->setOnTermination([this](StreamTermination reason) {
        if (reason == StreamTermination::cancelled) cancelled_ = true;
      });
      pending_->resume(
          HttpStreamingReply{HttpResponseHead{status, std::move(headers)}, std::move(stream)});
      pending_.reset();
    }
    void sendBody(std::string chunk) { body_->yield(std::move(chunk)); }
    void finishBody() { body_->finish(); }
    void failBody(URLError error) { body_->finishThrowing(std::move(error)); }
    // send() raises `error` instead of giving a head.
    void fail(URLError error) {
      pending_->resumeThrowing(std::move(error));
      pending_.reset();
    }

    bool isPending() const { return pending_.has_value(); }
    // send() was cancelled, or the body's consumer went away before its end.
    bool isCancelled() const { return cancelled_; }

   private:
    friend class FakeHttpTransport;
    HttpRequest request_;
    std::optional<Continuation<HttpStreamingReply>> pending_;
    std::optional<AsyncStream<std::string>::Continuation> body_;
    bool cancelled_ = false;
  };

  // The next send() is answered at once with this status and whole body.
  void enqueueReply(int status, std::string body) {
    scripted_.push_back({status, std::move(body)});
  }

  const std::vector<std::shared_ptr<Exchange>>& exchanges() const { return exchanges_; }
  Exchange& last() { return *exchanges_.back(); }

  Async<HttpStreamingReply> send(HttpRequest request) override {
    auto exchange = std::make_shared<Exchange>(std::move(request));
    exchanges_.push_back(exchange);
    std::optional<Scripted> scripted;
    if (!scripted_.empty()) {
      scripted = std::move(scripted_.front());
      scripted_.pop_front();
    }
    co_return co_await withCancellationHandler(
        [exchange, scripted]() -> Async<HttpStreamingReply> {
          co_return co_await withContinuation<HttpStreamingReply>(
              [&](Continuation<HttpStreamingReply> continuation) {
                exchange->pending_ = std::move(continuation);
                if (scripted) {
                  exchange->respond(scripted->status);
                  exchange->sendBody(scripted->body);
                  exchange->finishBody();
                }
              });
        },
        [exchange]() noexcept {
          exchange->cancelled_ = true;
          if (exchange->pending_) {
            exchange->pending_->resumeThrowing(CancellationError());
            exchange->pending_.reset();
          }
        });
  }

 private:
  struct Scripted {
    int status;
    std::string body;
  };
  std::deque<Scripted> scripted_;
  std::vector<std::shared_ptr<Exchange>> exchanges_;
};

}  // namespace trelvis
