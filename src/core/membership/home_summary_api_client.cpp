#include "core/membership/home_summary_api_client.h"

#include <stdexcept>
#include <utility>

#include "core/membership/json_record_fetch.h"

namespace trelvis {
namespace {

HomeSummary decodeWellFormed(std::string_view body) {
  HomeSummary summary = decodeHomeSummary(body);
  if (!summary.isWellFormed()) throw std::runtime_error("the counts contradict each other");
  return summary;
}

}  // namespace

HomeSummaryAPIClient::HomeSummaryAPIClient(std::shared_ptr<Executor> executor,
                                           std::shared_ptr<AccessTokenProviding> auth,
                                           std::shared_ptr<HttpTransport> transport,
                                           const Url& baseURL)
    : endpoint_(std::move(executor), std::move(auth), std::move(transport), baseURL,
                {"v1", "home", "summary"}) {}

Async<HomeSummary> HomeSummaryAPIClient::fetch() {
  static const LogCategory log("home");
  return fetchJSONRecord<HomeSummaryAPIError>(endpoint_, log, decodeWellFormed);
}

}  // namespace trelvis
