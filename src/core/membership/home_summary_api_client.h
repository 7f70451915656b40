#pragma once

// HomeSummaryAPIClient: GET "/v1/home/summary" for the signed-in user. It runs
// each fetch on a serial executor of its own and keeps nothing between calls.
// The account summary store sees it through HomeSummaryServing.

#include <memory>

#include "base/async/async.h"
#include "core/membership/authenticated_endpoint.h"
#include "core/membership/home_summary.h"

namespace trelvis {

class HomeSummaryServing {
 public:
  virtual ~HomeSummaryServing() = default;
  // A well-formed summary; raises HomeSummaryAPIError (invalidResponse for one
  // that is not well-formed).
  virtual Async<HomeSummary> fetch() = 0;
};

class HomeSummaryAPIClient final : public HomeSummaryServing {
 public:
  HomeSummaryAPIClient(std::shared_ptr<Executor> executor,
                       std::shared_ptr<AccessTokenProviding> auth,
                       std::shared_ptr<HttpTransport> transport, const Url& baseURL);

  Async<HomeSummary> fetch() override;

 private:
  AuthenticatedEndpoint endpoint_;
};

}  // namespace trelvis
