#pragma once

// LookupCaseRecorder: a debugging aid that keeps lookups as cases for the
// server's regression tests. Off unless the environment variable
// "TRELVIS_CASE_RECORDER" is set; then each capture of the record-case hot key
// is written into "TRELVIS_CASE_DIR" (by default "api/tests/lookup_cases" under
// the current directory) as "<case>.jpg", its lookup is run, and "<case>.json"
// records the request's fields and every streamed event. Lives on the main
// thread; borrows the lookup service.

#include <filesystem>
#include <string>
#include <string_view>

#include "base/async/async.h"
#include "base/environment.h"
#include "core/lookup/lookup_model.h"

namespace trelvis {

class LookupServing;

class LookupCaseRecorder {
 public:
  static constexpr std::string_view kDefaultDirectory = "api/tests/lookup_cases";

  struct Configuration {
    bool enabled = false;
    std::filesystem::path directory;
  };

  // On when "TRELVIS_CASE_RECORDER" is set to anything but "" or "0"; a
  // relative "TRELVIS_CASE_DIR" is taken from `currentDirectory`.
  static Configuration configurationFrom(const EnvironmentLookup& environment,
                                         const std::filesystem::path& currentDirectory);

  LookupCaseRecorder(Configuration configuration, LookupServing& service);

  bool isEnabled() const { return configuration_.enabled; }
  const std::filesystem::path& directory() const { return configuration_.directory; }

  // Writes the case and gives its name. A failed lookup is part of the case;
  // a file that cannot be written raises std::filesystem::filesystem_error.
  Async<std::string> record(NativeCapture capture);

 private:
  Configuration configuration_;
  LookupServing& service_;
};

}  // namespace trelvis
