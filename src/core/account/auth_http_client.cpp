#include "core/account/auth_http_client.h"

#include <nlohmann/json.hpp>

#include <exception>
#include <stdexcept>
#include <utility>

#include "base/async/task_context.h"
#include "base/log.h"
#include "core/account/auth_session_error.h"
#include "core/net/http_transport.h"
#include "core/net/server_api.h"

namespace trelvis {
namespace {

const LogCategory kLog("auth");

std::string encodeBody(const AuthRequestBody& body) {
  nlohmann::json object = nlohmann::json::object();
  for (const auto& [name, value] : body) object[name] = value;
  try {
    return object.dump();
  } catch (const nlohmann::json::exception&) {
    // The library's message quotes the offending bytes, which may be a password's.
    throw std::invalid_argument("The request could not be encoded as JSON: its text is not UTF-8.");
  }
}

}  // namespace

TransportAuthHTTPClient::TransportAuthHTTPClient(std::shared_ptr<HttpTransport> transport)
    : transport_(std::move(transport)) {}

Async<AuthHTTPResponse> TransportAuthHTTPClient::postJSON(Url url, AuthRequestBody body,
                                                          std::optional<std::string> bearerToken) {
  HttpRequest request = ServerAPIRequest::make(url);
  request.method = "POST";
  request.timeout = kTimeout;
  request.headers.set("Content-Type", "application/json");
  request.headers.set("Accept", "application/json");
  if (bearerToken) request.headers.set("Authorization", "Bearer " + *bearerToken);
  request.body = std::make_shared<const std::string>(encodeBody(body));

  const std::string address = url.absoluteString();
  kLog.info("Trelvis auth request POST {}", address);
  HttpDataReply reply;
  try {
    reply = co_await load(*transport_, std::move(request));
  } catch (const CancellationError&) {
    throw;
  } catch (const std::exception& error) {
    kLog.warning("Trelvis auth request failed {}: {}", address, error.what());
    throw;
  }
  if (reply.head.status < 100) throw AuthSessionError(AuthSessionError::Kind::invalidResponse);
  kLog.info("Trelvis auth response {} {}", reply.head.status, address);
  co_return AuthHTTPResponse{reply.head.status, std::move(reply.body)};
}

}  // namespace trelvis
