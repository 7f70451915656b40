#include "platform/curl/curl_http_transport.h"

#include <curl/curl.h>
#include <fmt/core.h>
#include <pthread.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <csignal>
#include <exception>
#include <mutex>
#include <optional>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/async/cancellation.h"
#include "base/async/continuation.h"
#include "base/log.h"
#include "platform/curl/curl_url_error.h"

namespace trelvis {
namespace {

const LogCategory kLog("http");

using SteadyClock = std::chrono::steady_clock;
using HeadContinuation = Continuation<HttpStreamingReply>;

constexpr long kMaxRedirects = 10;
// The longest the I/O thread sleeps with nothing to do; new work wakes it at once.
constexpr int kIdlePollMs = 1000;

void initializeCurl() {
  static const CURLcode result = curl_global_init(CURL_GLOBAL_DEFAULT);
  if (result != CURLE_OK) {
    throw URLError(URLErrorCode::unknown,
                   fmt::format("libcurl could not start ({}).", curl_easy_strerror(result)));
  }
}

URLError shutdownError() {
  return URLError(URLErrorCode::unknown,
                  "The HTTP transport was shut down before the request finished.");
}

URLError silenceError(Duration timeout) {
  auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(timeout).count();
  return URLError(URLErrorCode::timedOut,
                  fmt::format("The request timed out (the server sent nothing for {} ms).", ms));
}

std::string_view trimmedField(std::string_view text) {
  auto isSpace = [](char c) {
    return c == ' ' || c == '\t';
  };
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
  return text;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return std::ranges::equal(a, b, [](char x, char y) {
    auto lower = [](char c) {
      return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    };
    return lower(x) == lower(y);
  });
}

// "HTTP/1.1 200 OK" or "HTTP/2 200": the status code, or 0.
int statusFromStatusLine(std::string_view line) {
  auto space = line.find(' ');
  if (space == std::string_view::npos) return 0;
  auto code = trimmedField(line.substr(space + 1));
  int status = 0;
  std::from_chars(code.data(), code.data() + code.size(), status);
  return status;
}

// One request on its way through libcurl. Built on the sending thread; from the
// moment it is handed to the I/O thread, only that thread touches it. The easy
// handle is released on the I/O thread as soon as the transfer leaves the multi
// handle, so no libcurl callback can reach a transfer that has ended.
class Transfer {
 public:
  enum class State { queued, running, ended };

  Transfer(HttpRequest request, const CurlHttpTransport::Options& options)
      : Transfer(std::move(request), options, AsyncStream<std::string>::make()) {}

  ~Transfer() { release(); }
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

  CURL* easy() const { return easy_; }
  const AsyncStream<std::string>::Continuation& body() const { return producer_; }

  // Sending thread, before the transfer is handed over.
  void setHeadContinuation(HeadContinuation head) { head_.emplace(std::move(head)); }

  // I/O thread from here on.
  State state() const { return state_; }
  void setState(State state) { state_ = state; }
  bool isCancelRequested() const { return cancelRequested_; }
  void requestCancel() { cancelRequested_ = true; }

  void startClock() { lastActivity_ = SteadyClock::now(); }
  SteadyClock::time_point deadline() const {
    return lastActivity_ + std::chrono::duration_cast<SteadyClock::duration>(timeout_);
  }
  Duration timeout() const { return timeout_; }

  // The transfer left the multi handle with `result`.
  void complete(CURLcode result) {
    if (result == CURLE_OK) {
      if (!headDelivered_) deliverHead();
      producer_.finish();
      return;
    }
    // The consumer ended the body stream: the transfer was stopped on purpose.
    if (consumerGone_) return;
    long verifyResult = 0;
    if (result == CURLE_PEER_FAILED_VERIFICATION) {
      curl_easy_getinfo(easy_, CURLINFO_SSL_VERIFYRESULT, &verifyResult);
    }
    auto error = urlErrorFromCurl(result, verifyResult, errorBuffer_);
    kLog.info("request failed: {}: {}", toString(error.code()), error.localizedDescription());
    fail(std::make_exception_ptr(std::move(error)));
  }

  // Ends the transfer with `error`: raised by send() while the head is pending,
  // then by the body stream.
  void fail(std::exception_ptr error) {
    if (head_) std::exchange(head_, std::nullopt)->resumeThrowing(error);
    producer_.finish(std::move(error));
  }

  // Frees the easy handle; on the I/O thread once it has left the multi handle.
  void release() {
    if (easy_) curl_easy_cleanup(std::exchange(easy_, nullptr));
    if (headers_) curl_slist_free_all(std::exchange(headers_, nullptr));
  }

 private:
  Transfer(HttpRequest request, const CurlHttpTransport::Options& options,
           std::pair<AsyncStream<std::string>, AsyncStream<std::string>::Continuation> stream)
      : requestBody_(std::move(request.body)),
        timeout_(std::clamp<Duration>(request.timeout, std::chrono::milliseconds(1),
                                      std::chrono::hours(24))),
        stream_(std::move(stream.first)),
        producer_(std::move(stream.second)) {
    easy_ = curl_easy_init();
    if (!easy_) throw URLError(URLErrorCode::unknown, "libcurl could not create a transfer.");
    configure(request, options);
  }

  void configure(const HttpRequest& request, const CurlHttpTransport::Options& options) {
    errorBuffer_[0] = '\0';
    curl_easy_setopt(easy_, CURLOPT_ERRORBUFFER, errorBuffer_);
    curl_easy_setopt(easy_, CURLOPT_URL, request.url.absoluteString().c_str());
    curl_easy_setopt(easy_, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy_, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy_, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(easy_, CURLOPT_MAXREDIRS, kMaxRedirects);
    curl_easy_setopt(easy_, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy_, CURLOPT_TCP_KEEPALIVE, 1L);
    curl_easy_setopt(easy_, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(easy_, CURLOPT_SSL_VERIFYHOST, 2L);
    curl_easy_setopt(easy_, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    auto connectMs = std::chrono::duration_cast<std::chrono::milliseconds>(timeout_).count();
    curl_easy_setopt(easy_, CURLOPT_CONNECTTIMEOUT_MS,
                     static_cast<long>(std::max<int64_t>(connectMs, 1)));
    if (request.resourceTimeout) {
      auto wholeMs =
          std::chrono::duration_cast<std::chrono::milliseconds>(*request.resourceTimeout).count();
      curl_easy_setopt(easy_, CURLOPT_TIMEOUT_MS, static_cast<long>(std::max<int64_t>(wholeMs, 1)));
    }
    if (!options.trustedRootsPem.empty()) {
      curl_blob roots{const_cast<char*>(options.trustedRootsPem.data()),
                      options.trustedRootsPem.size(), CURL_BLOB_COPY};
      curl_easy_setopt(easy_, CURLOPT_CAINFO_BLOB, &roots);
    }

    configureMethod(request.method);
    configureHeaders(request.headers);

    curl_easy_setopt(easy_, CURLOPT_HEADERFUNCTION, &Transfer::onHeader);
    curl_easy_setopt(easy_, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(easy_, CURLOPT_WRITEFUNCTION, &Transfer::onBody);
    curl_easy_setopt(easy_, CURLOPT_WRITEDATA, this);
    curl_easy_setopt(easy_, CURLOPT_XFERINFOFUNCTION, &Transfer::onProgress);
    curl_easy_setopt(easy_, CURLOPT_XFERINFODATA, this);
    curl_easy_setopt(easy_, CURLOPT_NOPROGRESS, 0L);
  }

  void configureMethod(const std::string& method) {
    if (requestBody_) {
      // libcurl reads the shared bytes in place; the transfer keeps them alive.
      curl_easy_setopt(easy_, CURLOPT_POSTFIELDSIZE_LARGE,
                       static_cast<curl_off_t>(requestBody_->size()));
      curl_easy_setopt(easy_, CURLOPT_POSTFIELDS, requestBody_->data());
      if (method != "POST") curl_easy_setopt(easy_, CURLOPT_CUSTOMREQUEST, method.c_str());
    } else if (method == "GET") {
      curl_easy_setopt(easy_, CURLOPT_HTTPGET, 1L);
    } else if (method == "HEAD") {
      curl_easy_setopt(easy_, CURLOPT_NOBODY, 1L);
    } else if (method == "POST") {
      curl_easy_setopt(easy_, CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t{0});
      curl_easy_setopt(easy_, CURLOPT_POSTFIELDS, "");
    } else {
      curl_easy_setopt(easy_, CURLOPT_CUSTOMREQUEST, method.c_str());
    }
  }

  void configureHeaders(const HttpHeaders& headers) {
    bool hasExpect = false;
    bool hasContentType = false;
    for (const auto& field : headers.fields()) {
      // A request that asks for a compressed reply gets it decoded, so the body
      // reads the same either way. Nothing is asked for by default: a server that
      // compresses a streaming reply may hold its chunks back to fill a block.
      if (equalsIgnoringCase(field.name, "Accept-Encoding")) {
        curl_easy_setopt(easy_, CURLOPT_ACCEPT_ENCODING, field.value.c_str());
        continue;
      }
      hasExpect = hasExpect || equalsIgnoringCase(field.name, "Expect");
      hasContentType = hasContentType || equalsIgnoringCase(field.name, "Content-Type");
      // "Name;" is how libcurl spells a field with an empty value.
      auto line = field.value.empty() ? field.name + ";" : field.name + ": " + field.value;
      appendHeader(line.c_str());
    }
    // An upload never waits for a 100-continue that some servers never send.
    if (!hasExpect) appendHeader("Expect:");
    // Without this libcurl labels every body as a form.
    if (requestBody_ && !hasContentType) appendHeader("Content-Type:");
    curl_easy_setopt(easy_, CURLOPT_HTTPHEADER, headers_);
  }

  void appendHeader(const char* line) {
    auto* list = curl_slist_append(headers_, line);
    if (!list) throw URLError(URLErrorCode::unknown, "libcurl could not store a header.");
    headers_ = list;
  }

  void noteActivity() { lastActivity_ = SteadyClock::now(); }

  // The final response's head goes to the sender with the body stream. An interim
  // response (1xx) or a redirect that libcurl is about to follow is not final.
  bool pendingIsFinal() const {
    if (pendingStatus_ < 200) return false;
    if (pendingStatus_ >= 300 && pendingStatus_ < 400) {
      bool hasLocation = std::ranges::any_of(pendingFields_, [](const HttpHeader& h) {
        return equalsIgnoringCase(h.name, "Location");
      });
      if (hasLocation) return false;
    }
    return true;
  }

  void deliverHead() {
    headDelivered_ = true;
    HttpStreamingReply reply{{pendingStatus_, {}}, std::move(*stream_)};
    stream_.reset();
    for (auto& field : pendingFields_) {
      reply.head.headers.add(std::move(field.name), std::move(field.value));
    }
    pendingFields_.clear();
    if (head_) std::exchange(head_, std::nullopt)->resume(std::move(reply));
  }

  void onHeaderLine(std::string_view line) {
    // Lines after the head are trailers of a chunked body.
    if (headDelivered_) return;
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.remove_suffix(1);
    if (line.starts_with("HTTP/")) {
      pendingStatus_ = statusFromStatusLine(line);
      pendingFields_.clear();
    } else if (line.empty()) {
      if (pendingIsFinal()) deliverHead();
    } else if ((line.front() == ' ' || line.front() == '\t') && !pendingFields_.empty()) {
      auto& value = pendingFields_.back().value;
      value += ' ';
      value += trimmedField(line);
    } else if (auto colon = line.find(':'); colon != std::string_view::npos) {
      pendingFields_.push_back({std::string(trimmedField(line.substr(0, colon))),
                                std::string(trimmedField(line.substr(colon + 1)))});
    }
  }

  static size_t onHeader(char* data, size_t size, size_t count, void* self) {
    auto* transfer = static_cast<Transfer*>(self);
    transfer->noteActivity();
    transfer->onHeaderLine(std::string_view(data, size * count));
    return size * count;
  }

  static size_t onBody(char* data, size_t size, size_t count, void* self) {
    auto* transfer = static_cast<Transfer*>(self);
    size_t length = size * count;
    transfer->noteActivity();
    if (!transfer->headDelivered_) transfer->deliverHead();
    if (transfer->producer_.yield(std::string(data, length)) == YieldResult::terminated) {
      // Nobody reads the body any more; stop at once rather than at its end.
      transfer->consumerGone_ = true;
      return CURL_WRITEFUNC_ERROR;
    }
    return length;
  }

  // Uploaded or downloaded bytes show the server is alive, even while it sends
  // nothing to the write callbacks (a large upload, a compressed body).
  static int onProgress(void* self, curl_off_t, curl_off_t downloaded, curl_off_t,
                        curl_off_t uploaded) {
    auto* transfer = static_cast<Transfer*>(self);
    if (downloaded != transfer->downloaded_ || uploaded != transfer->uploaded_) {
      transfer->downloaded_ = downloaded;
      transfer->uploaded_ = uploaded;
      transfer->noteActivity();
    }
    return 0;
  }

  CURL* easy_ = nullptr;
  curl_slist* headers_ = nullptr;
  std::shared_ptr<const std::string> requestBody_;
  Duration timeout_;
  char errorBuffer_[CURL_ERROR_SIZE];

  std::optional<HeadContinuation> head_;
  std::optional<AsyncStream<std::string>> stream_;  // handed over with the head
  AsyncStream<std::string>::Continuation producer_;

  State state_ = State::queued;
  bool cancelRequested_ = false;
  bool headDelivered_ = false;
  bool consumerGone_ = false;
  int pendingStatus_ = 0;
  std::vector<HttpHeader> pendingFields_;
  SteadyClock::time_point lastActivity_;
  curl_off_t downloaded_ = 0;
  curl_off_t uploaded_ = 0;
};

}  // namespace

// The I/O thread and the multi handle. Shared so that cancellation handlers and
// body streams can hold it weakly and outlive the transport harmlessly; the
// thread itself stops with the transport.
class CurlHttpTransport::Engine {
 public:
  explicit Engine(Options options) : options_(std::move(options)) {
    initializeCurl();
    multi_ = curl_multi_init();
    if (!multi_) throw URLError(URLErrorCode::unknown, "libcurl could not start a session.");
    thread_ = std::thread([this] { run(); });
  }

  ~Engine() { stop(); }
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  const Options& options() const { return options_; }

  void start(std::shared_ptr<Transfer> transfer, HeadContinuation head) {
    transfer->setHeadContinuation(std::move(head));
    if (!enqueue({Command::start, transfer})) {
      transfer->fail(std::make_exception_ptr(shutdownError()));
    }
  }

  void cancel(std::shared_ptr<Transfer> transfer) {
    enqueue({Command::cancel, std::move(transfer)});
  }

  // Waits for the I/O thread, which fails every transfer still pending.
  void stop() {
    {
      std::lock_guard lock(mutex_);
      if (stopping_) return;
      stopping_ = true;
      curl_multi_wakeup(multi_);
    }
    thread_.join();
  }

 private:
  struct Command {
    enum Kind { start, cancel } kind;
    std::shared_ptr<Transfer> transfer;
  };

  // False once the thread is stopping. The wake-up is sent under the lock, so it
  // never reaches a multi handle that the exiting thread has cleaned up.
  bool enqueue(Command command) {
    std::lock_guard lock(mutex_);
    if (stopping_) return false;
    commands_.push_back(std::move(command));
    curl_multi_wakeup(multi_);
    return true;
  }

  void run() {
    pthread_setname_np(pthread_self(), "trelvis-http");
    // A write to a socket that the server closed must not stop the process.
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, nullptr);

    for (;;) {
      std::vector<Command> commands;
      bool stopping;
      {
        std::lock_guard lock(mutex_);
        commands.swap(commands_);
        stopping = stopping_;
      }
      for (auto& command : commands) {
        if (command.kind == Command::start) {
          begin(std::move(command.transfer));
        } else {
          cancelNow(*command.transfer);
        }
      }
      if (stopping) break;

      int stillRunning = 0;
      curl_multi_perform(multi_, &stillRunning);
      collectFinished();
      expireSilentTransfers();
      curl_multi_poll(multi_, nullptr, 0, pollTimeoutMs(), nullptr);
    }
    shutDown();
  }

  void begin(std::shared_ptr<Transfer> transfer) {
    if (transfer->isCancelRequested()) {
      transfer->setState(Transfer::State::ended);
      transfer->fail(std::make_exception_ptr(CancellationError()));
      return;
    }
    if (CURLMcode code = curl_multi_add_handle(multi_, transfer->easy()); code != CURLM_OK) {
      transfer->setState(Transfer::State::ended);
      transfer->fail(std::make_exception_ptr(URLError(
          URLErrorCode::unknown,
          fmt::format("The request could not be started ({}).", curl_multi_strerror(code)))));
      return;
    }
    transfer->setState(Transfer::State::running);
    transfer->startClock();
    running_.emplace(transfer->easy(), std::move(transfer));
  }

  void cancelNow(Transfer& transfer) {
    switch (transfer.state()) {
      case Transfer::State::queued:
        // Cancelled before its start reached this thread: it never starts.
        transfer.requestCancel();
        break;
      case Transfer::State::running:
        end(transfer, std::make_exception_ptr(CancellationError()));
        break;
      case Transfer::State::ended:
        break;
    }
  }

  // Takes a running transfer out of the multi handle, which closes its connection
  // when it is mid-reply, and fails it with `error`.
  void end(Transfer& transfer, std::exception_ptr error) {
    auto owner = takeRunning(transfer.easy());
    curl_multi_remove_handle(multi_, transfer.easy());
    transfer.release();
    transfer.fail(std::move(error));
  }

  std::shared_ptr<Transfer> takeRunning(CURL* easy) {
    auto found = running_.find(easy);
    if (found == running_.end()) return nullptr;
    auto transfer = std::move(found->second);
    running_.erase(found);
    transfer->setState(Transfer::State::ended);
    return transfer;
  }

  void collectFinished() {
    int left = 0;
    while (CURLMsg* message = curl_multi_info_read(multi_, &left)) {
      if (message->msg != CURLMSG_DONE) continue;
      CURL* easy = message->easy_handle;
      CURLcode result = message->data.result;
      auto transfer = takeRunning(easy);
      // A finished handle stays in the multi handle until removed; its connection
      // then goes back to the pool for the next request to the same host.
      curl_multi_remove_handle(multi_, easy);
      if (!transfer) continue;
      transfer->complete(result);
      transfer->release();
    }
  }

  void expireSilentTransfers() {
    auto now = SteadyClock::now();
    std::vector<Transfer*> silent;
    for (auto& [easy, transfer] : running_) {
      if (transfer->deadline() <= now) silent.push_back(transfer.get());
    }
    for (auto* transfer : silent) {
      auto error = silenceError(transfer->timeout());
      kLog.info("request failed: {}: {}", toString(error.code()), error.localizedDescription());
      end(*transfer, std::make_exception_ptr(std::move(error)));
    }
  }

  int pollTimeoutMs() const {
    auto now = SteadyClock::now();
    auto timeout = std::chrono::milliseconds(kIdlePollMs);
    for (const auto& [easy, transfer] : running_) {
      auto left = std::chrono::ceil<std::chrono::milliseconds>(transfer->deadline() - now);
      timeout = std::clamp(left, std::chrono::milliseconds(0), timeout);
    }
    return static_cast<int>(timeout.count());
  }

  void shutDown() {
    while (!running_.empty()) {
      end(*running_.begin()->second, std::make_exception_ptr(shutdownError()));
    }
    // Closes the pooled connections.
    curl_multi_cleanup(std::exchange(multi_, nullptr));
  }

  const Options options_;
  CURLM* multi_ = nullptr;
  std::thread thread_;

  std::mutex mutex_;
  std::vector<Command> commands_;  // guarded by mutex_
  bool stopping_ = false;          // guarded by mutex_

  // I/O thread only.
  std::unordered_map<CURL*, std::shared_ptr<Transfer>> running_;
};

CurlHttpTransport::CurlHttpTransport() : CurlHttpTransport(Options{}) {}

CurlHttpTransport::CurlHttpTransport(Options options)
    : engine_(std::make_shared<Engine>(std::move(options))) {}

CurlHttpTransport::~CurlHttpTransport() {
  engine_->stop();
}

Async<HttpStreamingReply> CurlHttpTransport::send(HttpRequest request) {
  auto engine = engine_;
  auto transfer = std::make_shared<Transfer>(std::move(request), engine->options());
  std::weak_ptr<Engine> weakEngine = engine;
  // A consumer that stops reading (cancelled, or the stream dropped) ends the
  // transfer; the stream finishing by itself needs nothing more.
  transfer->body().setOnTermination(
      [weakEngine, weakTransfer = std::weak_ptr<Transfer>(transfer)](StreamTermination reason) {
        if (reason != StreamTermination::cancelled) return;
        auto engine = weakEngine.lock();
        auto transfer = weakTransfer.lock();
        if (engine && transfer) engine->cancel(std::move(transfer));
      });
  co_return co_await withCancellationHandler(
      [engine, transfer]() -> Async<HttpStreamingReply> {
        co_return co_await withContinuation<HttpStreamingReply>(
            [&](HeadContinuation head) { engine->start(transfer, std::move(head)); });
      },
      [weakEngine, transfer]() noexcept {
        if (auto engine = weakEngine.lock()) engine->cancel(transfer);
      });
}

}  // namespace trelvis
