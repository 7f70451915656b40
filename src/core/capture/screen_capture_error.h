#pragma once

// ScreenCaptureError: why a capture of the screen failed.

#include <exception>
#include <string>

namespace trelvis {

class ScreenCaptureError : public std::exception {
 public:
  enum class Kind { captureFailed, permissionDenied, displayUnavailable, emptyImage, encodingFailed };

  static ScreenCaptureError captureFailed(std::string reason);
  explicit ScreenCaptureError(Kind kind);  // the cases without payload

  Kind kind() const { return kind_; }
  const std::string& reason() const { return reason_; }

  // A readable rendering for logs, e.g. "ScreenCaptureError.captureFailed(no shm)".
  const char* what() const noexcept override { return description_.c_str(); }

  friend bool operator==(const ScreenCaptureError& a, const ScreenCaptureError& b) {
    return a.kind_ == b.kind_ && a.reason_ == b.reason_;
  }

 private:
  ScreenCaptureError(Kind kind, std::string reason);

  Kind kind_;
  std::string reason_;
  std::string description_;
};

}  // namespace trelvis
