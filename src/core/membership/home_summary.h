#pragma once

// HomeSummary: the counts of the home page and of the review badge as the
// server computes them. It comes from its own endpoint and rides along in the
// replies of enrollment, review feedback and removal, whose decoders reuse
// decodeJson below. Plain values; decoding lives in the .cpp.

#include <cstdint>
#include <optional>
#include <string_view>

#include "base/iso8601.h"
#include "core/membership/rest_client_error.h"

namespace trelvis {

namespace json {
class ObjectReader;
template <class T>
struct Tag;
}  // namespace json

struct HomeSummary {
  int64_t lookupCount = 0;
  int64_t savedCount = 0;
  int64_t masteredCount = 0;
  int64_t dueReviewCount = 0;
  std::optional<Timestamp> nextReviewDueAt;
  // The server's time of the snapshot; the newer snapshot wins.
  Timestamp snapshotAt;

  // No count below 0, and no more mastered or due words than saved ones.
  bool isWellFormed() const;

  friend bool operator==(const HomeSummary&, const HomeSummary&) = default;
};

// The record as it stands, well-formed or not; json::DecodeError otherwise.
HomeSummary decodeJson(const json::ObjectReader& reader, json::Tag<HomeSummary>);
HomeSummary decodeHomeSummary(std::string_view body);

struct HomeSummaryAPIErrorName {
  static constexpr std::string_view kName = "HomeSummaryAPIError";
};
using HomeSummaryAPIError = RestClientError<HomeSummaryAPIErrorName>;

}  // namespace trelvis
