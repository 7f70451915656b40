#pragma once

// The frame of every parser of a JSON request body: the size limit, the parse, the
// top-level object, and the field checks of `read`, each way of failing turned into
// its 4xx answer. Only the .cpp files of request parsers include it (nlohmann/json
// is heavy).

#include <cstddef>
#include <string>
#include <string_view>

#include "base/json_decode.h"
#include "server/http/request_error.h"

namespace trelvis::server {

inline constexpr std::size_t kMaximumJsonBodyBytes = 64 * 1024;

// Raised by field checks inside `read`; becomes the answer with its status.
struct InvalidField {
  std::string detail;
  int status = 400;
};

template <class T, class Read>
Parsed<T> parseJsonObject(std::string_view body, Read read) {
  if (body.size() > kMaximumJsonBodyBytes) {
    return tl::unexpected(RequestError{413, "the body is larger than 65536 bytes"});
  }
  nlohmann::json document;
  try {
    document = json::parse(body);
  } catch (const json::DecodeError&) {
    return tl::unexpected(RequestError{400, "the body is not valid JSON"});
  }
  if (!document.is_object()) {
    return tl::unexpected(RequestError{400, "the body must be a JSON object"});
  }
  try {
    return read(json::ObjectReader(document));
  } catch (const json::DecodeError& error) {
    return tl::unexpected(RequestError{400, error.what()});
  } catch (const InvalidField& invalid) {
    return tl::unexpected(RequestError{invalid.status, invalid.detail});
  }
}

}  // namespace trelvis::server
