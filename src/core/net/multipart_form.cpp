#include "core/net/multipart_form.h"

#include <charconv>
#include <utility>

namespace trelvis {

MultipartFormBuilder::MultipartFormBuilder(std::string boundary, std::size_t expectedSize)
    : boundary_(std::move(boundary)) {
  // Room for the headers of a handful of parts besides the content.
  body_.reserve(expectedSize + 512 + 8 * boundary_.size());
}

std::string MultipartFormBuilder::contentType() const {
  return "multipart/form-data; boundary=" + boundary_;
}

void MultipartFormBuilder::addText(std::string_view name, std::string_view value) {
  body_.append("--").append(boundary_).append("\r\n");
  body_.append("Content-Disposition: form-data; name=\"").append(name).append("\"\r\n\r\n");
  body_.append(value).append("\r\n");
}

std::string MultipartFormBuilder::finishWithFile(std::string_view name, std::string_view filename,
                                                 std::string_view contentType,
                                                 std::span<const uint8_t> bytes) && {
  body_.append("--").append(boundary_).append("\r\n");
  body_.append("Content-Disposition: form-data; name=\"")
      .append(name)
      .append("\"; filename=\"")
      .append(filename)
      .append("\"\r\n");
  body_.append("Content-Type: ").append(contentType).append("\r\n\r\n");
  body_.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  body_.append("\r\n--").append(boundary_).append("--\r\n");
  return std::move(body_);
}

std::string decimalText(double value) {
  char buffer[64];
  auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, value);
  std::string text(buffer, end);
  if (text.find_first_of(".en") == std::string::npos) text += ".0";
  return text;
}

}  // namespace trelvis
