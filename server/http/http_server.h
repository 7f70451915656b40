#pragma once

// HttpServer: the server's HTTP front, on cpp-httplib. It owns the listening socket
// and a fixed pool of worker threads (one connection per worker at a time), applies
// the limits every request meets before any route sees it (body sizes, read and
// write timeouts), answers what no route takes (404, 405, 413, malformed requests)
// with a JSON `detail`, and writes one log line per request: method, path without
// query, status, duration and the user id the route names. Bodies, headers and
// queries are never logged.
//
// Routes are added before bind(). run() serves on the calling thread until stop(),
// which may come from any thread: the socket closes, requests in flight finish,
// requests that arrive after it are refused with 503, and run() returns when every
// worker is done.

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
  std::string_view clientAddress;
  // The credential of an "Authorization: Bearer ..." header.
  std::optional<std::string_view> bearerToken;
};

struct Reply {
  int status = 200;
  std::string body;  // JSON
  std::vector<std::pair<std::string, std::string>> headers;
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
