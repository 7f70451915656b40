#pragma once

// CurlHttpTransport: the HttpTransport of the Linux app, on libcurl's multi
// interface. The composition root makes one and hands it to every API client;
// send() may be awaited by tasks on any executor, and each resumes on its own.
// The transport owns one I/O thread ("trelvis-http") that runs every transfer and
// keeps the pool of open connections, so requests to the same host reuse them.
// Body bytes go to the reply's stream as they arrive. Destroying the transport
// stops the thread and fails the transfers still running.

#include <memory>
#include <string>

#include "core/net/http_transport.h"

namespace trelvis {

class CurlHttpTransport final : public HttpTransport {
 public:
  struct Options {
    // PEM root certificates that verify servers, for a server with an authority of
    // its own (a local reference server, tests). Empty: the system's roots.
    std::string trustedRootsPem;
  };

  CurlHttpTransport();
  explicit CurlHttpTransport(Options options);
  ~CurlHttpTransport() override;
  CurlHttpTransport(const CurlHttpTransport&) = delete;
  CurlHttpTransport& operator=(const CurlHttpTransport&) = delete;

  // Raises URLError when the request fails before the final response's headers
  // arrive, CancellationError when the awaiting task is cancelled first. Redirects
  // are followed; the head is the final response's. HttpRequest::timeout bounds
  // each silence of the server, not the length of a streaming reply;
  // HttpRequest::resourceTimeout, when set, bounds the whole request.
  Async<HttpStreamingReply> send(HttpRequest request) override;

 private:
  class Engine;
  std::shared_ptr<Engine> engine_;
};

}  // namespace trelvis
