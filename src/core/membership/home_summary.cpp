#include "core/membership/home_summary.h"

#include "base/json_decode.h"

namespace trelvis {

bool HomeSummary::isWellFormed() const {
  return lookupCount >= 0 && savedCount >= 0 && masteredCount >= 0 && dueReviewCount >= 0 &&
         savedCount >= masteredCount && savedCount >= dueReviewCount;
}

HomeSummary decodeJson(const json::ObjectReader& reader, json::Tag<HomeSummary>) {
  return HomeSummary{
      .lookupCount = reader.required<int64_t>("lookupCount"),
      .savedCount = reader.required<int64_t>("savedCount"),
      .masteredCount = reader.required<int64_t>("masteredCount"),
      .dueReviewCount = reader.required<int64_t>("dueReviewCount"),
      .nextReviewDueAt = reader.optional<Timestamp>("nextReviewDueAt"),
      .snapshotAt = reader.required<Timestamp>("snapshotAt"),
  };
}

HomeSummary decodeHomeSummary(std::string_view body) {
  return json::decodeText<HomeSummary>(body);
}

}  // namespace trelvis
