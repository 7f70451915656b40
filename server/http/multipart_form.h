#pragma once

// A multipart/form-data body (RFC 7578) read from the bytes of the network into
// its parts, without copying: each part's name, file name, content type and
// content are views into the body, which must outlive the form. A pure function
// that either gives every part, checked, or the 4xx answer with a `detail`.
//
// What is checked: the content type and its boundary; CR LF line ends; a
// Content-Disposition of form-data with a name on every part; the closing
// delimiter; at most kMaximumParts parts with header blocks of at most
// kMaximumPartHeaderBytes; no name twice. A preamble before the first delimiter
// and an epilogue after the last are ignored, as the format allows.

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "server/http/request_error.h"

namespace trelvis::server {

inline constexpr std::size_t kMaximumParts = 16;
inline constexpr std::size_t kMaximumPartHeaderBytes = 4096;

struct FormPart {
  std::string_view name;
  std::optional<std::string_view> fileName;
  std::string_view contentType;  // empty when the part has none
  std::string_view content;
};

struct MultipartForm {
  std::vector<FormPart> parts;

  // The part named `name`, or null.
  const FormPart* find(std::string_view name) const;
};

// `contentType` is the request's Content-Type header.
Parsed<MultipartForm> parseMultipartForm(std::string_view contentType, std::string_view body);

}  // namespace trelvis::server
