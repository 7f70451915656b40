#include "server/support/wire_shapes.h"

#include "base/json_decode.h"

namespace trelvis::wire {
namespace {

std::optional<User> userOf(const json::ObjectReader& reader) {
  const nlohmann::json& user = reader.json().contains("user") ? reader.json()["user"] : nullptr;
  if (!user.is_object()) return std::nullopt;
  const auto id = user.find("id");
  const auto email = user.find("email");
  if (id == user.end() || email == user.end() || !id->is_string() || !email->is_string()) {
    return std::nullopt;
  }
  if (id->get<std::string>().empty() || email->get<std::string>().empty()) return std::nullopt;
  return User{id->get<std::string>(), email->get<std::string>()};
}

}  // namespace

std::string requestBody(std::initializer_list<std::pair<std::string, std::string>> members) {
  nlohmann::json object = nlohmann::json::object();
  for (const auto& [key, value] : members) object[key] = value;
  return object.dump();
}

TokenPair decodeTokenPair(std::string_view body) {
  const nlohmann::json document = json::parse(body);
  const json::ObjectReader reader(document);
  TokenPair pair{reader.required<std::string>("accessToken"),
                 reader.required<std::string>("refreshToken"),
                 reader.required<int64_t>("expiresIn"), userOf(reader)};
  if (pair.accessToken.empty() || pair.refreshToken.empty()) reader.fail("an empty token");
  return pair;
}

int64_t decodeCooldownSeconds(std::string_view body) {
  const nlohmann::json document = json::parse(body);
  return json::ObjectReader(document).required<int64_t>("cooldownSeconds");
}

MembershipStatus decodeMembershipStatus(std::string_view body) {
  const nlohmann::json document = json::parse(body);
  const json::ObjectReader reader(document);
  const auto member = [&](const char* key) {
    if (!document.contains(key)) reader.fail(std::string(key) + " is missing");
    return json::ObjectReader(document[key], key);
  };
  const json::ObjectReader plan = member("plan");
  const json::ObjectReader quota = member("quota");
  const json::ObjectReader entitlement = member("entitlement");
  return MembershipStatus{
      .plan = plan.required<std::string>("code"),
      .mode = quota.required<std::string>("mode"),
      .used = quota.optional<int64_t>("used"),
      .limit = quota.optional<int64_t>("limit"),
      .remaining = quota.optional<int64_t>("remaining"),
      .periodStart = quota.optional<Timestamp>("periodStart"),
      .resetAt = quota.optional<Timestamp>("resetAt"),
      .proExpiresAt = entitlement.optional<Timestamp>("proExpiresAt"),
      .seedGrantedAt = entitlement.optional<Timestamp>("seedGrantedAt"),
      .serverTime = reader.required<Timestamp>("serverTime"),
  };
}

std::string MembershipStatus::problem() const {
  const bool expired = !proExpiresAt || *proExpiresAt <= serverTime;
  const bool numbers = used && limit && remaining;
  const bool noNumbers = !used && !limit && !remaining;
  const bool period = periodStart && resetAt;
  const bool noPeriod = !periodStart && !resetAt;
  if (plan == "free") {
    if (mode != "metered" || !numbers || !period) return "free is metered with all numbers";
    if (seedGrantedAt || !expired) return "free has no live entitlement";
    if (*used < 0 || *limit < 1) return "used below 0 or limit below 1";
    if (*remaining != std::max<int64_t>(*limit - *used, 0)) return "remaining is not limit - used";
    if (!(*periodStart < *resetAt)) return "the period ends before it starts";
    if (!(*periodStart <= serverTime && serverTime < *resetAt)) return "serverTime is off period";
    return {};
  }
  if (plan == "pro") {
    if (mode != "unlimited" || !noNumbers || !noPeriod) return "pro is unlimited without numbers";
    if (expired) return "pro without a live proExpiresAt";
    return {};
  }
  if (plan == "seed") {
    if (mode != "unlimited" || !noNumbers || !noPeriod) return "seed is unlimited without numbers";
    if (!seedGrantedAt || !expired) return "seed needs seedGrantedAt and no live pro";
    return {};
  }
  return "unknown plan " + plan;
}

HomeSummary decodeHomeSummary(std::string_view body) {
  const nlohmann::json document = json::parse(body);
  const json::ObjectReader reader(document);
  return HomeSummary{
      .lookupCount = reader.required<int64_t>("lookupCount"),
      .savedCount = reader.required<int64_t>("savedCount"),
      .masteredCount = reader.required<int64_t>("masteredCount"),
      .dueReviewCount = reader.required<int64_t>("dueReviewCount"),
      .nextReviewDueAt = reader.optional<Timestamp>("nextReviewDueAt"),
      .snapshotAt = reader.required<Timestamp>("snapshotAt"),
  };
}

bool HomeSummary::wellFormed() const {
  return lookupCount >= 0 && savedCount >= 0 && masteredCount >= 0 && dueReviewCount >= 0 &&
         savedCount >= masteredCount && savedCount >= dueReviewCount;
}

int64_t retryAfterSeconds(std::string_view body) {
  try {
    const nlohmann::json document = json::parse(body);
    const auto found = document.find("retryAfterSeconds");
    if (found == document.end() || !found->is_number_integer()) return 60;
    return std::max<int64_t>(1, found->get<int64_t>());
  } catch (const json::DecodeError&) {
    return 60;
  }
}

std::string decodeDetail(std::string_view body) {
  const nlohmann::json document = json::parse(body);
  return json::ObjectReader(document).required<std::string>("detail");
}

}  // namespace trelvis::wire
