#pragma once

// MultipartFormBuilder: a multipart/form-data body built in one buffer, text
// fields first and one file part last, with CR LF line ends. The file's bytes are
// copied exactly once, into the body.

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace trelvis {

class MultipartFormBuilder {
 public:
  // `expectedSize` is a hint for the text fields and the file together.
  explicit MultipartFormBuilder(std::string boundary, std::size_t expectedSize = 0);

  // "multipart/form-data; boundary=<boundary>"
  std::string contentType() const;

  void addText(std::string_view name, std::string_view value);

  // Adds the file part and the closing boundary, and hands the body over.
  std::string finishWithFile(std::string_view name, std::string_view filename,
                             std::string_view contentType, std::span<const uint8_t> bytes) &&;

 private:
  std::string boundary_;
  std::string body_;
};

// The shortest decimal text of `value` that reads back the same, always with a
// fraction or an exponent ("120.0", "0.5", "1e+20").
std::string decimalText(double value);

}  // namespace trelvis
