#include "server/http/http_server.h"

#include "base/log.h"
#include "server/http/replies.h"

#include <sys/socket.h>

#include <httplib.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <cstring>

namespace trelvis::server {
namespace {

const LogCategory kLog("http");

constexpr std::size_t kLoggedPathLimit = 200;

// cpp-httplib keeps its listening socket to itself and listens with a backlog of 5,
// which drops connections when a few hundred clients arrive at once; widen it.
template <class Base>
class Listener final : public Base {
 public:
  using Base::Base;
  void widenBacklog() { ::listen(this->svr_sock_, SOMAXCONN); }
};

// What the request log needs of the request a worker is serving; a worker serves
// one request at a time, from its headers to its last byte.
struct InFlight {
  bool started = false;
  std::chrono::steady_clock::time_point start;
  RequestLogContext context;
  // The request's Content-Type, kept here because a multipart one is taken out of
  // the headers (see takeContentType).
  std::string contentType;
};
thread_local InFlight inFlight;

// Bytes from the network, made safe for a log line: printable ASCII stays, the
// rest is percent-encoded, and long text is cut.
std::string loggable(std::string_view text) {
  std::string safe;
  for (const char c : text) {
    if (safe.size() >= kLoggedPathLimit) {
      safe += "...";
      break;
    }
    const auto byte = static_cast<unsigned char>(c);
    if (byte > 0x20 && byte < 0x7f && c != '%' && c != '"' && c != '\\') {
      safe += c;
    } else {
      constexpr char kHex[] = "0123456789ABCDEF";
      safe += '%';
      safe += kHex[byte >> 4];
      safe += kHex[byte & 0xf];
    }
  }
  return safe;
}

std::string regexEscaped(std::string_view path) {
  std::string pattern;
  for (const char c : path) {
    if (std::strchr(".^$|()[]{}*+?\\", c)) pattern += '\\';
    pattern += c;
  }
  return pattern;
}

// The credential of an "Authorization: Bearer ..." header, viewed in the request.
std::optional<std::string_view> bearerToken(const httplib::Request& request) {
  const auto found = request.headers.find("Authorization");
  if (found == request.headers.end()) return std::nullopt;
  const std::string_view header = found->second;
  constexpr std::string_view kScheme = "bearer ";
  if (header.size() <= kScheme.size()) return std::nullopt;
  for (std::size_t i = 0; i < kScheme.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(header[i])) != kScheme[i]) return std::nullopt;
  }
  return header.substr(kScheme.size());
}

// A request without a length or a transfer coding has no body (RFC 9112): it may
// be answered before routing without leaving bytes on the connection.
bool hasBody(const httplib::Request& request) {
  const std::string length = request.get_header_value("Content-Length");
  return request.has_header("Transfer-Encoding") || (!length.empty() && length != "0");
}

// For the answers cpp-httplib gives by itself.
std::string_view genericDetail(int status) {
  switch (status) {
    case 400:
      return "the request is malformed";
    case 413:
      return "the body is too large";
    case 414:
      return "the request line is too long";
    case 416:
      return "the range cannot be satisfied";
    default:
      return status >= 500 ? "internal error" : "the request failed";
  }
}

void answer(httplib::Response& response, int status, std::string body,
            const std::string& contentType = "application/json") {
  response.status = status;
  response.set_content(std::move(body), contentType);
}

// cpp-httplib reads a multipart/form-data body into its own parsed parts and
// leaves the raw body empty. The routes read the client's exact bytes with their
// own reader, so the header that triggers that parse is taken out of the request
// before its body is read; the request object is the server's own, not const, and
// only lent to the pre-routing handler as const.
std::string takeContentType(const httplib::Request& request) {
  std::string contentType = request.get_header_value("Content-Type");
  constexpr std::string_view kMultipart = "multipart/form-data";
  if (contentType.starts_with(kMultipart)) {
    const_cast<httplib::Request&>(request).headers.erase("Content-Type");
  }
  return contentType;
}

// A Host header fit to be put into a link: a name or address and a port, nothing else.
bool isPlainHost(std::string_view host) {
  return !host.empty() && host.size() <= 255 && std::all_of(host.begin(), host.end(), [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || std::strchr(".-:[]", c);
  });
}

// Runs a streamed reply's writer inside cpp-httplib's chunked content provider:
// each write becomes one chunk, sent at once.
bool provideStream(const std::function<void(const BodyWriter&)>& stream, httplib::DataSink& sink) {
  const BodyWriter write = [&sink](std::string_view bytes) {
    return bytes.empty() || sink.write(bytes.data(), bytes.size());
  };
  try {
    stream(write);
  } catch (const std::exception& error) {
    kLog.error("a streamed reply failed: {}", error.what());
  }
  sink.done();
  return true;
}

// Only SO_REUSEADDR: cpp-httplib's default adds SO_REUSEPORT, which would let a
// second server share the port silently instead of reporting it taken.
void socketOptions(socket_t socket) {
  const int yes = 1;
  ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
}

}  // namespace

class HttpServer::Impl {
 public:
  struct Route {
    std::string method;
    std::string path;  // with the base path
    BodyKind body;
    RouteHandler handler;
  };

  explicit Impl(Options options) : options_(std::move(options)) {
    while (options_.basePath.ends_with('/')) options_.basePath.pop_back();
    if (tls()) {
      auto server = std::make_unique<Listener<httplib::SSLServer>>(
          options_.tlsCertificateFile.c_str(), options_.tlsKeyFile.c_str());
      widenBacklog_ = [raw = server.get()] {
        raw->widenBacklog();
      };
      server_ = std::move(server);
    } else {
      auto server = std::make_unique<Listener<httplib::Server>>();
      widenBacklog_ = [raw = server.get()] {
        raw->widenBacklog();
      };
      server_ = std::move(server);
    }
    configure();
  }

  void addRoute(std::string method, std::string path, BodyKind body, RouteHandler handler) {
    auto route = std::make_shared<const Route>(
        Route{std::move(method), options_.basePath + path, body, std::move(handler)});
    routes_.push_back(route);
    auto serve = [this, route](const httplib::Request& request, httplib::Response& response) {
      handle(*route, request, response);
    };
    const std::string pattern = regexEscaped(route->path);
    if (route->method == "GET") {
      server_->Get(pattern, serve);
    } else if (route->method == "POST") {
      server_->Post(pattern, serve);
    } else if (route->method == "DELETE") {
      server_->Delete(pattern, serve);
    } else {
      server_->Put(pattern, serve);
    }
  }

  tl::expected<int, std::string> bind() {
    if (!server_->is_valid()) {
      return tl::unexpected(std::string("cannot load the TLS certificate or key"));
    }
    errno = 0;
    if (options_.port == 0) {
      port_ = server_->bind_to_any_port(options_.host);
    } else {
      port_ = server_->bind_to_port(options_.host, options_.port) ? options_.port : -1;
    }
    if (port_ <= 0) {
      const int error = errno;
      std::string message =
          "cannot listen on " + options_.host + ":" + std::to_string(options_.port);
      if (error != 0) message += std::string(": ") + std::strerror(error);
      return tl::unexpected(message);
    }
    widenBacklog_();
    return port_;
  }

  void run() { server_->listen_after_bind(); }

  void stop() {
    stopping_.store(true);
    server_->stop();
  }

  std::string baseUrl() const {
    return std::string(tls() ? "https" : "http") + "://" + options_.host + ":" +
           std::to_string(port_) + options_.basePath;
  }

 private:
  bool tls() const { return !options_.tlsCertificateFile.empty() && !options_.tlsKeyFile.empty(); }

  std::size_t limit(BodyKind body) const {
    return body == BodyKind::json ? options_.jsonBodyLimit : options_.multipartBodyLimit;
  }

  const Route* findRoute(std::string_view path, std::string_view method) const {
    for (const auto& route : routes_) {
      if (route->path == path && (method.empty() || route->method == method)) return route.get();
    }
    return nullptr;
  }

  // 405 for an endpoint that exists under another method, else 404.
  void notRouted(const httplib::Request& request, httplib::Response& response) const {
    std::string allowed;
    for (const auto& route : routes_) {
      if (route->path != request.path) continue;
      if (!allowed.empty()) allowed += ", ";
      allowed += route->method;
    }
    if (allowed.empty()) {
      answer(response, 404, errorBody("there is no such endpoint"));
      return;
    }
    answer(response, 405, errorBody("this endpoint does not take " + loggable(request.method)));
    response.set_header("Allow", allowed);
  }

  std::string tooLarge(BodyKind body) const {
    return errorBody("the body is larger than " + std::to_string(limit(body)) + " bytes");
  }

  void configure() {
    const std::size_t workers = std::max<std::size_t>(1, options_.workers);
    server_->new_task_queue = [workers] {
      return new httplib::ThreadPool(workers);
    };
    server_->set_socket_options(socketOptions);
    // Replies go out in more than one write; without this, Nagle's algorithm holds
    // the last one back until the client's delayed acknowledgement, 40 ms later.
    server_->set_tcp_nodelay(true);
    server_->set_read_timeout(options_.readTimeout);
    server_->set_write_timeout(options_.writeTimeout);
    server_->set_keep_alive_timeout(options_.keepAliveTimeout.count());
    server_->set_keep_alive_max_count(options_.keepAliveRequests);
    server_->set_payload_max_length(std::max(options_.jsonBodyLimit, options_.multipartBodyLimit));

    server_->set_pre_routing_handler(
        [this](const httplib::Request& request, httplib::Response& response) {
          inFlight = InFlight{true, std::chrono::steady_clock::now(), {}, takeContentType(request)};
          if (stopping_.load()) {
            answer(response, 503, errorBody("the server is shutting down"));
            response.set_header("Connection", "close");
            return httplib::Server::HandlerResponse::Handled;
          }
          // An unknown endpoint is answered at once when no body would be left unread;
          // otherwise cpp-httplib reads the body first and the error handler answers.
          if (!hasBody(request) && !findRoute(request.path, request.method) &&
              !(request.method == "HEAD" && findRoute(request.path, "GET"))) {
            notRouted(request, response);
            return httplib::Server::HandlerResponse::Handled;
          }
          return httplib::Server::HandlerResponse::Unhandled;
        });

    // Whatever cpp-httplib answers by itself (no route, malformed request, body
    // too large) still gets a JSON detail.
    server_->set_error_handler(httplib::Server::HandlerWithResponse(
        [this](const httplib::Request& request, httplib::Response& response) {
          if (!response.body.empty()) return httplib::Server::HandlerResponse::Unhandled;
          if (response.status == 404) {
            notRouted(request, response);
          } else {
            answer(response, response.status, errorBody(genericDetail(response.status)));
          }
          return httplib::Server::HandlerResponse::Handled;
        }));

    server_->set_exception_handler(
        [](const httplib::Request&, httplib::Response& response, std::exception_ptr) {
          answer(response, 500, errorBody("internal error"));
        });

    server_->set_logger([](const httplib::Request& request, const httplib::Response& response) {
      double milliseconds = 0;
      if (inFlight.started) {
        milliseconds = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() -
                                                                 inFlight.start)
                           .count();
      }
      const std::string& user = inFlight.context.userId;
      kLog.info("method={} path={} status={} duration_ms={:.2f} user={}", loggable(request.method),
                loggable(request.path), response.status, milliseconds,
                user.empty() ? std::string("-") : loggable(user));
      inFlight = InFlight{};
    });
  }

  void handle(const Route& route, const httplib::Request& request, httplib::Response& response) {
    // A chunked body carries no length to refuse it by in advance.
    if (request.body.size() > limit(route.body)) {
      answer(response, 413, tooLarge(route.body));
      return;
    }
    const std::vector<std::pair<std::string, std::string>> query(request.params.begin(),
                                                                 request.params.end());
    const std::string publicBase = publicBaseUrl(request);
    const IncomingRequest incoming{
        .method = request.method,
        .path = request.path,
        .body = request.body,
        .contentType = inFlight.contentType,
        .clientAddress = request.remote_addr,
        .bearerToken = bearerToken(request),
        .query = query,
        .publicBaseUrl = publicBase,
    };
    Reply reply;
    try {
      reply = route.handler(incoming, inFlight.context);
    } catch (const std::exception& error) {
      kLog.error("{} {} failed: {}", route.method, route.path, error.what());
      reply = Reply{500, errorBody("internal error"), {}};
    }
    for (auto& [name, value] : reply.headers) response.set_header(name, value);
    if (!reply.stream) {
      answer(response, reply.status, std::move(reply.body), reply.contentType);
      return;
    }
    response.status = reply.status;
    // A proxy in between must pass each event on as it comes.
    response.set_header("Cache-Control", "no-cache");
    response.set_header("X-Accel-Buffering", "no");
    response.set_chunked_content_provider(
        reply.contentType,
        [stream = std::make_shared<decltype(reply.stream)>(std::move(reply.stream))](
            std::size_t, httplib::DataSink& sink) { return provideStream(*stream, sink); });
  }

  std::string publicBaseUrl(const httplib::Request& request) const {
    if (!options_.publicUrl.empty()) return options_.publicUrl;
    const std::string host = request.get_header_value("Host");
    if (!isPlainHost(host)) return baseUrl();
    return std::string(tls() ? "https" : "http") + "://" + host + options_.basePath;
  }

  Options options_;
  std::unique_ptr<httplib::Server> server_;
  std::function<void()> widenBacklog_;
  std::vector<std::shared_ptr<const Route>> routes_;
  std::atomic<bool> stopping_{false};
  int port_ = 0;
};

HttpServer::HttpServer(Options options) : impl_(std::make_unique<Impl>(std::move(options))) {}

HttpServer::~HttpServer() = default;

void HttpServer::route(std::string method, std::string path, BodyKind body, RouteHandler handler) {
  impl_->addRoute(std::move(method), std::move(path), body, std::move(handler));
}

tl::expected<int, std::string> HttpServer::bind() {
  return impl_->bind();
}

void HttpServer::run() {
  impl_->run();
}

void HttpServer::stop() {
  impl_->stop();
}

std::string HttpServer::baseUrl() const {
  return impl_->baseUrl();
}

}  // namespace trelvis::server
