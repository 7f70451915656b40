#pragma once

// HttpTransport: the seam through which every API client sends HTTP requests.
// The Linux implementation is CurlHttpTransport; tests use FakeHttpTransport.
//
// send() completes when the status line and headers have arrived; the body's
// bytes then arrive on the reply's stream as the network delivers them, and the
// stream ends at the end of the body or with a URLError. Cancelling the task that
// awaits send(), or ending the body stream (its consumer cancelled or the stream
// dropped), cancels the transfer at once.

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/async/async.h"
#include "base/async/async_stream.h"
#include "base/clock.h"
#include "base/url.h"

namespace trelvis {

struct HttpHeader {
  std::string name;
  std::string value;
  friend bool operator==(const HttpHeader&, const HttpHeader&) = default;
};

// Header fields in order; names compare without regard to case.
class HttpHeaders {
 public:
  // Replaces every field of that name, or adds one.
  void set(std::string_view name, std::string value);
  void add(std::string name, std::string value) {
    fields_.push_back({std::move(name), std::move(value)});
  }
  void remove(std::string_view name);
  std::optional<std::string> get(std::string_view name) const;
  bool contains(std::string_view name) const { return get(name).has_value(); }
  const std::vector<HttpHeader>& fields() const { return fields_; }

 private:
  std::vector<HttpHeader> fields_;
};

struct HttpRequest {
  explicit HttpRequest(Url requestUrl) : url(std::move(requestUrl)) {}

  std::string method = "GET";
  Url url;
  HttpHeaders headers;
  // Shared, so that a retried request sends the same bytes without a copy.
  std::shared_ptr<const std::string> body;
  // The longest the server may stay silent, from connecting to the last byte.
  Duration timeout = std::chrono::seconds(60);
  // The longest the whole request may take, from sending to the last byte of the
  // body, however steadily the bytes come; no limit when absent.
  std::optional<Duration> resourceTimeout;
};

struct HttpResponseHead {
  int status = 0;
  HttpHeaders headers;
};

struct HttpStreamingReply {
  HttpResponseHead head;
  AsyncStream<std::string> body;  // chunks in order of arrival
};

struct HttpDataReply {
  HttpResponseHead head;
  std::string body;
};

class HttpTransport {
 public:
  virtual ~HttpTransport() = default;

  // Raises URLError when the request fails before the headers arrive.
  virtual Async<HttpStreamingReply> send(HttpRequest request) = 0;
};

// Reads the rest of a body; raises the URLError that ends it early.
Async<std::string> readAll(AsyncStream<std::string>& body);

// send() and readAll() in one.
Async<HttpDataReply> load(HttpTransport& transport, HttpRequest request);

}  // namespace trelvis
