// The reader of multipart/form-data bodies and the hover and area requests built
// on it, on arbitrary bytes: the first line is the Content-Type, the rest the body.
// A form that is read has at most 16 parts with distinct, non-empty names, each
// a view inside the body; a request that is read has a finite hotspot and an
// image; a refusal is 400 or 415 with a detail of printable text.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <set>
#include <string_view>

#include "fuzz_check.h"
#include "server/http/multipart_form.h"
#include "server/http/translation_requests.h"

namespace trelvis {
namespace {

template <class T>
bool accepted(const server::Parsed<T>& parsed) {
  if (parsed) return true;
  FUZZ_CHECK(parsed.error().status == 400 || parsed.error().status == 415);
  FUZZ_CHECK(fuzz::printableText(parsed.error().detail));
  return false;
}

bool inside(std::string_view part, std::string_view whole) {
  return part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size();
}

}  // namespace
}  // namespace trelvis

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace trelvis;
  using namespace trelvis::server;
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::size_t newline = std::min(input.find('\n'), input.size());
  const std::string_view contentType = input.substr(0, newline);
  const std::string_view body = input.substr(std::min(newline + 1, input.size()));

  if (const auto form = parseMultipartForm(contentType, body); accepted(form)) {
    FUZZ_CHECK(form->parts.size() <= kMaximumParts);
    std::set<std::string_view> names;
    for (const FormPart& part : form->parts) {
      FUZZ_CHECK(!part.name.empty() && names.insert(part.name).second);
      FUZZ_CHECK(inside(part.name, body) && (part.content.empty() || inside(part.content, body)));
      if (!part.contentType.empty()) FUZZ_CHECK(inside(part.contentType, body));
      if (part.fileName) FUZZ_CHECK(inside(*part.fileName, body));
    }
  }
  if (const auto word = parseWordLookupRequest(contentType, body); accepted(word)) {
    FUZZ_CHECK(std::isfinite(word->hotspotX) && std::isfinite(word->hotspotY));
    FUZZ_CHECK(!word->image.empty());
  }
  if (const auto region = parseRegionTranslationRequest(contentType, body); accepted(region)) {
    FUZZ_CHECK(!region->image.empty());
  }
  return 0;
}
