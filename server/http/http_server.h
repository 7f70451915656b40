#pragma once

// HttpServer: the server's HTTP front, on cpp-httplib. It owns the listening socket
// and a fixed pool of worker threads (one connection per worker at a time), applies
// the limits every request meets before any route sees it (body sizes, read and
// write timeouts), answers what no route takes (404, 405, 413, malformed requests)
// with a JSON `detail`, and writes one log line per request: method, path without
// query, status, duration and the user id the route names. Bodies, headers and
// queries are never logged.
//
// Routes are added before run(), before or after bind(). run() serves on the calling thread until
// stop(), which may come from any thread: the socket closes, requests in flight finish, requests
// that arrive after it are refused with 503, and run() returns when every worker is done.

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <tl/expected.hpp>

namespace trelvis::server {

struct IncomingRequest {
  std::string_view method;
  std::string_view path;
  std::string_view body;
  std::string_view contentType;
  std::string_view clientAddress;
  // The credential of an "Authorization: Bearer ..." header.
  std::optional<std::string_view> bearerToken;
  // The query's items, decoded, in order.
  const std::vector<std::pair<std::string, std::string>>& query;
  // Where this client reaches the server ("https://example.com/trelvis"), for
  // absolute links in replies: the configured public URL, else the scheme, the
  // request's Host and the base path.
  std::string_view publicBaseUrl;
};

// Writes the next piece of a streamed body and sends it at once; false when the
// client has gone.
using BodyWriter = std::function<bool(std::string_view bytes)>;

struct Reply {
  using Headers = std::vector<std::pair<std::string, std::string>>;

  Reply(int status = 200, std::string body = {}, Headers headers = {},
        std::string contentType = "application/json")
      : status(status),
        body(std::move(body)),
        headers(std::move(headers)),
        contentType(std::move(contentType)) {}

  int status;
  std::string body;
  Headers headers;
  std::string contentType;
  // When set, the body is not `body` but what this writes, sent with chunked
  // transfer piece by piece as it is written (an event stream). It runs on the
  // request's worker after the status and headers have gone out.
  std::function<void(const BodyWriter& write)> stream;
};

// What a route tells the request log: the account it acted for, once known.
struct RequestLogContext {
  std::string userId;
};

using RouteHandler = std::function<Reply(const IncomingRequest&, RequestLogContext&)>;

enum class BodyKind { json, multipart };

class HttpServer {
 public:
  struct Options {
    std::string host = "127.0.0.1";
    int port = 8787;  // 0: any free port
    // Every route lives under it ("/trelvis"); empty for the root.
    std::string basePath = "/trelvis";
    // Each open connection holds a worker until it closes or idles out, so there
    // are more workers than cores.
    std::size_t workers = 64;
    // TLS when both are given (PEM files).
    std::string tlsCertificateFile;
    std::string tlsKeyFile;
    std::chrono::seconds readTimeout{10};
    std::chrono::seconds writeTimeout{10};
    std::chrono::seconds keepAliveTimeout{5};
    // After this many requests a connection is closed, so that clients waiting for
    // a worker get their turn.
    std::size_t keepAliveRequests = 10;
    // The base URL clients reach the server at, when a proxy stands in front of it;
    // empty to take it from each request's Host header.
    std::string publicUrl;
    std::size_t jsonBodyLimit = 64 * 1024;
    std::size_t multipartBodyLimit = 16 * 1024 * 1024;
  };

  explicit HttpServer(Options options);
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  // `path` is below the base path ("/v1/auth/login").
  void route(std::string method, std::string path, BodyKind body, RouteHandler handler);

  // Opens the listening socket; gives the port, or why it could not be opened.
  tl::expected<int, std::string> bind();
  void run();
  void stop();

  // "http://127.0.0.1:8787/trelvis", after bind().
  std::string baseUrl() const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace trelvis::server
