#pragma once

// What a parser of request bytes gives when the bytes are wrong: the 4xx status
// and a `detail` that says what is wrong. Details name fields and rules, never the
// values sent, which may be secrets.

#include <string>

#include <tl/expected.hpp>

namespace trelvis::server {

struct RequestError {
  int status = 400;
  std::string detail;

  friend bool operator==(const RequestError&, const RequestError&) = default;
};

template <class T>
using Parsed = tl::expected<T, RequestError>;

}  // namespace trelvis::server
