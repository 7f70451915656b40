#include "core/net/http_transport.h"

#include <algorithm>
#include <cctype>

namespace trelvis {
namespace {

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return std::ranges::equal(
      a, b, [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

}  // namespace

void HttpHeaders::set(std::string_view name, std::string value) {
  remove(name);
  fields_.push_back({std::string(name), std::move(value)});
}

void HttpHeaders::remove(std::string_view name) {
  std::erase_if(fields_, [&](const HttpHeader& h) { return equalsIgnoringCase(h.name, name); });
}

std::optional<std::string> HttpHeaders::get(std::string_view name) const {
  for (const auto& h : fields_) {
    if (equalsIgnoringCase(h.name, name)) return h.value;
  }
  return std::nullopt;
}

Async<std::string> readAll(AsyncStream<std::string>& body) {
  std::string all;
  while (auto chunk = co_await body.next()) all += *chunk;
  co_return all;
}

Async<HttpDataReply> load(HttpTransport& transport, HttpRequest request) {
  auto reply = co_await transport.send(std::move(request));
  auto body = co_await readAll(reply.body);
  co_return HttpDataReply{std::move(reply.head), std::move(body)};
}

}  // namespace trelvis
