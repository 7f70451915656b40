// The preferences file loader on arbitrary file contents: a file either loads or
// is refused with a reason that quotes nothing of it; what loads is written back
// and must load again as the same values, types included.

#include <cstdint>
#include <string_view>

#include "fuzz_check.h"
#include "platform/files/json_file_preference_store.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using trelvis::JsonFilePreferenceStore;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto values = JsonFilePreferenceStore::decodeFile(text);
  if (!values) {
    FUZZ_CHECK(trelvis::fuzz::quotesNothing(values.error()));
    return 0;
  }
  const auto written = JsonFilePreferenceStore::encodeFile(*values);
  FUZZ_CHECK(written.has_value());
  const auto reread = JsonFilePreferenceStore::decodeFile(*written);
  FUZZ_CHECK(reread.has_value());
  FUZZ_CHECK(*reread == *values);
  return 0;
}
