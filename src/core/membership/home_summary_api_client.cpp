#include "core/membership/home_summary_api_client.h"

#include <stdexcept>
#include <utility>

#include "base/async/run_on.h"
#include "core/membership/json_record_fetch.h"

namespace trelvis {
namespace {

const LogCategory kLog("home");

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
    : executor_(std::move(executor)),
      auth_(std::move(auth)),
      transport_(std::move(transport)),
      url_(stripTrailingSlash(baseURL)
               .appendingPathComponent("v1")
               .appendingPathComponent("home")
               .appendingPathComponent("summary")) {}

Async<HomeSummary> HomeSummaryAPIClient::fetch() {
  return runOn(executor_, [auth = auth_, transport = transport_, url = url_] {
    return fetchJSONRecord<HomeSummaryAPIError>(*auth, *transport, url, kLog, decodeWellFormed);
  });
}

}  // namespace trelvis
